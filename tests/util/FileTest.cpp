#include "TestSupport.h"
#include "util/File.h"
#include "util/Strings.h"

#include <gtest/gtest.h>
#include <numeric>

using namespace kestrabel;
using namespace kestrabel::util;

namespace {

std::vector<uint8_t> sequence(size_t n)
{
    std::vector<uint8_t> bytes(n);
    std::iota(bytes.begin(), bytes.end(), uint8_t(0));
    return bytes;
}

} // namespace

TEST(MoveTail, GrowingOpensAGapAndKeepsTheTail)
{
    test::TempDir dir;
    std::string path = dir.file("f.bin");
    auto original = sequence(1000);
    test::writeFile(path, original);
    File file;
    ASSERT_EQ(File::openReadWrite(path, &file), 0);
    ASSERT_EQ(moveTail(file, 100, 50), 0);
    file.close();
    auto moved = test::readFile(path);
    ASSERT_EQ(moved.size(), 1050u);
    EXPECT_TRUE(std::equal(original.begin(), original.begin() + 100, moved.begin()));
    EXPECT_TRUE(std::equal(original.begin() + 100, original.end(), moved.begin() + 150));
}

TEST(MoveTail, ShrinkingClosesTheGapBeforeTheOffset)
{
    test::TempDir dir;
    std::string path = dir.file("f.bin");
    auto original = sequence(1000);
    test::writeFile(path, original);
    File file;
    ASSERT_EQ(File::openReadWrite(path, &file), 0);
    ASSERT_EQ(moveTail(file, 300, -200), 0);
    file.close();
    auto moved = test::readFile(path);
    ASSERT_EQ(moved.size(), 800u);
    EXPECT_TRUE(std::equal(original.begin(), original.begin() + 100, moved.begin()));
    EXPECT_TRUE(std::equal(original.begin() + 300, original.end(), moved.begin() + 100));
}

TEST(MoveTail, EdgeCases)
{
    test::TempDir dir;
    std::string path = dir.file("f.bin");
    test::writeFile(path, sequence(100));
    File file;
    ASSERT_EQ(File::openReadWrite(path, &file), 0);
    EXPECT_EQ(moveTail(file, 10, 0), 0);
    EXPECT_EQ(moveTail(file, 10, -20), kMediaFileErrTell) << "distance larger than the offset";
    EXPECT_EQ(moveTail(file, 200, 5), kMediaFileErrTell) << "offset beyond the end";
    ASSERT_EQ(moveTail(file, -1, 28), 0) << "negative offset: the end of the file, an empty tail";
    uint64_t size = 0;
    ASSERT_EQ(fileSize(file, &size), 0);
    EXPECT_EQ(size, 128u);
    ASSERT_EQ(truncateFile(file, 64), 0);
    ASSERT_EQ(fileSize(file, &size), 0);
    EXPECT_EQ(size, 64u);
}

TEST(File, ReadOnlyOpenAndShortReads)
{
    test::TempDir dir;
    std::string path = dir.file("f.bin");
    test::writeFile(path, sequence(10));
    File file;
    ASSERT_EQ(File::openRead(path, &file), 0);
    uint8_t buffer[20];
    EXPECT_EQ(file.readAt(5, std::span<uint8_t>(buffer, 10)), kMediaFileErrShortRead);
    std::vector<uint8_t> some;
    ASSERT_EQ(file.readUpTo(5, 100, &some), 0);
    EXPECT_EQ(some.size(), 5u);
    EXPECT_EQ(File::openRead(dir.file("missing"), &file), ENOENT);
    EXPECT_EQ(File::openRead(dir.path().string(), &file), EISDIR);
}

TEST(Strings, ExtensionRules)
{
    EXPECT_EQ(extension("Track 1.5"), "");
    EXPECT_EQ(extension("Vol. 2"), "");
    EXPECT_EQ(extension("song.MP3"), "MP3");
    EXPECT_EQ(extension("/no/dot/here"), "");
    EXPECT_TRUE(hasExtension("a.b.Flac", "flac"));
    EXPECT_TRUE(hasExtension("Track 1.5", "5")) << "no digit rule in hasExtension";
    EXPECT_EQ(cleanFilename("/x/Track 1.5"), "Track 1.5");
    EXPECT_EQ(cleanFilename("/x/song.mp3"), "song");
    EXPECT_EQ(cleanFilename("/x/.hidden"), "");
}

TEST(Strings, CaselessCompare)
{
    EXPECT_EQ(compareCaseless("MP3", "mp3"), 0);
    EXPECT_EQ(compareCaseless("abc", "abd"), -1);
    EXPECT_EQ(compareCaseless("abd", "abc"), 1);
    EXPECT_EQ(compareCaseless("ab", "abc"), -1);
    EXPECT_EQ(boundedLength("abc\0def", 10), 3u);
    EXPECT_EQ(boundedLength("abcdef", 4), 4u);
    const uint16_t units[] = {1, 2, 0, 4};
    EXPECT_EQ(boundedLength16(units, 4), 2u);
}

TEST(Strings, PathComponents)
{
    EXPECT_EQ(lastComponent("/a/b/song.mp3/"), "song.mp3");
    std::string_view parent;
    ASSERT_EQ(parentComponent("/Music/Artist/Album/song.mp3", 1, &parent), 0);
    EXPECT_EQ(parent, "Album");
    ASSERT_EQ(parentComponent("/Music/Artist/Album/song.mp3", 3, &parent), 0);
    EXPECT_EQ(parent, "Music");
    EXPECT_EQ(parentComponent("/Music/Artist/Album/song.mp3", 4, &parent), kMediaFileErrNotFound);
    EXPECT_EQ(parentComponent("song.mp3", 1, &parent), kMediaFileErrNotFound);
    ASSERT_EQ(parentComponent("rel/song.mp3", 1, &parent), 0);
    EXPECT_EQ(parent, "rel");
}

TEST(CachedReader, SameAnswersAsTheFileWithFewerReads)
{
    test::TempDir dir;
    std::string path = dir.file("f.bin");
    auto original = sequence(200);
    test::writeFile(path, original);
    File file;
    ASSERT_EQ(File::openRead(path, &file), 0);
    CachedReader reader(file, 200, 64);
    uint8_t four[4];
    ASSERT_EQ(reader.readAt(10, four), 0);
    EXPECT_EQ(four[0], 10);
    ASSERT_EQ(reader.readAt(70, four), 0) << "outside the first block: refilled";
    EXPECT_EQ(four[3], 73);
    std::vector<uint8_t> big(100);
    ASSERT_EQ(reader.readAt(50, big), 0) << "larger than a block: read directly";
    EXPECT_EQ(big[99], 149);
    EXPECT_EQ(reader.readAt(198, four), kMediaFileErrShortRead);
    EXPECT_EQ(reader.readAt(200, four), kMediaFileErrShortRead);
    std::vector<uint8_t> some;
    ASSERT_EQ(reader.readUpTo(190, 32, &some), 0);
    EXPECT_EQ(some.size(), 10u);
    ASSERT_EQ(reader.readUpTo(500, 32, &some), 0);
    EXPECT_TRUE(some.empty());
}
