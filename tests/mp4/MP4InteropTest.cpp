// What we write, mutagen and ffprobe read; what mutagen writes, we read. One table over (tool,
// field); a tool that is missing skips its rows visibly.
#include "MP4TestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

using namespace kestrabel::test;
using namespace kestrabel::test::mp4;

namespace {

// Prints each mutagen key with its value, one per line, in a stable order.
const char kDumpTags[] = R"(
tags = MP4(path).tags or {}
for key in sorted(tags.keys()):
    value = tags[key]
    if key == "covr":
        value = [(bytes(c).hex(), int(c.imageformat)) for c in value]
    print(ascii(key), ascii(value))
)";

struct PeerRow {
    const char *tool;
    MediaFileDataID id;
    const char *value; // set as a number when all digits; artwork as data
    const char *expect;
};

const PeerRow kPeerRows[] = {
    {"mutagen", kMediaFileDataIDTitle, "Tïtle ♪", "'\\xa9nam' ['T\\xeftle \\u266a']"},
    {"mutagen", kMediaFileDataIDArtist, "Artist", "'\\xa9ART' ['Artist']"},
    {"mutagen", kMediaFileDataIDBandOrOrchestra, "Album Artist", "'aART' ['Album Artist']"},
    {"mutagen", kMediaFileDataIDEncodedBy, "Encoder", "'\\xa9too' ['Encoder']"},
    {"mutagen", kMediaFileDataIDLyrics, "one\ntwo", "'\\xa9lyr' ['one\\r\\ntwo']"},
    {"mutagen", kMediaFileDataIDGenre, "Jazz", "'\\xa9gen' ['Jazz']"}, // mutagen names a gnre number
    {"mutagen", kMediaFileDataIDShow, "Show", "'tvsh' ['Show']"},
    {"mutagen", kMediaFileDataIDYear, "1999", "'\\xa9day' ['1999']"},
    {"mutagen", kMediaFileDataIDTrackNumber, "7", "'trkn' [(7, 12)]"},
    {"mutagen", kMediaFileDataIDTotalTracks, "12", "'trkn' [(7, 12)]"},
    {"mutagen", kMediaFileDataIDDiskNumber, "2", "'disk' [(2, 3)]"},
    {"mutagen", kMediaFileDataIDTotalDisks, "3", "'disk' [(2, 3)]"},
    {"mutagen", kMediaFileDataIDBPM, "128", "'tmpo' [128]"},
    {"mutagen", kMediaFileDataIDCompilation, "1", "'cpil' True"},
    {"mutagen", kMediaFileDataIDSeason, "5", "'tvsn' [5]"},
    {"mutagen", kMediaFileDataIDFileKind, "10", "'stik' [10]"},
    {"mutagen", kMediaFileDataIDArtwork, "\xFF\xD8\xFF\xD9", "'covr' [('ffd8ffd9', 13)]"},
    {"ffprobe", kMediaFileDataIDTitle, "Nouveau titre", "TAG:title=Nouveau titre"},
    {"ffprobe", kMediaFileDataIDGenre, "Trance", "TAG:genre=Trance"},
    {"ffprobe", kMediaFileDataIDEncodedBy, "Kestrabel", "TAG:encoder=Kestrabel"},
    {"ffprobe", kMediaFileDataIDEpisode, "E2", "TAG:episode_id=E2"},
    {"ffprobe", kMediaFileDataIDTrackNumber, "9", "TAG:track=9/12"},
    {"ffprobe", kMediaFileDataIDTotalDisks, "4", "TAG:disc=1/4"},
    {"ffprobe", kMediaFileDataIDYear, "1987", "TAG:date=1987"},
    {"ffprobe", kMediaFileDataIDSeason, "6", "TAG:season_number=6"},
};

class Mp4Peer : public ::testing::TestWithParam<std::string> {};

} // namespace

// mutagen reads a meta we create, which has no hdlr; ffprobe reads a file ffmpeg made and we edited.
TEST_P(Mp4Peer, ReadsWhatWeWrite)
{
    const std::string tool = GetParam();
    if (tool == "mutagen" ? !haveMutagen() : !haveFfmpeg())
        GTEST_SKIP() << tool << " is not installed";
    TempDir dir;
    std::string path = dir.copyFixture(tool == "mutagen" ? "no-udta-faststart.m4a" : "tagged-faststart.m4a");
    {
        OpenFile file(path);
        for (const PeerRow &row : kPeerRows) {
            if (row.tool != tool)
                continue;
            std::string value = row.value;
            MediaFileStatus status =
                row.id == kMediaFileDataIDArtwork ? MediaFileSetData(file.ref(), row.id, row.value, value.size())
                : std::all_of(value.begin(), value.end(), ::isdigit) ? MediaFileSetInteger(file.ref(), row.id, std::stoi(value))
                                                                     : MediaFileSetString(file.ref(), row.id, row.value);
            ASSERT_EQ(status, kMediaFileNoErr) << row.id;
        }
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::string out = tool == "mutagen" ? runMutagen(kDumpTags, path) : probedTags(path);
    for (const PeerRow &row : kPeerRows) {
        if (row.tool == tool) {
            EXPECT_NE(out.find(row.expect), std::string::npos) << row.expect << "\n" << out;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Tools, Mp4Peer, ::testing::Values("mutagen", "ffprobe"));

// Where mutagen's layout differs from ours: a six-byte disk, a full date, free genre text, CR LF
// lyrics and a PNG cover.
TEST(Mp4Interop, WeReadWhatMutagenWrites)
{
    if (!haveMutagen())
        GTEST_SKIP() << "mutagen is not installed for /usr/bin/python3";
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.m4a");
    int status = 0;
    std::string output = runMutagen(R"(
f = MP4(path)
t = f.tags
t["\xa9nam"] = ["Mutagen \u00e9t\u00e9"]
t["\xa9gen"] = ["Not A Standard Genre"]
t["\xa9lyr"] = ["a\r\nb"]
t["\xa9day"] = ["2004-05-06"]
t["disk"] = [(1, 2)]
t["cpil"] = True
t["covr"] = [MP4Cover(b"\x89PNG\r\n\x1a\n", imageformat=MP4Cover.FORMAT_PNG)]
f.save()
)",
                                    path, &status);
    ASSERT_EQ(status, 0) << output;
    OpenFile file(path);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Mutagen été");
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Not A Standard Genre");
    EXPECT_EQ(file.string(kMediaFileDataIDLyrics), "a\nb");
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 2004);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalDisks), 2);
    EXPECT_EQ(file.integer(kMediaFileDataIDCompilation), 1);
    EXPECT_EQ(file.data(kMediaFileDataIDArtwork), (std::vector<uint8_t>{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}));
}
