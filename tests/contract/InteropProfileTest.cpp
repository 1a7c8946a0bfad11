// Files as other tools write them, edited once by kestrabel-tag: every value and picture the
// peers (mutagen, ffprobe, ffmpeg and, where its headers are installed, TagLib) read before is read the same after, apart from the field
// edited, which they read as set; the decoded audio stays the same. Each row runs twice: with
// the interop profile (the default) and with --classic, whose outcome the row documents.
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <sstream>

using namespace kestrabel::test;

namespace {

// What one edit did to a file, in the eyes of the peers and of our own reader.
enum class Outcome {
    Keeps,   // everything read before is read after; the edit is seen by every peer
    Loses,   // the save went through, but a value was lost, changed, hidden or not seen
    Refuses, // the open or the save failed and the file is byte for byte as it was
};

const char *outcomeName(Outcome outcome)
{
    return outcome == Outcome::Keeps ? "keeps" : outcome == Outcome::Loses ? "loses" : "refuses";
}

struct InteropRow {
    const char *name;
    const char *fixture; // under tests/data
    std::string set;     // the -t argument of kestrabel-tag set
    // Peer lines the edit changes, as the dump prints them after it ("mutagen:TIT2=New").
    std::vector<std::string> changed;
    // What our show prints before the edit: "Name=value", or "Name=" for a value that must be absent.
    std::vector<std::string> shown;
    Outcome interop;
    Outcome classic;
};

void PrintTo(const InteropRow &row, std::ostream *out) { *out << row.name; }

const std::string kLongTitle(256, 'T');

// MP3 files as ffmpeg and mutagen write them.
const std::vector<InteropRow> kMp3Rows = {
    {"V24SynchsafeSizes", "interop/v24-cover-sizes.mp3", "Title=" + std::string(kLongTitle),
     {"mutagen:TIT2=" + kLongTitle, "ffprobe:format.title=" + kLongTitle, "taglib:TITLE=" + kLongTitle}, {}, Outcome::Keeps, Outcome::Loses},
    {"V24ExtendedHeader", "interop/v24-ext-header.mp3", "Album=New Album",
     {"mutagen:TALB=New Album", "ffprobe:format.album=New Album", "taglib:ALBUM=New Album"}, {"Title=Behind an extended header", "Artist=Artist"},
     Outcome::Keeps, Outcome::Refuses},
    {"TsseIsNotIsrc", "interop/ffmpeg-tsse.mp3", "ISRC=USKES2600001",
     {"mutagen:TSRC=USKES2600001", "ffprobe:format.tsrc=USKES2600001", "taglib:ISRC=USKES2600001"}, {"ISRC="}, Outcome::Keeps, Outcome::Loses},
    {"V24BareNumberGenre", "interop/v24-bare-genre.mp3", "Title=New Title",
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Genre=Pop"}, Outcome::Keeps, Outcome::Loses},
    {"CommentWithoutDescription", "interop/itunes-comments.mp3", "Comment=New comment",
     {"mutagen:COMM::eng=New comment", "ffprobe:format.comment=New comment", "taglib:COMMENT=New comment"}, {"Comment=The real comment"},
     Outcome::Keeps, Outcome::Loses},
};

// AIFF and WAVE files as mutagen, ffmpeg and sox write them.
const std::vector<InteropRow> kIffRows = {
    {"Id3ChunkKeepsVersion", "interop/aiff-v24-year.aiff", "Title=New Title",
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Year=2021", "Sort Order=Sort Artist", "ISRC="},
     Outcome::Keeps, Outcome::Loses},
    {"NewId3ChunkIsV23", "no-tags.wav", "Title=New Title",
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title", "mutagen:id3-version=2.3", "chunks:ids=fmt ,data,ID3 "},
     {}, Outcome::Keeps, Outcome::Loses},
    {"LowercaseId3Chunk", "id3-lowercase.wav", "Title=New Title",
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Title=lower case chunk"}, Outcome::Keeps,
     Outcome::Loses},
    // FFmpeg's WAVE reader shows the bext fields and not the ID3 chunk of a file that has both.
    {"Bext602Bytes", "bext-short.wav", "Title=New Title",
     {"mutagen:TIT2=New Title", "taglib:TITLE=New Title", "mutagen:id3-version=2.3", "chunks:ids=fmt ,bext,data,ID3 "},
     {"BWF Description=No history"}, Outcome::Keeps, Outcome::Refuses},
    {"AiffLastPadMissing", "pad-missing.aiff", "Title=New Title",
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Title=Middle"}, Outcome::Keeps,
     Outcome::Refuses},
    {"WaveStrayBytesAtEnd", "interop/stray-bytes.wav", "Title=New Title",
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title", "mutagen:id3-version=2.3", "chunks:ids=fmt ,data,ID3 "},
     {}, Outcome::Keeps, Outcome::Refuses},
};

// MP4 files as ffmpeg and mutagen write them.
const std::vector<InteropRow> kMp4Rows = {
    {"Co64Corrected", "co64-faststart.m4a", "Title=" + std::string(kLongTitle),
     {"mutagen:©nam=[" + kLongTitle + "]", "ffprobe:format.title=" + kLongTitle, "taglib:TITLE=" + kLongTitle}, {}, Outcome::Keeps, Outcome::Loses},
    {"FragmentOffsetsCorrected", "interop/fragmented.m4a", "Title=" + std::string(kLongTitle),
     {"mutagen:©nam=[" + kLongTitle + "]", "ffprobe:format.title=" + kLongTitle, "taglib:TITLE=" + kLongTitle}, {}, Outcome::Keeps, Outcome::Loses},
    {"FragmentUnreadableRefused", "interop/fragment-bad-tfhd.m4a", "Title=" + std::string(kLongTitle), {}, {},
     Outcome::Refuses, Outcome::Loses},
    {"LargeSizeAfterType", "interop/mdat-64bit.m4a", "Title=New Title",
     {"mutagen:©nam=[New Title]", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Title=Large mdat"}, Outcome::Keeps,
     Outcome::Refuses},
    {"CreatedMetaHasHdlr", "no-udta-faststart.m4a", "Title=New Title",
     {"mutagen:©nam=[New Title]", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {}, Outcome::Keeps, Outcome::Loses},
    {"FirstDataWins", "interop/two-artists.m4a", "Artist=New Artist",
     {"mutagen:©ART=[New Artist]", "ffprobe:format.artist=New Artist", "taglib:ARTIST=New Artist"}, {"Artist=First"}, Outcome::Keeps,
     Outcome::Loses},
    {"FirstCoverIsCoverArt", "interop/two-covers.m4a", "Title=New Title",
     {"mutagen:©nam=[New Title]", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Cover Art=JPEG image, 512 bytes"},
     Outcome::Keeps, Outcome::Loses},
};

enum class Profile { Interop, Classic };

using Dump = std::map<std::string, std::string>;

Dump peerDump(const std::string &path)
{
    std::string output;
    runCommand(shellQuote(KESTRABEL_PEER_DUMP) + " " + shellQuote(path) + " " + shellQuote(KESTRABEL_TAGLIB_PEER), &output);
    Dump dump;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        size_t equals = line.find('=');
        if (equals != std::string::npos)
            dump[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return dump;
}

// "Name=value" for every line our show prints.
std::map<std::string, std::string> ourValues(const std::string &path, Profile profile)
{
    std::string output;
    runCommand(shellQuote(cliPath()) + " show" + (profile == Profile::Classic ? " --classic " : " ") + shellQuote(path), &output);
    std::map<std::string, std::string> values;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        size_t colon = line.find(" : ");
        if (line.rfind("  ", 0) != 0 || colon == std::string::npos)
            continue;
        std::string name = line.substr(2, colon - 2);
        name.erase(name.find_last_not_of(' ') + 1);
        values[name] = line.substr(colon + 3);
    }
    return values;
}

class InteropProfile : public ::testing::TestWithParam<std::tuple<InteropRow, Profile>> {};

// Runs the row and returns what happened; the differences found go to *problems.
Outcome runRow(const InteropRow &row, Profile profile, const std::string &path, std::vector<std::string> *problems)
{
    const std::vector<uint8_t> original = readFile(path);
    const Dump before = peerDump(path);
    const std::map<std::string, std::string> ours = ourValues(path, profile);
    for (const std::string &expected : row.shown) {
        const size_t equals = expected.find('=');
        const std::string name = expected.substr(0, equals);
        const std::string value = expected.substr(equals + 1);
        auto found = ours.find(name);
        if (value.empty() ? found != ours.end() : found == ours.end() || found->second != value)
            problems->push_back("we show " + name + " as '" + (found == ours.end() ? "(absent)" : found->second) +
                                "', not '" + (value.empty() ? "(absent)" : value) + "'");
    }

    std::string output;
    const std::string command = shellQuote(cliPath()) + " set" + (profile == Profile::Classic ? " --classic" : "") +
                                " -t " + shellQuote(row.set) + " " + shellQuote(path);
    if (runCommand(command, &output, true) != 0) {
        problems->push_back("set failed: " + output);
        if (readFile(path) != original) {
            problems->push_back("a refused save changed the file");
            return Outcome::Loses;
        }
        return Outcome::Refuses;
    }

    const Dump after = peerDump(path);
    std::map<std::string, std::string> wanted;
    for (const std::string &line : row.changed)
        if (*KESTRABEL_TAGLIB_PEER || line.rfind("taglib:", 0) != 0)
            wanted[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
    for (const auto &[key, value] : before) {
        if (key.ends_with(":error") || wanted.count(key))
            continue;
        auto found = after.find(key);
        if (found == after.end() || found->second != value)
            problems->push_back(key + " was '" + value + "', is now '" + (found == after.end() ? "(absent)" : found->second) + "'");
    }
    for (const auto &[key, value] : wanted) {
        auto found = after.find(key);
        if (found == after.end() || found->second != value)
            problems->push_back(key + " should read '" + value + "', reads '" + (found == after.end() ? "(absent)" : found->second) + "'");
    }
    for (const auto &[key, value] : after)
        if (key.ends_with(":error") && !before.count(key))
            problems->push_back(key + " after the edit: " + value);
    return problems->empty() ? Outcome::Keeps : Outcome::Loses;
}

} // namespace

TEST_P(InteropProfile, OneEditKeepsWhatPeersRead)
{
    const auto &[row, profile] = GetParam();
    if (!haveTool("ffprobe") || !haveTool("ffmpeg") || runCommand("/usr/bin/python3 -c 'import mutagen'") != 0)
        GTEST_SKIP() << "needs ffmpeg, ffprobe and mutagen for /usr/bin/python3";
    if (!std::filesystem::exists(fixturePath(row.fixture)))
        GTEST_SKIP() << "no fixture " << row.fixture << " (tests/data/make-interop.sh)";
    TempDir dir;
    const std::string name = row.fixture;
    const std::string path = dir.copyFixture(row.fixture, "work" + name.substr(name.rfind('.')));
    std::vector<std::string> problems;
    const Outcome outcome = runRow(row, profile, path, &problems);
    const Outcome expected = profile == Profile::Interop ? row.interop : row.classic;
    std::string details;
    for (const std::string &problem : problems)
        details += "\n  " + problem;
    EXPECT_EQ(outcomeName(outcome), std::string(outcomeName(expected))) << details;
    // What the classic rules did to the row, for the record.
    if (profile == Profile::Classic && outcome == expected)
        std::cout << "classic " << outcomeName(outcome) << ":" << details << "\n";
}

namespace {

std::string rowName(const ::testing::TestParamInfo<std::tuple<InteropRow, Profile>> &info)
{
    return std::string(std::get<0>(info.param).name) + (std::get<1>(info.param) == Profile::Classic ? "_Classic" : "_Interop");
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Mp3, InteropProfile,
                         ::testing::Combine(::testing::ValuesIn(kMp3Rows), ::testing::Values(Profile::Interop, Profile::Classic)),
                         rowName);
INSTANTIATE_TEST_SUITE_P(Iff, InteropProfile,
                         ::testing::Combine(::testing::ValuesIn(kIffRows), ::testing::Values(Profile::Interop, Profile::Classic)),
                         rowName);
INSTANTIATE_TEST_SUITE_P(Mp4, InteropProfile,
                         ::testing::Combine(::testing::ValuesIn(kMp4Rows), ::testing::Values(Profile::Interop, Profile::Classic)),
                         rowName);
