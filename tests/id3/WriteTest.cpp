// Saving MP3 files: every settable data ID round trips in each version, the audio stays byte
// for byte, the tag re-uses its room in place or the file is rewritten. The ID3v1 record and the
// version options through the command line: CliTest.
#include "Mp3TestSupport.h"

#include <gtest/gtest.h>

#include <tuple>
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

ino_t inodeOf(const std::string &path)
{
    struct stat st {};
    stat(path.c_str(), &st);
    return st.st_ino;
}

// Every settable ID, set as text and read back; 2.2 has no TCMP, and there TSOP and TSRC share
// "TRC", which reads as TSRC: the sort order does not come back, the ISRC is whichever came first.
struct ValueCase {
    MediaFileDataID id;
    const char *set;
    const char *read;
    const char *read22 = nullptr; // where 2.2 reads otherwise: "" absent, "*" depends on the frames' order
};

const ValueCase kValueCases[] = {
    {kMediaFileDataIDTitle, "New Title ☃", "New Title ☃"}, {kMediaFileDataIDArtist, "New Artist", "New Artist"},
    {kMediaFileDataIDAlbum, "New Albüm", "New Albüm"}, {kMediaFileDataIDComment, "New comment ☃", "New comment ☃"},
    {kMediaFileDataIDComposer, "New Composer", "New Composer"}, {kMediaFileDataIDEncodedBy, "New Encoder", "New Encoder"},
    {kMediaFileDataIDGenre, "metal", "Metal"}, {kMediaFileDataIDLyrics, "la\r\nla la", "la\nla la"},
    {kMediaFileDataIDInvolvedPeople, "engineer: Eve\nguitar: Gil", "engineer: Eve\nguitar: Gil"},
    {kMediaFileDataIDGrouping, "New Group", "New Group"}, {kMediaFileDataIDPublisher, "New Label", "New Label"},
    {kMediaFileDataIDBandOrOrchestra, "New Band", "New Band"}, {kMediaFileDataIDDescription, "New Description", "New Description"},
    {kMediaFileDataIDBPM, "133", "133"}, {kMediaFileDataIDTrackNumber, "4", "4"}, {kMediaFileDataIDTotalTracks, "11", "11"},
    {kMediaFileDataIDDiskNumber, "2", "2"}, {kMediaFileDataIDTotalDisks, "3", "3"}, {kMediaFileDataIDYear, "2012", "2012"},
    {kMediaFileDataIDCompilation, "1", "1", ""}, {kMediaFileDataIDSortOrder, "Artist, New", "Artist, New", ""},
    {kMediaFileDataIDISRC, "GBXYZ1234567", "GBXYZ1234567", "*"},
};

TEST(Mp3Write, EverySettableIdInEachVersionAndTheAudioUnchanged)
{
    const std::tuple<const char *, MediaFileFlags, int> cases[] = {
        {"no-tags.mp3", kMediaFileFlagID3v23, 3},        {"no-tags.mp3", kMediaFileFlagID3v24, 4},
        {"no-tags.mp3", kMediaFileFlagID3v22, 2},        {"id3v23-full.mp3", kMediaFileFlagKeepTagVersion, 3},
        {"id3v24-full.mp3", kMediaFileFlagKeepTagVersion, 4}, {"id3v22.mp3", kMediaFileFlagKeepTagVersion, 2},
        {"id3v22.mp3", kMediaFileFlagID3v24, 4},         {"id3v24-full.mp3", kMediaFileFlagID3v22, 2},
        {"id3v1-only.mp3", kMediaFileFlagID3v23 | kMediaFileFlagKeepTagVersion, 3},
    };
    for (const auto &[fixture, version, major] : cases) {
        SCOPED_TRACE(std::string(fixture) + " as 2." + std::to_string(major));
        TempDir dir;
        const std::string path = dir.copyFixture(fixture, "song.mp3");
        const std::vector<uint8_t> audioBefore = audioPart(readFile(path));
        {
            OpenFile file(path, kMediaFileFlagIgnoreTagErrors);
            ASSERT_EQ(file.status(), kMediaFileNoErr);
            for (const ValueCase &c : kValueCases)
                ASSERT_EQ(MediaFileSetString(file.ref(), c.id, c.set), kMediaFileNoErr) << MediaFileGetDataIDName(c.id);
            const std::vector<uint8_t> cover = picture(700, 1);
            ASSERT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, cover.data(), cover.size()), kMediaFileNoErr);
            ASSERT_EQ(MediaFileUpdate(file.ref(), version), kMediaFileNoErr);
        }
        const std::vector<uint8_t> after = readFile(path);
        EXPECT_EQ(readTagHeader(after).major, major);
        EXPECT_EQ(audioPart(after), audioBefore);
        OpenFile file(path);
        ASSERT_EQ(file.status(), kMediaFileNoErr);
        for (const ValueCase &c : kValueCases) {
            const std::string expected = major == 2 && c.read22 ? c.read22 : c.read;
            MediaFileStatus status = 0;
            EXPECT_TRUE(expected == "*" || file.string(c.id, &status) == expected) << MediaFileGetDataIDName(c.id);
            EXPECT_EQ(status, expected.empty() ? kMediaFileErrNotFound : 0) << MediaFileGetDataIDName(c.id);
        }
        EXPECT_EQ(file.data(kMediaFileDataIDArtwork), picture(700, 1));
        EXPECT_EQ(file.integer(kMediaFileDataIDBitRate), 8) << "the audio is still found behind the tag";
    }
}

// Where the new tag goes: into the old tag's room when it fits (up to a megabyte of room is
// kept), else through a new file or, asked to, by moving the audio in place; padded to 512.
struct RoomCase {
    const char *fixture; // null: a 2.3 tag with `room` bytes of room in front of no-tags.mp3's audio
    uint32_t room;
    size_t picture;      // a cover of this size is set beside the title "B"; 0: none
    MediaFileFlags flags;
    uint64_t tagSize;    // 0: grown, to a multiple of 512
    int sameInode;       // 1 written in place, 0 through a new file, -1 either
};

const RoomCase kRoomCases[] = {
    {"id3v23-full.mp3", 0, 0, kMediaFileFlagKeepTagVersion, 0 /* unchanged, checked below */, 1},
    {nullptr, 100000, 0, kMediaFileFlagKeepTagVersion, 10 + 100000, 1},
    {nullptr, 1500000, 0, kMediaFileFlagKeepTagVersion, 512, 0},
    {"id3v23-full.mp3", 0, 3000, kMediaFileFlagKeepTagVersion, 0, 0},
    {"id3v23-full.mp3", 0, 3000, kMediaFileFlagKeepTagVersion | kMediaFileFlagInPlace, 0, 1},
    {"no-tags.mp3", 0, 0, kMediaFileFlagID3v23, 512, -1},
    {"no-tags.mp3", 0, 0, kMediaFileFlagID3v23 | kMediaFileFlagID3NoPadding, 10 + 10 + 2, -1},
};

TEST(Mp3Write, TheTagUsesItsRoomOrGrows)
{
    const std::vector<uint8_t> audio = readFile(fixturePath("no-tags.mp3"));
    for (const RoomCase &c : kRoomCases) {
        SCOPED_TRACE(std::string(c.fixture ? c.fixture : "room ") + std::to_string(c.room) + " flags " + std::to_string(c.flags));
        TempDir dir;
        std::string path = dir.file("song.mp3");
        if (c.fixture) {
            path = dir.copyFixture(c.fixture, "song.mp3");
        } else {
            std::vector<uint8_t> bytes = {'I', 'D', '3', 3, 0, 0, uint8_t(c.room >> 21 & 0x7F), uint8_t(c.room >> 14 & 0x7F),
                                          uint8_t(c.room >> 7 & 0x7F), uint8_t(c.room & 0x7F), 'T', 'I', 'T', '2', 0, 0, 0, 2, 0, 0, 0, 'A'};
            bytes.resize(10 + c.room, 0);
            bytes.insert(bytes.end(), audio.begin(), audio.end());
            writeFile(path, bytes);
        }
        const std::vector<uint8_t> before = readFile(path);
        const ino_t inode = inodeOf(path);
        const std::vector<uint8_t> cover = picture(c.picture, 9);
        {
            OpenFile file(path, kMediaFileFlagIgnoreTagErrors);
            ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "B"), 0);
            ASSERT_EQ(c.picture ? MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, cover.data(), cover.size()) : 0, 0);
            ASSERT_EQ(MediaFileUpdate(file.ref(), c.flags), 0);
        }
        const std::vector<uint8_t> after = readFile(path);
        const uint64_t oldSize = readTagHeader(before).size, newSize = readTagHeader(after).size;
        EXPECT_TRUE(c.tagSize ? newSize == c.tagSize : c.picture ? newSize % 512 == 0 && newSize > oldSize : newSize == oldSize) << newSize;
        EXPECT_EQ(audioPart(after), audioPart(before));
        EXPECT_TRUE(c.sameInode < 0 || (inodeOf(path) == inode) == (c.sameInode == 1));
        OpenFile file(path);
        EXPECT_EQ(file.string(kMediaFileDataIDTitle), "B");
        EXPECT_TRUE(!c.picture || file.data(kMediaFileDataIDArtwork) == cover);
    }
}

// Only the ID3v1 kind asked for, the other stripped: the ID3v2 tag goes, an ID3v1.0 record stays.
// Keeping the versions of a file with ID3v1 alone adds no ID3v2 tag.
TEST(Mp3Write, Id3v1Alone)
{
    const std::tuple<const char *, MediaFileFlags, uint8_t, uint8_t> cases[] = {
        {"id3v1-and-v2.mp3", kMediaFileFlagID3v1 | kMediaFileFlagID3StripOther, 0, 17}, {"id3v1-only.mp3", kMediaFileFlagKeepTagVersion, 7, 254}};
    for (const auto &[fixture, flags, track, genre] : cases) {
        TempDir dir;
        const std::string path = dir.copyFixture(fixture);
        {
            OpenFile file(path);
            MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Über");
            MediaFileSetString(file.ref(), kMediaFileDataIDGenre, genre == 254 ? "Chillout" : "Rock");
            ASSERT_EQ(MediaFileUpdate(file.ref(), flags), kMediaFileNoErr);
        }
        const std::vector<uint8_t> after = readFile(path), record = v1Record(after);
        EXPECT_FALSE(readTagHeader(after).present) << fixture;
        ASSERT_EQ(record.size(), 128u);
        EXPECT_EQ(std::tuple(bytesAsText(record).substr(3, 5), record[126], record[127]), std::tuple(std::string("\xDC" "ber\0", 5), track, genre));
        EXPECT_EQ(audioPart(after), audioPart(readFile(fixturePath(fixture))));
        EXPECT_EQ(OpenFile(path).string(kMediaFileDataIDTitle), "Über");
    }
}

// Frames this library does not know keep their bodies, and take a placeholder ID where the
// version written has no spelling for theirs.
TEST(Mp3Write, UnknownFramesKeepTheirBodies)
{
    const std::tuple<const char *, MediaFileFlags, int, const char *, std::string> cases[] = {
        {"id3v23-ext-header.mp3", kMediaFileFlagKeepTagVersion, 3, "XTST", std::string("\x00\x01\xFE\xFF unknown", 12)},
        {"id3v23-ext-header.mp3", kMediaFileFlagID3v22, 2, "???", std::string("\x00\x01\xFE\xFF unknown", 12)},
        {"id3v22.mp3", kMediaFileFlagID3v23, 3, "????", "\1\2\3"},
    };
    for (const auto &[fixture, flags, version, id, body] : cases) {
        SCOPED_TRACE(id);
        TempDir dir;
        const std::string path = dir.copyFixture(fixture);
        {
            OpenFile file(path);
            ASSERT_EQ(MediaFileUpdate(file.ref(), flags), kMediaFileNoErr);
        }
        const std::vector<RawFrame> frames = rawFrames(readFile(path), version);
        ASSERT_FALSE(frames.empty());
        EXPECT_EQ(frames.back().id, id);
        EXPECT_EQ(bytesAsText(frames.back().body), body);
    }
}

// A render that fails, or an old tag that claims more than the file, leaves the file as it was.
TEST(Mp3Write, FailedSavesLeaveTheFileAlone)
{
    const std::tuple<const char *, MediaFileFlags, MediaFileStatus> cases[] = {
        {"apic-mime-unterminated.mp3", kMediaFileFlagID3v22, kMediaFileErrTooSmall},
        {"truncated-tag.mp3", kMediaFileFlagID3v23, kMediaFileErrPastEnd},
    };
    for (const auto &[fixture, flags, status] : cases) {
        TempDir dir;
        const std::string path = dir.copyFixture(fixture);
        const std::vector<uint8_t> before = readFile(path);
        OpenFile file(path, kMediaFileFlagIgnoreTagErrors);
        ASSERT_EQ(file.status(), kMediaFileNoErr);
        MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Never written");
        EXPECT_EQ(MediaFileUpdate(file.ref(), flags), status) << fixture;
        EXPECT_EQ(readFile(path), before) << fixture;
    }
}

} // namespace
