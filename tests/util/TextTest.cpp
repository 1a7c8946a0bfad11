// Text conversions: a row per input, with the bytes or the status it must give.
#include "util/Text.h"

#include <gtest/gtest.h>

using namespace kestrabel::util;
using Bytes = std::vector<uint8_t>;

TEST(Text, Utf8ToLatin1AndBack)
{
    // The euro sign has no Latin-1 form; then a truncated sequence, an overlong one, a surrogate.
    for (auto [in, flags, status, expected] :
         {std::tuple{"caf\xC3\xA9", MediaFileFlags(0), 0, "caf\xE9"}, {"\xE2\x82\xAC 5", 0, kMediaFileErrTooSmall, ""},
          {"\xE2\x82\xAC 5", kLossyLatin1, 0, "? 5"}, {"\xC3", 0, kMediaFileErrTextConversion, ""},
          {"\xC0\x80", 0, kMediaFileErrTextConversion, ""}, {"\xED\xA0\x80", 0, kMediaFileErrTextConversion, ""}}) {
        std::string out;
        EXPECT_EQ(utf8ToLatin1(in, flags, &out), status) << in;
        EXPECT_EQ(out, status ? out : expected) << in;
    }
    std::string out;
    ASSERT_EQ(latin1ToUtf8("\xE9\xFF", &out), 0);
    EXPECT_EQ(out, "\xC3\xA9\xC3\xBF");
}

TEST(Text, Utf16BothWays)
{
    // Mode 4: little-endian with a mark; 2: big-endian; 1: little-endian; only the low four bits count.
    struct Row {
        std::string utf8;
        int mode;
        Bytes utf16;
        MediaFileStatus status = 0; // reading
    };
    for (const Row &row : {Row{"A\xC3\xA9", 4, {0xFF, 0xFE, 'A', 0, 0xE9, 0, 0, 0}}, Row{"A", 2, {0, 'A', 0, 0}}, Row{"A", 0x31, {'A', 0, 0, 0}},
                           Row{"", 4, {0xFF, 0xFE, 0, 0}}, Row{"\xF0\x9F\x8E\xB5", 2, {0xD8, 0x3C, 0xDF, 0xB5, 0, 0}},
                           Row{"\xD0\x96", 2, {0x04, 0x16, 0, 0}}}) {
        Bytes out;
        std::string back;
        ASSERT_EQ(utf8ToUtf16(row.utf8, row.mode, &out), 0) << row.utf8;
        EXPECT_EQ(out, row.utf16) << row.utf8;
        ASSERT_EQ(utf16ToUtf8(out, row.mode & 0xF, &back), 0) << row.utf8;
        EXPECT_EQ(back, row.utf8);
    }
    // The mark chooses the order; the first zero unit ends the text; mode 4 needs a mark; a lone surrogate.
    for (const Row &row : {Row{"Hi", 4, {0xFE, 0xFF, 0, 'H', 0, 'i'}}, Row{"H", 4, {0xFF, 0xFE, 'H', 0, 0, 0, 'x', 0}}, Row{"", 4, {0xFF, 0xFE}},
                           Row{"", 4, {'H', 0}, kMediaFileErrBadFrame}, Row{"", 1, {0x3C, 0xD8, 'a', 0}, kMediaFileErrTextConversion}}) {
        std::string out;
        EXPECT_EQ(utf16ToUtf8(row.utf16, row.mode, &out), row.status) << row.utf8;
        EXPECT_EQ(out, row.status ? out : row.utf8);
    }
}

TEST(Text, LineEndingsAndUtf8Repair)
{
    EXPECT_EQ(convertLineEndings("a\nb\r\nc\rd", 1), "a\r\nb\r\nc\rd");
    EXPECT_EQ(convertLineEndings("a\nb\r\nc\rd", 2), "a\r\nb\r\nc\r\nd");
    EXPECT_EQ(convertLineEndings("a\r\nb\r\n\n", 3), "a\nb\n\n");
    EXPECT_TRUE(isValidUtf8("plain \xC3\xA9") && !isValidUtf8("bad \xFF"));
    EXPECT_EQ(sanitizeUtf8("\xC3\xA9" "a\xFF\xFE" "b\xE2\x82"), "\xC3\xA9" "a\uFFFD\uFFFD" "b\uFFFD\uFFFD");
}
