// Every ilst item slot: a data ID set on a file without tags is saved as exactly one item of the
// atom iTunes uses for it, and reads back. The atom names are written out here, not taken from
// the item table; the guard fails when a slot of the table has no case.
#include "MP4TestSupport.h"
#include "TestSupport.h"
#include "mp4/MP4File.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kestrabel;
using namespace kestrabel::test;
using namespace kestrabel::test::mp4;

namespace {

struct SlotCase {
    const char *atom;
    MediaFileDataID id;
    const char *text;  // set with MediaFileSetString; null for the integer and data cases
    int32_t number = 0;
};

const std::vector<uint8_t> kJpeg{0xFF, 0xD8, 0xFF, 0xE0, 0, 0x10, 'J', 'F', 'I', 'F', 0xFF, 0xD9};

const SlotCase kSlotCases[] = {
    {"\xA9nam", kMediaFileDataIDTitle, "Title"},
    {"\xA9" "ART", kMediaFileDataIDArtist, "Artist"},
    {"\xA9wrt", kMediaFileDataIDComposer, "Composer"},
    {"\xA9" "alb", kMediaFileDataIDAlbum, "Album"},
    {"aART", kMediaFileDataIDBandOrOrchestra, "Album Artist"},
    {"\xA9" "day", kMediaFileDataIDYear, nullptr, 1999},
    {"\xA9too", kMediaFileDataIDEncodedBy, "Encoder"},
    {"\xA9" "cmt", kMediaFileDataIDComment, "Comment"},
    {"\xA9gen", kMediaFileDataIDGenre, "Chillout"},
    {"\xA9grp", kMediaFileDataIDGrouping, "Grouping"},
    {"\xA9lyr", kMediaFileDataIDLyrics, "Lyrics"},
    {"trkn", kMediaFileDataIDTrackNumber, nullptr, 7},
    {"disk", kMediaFileDataIDDiskNumber, nullptr, 2},
    {"gnre", kMediaFileDataIDGenre, "Rock"},
    {"cpil", kMediaFileDataIDCompilation, nullptr, 1},
    {"tmpo", kMediaFileDataIDBPM, nullptr, 128},
    {"covr", kMediaFileDataIDArtwork, nullptr},
    {"desc", kMediaFileDataIDDescription, "Description"},
    {"tvnn", kMediaFileDataIDNetwork, "Network"},
    {"tvsh", kMediaFileDataIDShow, "Show"},
    {"tven", kMediaFileDataIDEpisode, "Episode"},
    {"tvsn", kMediaFileDataIDSeason, nullptr, 5},
    {"stik", kMediaFileDataIDFileKind, nullptr, 10},
};

} // namespace

TEST(Mp4ItemSlots, EverySlotHasACase)
{
    for (size_t slot = 0; slot < kestrabel::mp4::kMP4ItemCount; ++slot) {
        const std::string atom = kestrabel::mp4::typeName(kestrabel::mp4::itemType(static_cast<kestrabel::mp4::MP4ItemSlot>(slot)));
        EXPECT_TRUE(std::any_of(std::begin(kSlotCases), std::end(kSlotCases), [&](const SlotCase &c) { return atom == c.atom; }))
            << atom << " has no case";
    }
}

TEST(Mp4ItemSlots, EachIDIsSavedAsItsItem)
{
    for (const SlotCase &c : kSlotCases) {
        SCOPED_TRACE(c.atom);
        TempDir dir;
        const std::string path = dir.copyFixture("no-tags.m4a");
        {
            OpenFile file(path);
            ASSERT_EQ(file.status(), 0);
            const MediaFileStatus status = c.text ? MediaFileSetString(file.ref(), c.id, c.text)
                                           : c.number ? MediaFileSetInteger(file.ref(), c.id, c.number)
                                                      : MediaFileSetData(file.ref(), c.id, kJpeg.data(), kJpeg.size());
            ASSERT_EQ(status, 0);
            ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
        }
        const std::vector<uint8_t> bytes = readFile(path);
        std::vector<std::string> items;
        for (const AtomSpan &atom : listAtoms(bytes))
            if (atom.path.starts_with(".moov.udta.meta.ilst.") && atom.path.ends_with(".data"))
                items.push_back(atom.path.substr(21, 4));
        EXPECT_EQ(items, std::vector<std::string>{c.atom});
        OpenFile file(path);
        if (c.text) {
            EXPECT_EQ(file.string(c.id), c.text);
        } else if (c.number) {
            EXPECT_EQ(file.integer(c.id), c.number);
        } else {
            EXPECT_EQ(file.data(c.id), kJpeg);
        }
    }
}
