// Every field of the bext chunk at its place and width, as the Broadcast Wave format lays the
// chunk out (EBU Tech 3285); the guard fails when a data ID the chunk serves has no case here.
#include "iff/Bext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using namespace kestrabel;

namespace {

struct FieldCase {
    MediaFileDataID id;
    size_t offset;
    size_t width; // 0: the coding history, which runs to the end
};

const FieldCase kFieldCases[] = {
    {kMediaFileDataIDBWFDescription, 0, 256},
    {kMediaFileDataIDBWFOriginator, 256, 32},
    {kMediaFileDataIDBWFOriginatorReference, 288, 32},
    {kMediaFileDataIDBWFOriginatorDate, 320, 10},
    {kMediaFileDataIDBWFOriginatorTime, 330, 8},
    {kMediaFileDataIDBWFCodingHistory, 602, 0},
};

constexpr size_t kVersion = 346;

} // namespace

TEST(BextFields, EveryFieldServedHasACase)
{
    for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
        const MediaFileDataID id = MediaFileGetDataIDInfoAt(i)->dataID;
        EXPECT_EQ(iff::isBextDataID(id), std::any_of(std::begin(kFieldCases), std::end(kFieldCases),
                                                     [&](const FieldCase &c) { return c.id == id; }))
            << MediaFileGetDataIDName(id);
    }
}

TEST(BextFields, EachFieldIsWrittenAndReadAtItsPlace)
{
    for (bool littleEndian : {true, false}) {
        for (const FieldCase &c : kFieldCases) {
            SCOPED_TRACE(std::string(MediaFileGetDataIDName(c.id)) + (littleEndian ? " WAVE" : " AIFF"));
            // One character more than the field holds, cut to the width on the way in.
            const std::string text(c.width ? c.width + 1 : 40, 'x');
            std::vector<uint8_t> bext;
            ASSERT_EQ(iff::setBextField(bext, littleEndian, c.id, text), 0);
            ASSERT_GE(bext.size(), 604u);
            EXPECT_EQ(bext[kVersion], littleEndian ? 1 : 0) << "version 1 in the container's byte order";
            EXPECT_EQ(bext[kVersion + 1], littleEndian ? 0 : 1);
            const size_t end = c.width ? c.offset + c.width : c.offset + text.size();
            for (size_t i = 0; i < bext.size(); ++i)
                ASSERT_EQ(bext[i] == 'x', i >= c.offset && i < end) << "byte " << i;
            std::string back;
            ASSERT_EQ(iff::getBextField(bext, c.id, &back), 0);
            EXPECT_EQ(back, c.width ? text.substr(0, c.width) : text + "\r\n");
        }
    }
}
