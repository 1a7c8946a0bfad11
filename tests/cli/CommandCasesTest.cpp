// The commands of kestrabel-tag as a table: each row names the files before, the command line,
// the exit status and output expected, and what must hold of the files after; every row runs on
// every writable kind unless it names its kinds.
#include "Sha256.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <map>

using namespace kestrabel::test;

namespace {

struct Kind {
    const char *name;
    const char *bare; // a fixture without tags
    const char *ext;
    const char *kindName; // as show prints it
};

constexpr Kind kKinds[] = {
    {"MP3", "no-tags.mp3", "mp3", "MP3"},
    {"M4A", "no-tags.m4a", "m4a", "MP4"},
    {"AIFF", "no-tags.aiff", "aiff", "AIFF"},
    {"WAVE", "no-tags.wav", "wav", "WAVE"},
    {"Ogg", "vorbis-no-comments.ogg", "ogg", "Ogg"},
    {"FLAC", "flac-no-tags.flac", "flac", "FLAC"},
};

// A file in the working folder: a copy of a fixture ("" for the kind's bare one) given the
// values "Name=text|Name=text" through the library; without a fixture, values is its content.
struct File {
    const char *name;
    const char *fixture;
    const char *values = "";
};

// After the command: the value of name in file is value ("(none)": the file has none;
// "?text": none or text; byte values by their SHA-256). Two names are special: "" checks that
// the file exists ("yes") or not ("no"), "=" that its bytes are as before.
struct Check {
    const char *file;
    const char *name;
    const char *value = "";
    const char *kinds = nullptr; // only on these kinds
};

struct Case {
    const char *name;
    std::vector<File> before;
    const char *args;
    int exit;
    const char *out; // standard output, exactly; nullptr: not compared
    std::vector<Check> after;
    const char *kinds = nullptr; // nullptr: every kind
};

// The PNG front cover of id3v23-full.mp3, the source of the copy rows.
constexpr const char *kSourceCover = "e7f0893138aeb54e20f94006b6522ba8331876b1dd2313f77d6c1861cd7b8472";
constexpr const char *kPlist = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>kMediaFileDataExportKey</key><string>KESTRABEL MEDIA FILE DATA EXPORT</string>
<key>kMediaFileDataIDTitle</key><string>New</string>
</dict></plist>
)";
// A value only a WAVE's bext chunk holds, beside one every kind takes.
constexpr const char *kPlistWithBext = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>kMediaFileDataIDTitle</key><string>New</string>
<key>kMediaFileDataIDBWFDescription</key><string>Desc</string>
</dict></plist>
)";

const std::vector<Case> &cases()
{
    static const std::vector<Case> table = {
        // get
        {"GetPrintsJustTheValue", {{"a.{ext}", "", "Title=Hovering|Track Number=3"}}, "get Title a.{ext}", 0, "Hovering\n", {}},
        {"GetJsonOfANumber", {{"a.{ext}", "", "Track Number=3"}}, "get --json 'Track Number' a.{ext}", 0,
         "{\"path\": \"a.{ext}\", \"status\": 0, \"value\": 3}\n", {}},
        {"GetFailsWhenTheValueIsMissing", {{"a.{ext}", "", "Title=Hovering"}, {"b.{ext}", ""}}, "get Title a.{ext} b.{ext}", 1,
         "Hovering\n", {}},
        {"GetEscapesControlCharacters", {{"a.{ext}", "", "Title=one\ntwo\x01"}}, "get Title a.{ext}", 0, "one\\ntwo\\x01\n", {}},
        {"GetJsonKeepsTheExactText", {{"a.{ext}", "", "Title=one\ntwo\x01"}}, "get --json Title a.{ext}", 0,
         "{\"path\": \"a.{ext}\", \"status\": 0, \"value\": \"one\\ntwo\\u0001\"}\n", {}},
        // show --format
        {"ShowFormatOneLinePerFile",
         {{"a.{ext}", "", "Title=Hovering|Track Number=3"}, {"b.{ext}", "", "Title=Tab\there"}},
         "show --format '%{Track Number:02}|%{Title}|%{kind}|%{path}|%%' a.{ext} b.{ext}", 0,
         "03|Hovering|{KIND}|a.{ext}|%\n|Tab\\there|{KIND}|b.{ext}|%\n", {}},
        // copy
        {"CopyFillsEveryValueTheKindHolds",
         {{"src.mp3", "id3v23-full.mp3"}, {"b.{ext}", ""}},
         "copy src.mp3 b.{ext}", 0, "",
         {{"b.{ext}", "Title", "Full Title"},
          {"b.{ext}", "Artist", "Ärtist ☃"},
          {"b.{ext}", "Track Number", "3"},
          {"b.{ext}", "Total Tracks", "12"},
          {"b.{ext}", "Cover Art", kSourceCover, "MP3 M4A AIFF WAVE"},
          {"b.{ext}", "Cover Art", "?e7f0893138aeb54e20f94006b6522ba8331876b1dd2313f77d6c1861cd7b8472", "Ogg FLAC"},
          {"b.{ext}", "BWF Description", "(none)"},
          {"src.mp3", "="}}},
        {"CopyKeepsWhatTheTargetHas",
         {{"src.mp3", "id3v23-full.mp3"}, {"b.{ext}", "", "Title=Old"}},
         "copy --only Title,Album src.mp3 b.{ext}", 0, "",
         {{"b.{ext}", "Title", "Old"}, {"b.{ext}", "Album", "Albüm"}, {"b.{ext}", "Artist", "(none)"}}},
        {"CopyOverwrite",
         {{"src.mp3", "id3v23-full.mp3"}, {"b.{ext}", "", "Title=Old|Genre=Jazz"}},
         "copy --overwrite --except Genre src.mp3 b.{ext}", 0, "",
         {{"b.{ext}", "Title", "Full Title"}, {"b.{ext}", "Genre", "Jazz"}}},
        {"CopyDryRun",
         {{"src.mp3", "id3v23-full.mp3"}, {"b.{ext}", "", "Title=Old"}},
         "copy -n --overwrite --only Title,Album src.mp3 b.{ext}", 0,
         "b.{ext}\n  Album : (none) \u2192 Albüm\n  Title : Old \u2192 Full Title\n", {{"b.{ext}", "="}}},
        {"CopyIntoAKindWithoutTags", {{"src.mp3", "id3v23-full.mp3"}, {"q.mov", "quicktime-tiny.mov"}}, "copy src.mp3 q.mov", 1, "",
         {{"q.mov", "="}}, "MP3"},
        // rename
        {"RenameFromValues", {{"a.{ext}", "", "Title=Live/Loud: \"x\"?|Track Number=3"}},
         "rename --to '%{Track Number:02} %{Title}' a.{ext}", 0, "",
         {{"a.{ext}", "", "no"}, {"03 Live_Loud_ _x__.{ext}", "Title", "Live/Loud: \"x\"?"}}},
        {"RenameNeverReplaces", {{"a.{ext}", "", "Title=Hovering"}, {"Hovering.{ext}", ""}}, "rename --to %{Title} a.{ext}", 1, "",
         {{"a.{ext}", "="}, {"Hovering.{ext}", "="}}},
        {"RenameNeedsEveryValue", {{"a.{ext}", "", "Title=Hovering"}}, "rename --to '%{Artist} - %{Title}' a.{ext}", 1, "",
         {{"a.{ext}", "", "yes"}}},
        {"RenameDryRun", {{"a.{ext}", "", "Title=Hovering|Track Number=3"}}, "rename -n --to '%{Track Number:02} %{Title}' a.{ext}", 0,
         "a.{ext} \u2192 03 Hovering.{ext}\n", {{"a.{ext}", "="}}},
        // from-name
        {"FromNameSetsValues", {{"07 - Hovering - live.{ext}", ""}},
         "from-name --pattern '%{Track Number} - %{Title}' '07 - Hovering - live.{ext}'", 0, "",
         {{"07 - Hovering - live.{ext}", "Track Number", "7"}, {"07 - Hovering - live.{ext}", "Title", "Hovering - live"}}},
        {"FromNameWithFolders", {{"d/Kestrel/x 07 Hovering.{ext}", ""}},
         "from-name -r --pattern '%{Artist}/%{*} %{Track Number} %{Title}' d", 0, "",
         {{"d/Kestrel/x 07 Hovering.{ext}", "Artist", "Kestrel"}, {"d/Kestrel/x 07 Hovering.{ext}", "Title", "Hovering"}}},
        {"FromNameRefusesANameThatDoesNotFit", {{"Hovering.{ext}", ""}}, "from-name --pattern '%{Track Number} %{Title}' Hovering.{ext}",
         1, "", {{"Hovering.{ext}", "="}}},
        {"FromNameDryRun", {{"d/Kestrel - Hovering.{ext}", "", "Title=Old"}}, "from-name -n -r --pattern '%{Artist} - %{Title}' d", 0,
         "d/Kestrel - Hovering.{ext}\n  Artist : (none) \u2192 Kestrel\n  Title  : Old \u2192 Hovering\n", {{"d/Kestrel - Hovering.{ext}", "="}}},
        // --dry-run of set and import
        {"SetDryRun", {{"a.{ext}", "", "Title=Old|Genre=Jazz"}}, "set --dry-run -t Title=New -t 'Track Number=2' -t 'Total Tracks=9' -t Genre=Jazz a.{ext}",
         0, "a.{ext}\n  Title        : Old \u2192 New\n  Total Tracks : (none) \u2192 9\n  Track Number : (none) \u2192 2\n", {{"a.{ext}", "="}}},
        {"ImportDryRun", {{"a.{ext}", "", "Title=Old"}, {"t.plist", nullptr, kPlist}}, "import -n --overwrite t.plist a.{ext}", 0,
         "a.{ext}\n  Title : Old \u2192 New\n", {{"a.{ext}", "="}}},
        // import: a value the file has no place for fails the run; the others are saved
        {"ImportNamesAValueNotStored", {{"a.{ext}", ""}, {"t.plist", nullptr, kPlistWithBext}}, "import --overwrite t.plist a.{ext}", 1, "",
         {{"a.{ext}", "Title", "New"}, {"a.{ext}", "BWF Description", "(none)"}}, "MP3 M4A Ogg FLAC"},
        // usage errors: exit 2, nothing touched
        {"RenameWithoutTemplate", {{"a.{ext}", ""}}, "rename a.{ext}", 2, "", {{"a.{ext}", "="}}, "MP3"},
        {"RenameIntoAFolder", {{"a.{ext}", ""}}, "rename --to 'x/%{Title}' a.{ext}", 2, "", {{"a.{ext}", "="}}, "MP3"},
        {"FormatWithUnknownField", {{"a.{ext}", ""}}, "show --format '%{Nope}' a.{ext}", 2, "", {}, "MP3"},
        {"FormatWithLonePercent", {{"a.{ext}", ""}}, "show --format '100%' a.{ext}", 2, "", {}, "MP3"},
        {"FromNameOfReadOnlyValue", {{"a.{ext}", ""}}, "from-name --pattern '%{Bit Rate}' a.{ext}", 2, "", {{"a.{ext}", "="}}, "MP3"},
        {"CopyOnlyUnknown", {{"a.{ext}", ""}}, "copy --only Title,Nope a.{ext} a.{ext}", 2, "", {{"a.{ext}", "="}}, "MP3"},
        {"GetUnknownName", {{"a.{ext}", ""}}, "get Nope a.{ext}", 2, "", {}, "MP3"},
    };
    return table;
}

std::string expand(std::string text, const Kind &kind)
{
    for (auto [key, value] : {std::pair{"{ext}", kind.ext}, std::pair{"{KIND}", kind.kindName}})
        for (size_t at; (at = text.find(key)) != std::string::npos;)
            text.replace(at, std::string(key).size(), value);
    return text;
}

bool forKind(const char *kinds, const Kind &kind)
{
    if (!kinds)
        return true;
    std::string list = std::string(" ") + kinds + " ";
    return list.find(std::string(" ") + kind.name + " ") != std::string::npos;
}

void giveValues(const std::string &path, const std::string &values)
{
    OpenFile file(path, kMediaFileFlagIgnoreTagErrors | kMediaFileFlagSkipMPEGInfo | kMediaFileFlagInterop);
    ASSERT_EQ(file.status(), kMediaFileNoErr) << path;
    size_t start = 0;
    while (start < values.size()) {
        size_t end = std::min(values.find('|', start), values.size());
        std::string pair = values.substr(start, end - start);
        size_t equals = pair.find('=');
        const MediaFileDataIDInfo *info = MediaFileFindDataID(pair.substr(0, equals).c_str());
        ASSERT_TRUE(info) << pair;
        ASSERT_EQ(MediaFileSetString(file.ref(), info->dataID, pair.substr(equals + 1).c_str()), kMediaFileNoErr) << path << ": " << pair;
        start = end + 1;
    }
    ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion | kMediaFileFlagID3v23), kMediaFileNoErr) << path;
}

// The value as a check spells it, or nothing when the file has none. Read as the commands
// wrote it: through the interop profile, their default.
std::optional<std::string> valueOf(const std::string &path, const MediaFileDataIDInfo *info)
{
    OpenFile file(path, kMediaFileFlagIgnoreTagErrors | kMediaFileFlagSkipMPEGInfo | kMediaFileFlagInterop);
    if (file.status() != kMediaFileNoErr)
        return "cannot open: " + std::to_string(file.status());
    MediaFileStatus status = kMediaFileNoErr;
    std::string value;
    if (info->valueType == 'D') {
        std::vector<uint8_t> bytes = file.data(info->dataID, &status);
        value = kestrabel::cli::sha256Hex(bytes);
    } else if (info->valueType == 'I') {
        value = std::to_string(file.integer(info->dataID, &status));
    } else {
        value = file.string(info->dataID, &status);
    }
    if (status != kMediaFileNoErr)
        return std::nullopt;
    return value;
}

class CommandCases : public testing::TestWithParam<std::tuple<size_t, size_t>> {};

TEST_P(CommandCases, Run)
{
    const Case &row = cases()[std::get<0>(GetParam())];
    const Kind &kind = kKinds[std::get<1>(GetParam())];
    TempDir dir;
    std::map<std::string, std::vector<uint8_t>> bytesBefore;
    for (const File &file : row.before) {
        std::string path = dir.file(expand(file.name, kind));
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        if (!file.fixture) {
            writeFile(path, std::string(file.values));
        } else {
            std::filesystem::copy_file(fixturePath(*file.fixture ? file.fixture : kind.bare), path);
            if (*file.values)
                giveValues(path, file.values);
        }
        bytesBefore[expand(file.name, kind)] = readFile(path);
    }
    std::string args = expand(row.args, kind);
#ifndef KESTRABEL_CLI_OBJECTS
    if (args.rfind("import", 0) == 0)
        GTEST_SKIP() << "import needs the object layer, not in this build";
#endif
    std::string output;
    int status = runCommand("cd " + shellQuote(dir.path().string()) + " && " + shellQuote(cliPath()) + " " + args, &output);
    EXPECT_EQ(status, row.exit) << args << "\n" << output;
    if (row.out) {
        EXPECT_EQ(output, expand(row.out, kind)) << args;
    }
    for (const Check &check : row.after) {
        if (!forKind(check.kinds, kind))
            continue;
        std::string name = expand(check.file, kind);
        std::string path = dir.file(name);
        std::string what = std::string(check.name);
        if (what.empty()) {
            EXPECT_EQ(std::filesystem::exists(path), std::string(check.value) == "yes") << name;
        } else if (what == "=") {
            EXPECT_TRUE(readFile(path) == bytesBefore[name]) << name << " changed";
        } else {
            std::optional<std::string> value = valueOf(path, MediaFileFindDataID(check.name));
            std::string expected = check.value;
            if (expected[0] == '?')
                EXPECT_TRUE(!value || *value == expected.substr(1)) << name << ": " << what << " = " << *value;
            else
                EXPECT_EQ(value.value_or("(none)"), expected) << name << ": " << what;
        }
    }
}

// Each row on each of its kinds.
std::vector<std::tuple<size_t, size_t>> runs()
{
    std::vector<std::tuple<size_t, size_t>> out;
    for (size_t row = 0; row < cases().size(); ++row)
        for (size_t kind = 0; kind < std::size(kKinds); ++kind)
            if (forKind(cases()[row].kinds, kKinds[kind]))
                out.emplace_back(row, kind);
    return out;
}

INSTANTIATE_TEST_SUITE_P(Commands, CommandCases, testing::ValuesIn(runs()), [](const testing::TestParamInfo<std::tuple<size_t, size_t>> &info) {
    return std::string(cases()[std::get<0>(info.param)].name) + "_" + kKinds[std::get<1>(info.param)].name;
});

} // namespace
