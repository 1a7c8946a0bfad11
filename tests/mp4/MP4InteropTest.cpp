// What we write, mutagen and ffprobe read: one table over (tool, field); a tool that is missing skips
// its rows visibly. What peers write, we read: ReadsWhatFfmpegWrote and the contract's interop table.
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;

namespace {

const std::string kPython = "/usr/bin/python3";

// mutagen's keys and values, as ascii() prints them, under Debian's interpreter (the one with mutagen).
const std::string kMutagenDump = kPython + " -c " +
                                 shellQuote("import sys\nfrom mutagen.mp4 import MP4\n"
                                            "for key, value in sorted((MP4(sys.argv[1]).tags or {}).items()):\n"
                                            "    print(ascii(key), ascii([(bytes(c).hex(), int(c.imageformat)) for c in value] if key == 'covr' else value))\n");

const struct PeerRow {
    const char *tool;
    MediaFileDataID id;
    const char *text;   // set as text; null: the number is set
    int32_t number;     // or, for the artwork, the length of the text
    const char *expect; // a line of mutagen's ascii() dump of the key and value, or of ffprobe's tags
} kPeerRows[] = {
    {"mutagen", kMediaFileDataIDTitle, "Tïtle ♪", 0, "'\\xa9nam' ['T\\xeftle \\u266a']"},
    {"mutagen", kMediaFileDataIDBandOrOrchestra, "Album Artist", 0, "'aART' ['Album Artist']"},
    {"mutagen", kMediaFileDataIDLyrics, "one\ntwo", 0, "'\\xa9lyr' ['one\\r\\ntwo']"},
    {"mutagen", kMediaFileDataIDGenre, "Jazz", 0, "'\\xa9gen' ['Jazz']"}, // mutagen names a gnre number
    {"mutagen", kMediaFileDataIDYear, nullptr, 1999, "'\\xa9day' ['1999']"},
    {"mutagen", kMediaFileDataIDTrackNumber, nullptr, 7, "'trkn' [(7, 12)]"},
    {"mutagen", kMediaFileDataIDTotalTracks, nullptr, 12, "'trkn' [(7, 12)]"},
    {"mutagen", kMediaFileDataIDTotalDisks, nullptr, 3, "'disk' [(0, 3)]"},
    {"mutagen", kMediaFileDataIDBPM, nullptr, 128, "'tmpo' [128]"},
    {"mutagen", kMediaFileDataIDCompilation, nullptr, 1, "'cpil' True"},
    {"mutagen", kMediaFileDataIDSeason, nullptr, 5, "'tvsn' [5]"},
    {"mutagen", kMediaFileDataIDFileKind, nullptr, 10, "'stik' [10]"},
    {"mutagen", kMediaFileDataIDArtwork, "\xFF\xD8\xFF\xD9", 4, "'covr' [('ffd8ffd9', 13)]"},
    {"ffprobe", kMediaFileDataIDEpisode, "E2", 0, "TAG:episode_id=E2"},
    {"ffprobe", kMediaFileDataIDTrackNumber, nullptr, 9, "TAG:track=9/12"},
    {"ffprobe", kMediaFileDataIDSeason, nullptr, 6, "TAG:season_number=6"},
};

class Mp4Peer : public ::testing::TestWithParam<std::string> {};

} // namespace

// mutagen reads a meta we create, which has no hdlr; ffprobe reads a file ffmpeg made and we edited.
TEST_P(Mp4Peer, ReadsWhatWeWrite)
{
    const std::string tool = GetParam();
    if (tool == "mutagen" ? runCommand(kPython + " -c 'import mutagen.mp4'") != 0 : !haveTool("ffprobe"))
        GTEST_SKIP() << tool << " is not installed";
    TempDir dir;
    const std::string path = dir.copyFixture(tool == "mutagen" ? "no-udta-faststart.m4a" : "tagged-faststart.m4a");
    {
        OpenFile file(path);
        for (const PeerRow &row : kPeerRows) {
            if (row.tool == tool) {
                ASSERT_EQ(row.id == kMediaFileDataIDArtwork ? MediaFileSetData(file.ref(), row.id, row.text, size_t(row.number))
                          : row.text                         ? MediaFileSetString(file.ref(), row.id, row.text)
                                                             : MediaFileSetInteger(file.ref(), row.id, row.number),
                          kMediaFileNoErr)
                    << row.id;
            }
        }
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::string out;
    runCommand((tool == "mutagen" ? kMutagenDump : "ffprobe -v error -show_entries format_tags -of default=noprint_wrappers=1") + " " + shellQuote(path), &out);
    for (const PeerRow &row : kPeerRows) {
        if (row.tool == tool) {
            EXPECT_NE(out.find(row.expect), std::string::npos) << row.expect << "\n" << out;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Tools, Mp4Peer, ::testing::Values("mutagen", "ffprobe"));
