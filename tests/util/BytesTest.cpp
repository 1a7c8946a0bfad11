// The byte and file primitives every handler builds on: pack/unpack, the checked cursor, short
// and cached reads, the name rules.
#include "TestSupport.h"
#include "util/ByteCursor.h"
#include "util/File.h"
#include "util/Pack.h"
#include "util/Strings.h"

#include <gtest/gtest.h>
#include <numeric>

using namespace kestrabel;
using namespace kestrabel::util;
using Bytes = std::vector<uint8_t>;

namespace {

std::span<const uint8_t> bytesOf(const char *text, size_t n) { return {reinterpret_cast<const uint8_t *>(text), n}; }

Bytes sequence(size_t n)
{
    Bytes bytes(n);
    std::iota(bytes.begin(), bytes.end(), uint8_t(0));
    return bytes;
}

} // namespace

TEST(Pack, EveryLetterBothWays)
{
    Bytes out;
    ASSERT_EQ(pack(&out, "n nnnnn bbb", {bytesOf("A", 1), bytesOf("BC", 2), bytesOf("", 0), bytesOf("D", 1), bytesOf("", 0),
                                         bytesOf("EF", 2), int64_t(1), int64_t(2), int64_t(0x1FF)}), 0);
    EXPECT_EQ(out, (Bytes{'A', 'B', 'C', 'D', 'E', 'F', 1, 2, 0xFF}));
    ASSERT_EQ(pack(&out, "hw i i s", {int64_t(0x1234), int64_t(0xDEADBEEF), int64_t(3), int64_t(0xABCDEF), int64_t(7), int64_t(1),
                                      std::string_view("hi")}), 0);
    EXPECT_EQ(out, (Bytes{0x12, 0x34, 0xDE, 0xAD, 0xBE, 0xEF, 0xAB, 0xCD, 0xEF, 'h', 'i', 0})) << "an 'i' of width 7 writes nothing";
    size_t size = 0;
    ASSERT_EQ(packedSize("b h w s n", {int64_t(0), int64_t(0), int64_t(0), std::string_view("abc"), bytesOf("xyz", 3)}, &size), 0);
    EXPECT_EQ(size, 1u + 2 + 4 + 4 + 3);

    ASSERT_EQ(pack(&out, "bhw i s n", {int64_t(0xAB), int64_t(0x1234), int64_t(0x89ABCDEF), int64_t(3), int64_t(0x010203),
                                       std::string_view("text"), bytesOf("\x00\x01", 2)}), 0);
    uint8_t b = 0;
    uint16_t h = 0;
    uint32_t w = 0, i = 0;
    std::string s;
    Bytes n(2);
    ASSERT_EQ(unpack(out, "bhw i s n", {&b, &h, &w, WidthArg{3}, &i, &s, &n}), 0);
    EXPECT_EQ(std::tuple(b, h, w, i, s, n), std::tuple(uint8_t(0xAB), uint16_t(0x1234), 0x89ABCDEFu, 0x010203u, std::string("text"), Bytes{0, 1}));
}

TEST(Pack, BigEndianWidthsAndTheCheckedCursor)
{
    uint8_t buffer[5] = {9, 9, 9, 9, 9};
    EXPECT_EQ(putBigEndian(buffer, 3, 0x11223344), 3);
    EXPECT_EQ(putBigEndian(buffer, 5, 1), 5) << "widths past four write nothing";
    EXPECT_EQ(Bytes(buffer, buffer + 5), (Bytes{0x22, 0x33, 0x44, 9, 9}));
    EXPECT_EQ(std::pair(getBigEndian(buffer, 3), getBigEndian(buffer, 0)), std::pair(0x223344u, 0u));

    const uint8_t data[] = {0x00, 0x00, 0x02, 0x01, 0x80, 0x12, 0x34};
    ByteReader reader(data);
    uint32_t value = 0;
    uint64_t wide = 0;
    uint16_t little = 0, big = 0;
    std::span<const uint8_t> run;
    ASSERT_TRUE(ByteReader(std::span(data + 3, 2)).le16(little) && ByteReader(std::span(data + 3, 2)).be16(big));
    EXPECT_EQ(std::pair(little, big), std::pair(uint16_t(0x8001), uint16_t(0x0180)));
    ASSERT_TRUE(reader.synchsafe32(value));
    EXPECT_EQ(value, 0x101u);
    EXPECT_FALSE(reader.synchsafe32(value)) << "0x80 in a synchsafe byte";
    EXPECT_FALSE(reader.le64(wide) || reader.bytes(4, run));
    EXPECT_EQ(reader.position(), 4u) << "a failed read does not move";
    EXPECT_TRUE(reader.bytes(3, run));
    EXPECT_TRUE(reader.atEnd() && !reader.skip(1));
    Bytes written;
    ByteWriter(written).synchsafe32(0x4000 | 0x81);
    EXPECT_EQ(written, (Bytes{0, 1, 1, 1})) << "seven bits a byte";
}

// Short reads, and the cache: inside a block, across into the next, larger than a block, past the end.
TEST(File, ShortReadsAndTheCache)
{
    test::TempDir dir;
    const Bytes all = sequence(200);
    File file;
    test::writeFile(dir.file("f.bin"), all);
    EXPECT_EQ(File::openRead(dir.file("missing"), &file), ENOENT);
    EXPECT_EQ(File::openRead(dir.path().string(), &file), EISDIR);
    ASSERT_EQ(File::openRead(dir.file("f.bin"), &file), 0);
    uint8_t ten[10];
    EXPECT_EQ(file.readAt(195, ten), kMediaFileErrShortRead);
    Bytes some;
    ASSERT_EQ(file.readUpTo(195, 100, &some), 0);
    EXPECT_EQ(some.size(), 5u);
    CachedReader reader(file, 200, 64);
    for (auto [at, length, status] : {std::tuple{10, 4, 0}, {70, 4, 0}, {60, 8, 0}, {50, 100, 0}, {198, 4, kMediaFileErrShortRead},
                                      {200, 4, kMediaFileErrShortRead}}) {
        Bytes bytes(size_t(length), 0xFF);
        ASSERT_EQ(reader.readAt(uint64_t(at), bytes), status) << at;
        EXPECT_TRUE(status || std::equal(bytes.begin(), bytes.end(), all.begin() + at)) << at;
    }
    ASSERT_EQ(reader.readUpTo(190, 32, &some), 0);
    EXPECT_EQ(some.size(), 10u);
}

TEST(Strings, ExtensionsAndCaselessOrder)
{
    // A dot followed by a digit or a space starts no extension.
    for (auto [path, ext, clean] : {std::tuple{"/x/Track 1.5", "", "Track 1.5"}, {"Vol. 2", "", "Vol. 2"}, {"/x/song.MP3", "MP3", "song"},
                                    {"/no/dot/here", "", "here"}, {"/x/.hidden", "hidden", ""}}) {
        EXPECT_EQ(extension(path), ext) << path;
        EXPECT_EQ(cleanFilename(path), clean) << path;
    }
    EXPECT_TRUE(hasExtension("a.b.Flac", "flac") && hasExtension("Track 1.5", "5")) << "caseless, and no digit rule in hasExtension";
    for (auto [a, b, order] : {std::tuple{"MP3", "mp3", 0}, {"abc", "abd", -1}, {"abd", "abc", 1}, {"ab", "abc", -1}})
        EXPECT_EQ(compareCaseless(a, b), order) << a << " " << b;
}
