// What we write, mutagen and ffprobe read; what they write, we read.
#include "MP4TestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

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

bool contains(const std::string &haystack, const std::string &needle) { return haystack.find(needle) != std::string::npos; }

} // namespace

TEST(Mp4Interop, MutagenReadsWhatWeWrite)
{
    if (!haveMutagen())
        GTEST_SKIP() << "mutagen is not installed for /usr/bin/python3";
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.m4a");
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), kMediaFileNoErr);
        MediaFileRef ref = file.ref();
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDTitle, "Tïtle ♪"), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDArtist, "Artist"), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDBandOrOrchestra, "Album Artist"), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDEncodedBy, "Encoder"), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDLyrics, "one\ntwo"), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDGenre, "Jazz"), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDShow, "Show"), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDYear, 1999), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDTrackNumber, 7), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDTotalTracks, 12), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDDiskNumber, 2), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDTotalDisks, 3), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDBPM, 128), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDCompilation, 1), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDSeason, 5), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDFileKind, 10), 0);
        ASSERT_EQ(MediaFileSetData(ref, kMediaFileDataIDArtwork, "\xFF\xD8\xFF\xD9", 4), 0);
        ASSERT_EQ(MediaFileUpdate(ref, 0), kMediaFileNoErr);
    }
    int status = 0;
    std::string tags = runMutagen(kDumpTags, path, &status);
    ASSERT_EQ(status, 0) << tags;
    EXPECT_TRUE(contains(tags, "'\\xa9nam' ['T\\xeftle \\u266a']")) << tags;
    EXPECT_TRUE(contains(tags, "'\\xa9ART' ['Artist']")) << tags;
    EXPECT_TRUE(contains(tags, "'aART' ['Album Artist']")) << tags;
    EXPECT_TRUE(contains(tags, "'\\xa9too' ['Encoder']")) << tags;
    EXPECT_TRUE(contains(tags, "'\\xa9lyr' ['one\\r\\ntwo']")) << tags;
    EXPECT_TRUE(contains(tags, "'\\xa9gen' ['Jazz']")) << "mutagen turns gnre into its name: " << tags;
    EXPECT_TRUE(contains(tags, "'\\xa9day' ['1999']")) << tags;
    EXPECT_TRUE(contains(tags, "'trkn' [(7, 12)]")) << tags;
    EXPECT_TRUE(contains(tags, "'disk' [(2, 3)]")) << tags;
    EXPECT_TRUE(contains(tags, "'tmpo' [128]")) << tags;
    EXPECT_TRUE(contains(tags, "'cpil' True")) << tags;
    EXPECT_TRUE(contains(tags, "'tvsn' [5]")) << tags;
    EXPECT_TRUE(contains(tags, "'stik' [10]")) << tags;
    EXPECT_TRUE(contains(tags, "'tvsh' ['Show']")) << tags;
    EXPECT_TRUE(contains(tags, "'covr' [('ffd8ffd9', 13)]")) << tags;
}

TEST(Mp4Interop, FfprobeReadsWhatWeWrite)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffprobe is not installed";
    TempDir dir;
    std::string path = dir.copyFixture("tagged-faststart.m4a");
    {
        OpenFile file(path);
        MediaFileRef ref = file.ref();
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDTitle, "Nouveau titre"), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDGenre, "Trance"), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDEncodedBy, "Kestrabel"), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDEpisode, "E2"), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDTrackNumber, 9), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDTotalDisks, 4), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDYear, 1987), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDSeason, 6), 0);
        ASSERT_EQ(MediaFileUpdate(ref, 0), kMediaFileNoErr);
    }
    std::string tags = probedTags(path);
    for (const char *expected : {"TAG:title=Nouveau titre", "TAG:genre=Trance", "TAG:encoder=Kestrabel", "TAG:episode_id=E2",
                                 "TAG:track=9/12", "TAG:disc=1/4", "TAG:date=1987", "TAG:season_number=6",
                                 "TAG:artist=Test Artist"})
        EXPECT_TRUE(contains(tags, expected)) << expected << "\n" << tags;
}

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
t["\xa9alb"] = ["Album"]
t["\xa9wrt"] = ["Writer"]
t["\xa9cmt"] = ["Comment"]
t["\xa9grp"] = ["Grouping"]
t["\xa9too"] = ["Encoder"]
t["\xa9gen"] = ["Not A Standard Genre"]
t["\xa9lyr"] = ["a\r\nb"]
t["\xa9day"] = ["2004-05-06"]
t["desc"] = ["Description"]
t["tvnn"] = ["Network"]
t["tven"] = ["Episode"]
t["trkn"] = [(4, 10)]
t["disk"] = [(1, 2)]
t["tmpo"] = [90]
t["cpil"] = True
t["tvsn"] = [3]
t["stik"] = [9]
t["covr"] = [MP4Cover(b"\x89PNG\r\n\x1a\n", imageformat=MP4Cover.FORMAT_PNG)]
f.save()
)",
                                    path, &status);
    ASSERT_EQ(status, 0) << output;
    OpenFile file(path);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Mutagen été");
    EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "Album");
    EXPECT_EQ(file.string(kMediaFileDataIDComposer), "Writer");
    EXPECT_EQ(file.string(kMediaFileDataIDComment), "Comment");
    EXPECT_EQ(file.string(kMediaFileDataIDGrouping), "Grouping");
    EXPECT_EQ(file.string(kMediaFileDataIDEncodedBy), "Encoder");
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Not A Standard Genre");
    EXPECT_EQ(file.string(kMediaFileDataIDLyrics), "a\nb");
    EXPECT_EQ(file.string(kMediaFileDataIDDescription), "Description");
    EXPECT_EQ(file.string(kMediaFileDataIDNetwork), "Network");
    EXPECT_EQ(file.string(kMediaFileDataIDEpisode), "Episode");
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 2004);
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 4);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 10);
    EXPECT_EQ(file.integer(kMediaFileDataIDDiskNumber), 1);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalDisks), 2) << "mutagen writes disk as 6 bytes";
    EXPECT_EQ(file.integer(kMediaFileDataIDBPM), 90);
    EXPECT_EQ(file.integer(kMediaFileDataIDCompilation), 1);
    EXPECT_EQ(file.integer(kMediaFileDataIDSeason), 3);
    EXPECT_EQ(file.integer(kMediaFileDataIDFileKind), 9);
    EXPECT_EQ(file.data(kMediaFileDataIDArtwork), (std::vector<uint8_t>{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}));
}

// ffmpeg's muxer writes the tags itself here (the stream is copied, not encoded again).
TEST(Mp4Interop, WeReadWhatFfmpegWrites)
{
    if (!haveFfmpeg())
        GTEST_SKIP() << "ffmpeg is not installed";
    TempDir dir;
    std::string path = dir.file("ffmpeg.m4a");
    std::string output;
    ASSERT_EQ(runCommand("ffmpeg -nostdin -v error -i " + shellQuote(fixturePath("no-tags.m4a")) +
                             " -c copy -metadata title='Ünïcödé' -metadata track=2/5 -metadata disc=3 "
                             "-metadata date=2011-03-04 -metadata lyrics='x\ny' -metadata genre=Rock " +
                             shellQuote(path),
                         &output, true),
              0)
        << output;
    OpenFile file(path);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Ünïcödé");
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 2);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 5);
    EXPECT_EQ(file.integer(kMediaFileDataIDDiskNumber), 3);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalDisks), 0);
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 2011);
    EXPECT_EQ(file.string(kMediaFileDataIDLyrics), "x\ny");
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Rock") << "ffmpeg stores even a standard genre as text";
}

// A meta we create has no hdlr (the item layout does not need one); mutagen reads its items.
TEST(Mp4Interop, MutagenReadsItemsUnderACreatedMeta)
{
    if (!haveMutagen())
        GTEST_SKIP() << "mutagen is not installed for /usr/bin/python3";
    TempDir dir;
    std::string path = dir.copyFixture("no-udta-faststart.m4a");
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Created"), 0);
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDTrackNumber, 3), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::string tags = runMutagen(kDumpTags, path);
    EXPECT_TRUE(contains(tags, "'\\xa9nam' ['Created']")) << tags;
    EXPECT_TRUE(contains(tags, "'trkn' [(3, 0)]")) << tags;
    if (haveFfmpeg()) {
        EXPECT_EQ(decodeErrors(path), "");
    }
}
