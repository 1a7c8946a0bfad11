#include "util/ByteCursor.h"
#include "util/Pack.h"

#include <gtest/gtest.h>

using namespace kestrabel::util;

namespace {

std::span<const uint8_t> bytesOf(const char *text, size_t n) { return {reinterpret_cast<const uint8_t *>(text), n}; }

} // namespace

TEST(Pack, EveryLetterAndBlanksBetweenGroups)
{
    std::vector<uint8_t> out;
    ASSERT_EQ(pack(&out, "n nnnnn bbb", {bytesOf("A", 1), bytesOf("BC", 2), bytesOf("", 0), bytesOf("D", 1), bytesOf("", 0),
                                         bytesOf("EF", 2), int64_t(1), int64_t(2), int64_t(0x1FF)}),
              0);
    EXPECT_EQ(out, (std::vector<uint8_t>{'A', 'B', 'C', 'D', 'E', 'F', 1, 2, 0xFF}));

    ASSERT_EQ(pack(&out, "hw i i s", {int64_t(0x1234), int64_t(0xDEADBEEF), int64_t(3), int64_t(0xABCDEF), int64_t(7),
                                      int64_t(1), std::string_view("hi")}),
              0);
    EXPECT_EQ(out, (std::vector<uint8_t>{0x12, 0x34, 0xDE, 0xAD, 0xBE, 0xEF, 0xAB, 0xCD, 0xEF, 'h', 'i', 0}))
        << "an 'i' of width 7 writes nothing";
}

TEST(Pack, SizeQueryMatchesAndUnknownLetterFailsBoth)
{
    size_t size = 0;
    ASSERT_EQ(packedSize("b h w s n", {int64_t(0), int64_t(0), int64_t(0), std::string_view("abc"), bytesOf("xyz", 3)}, &size), 0);
    EXPECT_EQ(size, 1u + 2 + 4 + 4 + 3);
    EXPECT_EQ(packedSize("bx", {int64_t(1), int64_t(2)}, &size), kMediaFileErrUnsupported);
    std::vector<uint8_t> out;
    EXPECT_EQ(pack(&out, "bx", {int64_t(1), int64_t(2)}), kMediaFileErrUnsupported);
}

TEST(Pack, WrongArgumentIsAStatusNotACrash)
{
    std::vector<uint8_t> out;
    EXPECT_EQ(pack(&out, "s", {int64_t(1)}), kMediaFileErrParam);
    EXPECT_EQ(pack(&out, "bb", {int64_t(1)}), kMediaFileErrParam);
    uint8_t small[2];
    EXPECT_EQ(pack(std::span<uint8_t>(small), "w", {int64_t(1)}), kMediaFileErrTooSmall);
}

TEST(Unpack, ReadsWhatPackWrote)
{
    std::vector<uint8_t> packed;
    ASSERT_EQ(pack(&packed, "bhw i s n", {int64_t(0xAB), int64_t(0x1234), int64_t(0x89ABCDEF), int64_t(3), int64_t(0x010203),
                                          std::string_view("text"), bytesOf("\x00\x01", 2)}),
              0);
    uint8_t b = 0;
    uint16_t h = 0;
    uint32_t w = 0, i = 0;
    std::string s;
    std::vector<uint8_t> n(2);
    ASSERT_EQ(unpack(packed, "bhw i s n", {&b, &h, &w, WidthArg{3}, &i, &s, &n}), 0);
    EXPECT_EQ(b, 0xAB);
    EXPECT_EQ(h, 0x1234);
    EXPECT_EQ(w, 0x89ABCDEFu);
    EXPECT_EQ(i, 0x010203u);
    EXPECT_EQ(s, "text");
    EXPECT_EQ(n, (std::vector<uint8_t>{0, 1}));
}

TEST(Unpack, FieldPastTheEndAndUnknownLetter)
{
    const uint8_t three[3] = {1, 2, 3};
    uint32_t w = 0;
    EXPECT_EQ(unpack(three, "w", {&w}), kMediaFileErrShortHeader);
    EXPECT_EQ(w, 0u);
    std::string s;
    EXPECT_EQ(unpack(three, "s", {&s}), kMediaFileErrShortHeader) << "no terminating NUL";
    uint8_t b;
    EXPECT_EQ(unpack(three, "q", {&b}), kMediaFileErrUnsupported);
}

TEST(BigEndian, WidthsOneToFourOnly)
{
    uint8_t buffer[5] = {9, 9, 9, 9, 9};
    EXPECT_EQ(putBigEndian(buffer, 3, 0x11223344), 3);
    EXPECT_EQ(buffer[0], 0x22);
    EXPECT_EQ(buffer[2], 0x44);
    EXPECT_EQ(buffer[3], 9);
    EXPECT_EQ(putBigEndian(buffer, 5, 1), 5);
    EXPECT_EQ(buffer[4], 9);
    EXPECT_EQ(getBigEndian(buffer, 3), 0x223344u);
    EXPECT_EQ(getBigEndian(buffer, 0), 0u);
}

TEST(ByteReader, ChecksEveryReadAndStaysPutOnFailure)
{
    const uint8_t data[] = {0x00, 0x00, 0x02, 0x01, 0x80, 0x12, 0x34};
    ByteReader reader(data);
    uint32_t value = 0;
    ASSERT_TRUE(reader.synchsafe32(value));
    EXPECT_EQ(value, 0x101u);
    EXPECT_FALSE(reader.synchsafe32(value)) << "0x80 in a synchsafe byte";
    EXPECT_EQ(reader.position(), 4u);
    uint64_t wide = 0;
    EXPECT_FALSE(reader.le64(wide));
    EXPECT_EQ(reader.position(), 4u);
    std::span<const uint8_t> run;
    EXPECT_FALSE(reader.bytes(4, run));
    EXPECT_TRUE(reader.bytes(3, run));
    EXPECT_TRUE(reader.atEnd());
    EXPECT_FALSE(reader.skip(1));
}
