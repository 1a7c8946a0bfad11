// The ilst items through the data IDs: one row an ID with the value we set, the item and layout it
// is stored in, and what the ffmpeg-made fixture holds. The item names are written out here, not
// taken from the item table; the guard fails when a slot of the table has no row.
#include "MP4TestSupport.h"
#include "TestSupport.h"
#include "mp4/MP4File.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

using namespace kestrabel;
using namespace kestrabel::mp4;
using namespace kestrabel::test;
using namespace kestrabel::test::mp4;

namespace {

const std::string kIlstPath = ".moov.udta.meta.ilst.";
const std::string kCopy = "\xA9";

struct ItemRow {
    MediaFileDataID id;
    char kind; // 't'ext, 'n'umber or 'd'ata
    std::string value;
    std::string item;
    uint32_t flags;
    std::string stored; // the data atom's value; empty: the value's own bytes
    const char *ffmpeg; // what tagged.m4a reads as; nullptr: not found
};

const ItemRow kItems[] = {
    {kMediaFileDataIDTitle, 't', "Tïtle — ünïcode ♪", kCopy + "nam", 1, "", "Tiny Tone"},
    {kMediaFileDataIDArtist, 't', "Artist", kCopy + "ART", 1, "", "Test Artist"},
    {kMediaFileDataIDComposer, 't', "Composer", kCopy + "wrt", 1, "", "Composer"},
    {kMediaFileDataIDAlbum, 't', "Album", kCopy + "alb", 1, "", "Test Album"},
    {kMediaFileDataIDBandOrOrchestra, 't', "Album Artist", "aART", 1, "", "Album Artist"},
    {kMediaFileDataIDYear, 'n', "1999", kCopy + "day", 1, "1999", "2021"},
    {kMediaFileDataIDEncodedBy, 't', "Encoder", kCopy + "too", 1, "", nullptr}, // bit-exact ffmpeg writes none
    {kMediaFileDataIDComment, 't', "Comment", kCopy + "cmt", 1, "", "A comment"},
    {kMediaFileDataIDGenre, 't', "Chillout", kCopy + "gen", 1, "", "Chillout"},
    {kMediaFileDataIDGrouping, 't', "Grouping", kCopy + "grp", 1, "", "Group"},
    {kMediaFileDataIDLyrics, 't', "first line\nsecond line", kCopy + "lyr", 1, "first line\r\nsecond line", "line one\nline two"},
    {kMediaFileDataIDTrackNumber, 'n', "7", "trkn", 0, std::string("\0\0\0\7\0\14\0\0", 8), "3"},
    {kMediaFileDataIDTotalTracks, 'n', "12", "trkn", 0, std::string("\0\0\0\7\0\14\0\0", 8), "12"},
    {kMediaFileDataIDDiskNumber, 'n', "2", "disk", 0, std::string("\0\0\0\2\0\3", 6), "1"},
    {kMediaFileDataIDTotalDisks, 'n', "3", "disk", 0, std::string("\0\0\0\2\0\3", 6), "2"},
    {kMediaFileDataIDCompilation, 'n', "1", "cpil", 21, "\1", "1"},
    {kMediaFileDataIDBPM, 'n', "128", "tmpo", 21, std::string("\0\x80", 2), "120"},
    // covr keeps flags 13 (JPEG) even for a PNG.
    {kMediaFileDataIDArtwork, 'd', "\x89PNG\r\n\x1a\n", "covr", 13, "", nullptr},
    {kMediaFileDataIDDescription, 't', "Description", "desc", 1, "", "Desc"},
    {kMediaFileDataIDNetwork, 't', "Network", "tvnn", 1, "", "Net"},
    {kMediaFileDataIDShow, 't', "Show", "tvsh", 1, "", "Show"},
    {kMediaFileDataIDEpisode, 't', "Episode 3", "tven", 1, "", "E1"},
    {kMediaFileDataIDSeason, 'n', "5", "tvsn", 0, std::string("\0\0\0\5", 4), "4"}, // ffmpeg: a 4-byte integer too
    {kMediaFileDataIDFileKind, 'n', "10", "stik", 21, "\12", "1"},
};

struct GenreCase {
    const char *set, *reads, *item;
    std::string stored;
};

const GenreCase kGenres[] = {
    {"rOcK", "Rock", "gnre", std::string("\0\22", 2)},
    {"DANCE HALL", "Dance Hall", "gnre", std::string("\0\176", 2)},
    {"Goa", "Goa", "\xA9gen", "Goa"},
};

MediaFileStatus set(MediaFileRef ref, const ItemRow &row)
{
    if (row.kind == 'n')
        return MediaFileSetInteger(ref, row.id, std::stoi(row.value));
    if (row.kind == 'd')
        return MediaFileSetData(ref, row.id, row.value.data(), row.value.size());
    return MediaFileSetString(ref, row.id, row.value.c_str());
}

std::string read(const OpenFile &file, const ItemRow &row, MediaFileStatus *status = nullptr)
{
    if (row.kind == 'n')
        return std::to_string(file.integer(row.id, status));
    if (row.kind == 't')
        return file.string(row.id, status);
    std::vector<uint8_t> data = file.data(row.id, status);
    return std::string(data.begin(), data.end());
}

} // namespace

TEST(Mp4Items, EverySlotHasARow)
{
    for (size_t slot = 0; slot < kMP4ItemCount; ++slot) {
        const std::string atom = typeName(itemType(static_cast<MP4ItemSlot>(slot)));
        EXPECT_TRUE(std::any_of(std::begin(kItems), std::end(kItems), [&](const ItemRow &r) { return r.item == atom; }) ||
                    std::any_of(std::begin(kGenres), std::end(kGenres), [&](const GenreCase &g) { return g.item == atom; }))
            << atom << " has no row";
    }
}

TEST(Mp4Items, EveryItemIsStoredInItsLayoutAndReadsBack)
{
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.m4a");
    {
        OpenFile file(path);
        for (const ItemRow &row : kItems)
            ASSERT_EQ(set(file.ref(), row), kMediaFileNoErr) << MediaFileGetDataIDName(row.id);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::vector<uint8_t> bytes = readFile(path);
    OpenFile file(path);
    for (const ItemRow &row : kItems) {
        SCOPED_TRACE(MediaFileGetDataIDName(row.id));
        EXPECT_EQ(read(file, row), row.value);
        std::vector<uint8_t> data = payload(bytes, findAtom(bytes, kIlstPath + row.item + ".data"));
        ASSERT_GE(data.size(), 8u);
        EXPECT_EQ(std::string(data.begin(), data.begin() + 8), std::string("\0\0\0", 3) + char(row.flags) + std::string(4, '\0'));
        EXPECT_EQ(std::string(data.begin() + 8, data.end()), row.stored.empty() ? row.value : row.stored);
    }
    // A shorter value reuses the data atom.
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "x"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    EXPECT_EQ(countAtoms(readFile(path), kIlstPath + kCopy + "nam.data"), 1u);
    EXPECT_EQ(OpenFile(path).string(kMediaFileDataIDTitle), "x");
}

TEST(Mp4Items, ReadsWhatFfmpegWrote)
{
    OpenFile file(fixturePath("tagged.m4a"));
    for (const ItemRow &row : kItems) {
        MediaFileStatus status = kMediaFileNoErr;
        EXPECT_EQ(read(file, row, &status), row.ffmpeg ? row.ffmpeg : "") << MediaFileGetDataIDName(row.id);
        EXPECT_EQ(status, row.ffmpeg ? kMediaFileNoErr : kMediaFileErrNotFound) << MediaFileGetDataIDName(row.id);
    }
    EXPECT_EQ(OpenFile(fixturePath("cover.m4a")).data(kMediaFileDataIDArtwork), readFile(fixturePath("m4a-cover.jpg")));
}

// Setting one half of trkn or disk keeps the other half; with nothing stored the other half is 0.
// The text setter takes the leading number only.
TEST(Mp4Items, NumberPairsKeepTheOtherHalf)
{
    const std::tuple<const char *, MediaFileDataID, const char *, MediaFileStatus, MediaFileDataID, const char *> steps[] = {
        {"no-tags.m4a", kMediaFileDataIDTrackNumber, "5", kMediaFileNoErr, kMediaFileDataIDTotalTracks, "0"},
        {"no-tags.m4a", kMediaFileDataIDTotalDisks, "4", kMediaFileNoErr, kMediaFileDataIDDiskNumber, "0"},
        {"tagged.m4a", kMediaFileDataIDTrackNumber, "5", kMediaFileNoErr, kMediaFileDataIDTotalTracks, "12"},
        {"tagged.m4a", kMediaFileDataIDTotalTracks, "20", kMediaFileNoErr, kMediaFileDataIDTrackNumber, "3"},
        {"tagged.m4a", kMediaFileDataIDTotalDisks, "9", kMediaFileNoErr, kMediaFileDataIDDiskNumber, "1"},
        {"tagged.m4a", kMediaFileDataIDDiskNumber, "7", kMediaFileNoErr, kMediaFileDataIDTotalDisks, "2"},
        {"tagged.m4a", kMediaFileDataIDTrackNumber, "8/15", kMediaFileNoErr, kMediaFileDataIDTotalTracks, "12"},
        {"tagged.m4a", kMediaFileDataIDTrackNumber, "x", kMediaFileErrBadFormat, kMediaFileDataIDTrackNumber, "3"},
    };
    for (const auto &[fixture, id, text, status, other, otherReads] : steps) {
        SCOPED_TRACE(testing::Message() << fixture << " " << MediaFileGetDataIDName(id) << "=" << text);
        OpenFile file(fixturePath(fixture));
        ASSERT_EQ(MediaFileSetString(file.ref(), id, text), status);
        EXPECT_EQ(file.integer(id), status ? 3 : std::atoi(text));
        EXPECT_EQ(file.string(other), otherReads);
    }
}

// A name of the list is stored as its number plus one in gnre and replaces the text item; past the
// 126th name ("Dance Hall") the number cannot carry it and it stays text.
TEST(Mp4Items, StandardGenresBecomeNumbersAndReplaceTheText)
{
    TempDir dir;
    for (const GenreCase &c : kGenres) {
        SCOPED_TRACE(c.set);
        std::string path = dir.copyFixture("tagged.m4a");
        {
            OpenFile file(path);
            ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDGenre, c.set), kMediaFileNoErr);
            EXPECT_EQ(file.string(kMediaFileDataIDGenre), c.reads);
            ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
        }
        const std::vector<uint8_t> bytes = readFile(path), data = payload(bytes, findAtom(bytes, kIlstPath + c.item + ".data"));
        EXPECT_EQ(countAtoms(bytes, kIlstPath + "gnre") + countAtoms(bytes, kIlstPath + kCopy + "gen"), 1u);
        EXPECT_EQ(std::string(data.begin() + 8, data.end()), c.stored);
        EXPECT_EQ(OpenFile(path).string(kMediaFileDataIDGenre), c.reads);
    }
}

TEST(Mp4Items, IDsThisKindDoesNotCarry)
{
    OpenFile file(fixturePath("tagged.m4a"));
    for (MediaFileDataID id : {kMediaFileDataIDSortOrder, kMediaFileDataIDInvolvedPeople, kMediaFileDataIDPublisher,
                               kMediaFileDataIDISRC, kMediaFileDataIDCopyright, kMediaFileDataIDBitRate,
                               kMediaFileDataIDPlayCount, kMediaFileDataIDArtworkBack, kMediaFileDataIDVolume}) {
        EXPECT_EQ(MediaFileGetString(file.ref(), id, nullptr), kMediaFileErrUnsupported) << id;
        EXPECT_EQ(MediaFileSetData(file.ref(), id, "x", 1), kMediaFileErrUnsupported) << id;
    }
}

// The setter walks ".moov.udta.meta.ilst.+item" and creates what is missing at the end of each
// parent: meta with its four zero bytes and no hdlr.
TEST(Mp4Items, MissingContainersAreCreatedAtTheEnd)
{
    TempDir dir;
    const std::string path = dir.copyFixture("no-udta-faststart.m4a");
    const size_t before = readFile(path).size();
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "New"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::vector<uint8_t> after = readFile(path);
    EXPECT_EQ(after.size(), before + 8 + 12 + 8 + 8 + 16 + 3) << "udta, meta, ilst, ©nam, data, \"New\"";
    const AtomSpan moov = findAtom(after, ".moov"), udta = findAtom(after, ".moov.udta"), meta = findAtom(after, ".moov.udta.meta");
    EXPECT_EQ(udta.offset + udta.size, moov.offset + moov.size) << "udta is moov's last child";
    const std::vector<uint8_t> metaBody = payload(after, meta);
    EXPECT_EQ(std::vector<uint8_t>(metaBody.begin(), metaBody.begin() + 4), std::vector<uint8_t>(4, 0));
    EXPECT_EQ(countAtoms(after, ".moov.udta.meta.hdlr"), 0u);
    EXPECT_EQ(OpenFile(path).string(kMediaFileDataIDTitle), "New");
}
