// The 23 ilst items through the data IDs: what ffmpeg wrote reads back, everything we write
// survives a save and a fresh open, and each item is stored in the layout iTunes uses.
#include "MP4TestSupport.h"
#include "TestSupport.h"
#include "mp4/MP4File.h"

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::mp4;
using namespace kestrabel::test;
using namespace kestrabel::test::mp4;

namespace {

const std::string kIlstPath = ".moov.udta.meta.ilst.";

std::string itemPath(const char (&code)[4]) { return kIlstPath + "\xA9" + code; }

// The data atom's payload of an item, straight from the file.
std::vector<uint8_t> storedItem(const std::string &path, const std::string &itemPath)
{
    std::vector<uint8_t> bytes = readFile(path);
    return payload(bytes, findAtom(bytes, itemPath + ".data"));
}

uint32_t typeFlags(const std::vector<uint8_t> &data)
{
    return data.size() < 4 ? 0xFFFFFFFF : uint32_t(data[1]) << 16 | uint32_t(data[2]) << 8 | data[3];
}

std::vector<uint8_t> value(const std::vector<uint8_t> &data)
{
    return data.size() < 8 ? std::vector<uint8_t>{} : std::vector<uint8_t>(data.begin() + 8, data.end());
}

struct Texts {
    MediaFileDataID id;
    const char *text;
};

const Texts kTexts[] = {
    {kMediaFileDataIDTitle, "Tïtle — ünïcode ♪"},
    {kMediaFileDataIDArtist, "Artist"},
    {kMediaFileDataIDComposer, "Composer"},
    {kMediaFileDataIDAlbum, "Album"},
    {kMediaFileDataIDBandOrOrchestra, "Album Artist"},
    {kMediaFileDataIDEncodedBy, "Encoder"},
    {kMediaFileDataIDComment, "Comment"},
    {kMediaFileDataIDGrouping, "Grouping"},
    {kMediaFileDataIDDescription, "Description"},
    {kMediaFileDataIDNetwork, "Network"},
    {kMediaFileDataIDShow, "Show"},
    {kMediaFileDataIDEpisode, "Episode 3"},
    {kMediaFileDataIDGenre, "Chillout"},
    {kMediaFileDataIDLyrics, "first line\nsecond line"},
};

struct Numbers {
    MediaFileDataID id;
    int32_t value;
};

const Numbers kNumbers[] = {
    {kMediaFileDataIDYear, 1999},       {kMediaFileDataIDTrackNumber, 7}, {kMediaFileDataIDTotalTracks, 12},
    {kMediaFileDataIDDiskNumber, 2},    {kMediaFileDataIDTotalDisks, 3},  {kMediaFileDataIDBPM, 128},
    {kMediaFileDataIDCompilation, 1},   {kMediaFileDataIDSeason, 5},      {kMediaFileDataIDFileKind, 10},
};

const std::vector<uint8_t> kCover = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 0xFF, 0xD9};

void setEverything(MediaFileRef ref)
{
    for (const Texts &t : kTexts)
        ASSERT_EQ(MediaFileSetString(ref, t.id, t.text), kMediaFileNoErr) << MediaFileGetDataIDName(t.id);
    for (const Numbers &n : kNumbers)
        ASSERT_EQ(MediaFileSetInteger(ref, n.id, n.value), kMediaFileNoErr) << MediaFileGetDataIDName(n.id);
    ASSERT_EQ(MediaFileSetData(ref, kMediaFileDataIDArtwork, kCover.data(), kCover.size()), kMediaFileNoErr);
}

void expectEverything(const OpenFile &file)
{
    for (const Texts &t : kTexts)
        EXPECT_EQ(file.string(t.id), t.text) << MediaFileGetDataIDName(t.id);
    for (const Numbers &n : kNumbers)
        EXPECT_EQ(file.integer(n.id), n.value) << MediaFileGetDataIDName(n.id);
    EXPECT_EQ(file.data(kMediaFileDataIDArtwork), kCover);
}

} // namespace

TEST(Mp4Items, ReadsWhatFfmpegWrote)
{
    OpenFile file(fixturePath("tagged.m4a"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Tiny Tone");
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Test Artist");
    EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "Test Album");
    EXPECT_EQ(file.string(kMediaFileDataIDBandOrOrchestra), "Album Artist");
    EXPECT_EQ(file.string(kMediaFileDataIDComposer), "Composer");
    EXPECT_EQ(file.string(kMediaFileDataIDComment), "A comment");
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Chillout");
    EXPECT_EQ(file.string(kMediaFileDataIDGrouping), "Group");
    EXPECT_EQ(file.string(kMediaFileDataIDLyrics), "line one\nline two");
    EXPECT_EQ(file.string(kMediaFileDataIDDescription), "Desc");
    EXPECT_EQ(file.string(kMediaFileDataIDShow), "Show");
    EXPECT_EQ(file.string(kMediaFileDataIDNetwork), "Net");
    EXPECT_EQ(file.string(kMediaFileDataIDEpisode), "E1");
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 2021);
    EXPECT_EQ(file.string(kMediaFileDataIDYear), "2021");
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 3);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 12);
    EXPECT_EQ(file.integer(kMediaFileDataIDDiskNumber), 1);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalDisks), 2);
    EXPECT_EQ(file.integer(kMediaFileDataIDBPM), 120);
    EXPECT_EQ(file.integer(kMediaFileDataIDCompilation), 1);
    EXPECT_EQ(file.integer(kMediaFileDataIDSeason), 4) << "ffmpeg stores tvsn as a 4-byte integer";
    EXPECT_EQ(file.integer(kMediaFileDataIDFileKind), 1);
    MediaFileStatus status = 0;
    file.string(kMediaFileDataIDEncodedBy, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound) << "bit-exact ffmpeg writes no encoder";
    file.data(kMediaFileDataIDArtwork, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);

    OpenFile cover(fixturePath("cover.m4a"));
    EXPECT_EQ(cover.data(kMediaFileDataIDArtwork), readFile(fixturePath("m4a-cover.jpg")));
}

TEST(Mp4Items, EveryItemSurvivesSaveAndReopen)
{
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.m4a");
    std::string audio = decodedAudio(path);
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), kMediaFileNoErr);
        setEverything(file.ref());
        expectEverything(file);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    OpenFile reopened(path);
    ASSERT_EQ(reopened.status(), kMediaFileNoErr);
    expectEverything(reopened);
    if (haveFfmpeg()) {
        EXPECT_EQ(decodedAudio(path), audio);
    }

    // Overwrite every existing item with a shorter value; the data atoms are reused.
    for (const Texts &t : kTexts) {
        if (t.id != kMediaFileDataIDGenre) {
            ASSERT_EQ(MediaFileSetString(reopened.ref(), t.id, "x"), kMediaFileNoErr);
        }
    }
    ASSERT_EQ(MediaFileSetInteger(reopened.ref(), kMediaFileDataIDTrackNumber, 1), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetData(reopened.ref(), kMediaFileDataIDArtwork, "\x89PNG", 4), kMediaFileNoErr);
    ASSERT_EQ(MediaFileUpdate(reopened.ref(), 0), kMediaFileNoErr);
    ASSERT_EQ(reopened.close(), kMediaFileNoErr);
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDTitle), "x");
    EXPECT_EQ(again.string(kMediaFileDataIDLyrics), "x");
    EXPECT_EQ(again.integer(kMediaFileDataIDTrackNumber), 1);
    EXPECT_EQ(again.integer(kMediaFileDataIDTotalTracks), 12);
    EXPECT_EQ(again.data(kMediaFileDataIDArtwork), (std::vector<uint8_t>{0x89, 'P', 'N', 'G'}));
    std::vector<uint8_t> bytes = readFile(path);
    EXPECT_EQ(countAtoms(bytes, itemPath("nam") + ".data"), 1u) << "no second data atom";
}

TEST(Mp4Items, EachItemHasItsTypeFlagsAndLayout)
{
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.m4a");
    {
        OpenFile file(path);
        setEverything(file.ref());
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    struct Expected {
        std::string item;
        uint32_t flags;
        std::vector<uint8_t> value;
    };
    const Expected expected[] = {
        {itemPath("nam"), 1, {}},
        {itemPath("day"), 1, {'1', '9', '9', '9'}},
        {itemPath("lyr"), 1, {}},
        {kIlstPath + "trkn", 0, {0, 0, 0, 7, 0, 12, 0, 0}},
        {kIlstPath + "disk", 0, {0, 0, 0, 2, 0, 3}},
        {kIlstPath + "cpil", 21, {1}},
        {kIlstPath + "tmpo", 21, {0, 128}},
        {kIlstPath + "covr", 13, kCover},
        {kIlstPath + "tvsn", 0, {0, 0, 0, 5}},
        {kIlstPath + "stik", 21, {10}},
    };
    for (const Expected &e : expected) {
        std::vector<uint8_t> data = storedItem(path, e.item);
        ASSERT_GE(data.size(), 8u) << e.item;
        EXPECT_EQ(data[0], 0) << e.item << " version";
        EXPECT_EQ(std::vector<uint8_t>(data.begin() + 4, data.begin() + 8), std::vector<uint8_t>(4, 0)) << e.item;
        EXPECT_EQ(typeFlags(data), e.flags) << e.item;
        if (!e.value.empty()) {
            EXPECT_EQ(value(data), e.value) << e.item;
        }
    }
    std::vector<uint8_t> lyrics = value(storedItem(path, itemPath("lyr")));
    EXPECT_EQ(std::string(lyrics.begin(), lyrics.end()), "first line\r\nsecond line") << "stored with CR LF";

    // covr keeps flags 13 even for a PNG.
    OpenFile file(path);
    ASSERT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, "\x89PNG\r\n\x1a\n", 8), kMediaFileNoErr);
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    EXPECT_EQ(typeFlags(storedItem(path, kIlstPath + "covr")), 13u);
}

TEST(Mp4Items, NumberPairsKeepTheOtherHalf)
{
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.m4a");
    OpenFile fresh(path);
    ASSERT_EQ(MediaFileSetInteger(fresh.ref(), kMediaFileDataIDTrackNumber, 5), kMediaFileNoErr);
    EXPECT_EQ(fresh.integer(kMediaFileDataIDTotalTracks), 0) << "nothing stored: the total is 0";
    ASSERT_EQ(MediaFileSetInteger(fresh.ref(), kMediaFileDataIDTotalDisks, 4), kMediaFileNoErr);
    EXPECT_EQ(fresh.integer(kMediaFileDataIDDiskNumber), 0);
    EXPECT_EQ(fresh.integer(kMediaFileDataIDTotalDisks), 4);

    OpenFile tagged(dir.copyFixture("tagged.m4a"));
    ASSERT_EQ(MediaFileSetInteger(tagged.ref(), kMediaFileDataIDTrackNumber, 5), kMediaFileNoErr);
    EXPECT_EQ(tagged.integer(kMediaFileDataIDTrackNumber), 5);
    EXPECT_EQ(tagged.integer(kMediaFileDataIDTotalTracks), 12);
    ASSERT_EQ(MediaFileSetInteger(tagged.ref(), kMediaFileDataIDTotalTracks, 20), kMediaFileNoErr);
    EXPECT_EQ(tagged.integer(kMediaFileDataIDTrackNumber), 5);
    ASSERT_EQ(MediaFileSetInteger(tagged.ref(), kMediaFileDataIDTotalDisks, 9), kMediaFileNoErr);
    EXPECT_EQ(tagged.integer(kMediaFileDataIDDiskNumber), 1);
    EXPECT_EQ(tagged.integer(kMediaFileDataIDTotalDisks), 9);
    ASSERT_EQ(MediaFileSetString(tagged.ref(), kMediaFileDataIDTrackNumber, "8/15"), kMediaFileNoErr);
    EXPECT_EQ(tagged.integer(kMediaFileDataIDTrackNumber), 8);
    EXPECT_EQ(tagged.integer(kMediaFileDataIDTotalTracks), 20) << "the text setter takes the leading number only";
    EXPECT_EQ(MediaFileSetString(tagged.ref(), kMediaFileDataIDTrackNumber, "x"), kMediaFileErrBadFormat);
}

TEST(Mp4Items, StandardGenresBecomeNumbersAndReplaceTheText)
{
    TempDir dir;
    std::string path = dir.copyFixture("tagged.m4a");
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDGenre, "rOcK"), kMediaFileNoErr);
        EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Rock") << "the list's spelling comes back";
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::vector<uint8_t> bytes = readFile(path);
    EXPECT_EQ(countAtoms(bytes, itemPath("gen")), 0u) << "the whole text item is removed";
    std::vector<uint8_t> gnre = payload(bytes, findAtom(bytes, kIlstPath + "gnre.data"));
    EXPECT_EQ(typeFlags(gnre), 0u);
    EXPECT_EQ(value(gnre), (std::vector<uint8_t>{0, 18})) << "Rock is 17, stored + 1";

    {
        OpenFile file(path);
        EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Rock");
        // The 126th name is the last one the number can carry; the 127th ("Goa") is text.
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDGenre, "DANCE HALL"), kMediaFileNoErr);
        EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Dance Hall");
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDGenre, "Goa"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    bytes = readFile(path);
    EXPECT_EQ(countAtoms(bytes, kIlstPath + "gnre"), 0u);
    std::vector<uint8_t> text = value(payload(bytes, findAtom(bytes, itemPath("gen") + ".data")));
    EXPECT_EQ(std::string(text.begin(), text.end()), "Goa");
    OpenFile file(path);
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Goa");
}

TEST(Mp4Items, StoredGenreNumberOutsideTheListIsRefused)
{
    std::unique_ptr<MP4File> file;
    ASSERT_EQ(MP4FileOpen(fixturePath("no-tags.m4a"), &file), kMediaFileNoErr);
    ASSERT_EQ(MP4SetGenre(*file, "Dance Hall"), kMediaFileNoErr);
    MP4Atom *gnre = file->slot(MP4ItemSlot::StandardGenre);
    ASSERT_NE(gnre, nullptr);
    EXPECT_EQ(gnre->data, (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0, 0, 0, 126}));
    std::string genre;
    for (uint8_t number : {0, 127}) {
        gnre->data.back() = number;
        EXPECT_EQ(MP4GetGenre(*file, &genre), kMediaFileErrTell) << int(number);
    }
    gnre->data.back() = 1;
    ASSERT_EQ(MP4GetGenre(*file, &genre), kMediaFileNoErr);
    EXPECT_EQ(genre, "Blues");
    gnre->data.resize(9);
    EXPECT_EQ(MP4GetGenre(*file, &genre), kMediaFileErrShortHeader) << "a value too short to hold the number";
}

TEST(Mp4Items, LyricsLineEndingsConvertBothWays)
{
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.m4a");
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDLyrics, "a\nb\r\nc\rd"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::vector<uint8_t> stored = value(storedItem(path, itemPath("lyr")));
    EXPECT_EQ(std::string(stored.begin(), stored.end()), "a\r\nb\r\nc\rd");
    OpenFile file(path);
    EXPECT_EQ(file.string(kMediaFileDataIDLyrics), "a\nb\nc\rd");
}

TEST(Mp4Items, IDsThisKindDoesNotCarry)
{
    OpenFile file(fixturePath("tagged.m4a"));
    const MediaFileDataID texts[] = {kMediaFileDataIDSortOrder, kMediaFileDataIDInvolvedPeople, kMediaFileDataIDPublisher,
                                     kMediaFileDataIDISRC, kMediaFileDataIDCopyright, kMediaFileDataIDSeason};
    for (MediaFileDataID id : texts) {
        MediaFileStatus status = 0;
        file.string(id, &status);
        EXPECT_EQ(status, kMediaFileErrUnsupported) << id;
        EXPECT_EQ(MediaFileSetString(file.ref(), id, "x"), kMediaFileErrUnsupported) << id;
    }
    const MediaFileDataID numbers[] = {kMediaFileDataIDBitRate, kMediaFileDataIDSampleRate, kMediaFileDataIDPlayCount,
                                       kMediaFileDataIDMetaDataSize};
    for (MediaFileDataID id : numbers) {
        MediaFileStatus status = 0;
        file.integer(id, &status);
        EXPECT_EQ(status, kMediaFileErrUnsupported) << id;
    }
    EXPECT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtworkBack, "x", 1), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDVolume, "x", 1), kMediaFileErrUnsupported);
}

// The setter walks ".moov.udta.meta.ilst.+item" and creates what is missing at the end of each
// parent: meta with its four zero bytes and no hdlr.
TEST(Mp4Items, MissingContainersAreCreatedAtTheEnd)
{
    TempDir dir;
    std::string path = dir.copyFixture("no-udta-faststart.m4a");
    std::vector<uint8_t> before = readFile(path);
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "New"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::vector<uint8_t> after = readFile(path);
    // udta 8 + meta 12 + ilst 8 + ©nam 8 + data 16 + "New".
    const uint64_t added = 8 + 12 + 8 + 8 + 16 + 3;
    EXPECT_EQ(after.size(), before.size() + added);
    std::vector<AtomSpan> atoms = listAtoms(after);
    AtomSpan moov = findAtom(after, ".moov");
    AtomSpan udta = findAtom(after, ".moov.udta");
    EXPECT_EQ(udta.offset + udta.size, moov.offset + moov.size) << "udta is moov's last child";
    AtomSpan meta = findAtom(after, ".moov.udta.meta");
    EXPECT_EQ(meta.size, 12u + 8 + 8 + 16 + 3);
    EXPECT_EQ(std::vector<uint8_t>(after.begin() + static_cast<long>(meta.offset + 8),
                                   after.begin() + static_cast<long>(meta.offset + 12)),
              std::vector<uint8_t>(4, 0));
    EXPECT_EQ(countAtoms(after, ".moov.udta.meta.hdlr"), 0u);
    OpenFile reopened(path);
    EXPECT_EQ(reopened.string(kMediaFileDataIDTitle), "New");
}
