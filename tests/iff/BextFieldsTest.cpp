// Every field of the bext chunk at its place and width, as the Broadcast Wave format lays the
// chunk out (EBU Tech 3285); the guard fails when a data ID the chunk serves has no case here.
#include "iff/Bext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using namespace kestrabel;

namespace {

// A value set on a chunk that was there: what the field holds afterwards (zero-filled to its width;
// a cut value has no terminator) and what reads back.
const struct {
    MediaFileDataID id;
    size_t offset, width; // width 0: the coding history, which runs to the end
    std::string value, stored;
} kValues[] = {
    {kMediaFileDataIDBWFDescription, 0, 256, "Rehearsal take 4", "Rehearsal take 4"},
    {kMediaFileDataIDBWFDescription, 0, 256, std::string(300, 'd'), std::string(256, 'd')},
    {kMediaFileDataIDBWFOriginator, 256, 32, "", ""},
    {kMediaFileDataIDBWFOriginator, 256, 32, "0123456789abcdefghijklmnopqrstuvwxyzABCD", "0123456789abcdefghijklmnopqrstuv"},
    {kMediaFileDataIDBWFOriginatorReference, 288, 32, "0123456789abcdefghijklmnopqrstuvw", "0123456789abcdefghijklmnopqrstuv"},
    // 31 ASCII bytes and a two-byte character: the character does not fit and is left out.
    {kMediaFileDataIDBWFOriginatorReference, 288, 32, "0123456789012345678901234567890\xC3\xA9", "0123456789012345678901234567890"},
    {kMediaFileDataIDBWFOriginatorDate, 320, 10, "2024-05-17T10:00", "2024-05-17"},
    {kMediaFileDataIDBWFOriginatorTime, 330, 8, "23:59:58+", "23:59:58"},
    // Coding history lines end in CR LF; the buffer never shrinks, the rest of it is cleared.
    {kMediaFileDataIDBWFCodingHistory, 602, 0, "a\nb", "a\r\nb\r\n"},
    {kMediaFileDataIDBWFCodingHistory, 602, 0, "a\rb\r\n", "a\r\nb\r\n"},
    {kMediaFileDataIDBWFCodingHistory, 602, 0, "a\r\n\nb", "a\r\n\r\nb\r\n"},
    {kMediaFileDataIDBWFCodingHistory, 602, 0, "", "\r\n"},
};

} // namespace

TEST(BextFields, EveryFieldServedHasACase)
{
    for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
        const MediaFileDataID id = MediaFileGetDataIDInfoAt(i)->dataID;
        EXPECT_EQ(iff::isBextDataID(id), std::any_of(std::begin(kValues), std::end(kValues), [&](auto &v) { return v.id == id; }))
            << MediaFileGetDataIDName(id);
    }
}

// Only the field's bytes change; time reference, version, UMID and the reserved bytes stay as read.
TEST(BextFields, EachValueIsStoredAtItsPlaceAndReadsBack)
{
    const std::vector<uint8_t> old(640, 'Z');
    for (const auto &v : kValues) {
        SCOPED_TRACE(std::string(MediaFileGetDataIDName(v.id)) + " " + v.value.substr(0, 40));
        const size_t end = v.width ? v.offset + v.width : old.size();
        std::vector<uint8_t> bext = old;
        ASSERT_EQ(iff::setBextField(bext, true, v.id, v.value), 0);
        ASSERT_EQ(bext.size(), old.size());
        EXPECT_EQ(std::string(bext.begin() + long(v.offset), bext.begin() + long(end)), v.stored + std::string(end - v.offset - v.stored.size(), '\0'));
        EXPECT_TRUE(std::equal(bext.begin(), bext.begin() + long(v.offset), old.begin()));
        EXPECT_TRUE(std::equal(bext.begin() + long(end), bext.end(), old.begin() + long(end)));
        std::string back;
        ASSERT_EQ(iff::getBextField(bext, v.id, &back), 0);
        EXPECT_EQ(back, v.stored);
    }
}

// A new chunk: 604 bytes, version 1 in the container's byte order, an empty history line.
TEST(BextFields, ANewChunkHasVersionOneInItsByteOrder)
{
    for (bool littleEndian : {true, false}) {
        std::vector<uint8_t> bext;
        ASSERT_EQ(iff::setBextField(bext, littleEndian, kMediaFileDataIDBWFOriginator, "x"), 0);
        ASSERT_EQ(bext.size(), 604u);
        EXPECT_EQ(std::string(bext.begin() + 346, bext.begin() + 348), littleEndian ? std::string("\1\0", 2) : std::string("\0\1", 2));
        EXPECT_EQ(std::string(bext.begin() + 602, bext.end()), "\r\n");
        EXPECT_EQ(std::count(bext.begin(), bext.end(), 0), 604 - 4);
    }
}
