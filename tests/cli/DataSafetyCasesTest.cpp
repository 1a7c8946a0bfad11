// What kestrabel-tag does in situations where a careless tool loses or misplaces a user's data:
// one row per situation, run through the real binary on a copy of a fixture.
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>

using namespace kestrabel::test;

namespace {

enum class After { Unchanged, Changed };

struct Case {
    const char *situation;
    const char *fixture;  // copied as {f}, keeping its name
    const char *prepare;  // run before the command, or empty; its failure fails the row
    const char *command;  // {f} the copy, {t} the temporary folder, {d} the fixture folder
    int exitStatus;
    const char *saysAlso = ""; // in standard output or error, or empty
    const char *neverSays = "";
    After after = After::Unchanged;
    MediaFileDataID checkID = kMediaFileDataIDNone; // when not None: the value after, read with our getter
    const char *checkText = "";                     // its expected text, or empty for "absent"
    bool needsObjects = false;                      // export, import and image conversion
};

constexpr char kStrayArchive[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>no-tags</key><dict><key>kMediaFileDataIDTitle</key><string>From Archive</string></dict>
<key>stray</key><string>not a dictionary</string>
</dict></plist>)";

// A 12,000 x 12,000 RGB PNG (Qt decodes it to 576 MB), or a small PNG whose tEXt chunk has a
// wrong CRC, over which libpng warns and reads on.
#define KESTRABEL_MAKE_PNG                                                                                       \
    "/usr/bin/python3 -c '\n"                                                                                   \
    "import struct, sys, zlib\n"                                                                                \
    "def chunk(t, d): return struct.pack(\">I\", len(d)) + t + d + struct.pack(\">I\", zlib.crc32(t + d))\n" \
    "side = int(sys.argv[2]); z = zlib.compressobj(6); row = b\"\\0\" + b\"\\x40\\x80\\xc0\" * side\n"      \
    "data = b\"\".join(z.compress(row) for _ in range(side)) + z.flush()\n"                                      \
    "bad = chunk(b\"tEXt\", b\"Comment\\0x\")[:-4] + b\"\\0\\0\\0\\0\" if side < 100 else b\"\"\n"           \
    "open(sys.argv[1], \"wb\").write(b\"\\x89PNG\\r\\n\\x1a\\n\" + chunk(b\"IHDR\", struct.pack(\">IIBBBBB\", side, side, 8, 2, 0, 0, 0)) + bad + chunk(b\"IDAT\", data) + chunk(b\"IEND\", b\"\"))\n" \
    "' "
constexpr char kMakeBigPng[] = KESTRABEL_MAKE_PNG "{t}/big.png 12000";
constexpr char kMakeWarnPng[] = KESTRABEL_MAKE_PNG "{t}/warn.png 8";
#undef KESTRABEL_MAKE_PNG

const Case kCases[] = {
    {"ID3v2.4 extended header, classic rules: set refuses", "id3v24-extended-header.mp3", "", "set --classic -t Title=New {f}", 1,
     "its tag could not be read whole", "kMediaFileErrTell", After::Unchanged, kMediaFileDataIDNone, "", false},
    {"damaged compressed frame: set refuses", "comm-zlib-damaged.mp3", "", "set -t Title=New {f}", 1,
     "kMediaFileErrBadFrame (-6742)", "", After::Unchanged, kMediaFileDataIDNone, "", false},
    {"damaged compressed frame: import refuses", "comm-zlib-damaged.mp3", "export -o {t}/in.plist {d}/id3v23-full.mp3",
     "import --overwrite {t}/in.plist {f}", 1, "--force saves anyway", "", After::Unchanged, kMediaFileDataIDNone, "", true},
    {"damaged compressed frame: --force saves", "comm-zlib-damaged.mp3", "", "set --force -t Title=New {f}", 0, "", "",
     After::Changed, kMediaFileDataIDTitle, "New", false},
    {"truncated tag: refused with its own status", "truncated-tag.mp3", "", "set -t Title=New {f}", 1,
     "kMediaFileErrShortRead (-6746)", "kMediaFileErrTell", After::Unchanged, kMediaFileDataIDNone, "", false},
    {"show --json lists the warning", "comm-zlib-damaged.mp3", "", "show --json {f}", 0, "\"warnings\": [\"its tag",
     "", After::Unchanged, kMediaFileDataIDNone, "", false},
    {"show marks the file in text", "comm-zlib-damaged.mp3", "", "show {f}", 0, "  warning: its tag", "",
     After::Unchanged, kMediaFileDataIDNone, "", false},
    {"FLAC without a picture block, classic rules: --artwork is not stored", "flac-tagged.flac", "",
     "set --classic --artwork {d}/mp3-cover.jpg {f}", 1, "not stored", "", After::Unchanged, kMediaFileDataIDNone, "", true},
    {"import into an EXIF image", "exif-camera.jpg", "export -o {t}/in.plist {d}/id3v23-full.mp3",
     "import --overwrite {t}/in.plist {f}", 1, "read only", "", After::Unchanged, kMediaFileDataIDNone, "", true},
    {"archive with a stray value: the rest applies, exit 1", "no-tags.mp3", "", "import {t}/in.plist {f}", 1,
     "'stray' is not a tag dictionary", "", After::Changed, kMediaFileDataIDTitle, "From Archive", true},
    {"property list that is no XML", "no-tags.mp3", "echo 'not a plist' > {t}/in.plist", "import {t}/in.plist {f}", 1,
     "kMediaFileErrBadFormat (-6717)", "overwriting was not allowed", After::Unchanged, kMediaFileDataIDNone, "", true},
    {"two files of one name in an archive", "no-tags.mp3", "",
     "export --archive {t}/a.plist {d}/no-tags.mp3 {d}/no-tags.m4a", 1, "left out of the archive", "occurs twice",
     After::Unchanged, kMediaFileDataIDNone, "", true},
    {"track number past 32 bits", "no-tags.mp3", "", "set -t 'Track Number=99999999999' {f}", 2, "not a number", "",
     After::Unchanged, kMediaFileDataIDNone, "", false},
    {"track number that wraps to 3", "no-tags.mp3", "", "set -t 'Track Number=4294967299' {f}", 2, "not a number", "",
     After::Unchanged, kMediaFileDataIDNone, "", false},
    {"number with trailing junk", "no-tags.mp3", "", "set -t Year=7x {f}", 2, "not a number", "", After::Unchanged,
     kMediaFileDataIDNone, "", false},
    {"track over its total still stores the number", "no-tags.mp3", "", "set -t 'Track Number=7/12' {f}", 0, "", "",
     After::Changed, kMediaFileDataIDTrackNumber, "7", false},
    {"bytes that are no image", "no-tags.mp3", "", "set -t 'Cover Art=hello' {f}", 2, "kMediaFileErrNotImage", "",
     After::Unchanged, kMediaFileDataIDNone, "", true},
    {"export of a text XML cannot hold", "no-tags.mp3", "set -t \"Title=a$(printf '\\001')b\" {f}",
     "export -o {t}/out.plist {f}; s=$?; test ! -e {t}/out.plist || s=9; exit $s", 1,
     "kMediaFileErrBadFormat (-6717): a value that cannot be printed", "", After::Unchanged, kMediaFileDataIDNone, "", true},
    {"show --json of a FIFO names the cause", "no-tags.mp3", "mkfifo {t}/p", "show --json {t}/p", 1,
     "\"error\": \"kMediaFileErrCantOpen: the file cannot be opened: not a regular file (a FIFO)\"", "", After::Unchanged,
     kMediaFileDataIDNone, "", false},
    {"get --json of a missing file names the errno", "no-tags.mp3", "", "get --json Title {t}/none.mp3", 1,
     "the file cannot be opened: No such file or directory\"", "", After::Unchanged, kMediaFileDataIDNone, "", false},
    {"12,000 x 12,000 image converts", "no-tags.mp3", kMakeBigPng, "set --artwork {t}/big.png {f}", 0, "", "not an image",
     After::Changed, kMediaFileDataIDArtwork, "image", true},
    {"libpng's warning stays off the terminal", "no-tags.mp3", kMakeWarnPng, "set --artwork {t}/warn.png {f}", 0, "",
     "libpng", After::Changed, kMediaFileDataIDArtwork, "image", true},
    // Usage errors exit 2 and touch nothing; a file that fails does not stop the others.
    {"no command", "no-tags.mp3", "", "", 2},
    {"unknown command", "no-tags.mp3", "", "frobnicate {f}", 2},
    {"show without a file", "no-tags.mp3", "", "show", 2},
    {"unknown option", "no-tags.mp3", "", "show --bogus {f}", 2},
    {"set with nothing to change", "no-tags.mp3", "", "set {f}", 2},
    {"set of an unknown name", "no-tags.mp3", "", "set -t Nonsense=1 {f}", 2, "unknown data ID 'Nonsense'"},
    {"set of a read-only value", "no-tags.mp3", "", "set -t 'Bit Rate=1' {f}", 2, "read-only"},
    {"set on a kind without tags", "quicktime-tiny.mov", "", "set -t Title=x {f}", 1,
     "kMediaFileDataIDTitle: kMediaFileErrUnsupported (-6735)"},
    {"show of a file no handler takes", "no-tags.mp3", "echo plain > {t}/notes.txt", "show {t}/notes.txt", 1,
     "notes.txt: kMediaFileErrUnsupported (-6735)"},
    {"show --json goes on past a missing file", "quicktime-tiny.mov", "", "show --json {t}/missing.xyz {f}", 1,
     "missing.xyz\", \"status\": 2, \"error\": \"ENOENT: ", "", After::Unchanged,
     kMediaFileDataIDFilename, "quicktime-tiny.mov"},
    {"show --json escapes a name and lists its folders", "quicktime-tiny.mov", "mkdir {t}/Album && cp {f} {t}/Album/'c \"1\".mov'",
     "show --json {t}/Album/'c \"1\".mov'", 0, "\"kind\": \"QuickTime\", \"status\": 0, \"values\": {\"kMediaFileDataIDFilename\": "
     "\"c \\\"1\\\".mov\", \"kMediaFileDataIDFilePath\": "},
    {"help lists the options of a command", "no-tags.mp3", "", "help set", 0, "--id3v2.4"},
    {"help names the interop profile", "no-tags.mp3", "", "--help", 0, "interop profile"},
    {"names lists every data ID", "no-tags.mp3", "", "names", 0, "kMediaFileDataIDBWFOriginatorReference"},
    // The audio line and object, left out by --no-audio-info.
    {"show prints the audio line", "props-aac.m4a", "", "show {f}", 0, "  Audio: AAC, 44.1 kHz, stereo, 63 kbit/s, 0:01\n"},
    {"show --json has the audio object", "props-aac.m4a", "", "show --json {f}", 0,
     "\"kind\": \"MP4\", \"audio\": {\"codec\": \"AAC\", \"durationMs\": 500, \"sampleRate\": 44100, \"channels\": 2, "
     "\"bitsPerSample\": 0, \"bitRate\": 63}"},
    {"no-audio-info in text", "props-aac.m4a", "", "show --no-audio-info {f}", 0, "", "Audio:"},
    {"no-audio-info in JSON", "props-aac.m4a", "", "show --json --no-audio-info {f}", 0, "\"values\"", "\"audio\""},
    {"Opus names its codec", "opus-tagged.opus", "", "show {f}", 0, "(Ogg Opus)\n  Audio: Opus, 48 kHz, stereo"},
};

void PrintTo(const Case &row, std::ostream *out) { *out << row.situation; }

std::string expand(std::string text, const TempDir &dir, const std::string &copy)
{
    const std::pair<std::string, std::string> fields[] = {
        {"{f}", shellQuote(copy)}, {"{t}", shellQuote(dir.path().string())}, {"{d}", shellQuote(fixturePath(""))}};
    for (const auto &[field, value] : fields)
        for (size_t at; (at = text.find(field)) != std::string::npos;)
            text.replace(at, field.size(), value);
    return text;
}

class DataSafetyCases : public ::testing::TestWithParam<Case> {};

TEST_P(DataSafetyCases, BehavesAsAUserNeeds)
{
    const Case &row = GetParam();
#ifndef KESTRABEL_CLI_OBJECTS
    if (row.needsObjects)
        GTEST_SKIP() << "needs the object layer's commands (GUI build)";
#endif
    TempDir dir;
    const std::string copy = dir.copyFixture(row.fixture);
    if (std::string(row.command).find("import") != std::string::npos && std::string(row.prepare).empty())
        writeFile(dir.file("in.plist"), kStrayArchive);
    if (*row.prepare) {
        std::string output;
        const std::string text = row.prepare;
        const bool ours = text.rfind("set ", 0) == 0 || text.rfind("export ", 0) == 0;
        const std::string prepare = ours ? shellQuote(cliPath()) + " " + text : text;
        ASSERT_EQ(runCommand(expand(prepare, dir, copy), &output, true), 0) << output;
    }
    const std::vector<uint8_t> before = readFile(copy);
    const std::string command = "{ " + shellQuote(cliPath()) + " " + expand(row.command, dir, copy) + "; }";
    std::string output;
    EXPECT_EQ(runCommand(command, &output, true), row.exitStatus) << output;
    if (*row.saysAlso) {
        EXPECT_NE(output.find(row.saysAlso), std::string::npos) << output;
    }
    if (*row.neverSays) {
        EXPECT_EQ(output.find(row.neverSays), std::string::npos) << output;
    }
    if (row.after == After::Unchanged)
        EXPECT_TRUE(readFile(copy) == before) << "the file must stay byte for byte";
    else
        EXPECT_FALSE(readFile(copy) == before);
    if (row.checkID == kMediaFileDataIDNone)
        return;
    OpenFile file(copy);
    ASSERT_EQ(file.status(), 0);
    MediaFileStatus status = 0;
    if (std::string(row.checkText) == "image") {
        EXPECT_GT(file.data(row.checkID, &status).size(), 100u);
        EXPECT_EQ(status, 0);
    } else {
        EXPECT_EQ(file.string(row.checkID, &status), row.checkText);
        EXPECT_EQ(status, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, DataSafetyCases, ::testing::ValuesIn(kCases), [](const auto &info) {
    std::string name;
    for (const char *c = info.param.situation; *c; ++c)
        if (std::isalnum(static_cast<unsigned char>(*c)))
            name += *c;
    return name;
});

// --remove over every writable kind: afterwards our getter, mutagen and ffprobe find nothing (what
// the getter answers for each data ID is the remove contract's).
struct Removal {
    const char *fixture;
    const char *name;       // as given to --remove
    const char *setFirst;   // a value set before, or empty when the fixture has one
    MediaFileDataID id;
    const char *mutagenKey; // a key prefix mutagen must not list (any case), or empty
    const char *ffprobeKey; // a tag ffprobe must not list, "attached_pic" for a cover stream
};

const Removal kRemovals[] = {
    {"two-comm-two-apic.mp3", "Title", "", kMediaFileDataIDTitle, "TIT2", "title"},
    {"two-comm-two-apic.mp3", "Comment", "", kMediaFileDataIDComment, "COMM", "comment"},
    {"two-comm-two-apic.mp3", "Cover Art", "", kMediaFileDataIDArtwork, "APIC", "attached_pic"},
    {"two-comm-two-apic.mp3", "Track Number", "3/9", kMediaFileDataIDTrackNumber, "TRCK", "track"},
    {"two-comm-two-apic.mp3", "Year", "2001", kMediaFileDataIDYear, "TDRC", "date"},
    {"tagged.m4a", "Title", "", kMediaFileDataIDTitle, "\xC2\xA9nam", "title"},
    {"tagged.m4a", "Comment", "x", kMediaFileDataIDComment, "\xC2\xA9" "cmt", "comment"},
    {"tagged.m4a", "Track Number", "", kMediaFileDataIDTrackNumber, "trkn", "track"},
    {"tagged.m4a", "Year", "", kMediaFileDataIDYear, "\xC2\xA9" "day", "date"},
    {"cover.m4a", "Cover Art", "", kMediaFileDataIDArtwork, "covr", "attached_pic"},
    {"vorbis-tagged.ogg", "Title", "", kMediaFileDataIDTitle, "title", "title"},
    {"vorbis-tagged.ogg", "Track Number", "", kMediaFileDataIDTrackNumber, "tracknumber", "track"},
    {"vorbis-tagged.ogg", "Year", "", kMediaFileDataIDYear, "year", "year"},
    {"flac-tagged.flac", "Title", "", kMediaFileDataIDTitle, "title", "title"},
    {"flac-tagged.flac", "Track Number", "", kMediaFileDataIDTrackNumber, "tracknumber", "track"},
    {"flac-tagged.flac", "Year", "2001", kMediaFileDataIDYear, "date", "date"},
    {"flac-escn-picture.flac", "Cover Art", "", kMediaFileDataIDArtwork, "", ""},
    {"no-tags.aiff", "Title", "x", kMediaFileDataIDTitle, "TIT2", "title"},
    {"no-tags.aiff", "Track Number", "3/9", kMediaFileDataIDTrackNumber, "TRCK", "track"},
    {"no-tags.wav", "Comment", "x", kMediaFileDataIDComment, "COMM", "comment"},
    {"no-tags.wav", "Year", "2001", kMediaFileDataIDYear, "TDRC", "date"},
};

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

void PrintTo(const Removal &row, std::ostream *out) { *out << row.fixture << " --remove " << row.name; }

// The getter's answer to a presence test, by the ID's own accessor, read as kestrabel-tag reads.
MediaFileStatus presence(const std::string &path, MediaFileDataID id)
{
    OpenFile file(path, kMediaFileFlagInterop);
    if (file.status())
        return file.status();
    if (MediaFileGetDataIDInfo(id)->valueType == 'D')
        return MediaFileGetData(file.ref(), id, nullptr, nullptr);
    return MediaFileGetString(file.ref(), id, nullptr);
}

class RemoveLeavesNoTrace : public ::testing::TestWithParam<Removal> {};

TEST_P(RemoveLeavesNoTrace, GetterMutagenAndFfprobe)
{
    const Removal &row = GetParam();
    TempDir dir;
    const std::string copy = dir.copyFixture(row.fixture);
    const std::string cli = shellQuote(cliPath()) + " ";
    std::string output;
    if (*row.setFirst) {
        const std::string value = std::string(row.name) + "=" + row.setFirst;
        ASSERT_EQ(runCommand(cli + "set -t " + shellQuote(value) + " " + shellQuote(copy), &output, true), 0) << output;
    }
    ASSERT_EQ(presence(copy, row.id), 0) << "the value must be there before";
    ASSERT_EQ(runCommand(cli + "set --remove " + shellQuote(row.name) + " " + shellQuote(copy), &output, true), 0) << output;
    EXPECT_NE(presence(copy, row.id), 0) << "our getter";
    if (*row.mutagenKey) {
        if (!haveTool("/usr/bin/python3") || runCommand("/usr/bin/python3 -c 'import mutagen'") != 0)
            GTEST_SKIP() << "mutagen (python3-mutagen) is not installed";
        ASSERT_EQ(runCommand("/usr/bin/python3 -c 'import mutagen,sys; m=mutagen.File(sys.argv[1]); "
                             "print(\"\\n\".join(m.tags.keys()) if m.tags else \"\")' " + shellQuote(copy), &output), 0);
        std::istringstream keys(output);
        for (std::string key; std::getline(keys, key);)
            EXPECT_NE(lower(key).rfind(lower(row.mutagenKey), 0), 0u) << "mutagen still lists " << key;
    }
    if (*row.ffprobeKey) {
        if (!haveTool("ffprobe"))
            GTEST_SKIP() << "ffprobe is not installed";
        ASSERT_EQ(runCommand("ffprobe -v error -show_entries format_tags:stream_disposition=attached_pic "
                             "-of flat " + shellQuote(copy), &output), 0);
        std::istringstream lines(lower(output));
        for (std::string line; std::getline(lines, line);) {
            if (std::string(row.ffprobeKey) == "attached_pic")
                EXPECT_EQ(line.find("attached_pic=1"), std::string::npos) << line;
            else
                EXPECT_EQ(line.find(".tags." + std::string(row.ffprobeKey) + "="), std::string::npos) << line;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, RemoveLeavesNoTrace, ::testing::ValuesIn(kRemovals), [](const auto &info) {
    std::string name = std::to_string(info.index) + "_";
    for (const char *c = info.param.fixture; *c && *c != '.'; ++c)
        if (std::isalnum(static_cast<unsigned char>(*c)))
            name += *c;
    for (const char *c = info.param.name; *c; ++c)
        if (std::isalnum(static_cast<unsigned char>(*c)))
            name += *c;
    return name;
});

// Every kind a value can be written to has rows: a kind without one could keep traces unseen.
TEST(RemoveLeavesNoTrace, EveryWritableKindHasRows)
{
    std::set<MediaFileType> covered;
    for (const Removal &row : kRemovals) {
        MediaFileType kind = kMediaFileTypeUnsupported;
        ASSERT_EQ(MediaFileGetTypeForPath(fixturePath(row.fixture).c_str(), &kind), 0) << row.fixture;
        covered.insert(kind);
    }
    const std::set<MediaFileType> writable = {kMediaFileTypeMP3, kMediaFileTypeMP4, kMediaFileTypeAIFF,
                                              kMediaFileTypeOgg, kMediaFileTypeFLAC, kMediaFileTypeWAVE};
    EXPECT_EQ(covered, writable);
}

} // namespace

// Qt Gui and D-Bus are loaded only by the commands that use them, so that the others start fast.
TEST(Cli, OnlyTheQtCommandsLoadQt)
{
    struct Case {
        const char *arguments;
        bool loadsQt;
    };
    const Case cases[] = {
        {"show --json {F}", false},
        {"get Title {F}", false},
        {"set -t Title=x {F}", false},
#ifdef KESTRABEL_CLI_OBJECTS
        {"artwork --overwrite -o {O} {F}", true},
        {"set --artwork {I} {F}", true},
#endif
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.arguments);
        TempDir dir;
        std::string file = dir.file("cover.m4a");
        std::filesystem::copy_file(fixturePath("cover.m4a"), file);
        std::string arguments = c.arguments;
        auto put = [&](const std::string &slot, const std::string &value) {
            if (size_t at = arguments.find(slot); at != std::string::npos)
                arguments.replace(at, slot.size(), shellQuote(value));
        };
        put("{O}", dir.file("out.jpg"));
        put("{I}", fixturePath("escn-cover.jpg"));
        put("{F}", file);
        std::string output;
        ASSERT_EQ(runCommand("LD_DEBUG=files " + shellQuote(cliPath()) + " " + arguments, &output, true), 0) << output;
        EXPECT_EQ(output.find("libQt6Gui") != std::string::npos, c.loadsQt);
    }
}
