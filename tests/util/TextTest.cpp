#include "util/Text.h"
#include "util/Zlib.h"

#include <gtest/gtest.h>

using namespace kestrabel::util;

TEST(Latin1, StrictLossyAndInvalidInput)
{
    std::string out;
    ASSERT_EQ(utf8ToLatin1("caf\xC3\xA9", 0, &out), 0);
    EXPECT_EQ(out, "caf\xE9");
    EXPECT_EQ(utf8ToLatin1("\xE2\x82\xAC 5", 0, &out), kMediaFileErrTooSmall) << "the euro sign has no Latin-1 form";
    ASSERT_EQ(utf8ToLatin1("\xE2\x82\xAC 5", kLossyLatin1, &out), 0);
    EXPECT_EQ(out, "? 5");
    EXPECT_EQ(utf8ToLatin1("\xC3", 0, &out), kMediaFileErrTextConversion) << "truncated sequence";
    EXPECT_EQ(utf8ToLatin1("\xC0\x80", 0, &out), kMediaFileErrTextConversion) << "overlong";
    EXPECT_EQ(utf8ToLatin1("\xED\xA0\x80", 0, &out), kMediaFileErrTextConversion) << "surrogate";
    ASSERT_EQ(latin1ToUtf8("\xE9\xFF", &out), 0);
    EXPECT_EQ(out, "\xC3\xA9\xC3\xBF");
}

TEST(Utf16, ThreeModesOut)
{
    std::vector<uint8_t> out;
    ASSERT_EQ(utf8ToUtf16("A\xC3\xA9", 4, &out), 0);
    EXPECT_EQ(out, (std::vector<uint8_t>{0xFF, 0xFE, 'A', 0, 0xE9, 0, 0, 0}));
    ASSERT_EQ(utf8ToUtf16("A", 2, &out), 0);
    EXPECT_EQ(out, (std::vector<uint8_t>{0, 'A', 0, 0}));
    ASSERT_EQ(utf8ToUtf16("A", 0x31, &out), 0) << "only the low four bits choose the form";
    EXPECT_EQ(out, (std::vector<uint8_t>{'A', 0, 0, 0}));
    ASSERT_EQ(utf8ToUtf16("", 4, &out), 0);
    EXPECT_EQ(out, (std::vector<uint8_t>{0xFF, 0xFE, 0, 0}));
    ASSERT_EQ(utf8ToUtf16("\xF0\x9F\x8E\xB5", 2, &out), 0) << "a character outside the BMP";
    EXPECT_EQ(out, (std::vector<uint8_t>{0xD8, 0x3C, 0xDF, 0xB5, 0, 0}));
}

TEST(Utf16, ThreeModesInAndBadInput)
{
    std::string text;
    const uint8_t bigWithMark[] = {0xFE, 0xFF, 0, 'H', 0, 'i'};
    ASSERT_EQ(utf16ToUtf8(bigWithMark, 4, &text), 0);
    EXPECT_EQ(text, "Hi");
    const uint8_t littleWithMark[] = {0xFF, 0xFE, 'H', 0, 0, 0, 'x', 0};
    ASSERT_EQ(utf16ToUtf8(littleWithMark, 4, &text), 0);
    EXPECT_EQ(text, "H") << "stops at the first zero unit";
    const uint8_t markOnly[] = {0xFF, 0xFE};
    ASSERT_EQ(utf16ToUtf8(markOnly, 4, &text), 0);
    EXPECT_EQ(text, "");
    const uint8_t noMark[] = {'H', 0};
    EXPECT_EQ(utf16ToUtf8(noMark, 4, &text), kMediaFileErrBadFrame);
    const uint8_t big[] = {0, 'O', 0, 'K'};
    ASSERT_EQ(utf16ToUtf8(big, 2, &text), 0);
    EXPECT_EQ(text, "OK");
    const uint8_t loneSurrogate[] = {0x3C, 0xD8, 'a', 0};
    EXPECT_EQ(utf16ToUtf8(loneSurrogate, 1, &text), kMediaFileErrTextConversion);
    const uint8_t pair[] = {0x3C, 0xD8, 0xB5, 0xDF};
    ASSERT_EQ(utf16ToUtf8(pair, 1, &text), 0);
    EXPECT_EQ(text, "\xF0\x9F\x8E\xB5");
}

TEST(LineEndings, TheThreeModes)
{
    EXPECT_EQ(convertLineEndings("a\nb\r\nc\rd", 1), "a\r\nb\r\nc\rd");
    EXPECT_EQ(convertLineEndings("a\nb\r\nc\rd", 2), "a\r\nb\r\nc\r\nd");
    EXPECT_EQ(convertLineEndings("a\r\nb\r\n\n", 3), "a\nb\n\n");
    EXPECT_EQ(convertLineEndings(convertLineEndings("one\ntwo\n", 1), 3), "one\ntwo\n") << "lyrics round trip";
    EXPECT_EQ(convertLineEndings("x\ny", 9), "x\ny");
}

TEST(Utf8, SanitizeReplacesOnlyTheBadBytes)
{
    EXPECT_TRUE(isValidUtf8("plain \xC3\xA9"));
    EXPECT_FALSE(isValidUtf8("bad \xFF"));
    EXPECT_EQ(sanitizeUtf8("a\xFF" "b"), "a\xEF\xBF\xBD" "b");
}

TEST(Zlib, RoundTripAndErrors)
{
    std::vector<uint8_t> input(10000);
    for (size_t i = 0; i < input.size(); ++i)
        input[i] = static_cast<uint8_t>(i % 13);
    std::vector<uint8_t> packed, unpacked;
    ASSERT_EQ(deflateBytes(input, &packed), 0);
    EXPECT_LT(packed.size(), input.size());
    ASSERT_EQ(inflateBytes(packed, input.size(), &unpacked), 0);
    EXPECT_EQ(unpacked, input);
    EXPECT_NE(inflateBytes(packed, 100, &unpacked), 0) << "a too small expected size is zlib's buffer error";
    const uint8_t garbage[] = {1, 2, 3, 4};
    EXPECT_NE(inflateBytes(garbage, 100, &unpacked), 0);
}
