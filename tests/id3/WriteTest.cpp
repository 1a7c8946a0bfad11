// Saving MP3 files: every settable data ID round trips in each version, the audio stays byte
// for byte, the tag re-uses its room in place or the file is rewritten, and the ID3v1 record,
// the version options and the stripping of the other tag kind do what they say.
#include "Mp3TestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

using namespace kestrabel::test;

namespace {

std::vector<uint8_t> picture(size_t size, uint8_t seed)
{
    std::vector<uint8_t> bytes{0xFF, 0xD8, 0xFF, 0xE0};
    for (size_t i = 0; bytes.size() < size; ++i)
        bytes.push_back(static_cast<uint8_t>(seed + i * 7));
    return bytes;
}

std::vector<uint8_t> volumeRecord()
{
    const int32_t words[13] = {15, 100, -200, 300, 400, -1, 2, 3, 4, 50, 60, -70, 80};
    std::vector<uint8_t> bytes(sizeof words);
    std::memcpy(bytes.data(), words, sizeof words);
    return bytes;
}

ino_t inodeOf(const std::string &path)
{
    struct stat st {};
    stat(path.c_str(), &st);
    return st.st_ino;
}

void setEverything(const OpenFile &file)
{
    MediaFileRef ref = file.ref();
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDTitle, "New Title ☃"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDArtist, "New Artist"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDAlbum, "New Albüm"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDComment, "New comment ☃"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDComposer, "New Composer"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDEncodedBy, "New Encoder"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDGenre, "metal"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDInvolvedPeople, "engineer: Eve\nguitar: Gil"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDLyrics, "la\r\nla la"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDSortOrder, "Artist, New"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDGrouping, "New Group"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDPublisher, "New Label"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDBandOrOrchestra, "New Band"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDISRC, "GBXYZ1234567"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDDescription, "New Description"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDBPM, 133), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDCompilation, 1), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDTrackNumber, 4), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDTotalTracks, "11"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDDiskNumber, 2), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDTotalDisks, 3), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDYear, 2012), kMediaFileNoErr);
    const std::vector<uint8_t> cover = picture(700, 1);
    ASSERT_EQ(MediaFileSetData(ref, kMediaFileDataIDArtwork, cover.data(), cover.size()), kMediaFileNoErr);
    const std::vector<uint8_t> volume = volumeRecord();
    ASSERT_EQ(MediaFileSetData(ref, kMediaFileDataIDVolume, volume.data(), volume.size()), kMediaFileNoErr);
}

void expectEverything(const OpenFile &file, bool version22)
{
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "New Title ☃");
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "New Artist");
    EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "New Albüm");
    EXPECT_EQ(file.string(kMediaFileDataIDComment), "New comment ☃");
    EXPECT_EQ(file.string(kMediaFileDataIDComposer), "New Composer");
    EXPECT_EQ(file.string(kMediaFileDataIDEncodedBy), "New Encoder");
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Metal");
    EXPECT_EQ(file.string(kMediaFileDataIDInvolvedPeople), "engineer: Eve\nguitar: Gil");
    EXPECT_EQ(file.string(kMediaFileDataIDLyrics), "la\nla la");
    EXPECT_EQ(file.string(kMediaFileDataIDGrouping), "New Group");
    EXPECT_EQ(file.string(kMediaFileDataIDPublisher), "New Label");
    EXPECT_EQ(file.string(kMediaFileDataIDBandOrOrchestra), "New Band");
    EXPECT_EQ(file.string(kMediaFileDataIDDescription), "New Description");
    EXPECT_EQ(file.integer(kMediaFileDataIDBPM), 133);
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 4);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 11);
    EXPECT_EQ(file.integer(kMediaFileDataIDDiskNumber), 2);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalDisks), 3);
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 2012);
    EXPECT_EQ(file.data(kMediaFileDataIDArtwork), picture(700, 1));
    std::vector<uint8_t> volume = file.data(kMediaFileDataIDVolume);
    ASSERT_EQ(volume.size(), 52u);
    int32_t words[13];
    std::memcpy(words, volume.data(), sizeof words);
    EXPECT_EQ(words[0], 15);
    EXPECT_EQ(words[1], 100);
    EXPECT_EQ(words[2], -200);
    EXPECT_EQ(words[11], -70);
    EXPECT_EQ(words[12], 70) << "the bass peak is the bass change";
    if (version22) {
        // TCMP has no 2.2 form, and TSOP and TSRC share "TRC", which reads as TSRC: the first
        // one in the list wins, the sort order.
        MediaFileStatus status = 0;
        file.integer(kMediaFileDataIDCompilation, &status);
        EXPECT_EQ(status, kMediaFileErrNotFound);
        EXPECT_EQ(file.string(kMediaFileDataIDSortOrder, &status), "");
        EXPECT_EQ(status, kMediaFileErrNotFound);
    } else {
        EXPECT_EQ(file.integer(kMediaFileDataIDCompilation), 1);
        EXPECT_EQ(file.string(kMediaFileDataIDSortOrder), "Artist, New");
        EXPECT_EQ(file.string(kMediaFileDataIDISRC), "GBXYZ1234567");
    }
}

struct RoundTrip {
    const char *fixture;
    MediaFileFlags version;
    int major;
};

void PrintTo(const RoundTrip &r, std::ostream *os) { *os << r.fixture << " as 2." << r.major; }

class Mp3RoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(Mp3RoundTrip, EverySettableIdAndTheAudioUnchanged)
{
    const RoundTrip &r = GetParam();
    TempDir dir;
    const std::string path = dir.copyFixture(r.fixture, "song.mp3");
    const std::vector<uint8_t> audioBefore = audioPart(readFile(path));
    {
        OpenFile file(path, kMediaFileFlagIgnoreTagErrors);
        ASSERT_EQ(file.status(), kMediaFileNoErr);
        setEverything(file);
        ASSERT_EQ(MediaFileUpdate(file.ref(), r.version), kMediaFileNoErr);
    }
    const std::vector<uint8_t> after = readFile(path);
    const TagHeader header = readTagHeader(after);
    ASSERT_TRUE(header.present);
    EXPECT_EQ(header.major, r.major);
    EXPECT_EQ(audioPart(after), audioBefore);
    OpenFile file(path);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    expectEverything(file, r.major == 2);
    EXPECT_EQ(file.integer(kMediaFileDataIDBitRate), 8) << "the audio is still found behind the tag";
}

INSTANTIATE_TEST_SUITE_P(Versions, Mp3RoundTrip,
                         ::testing::Values(RoundTrip{"no-tags.mp3", kMediaFileFlagID3v23, 3},
                                           RoundTrip{"no-tags.mp3", kMediaFileFlagID3v24, 4},
                                           RoundTrip{"no-tags.mp3", kMediaFileFlagID3v22, 2},
                                           RoundTrip{"id3v23-full.mp3", kMediaFileFlagKeepTagVersion, 3},
                                           RoundTrip{"id3v24-full.mp3", kMediaFileFlagKeepTagVersion, 4},
                                           RoundTrip{"id3v22.mp3", kMediaFileFlagKeepTagVersion, 2},
                                           RoundTrip{"id3v22.mp3", kMediaFileFlagID3v24, 4},
                                           RoundTrip{"id3v24-full.mp3", kMediaFileFlagID3v22, 2},
                                           RoundTrip{"id3v1-only.mp3", kMediaFileFlagID3v23 | kMediaFileFlagKeepTagVersion, 3}));

TEST(Mp3Write, SmallEditsStayInPlaceInTheTagsRoom)
{
    TempDir dir;
    const std::string path = dir.copyFixture("id3v23-full.mp3");
    const std::vector<uint8_t> before = readFile(path);
    const ino_t inode = inodeOf(path);
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Short"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), kMediaFileNoErr);
    }
    const std::vector<uint8_t> after = readFile(path);
    EXPECT_EQ(after.size(), before.size());
    EXPECT_EQ(readTagHeader(after).size, readTagHeader(before).size);
    EXPECT_EQ(inodeOf(path), inode) << "written in place";
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDTitle), "Short");
}

// A tag with a lot of padding keeps up to a megabyte of it; beyond that the room is given back.
TEST(Mp3Write, LargeRoomIsKeptUpToAMegabyte)
{
    TempDir dir;
    const std::vector<uint8_t> audio = readFile(fixturePath("no-tags.mp3"));
    for (uint32_t room : {100000u, 1500000u}) {
        std::vector<uint8_t> bytes = {'I', 'D', '3', 3, 0, 0,
                                      uint8_t(room >> 21 & 0x7F), uint8_t(room >> 14 & 0x7F), uint8_t(room >> 7 & 0x7F), uint8_t(room & 0x7F),
                                      'T', 'I', 'T', '2', 0, 0, 0, 2, 0, 0, 0, 'A'};
        bytes.resize(10 + room, 0);
        bytes.insert(bytes.end(), audio.begin(), audio.end());
        const std::string path = dir.file("room" + std::to_string(room) + ".mp3");
        writeFile(path, bytes);
        {
            OpenFile file(path);
            ASSERT_EQ(file.status(), kMediaFileNoErr);
            MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "B");
            ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), kMediaFileNoErr);
        }
        const std::vector<uint8_t> after = readFile(path);
        EXPECT_EQ(readTagHeader(after).size, room < 1000000 ? 10 + room : 512u);
        EXPECT_EQ(audioPart(after), audio);
    }
}

TEST(Mp3Write, GrowingTagRewritesTheFileOrMovesTheAudioInPlace)
{
    TempDir dir;
    for (bool inPlace : {false, true}) {
        const std::string path = dir.copyFixture("id3v23-full.mp3", inPlace ? "in-place.mp3" : "renamed.mp3");
        const std::vector<uint8_t> before = readFile(path);
        const ino_t inode = inodeOf(path);
        {
            OpenFile file(path);
            const std::vector<uint8_t> big = picture(3000, 9);
            ASSERT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, big.data(), big.size()), kMediaFileNoErr);
            ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion | (inPlace ? kMediaFileFlagInPlace : 0)),
                      kMediaFileNoErr);
        }
        const std::vector<uint8_t> after = readFile(path);
        const TagHeader header = readTagHeader(after);
        EXPECT_EQ(header.size % 512, 0u);
        EXPECT_GT(header.size, readTagHeader(before).size);
        EXPECT_EQ(audioPart(after), audioPart(before));
        EXPECT_EQ(inodeOf(path) == inode, inPlace);
    }
}

TEST(Mp3Write, PaddingOptions)
{
    TempDir dir;
    const std::string path = dir.copyFixture("no-tags.mp3");
    {
        OpenFile file(path, kMediaFileFlagIgnoreTagErrors);
        MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Pad");
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagID3v23), kMediaFileNoErr);
        EXPECT_EQ(readTagHeader(readFile(path)).size, 512u);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagID3v23 | kMediaFileFlagID3NoPadding), kMediaFileNoErr);
    }
    const std::vector<uint8_t> after = readFile(path);
    EXPECT_EQ(readTagHeader(after).size, 10u + 10 + 4) << "header and one frame, nothing else";
    EXPECT_EQ(audioPart(after), readFile(fixturePath("no-tags.mp3")));
}

TEST(Mp3Write, Id3v1RecordIsWrittenOverwrittenAndStripped)
{
    TempDir dir;
    const std::string path = dir.copyFixture("id3v1-and-v2.mp3");
    const std::vector<uint8_t> original = readFile(path);
    {
        OpenFile file(path);
        MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Über");
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), kMediaFileNoErr);
    }
    std::vector<uint8_t> after = readFile(path);
    EXPECT_EQ(readTagHeader(after).major, 3);
    std::vector<uint8_t> record = v1Record(after);
    ASSERT_EQ(record.size(), 128u);
    EXPECT_EQ(std::string(record.begin() + 3, record.begin() + 8), std::string("\xDC" "ber\0", 5));
    EXPECT_EQ(record[126], 7) << "ID3v1.1 kept, with its track";
    EXPECT_EQ(record[127], 17);
    EXPECT_EQ(after.size(), readTagHeader(after).size + audioPart(original).size() + 128) << "overwritten, not appended";

    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagID3v23 | kMediaFileFlagID3StripOther), kMediaFileNoErr);
    }
    after = readFile(path);
    EXPECT_FALSE(hasV1(after));
    EXPECT_EQ(after.size(), readTagHeader(after).size + audioPart(original).size());
    EXPECT_EQ(audioPart(after), audioPart(original));

    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagID3v1 | kMediaFileFlagID3StripOther), kMediaFileNoErr);
    }
    after = readFile(path);
    EXPECT_FALSE(readTagHeader(after).present);
    ASSERT_TRUE(hasV1(after));
    EXPECT_EQ(v1Record(after)[126], 0) << "ID3v1.0: no track";
    EXPECT_EQ(audioPart(after), audioPart(original));
    OpenFile file(path);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Über");
    EXPECT_EQ(file.integer(kMediaFileDataIDMetaDataSize), 128);
}

TEST(Mp3Write, KeepingTheVersionsOfAnId3v1OnlyFile)
{
    TempDir dir;
    const std::string path = dir.copyFixture("id3v1-only.mp3");
    {
        OpenFile file(path);
        MediaFileSetString(file.ref(), kMediaFileDataIDGenre, "Chillout");
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), kMediaFileNoErr);
    }
    const std::vector<uint8_t> after = readFile(path);
    EXPECT_FALSE(readTagHeader(after).present) << "no ID3v2 tag is added";
    EXPECT_EQ(after.size(), readFile(fixturePath("id3v1-only.mp3")).size());
    EXPECT_EQ(v1Record(after)[127], 254) << "a genre outside the list";
    EXPECT_EQ(v1Record(after)[126], 7);
}

TEST(Mp3Write, UnknownFramesKeepTheirBodies)
{
    TempDir dir;
    const std::string v23 = dir.copyFixture("id3v23-ext-header.mp3");
    const std::string v22 = dir.copyFixture("id3v22.mp3");
    {
        OpenFile file(v23);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), kMediaFileNoErr);
    }
    std::vector<RawFrame> frames = rawFrames(readFile(v23), false);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[1].id, "XTST");
    EXPECT_EQ(bytesAsText(frames[1].body), std::string("\x00\x01\xFE\xFF unknown", 12));
    {
        OpenFile file(v23);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagID3v22), kMediaFileNoErr);
    }
    frames = rawFrames22(readFile(v23));
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[1].id, "???");
    EXPECT_EQ(bytesAsText(frames[1].body), std::string("\x00\x01\xFE\xFF unknown", 12));
    {
        OpenFile file(v22);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagID3v23), kMediaFileNoErr);
    }
    frames = rawFrames(readFile(v22), false);
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(frames.back().id, "????");
    EXPECT_EQ(frames.back().body, (std::vector<uint8_t>{1, 2, 3}));
}

TEST(Mp3Write, RepeatedUpdatesOnOneHandle)
{
    TempDir dir;
    const std::string path = dir.copyFixture("no-tags.mp3");
    OpenFile file(path, kMediaFileFlagIgnoreTagErrors);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "One");
    ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagID3v22 | kMediaFileFlagID3v11), kMediaFileNoErr);
    MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Two");
    // Kept versions are now those just written.
    ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), kMediaFileNoErr);
    const std::vector<uint8_t> after = readFile(path);
    EXPECT_EQ(readTagHeader(after).major, 2);
    ASSERT_TRUE(hasV1(after));
    EXPECT_EQ(std::string(after.end() - 125, after.end() - 122), "Two");
    EXPECT_EQ(audioPart(after), readFile(fixturePath("no-tags.mp3")));
}

TEST(Mp3Write, FailedRenderLeavesTheFileAlone)
{
    TempDir dir;
    const std::string path = dir.copyFixture("apic-mime-unterminated.mp3");
    const std::vector<uint8_t> before = readFile(path);
    OpenFile file(path);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Never written");
    EXPECT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagID3v22), kMediaFileErrTooSmall);
    EXPECT_EQ(readFile(path), before);

    const std::string truncated = dir.copyFixture("truncated-tag.mp3");
    const std::vector<uint8_t> cut = readFile(truncated);
    OpenFile damaged(truncated, kMediaFileFlagIgnoreTagErrors);
    ASSERT_EQ(damaged.status(), kMediaFileNoErr);
    MediaFileSetString(damaged.ref(), kMediaFileDataIDTitle, "x");
    EXPECT_EQ(MediaFileUpdate(damaged.ref(), kMediaFileFlagID3v23), kMediaFileErrPastEnd) << "the old tag claims more than the file";
    EXPECT_EQ(readFile(truncated), cut);
}

TEST(Mp3Write, PreserveDates)
{
    TempDir dir;
    const std::string path = dir.copyFixture("id3v23-full.mp3");
    struct timespec old[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), old, 0), 0);
    OpenFile file(path);
    MediaFileSetString(file.ref(), kMediaFileDataIDTitle, std::string(2000, 'g').c_str());
    ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion | kMediaFileFlagPreserveDates), kMediaFileNoErr);
    struct stat st {};
    stat(path.c_str(), &st);
    EXPECT_EQ(st.st_mtim.tv_sec, 1000000000);
}

} // namespace
