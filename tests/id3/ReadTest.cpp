// Reading the fixtures: one row per value an MP3 answers, for each ID3v2 version and its
// peculiarities, ID3v1 and its merge; the damaged files fail cleanly and stay untouched.
#include "Mp3TestSupport.h"

#include "id3/ID3Engine.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;

namespace {

// The two pictures of the full fixtures, as make-mp3.sh makes them.
std::vector<uint8_t> fixtureImage(bool png)
{
    std::vector<uint8_t> image = png ? std::vector<uint8_t>{0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A}
                                     : std::vector<uint8_t>{0xFF, 0xD8, 0xFF, 0xE0, 'J', 'F', 'I', 'F'};
    for (int i = 0; i < (png ? 512 : 258); ++i)
        image.push_back(static_cast<uint8_t>(png ? i : i < 256 ? 255 - i : i == 256 ? 0xFF : 0xD9));
    return image;
}

struct ReadCase {
    const char *fixture;
    MediaFileDataID id;
    std::string value;           // a number in decimal; "@png"/"@jpeg": the fixture image
    MediaFileStatus status = 0;  // when not 0, the getter's status and no value
    MediaFileFlags flags = 0;
};

const std::string kCompressed = repeated("compressed comment ", 8);

const ReadCase kReadCases[] = {
    // Tags mutagen wrote, 2.3 and 2.4, with every frame the data IDs map to.
    {"id3v23-full.mp3", kMediaFileDataIDTitle, "Full Title"}, {"id3v24-full.mp3", kMediaFileDataIDTitle, "Full Title"},
    {"id3v23-full.mp3", kMediaFileDataIDArtist, "Ärtist ☃"}, {"id3v24-full.mp3", kMediaFileDataIDArtist, "Ärtist ☃"},
    {"id3v23-full.mp3", kMediaFileDataIDBandOrOrchestra, "Band"}, {"id3v23-full.mp3", kMediaFileDataIDAlbum, "Albüm"},
    {"id3v23-full.mp3", kMediaFileDataIDComposer, "Composer"}, {"id3v23-full.mp3", kMediaFileDataIDEncodedBy, "Encoder"},
    {"id3v23-full.mp3", kMediaFileDataIDSortOrder, "Sort Artist"}, {"id3v23-full.mp3", kMediaFileDataIDGrouping, "Grouping"},
    {"id3v23-full.mp3", kMediaFileDataIDDescription, "Description"}, {"id3v23-full.mp3", kMediaFileDataIDPublisher, "Publisher"},
    {"id3v23-full.mp3", kMediaFileDataIDISRC, "USABC0000001"}, {"id3v24-full.mp3", kMediaFileDataIDComment, "Comment ☃"},
    {"id3v23-full.mp3", kMediaFileDataIDLyrics, "line one\nline two"},
    {"id3v24-full.mp3", kMediaFileDataIDInvolvedPeople, "producer: Pat\nmix: Max"}, {"id3v23-full.mp3", kMediaFileDataIDYear, "1999"},
    {"id3v24-full.mp3", kMediaFileDataIDYear, "1999"}, {"id3v23-full.mp3", kMediaFileDataIDTrackNumber, "3"},
    {"id3v23-full.mp3", kMediaFileDataIDTotalTracks, "12"}, {"id3v24-full.mp3", kMediaFileDataIDDiskNumber, "1"},
    {"id3v24-full.mp3", kMediaFileDataIDTotalDisks, "2"}, {"id3v23-full.mp3", kMediaFileDataIDBPM, "120"},
    {"id3v23-full.mp3", kMediaFileDataIDCompilation, "1"}, {"id3v23-full.mp3", kMediaFileDataIDArtwork, "@png"},
    {"id3v24-full.mp3", kMediaFileDataIDArtworkBack, "@jpeg"},
    {"id3v23-full.mp3", kMediaFileDataIDArtworkMisc, "", kMediaFileErrNotFound},
    {"id3v23-full.mp3", kMediaFileDataIDTagFrameCount, "22"},
    {"id3v23-full.mp3", kMediaFileDataIDMetaDataSize, "", kMediaFileErrNoTag},
    {"id3v23-full.mp3", kMediaFileDataIDGenre, "Rock"}, // "(17)" is the list's name
    {"id3v24-full.mp3", kMediaFileDataIDGenre, "Chillout"}, // outside the list: as stored
    {"id3v23-full.mp3", kMediaFileDataIDNetwork, "", kMediaFileErrUnsupported},
    {"id3v23-full.mp3", kMediaFileDataIDParent0, "", kMediaFileErrUnsupported},
    {"id3v23-full.mp3", kMediaFileDataIDBitRate, "", kMediaFileErrNotFound, kMediaFileFlagSkipMPEGInfo},
    // 2.2: three-letter frames, PIC with its image format, an unknown frame kept.
    {"id3v22.mp3", kMediaFileDataIDTitle, "Two Two"}, {"id3v22.mp3", kMediaFileDataIDTotalTracks, "9"},
    {"id3v22.mp3", kMediaFileDataIDYear, "1982"}, {"id3v22.mp3", kMediaFileDataIDGenre, "Jazz"},
    {"id3v22.mp3", kMediaFileDataIDComment, "Comment 22"}, {"id3v22.mp3", kMediaFileDataIDLyrics, "words"},
    {"id3v22.mp3", kMediaFileDataIDISRC, "ISRC22"}, {"id3v22.mp3", kMediaFileDataIDArtwork, "@jpeg"},
    {"id3v22.mp3", kMediaFileDataIDTagFrameCount, "11"},
    // Unsynchronisation, compression, extended headers, sizes that break the rules.
    {"id3v23-unsync.mp3", kMediaFileDataIDTitle, "Unsync"}, {"id3v23-compressed.mp3", kMediaFileDataIDComment, kCompressed},
    {"id3v23-ext-header.mp3", kMediaFileDataIDTitle, "Extended"}, {"id3v23-ext-header.mp3", kMediaFileDataIDTagFrameCount, "2"},
    {"id3v24-plain-sizes.mp3", kMediaFileDataIDComment, std::string(295, 'x')}, // plain sizes: a second attempt
    {"id3v24-plain-sizes.mp3", kMediaFileDataIDAlbum, "After"}, {"tag-size-top-bit.mp3", kMediaFileDataIDTitle, "Top Bit"},
    {"tag-size-top-bit.mp3", kMediaFileDataIDBitRate, "8"}, // the audio right behind the 154-byte tag
    // ID3v1 alone, 1.0 with its 30-byte comment, and merged under an ID3v2 tag.
    {"id3v1-only.mp3", kMediaFileDataIDTitle, "V1 Title"}, {"id3v1-only.mp3", kMediaFileDataIDArtist, "V1 Artist"},
    {"id3v1-only.mp3", kMediaFileDataIDAlbum, "V1 Album"}, {"id3v1-only.mp3", kMediaFileDataIDComment, "V1 comment"},
    {"id3v1-only.mp3", kMediaFileDataIDYear, "1999"}, {"id3v1-only.mp3", kMediaFileDataIDTrackNumber, "7"},
    {"id3v1-only.mp3", kMediaFileDataIDGenre, "Jazz"}, {"id3v1-only.mp3", kMediaFileDataIDMetaDataSize, "128"},
    {"id3v10-long-comment.mp3", kMediaFileDataIDComment, "abcdefghijklmnopqrstuvwxyz12"},
    {"id3v10-long-comment.mp3", kMediaFileDataIDYear, "198"},
    {"id3v10-long-comment.mp3", kMediaFileDataIDTrackNumber, "", kMediaFileErrNotFound},
    {"id3v10-long-comment.mp3", kMediaFileDataIDGenre, "", kMediaFileErrNotFound}, // byte 200
    {"id3v1-and-v2.mp3", kMediaFileDataIDTitle, "V2 Title"}, {"id3v1-and-v2.mp3", kMediaFileDataIDAlbum, "V1 Album"},
    {"id3v1-and-v2.mp3", kMediaFileDataIDArtist, "V1 Artist"}, {"id3v1-and-v2.mp3", kMediaFileDataIDYear, "2004"},
    {"id3v1-and-v2.mp3", kMediaFileDataIDTrackNumber, "7"}, {"id3v1-and-v2.mp3", kMediaFileDataIDGenre, "Rock"},
    {"apic-mime-unterminated.mp3", kMediaFileDataIDArtwork, "", kMediaFileErrPastEnd},
    {"truncated-tag.mp3", kMediaFileDataIDPlayTime, "", kMediaFileErrNotFound, kMediaFileFlagIgnoreTagErrors},
};

} // namespace

TEST(Mp3Read, EveryFixtureValue)
{
    for (const ReadCase &c : kReadCases) {
        SCOPED_TRACE(std::string(c.fixture) + " " + MediaFileGetDataIDName(c.id));
        OpenFile file(fixturePath(c.fixture), c.flags);
        ASSERT_EQ(file.status(), 0);
        MediaFileStatus status = 0;
        const char type = MediaFileGetDataIDInfo(c.id)->valueType;
        const int32_t number = type == 'I' ? file.integer(c.id, &status) : 0;
        EXPECT_EQ(type == 'I' ? (status ? "" : std::to_string(number)) : type == 'D' ? bytesAsText(file.data(c.id, &status)) : file.string(c.id, &status),
                  type == 'D' && !c.value.empty() ? bytesAsText(fixtureImage(c.value == "@png")) : c.value);
        EXPECT_EQ(status, c.status);
    }
    const TagHeader header = readTagHeader(readFile(fixturePath("id3v1-and-v2.mp3")));
    EXPECT_EQ(OpenFile(fixturePath("id3v1-and-v2.mp3")).integer(kMediaFileDataIDMetaDataSize), int32_t(header.size + 128));
}

// Damaged tags: the open reports the status (the ID3v1 read's, since the ID3v2 parse failed),
// the parse alone reports what broke, a tolerant open reads what there is, and the file is
// byte for byte what it was.
TEST(Mp3Read, DamagedTagsFailCleanlyAndLeaveTheFileAlone)
{
    const struct {
        const char *fixture;
        MediaFileStatus parse, open, strict = 1; // strict: the strict open, where the row says
    } cases[] = {
        {"only-id3.mp3", kMediaFileErrShortRead, kMediaFileErrShortRead, kMediaFileErrTooSmall}, // no audio
        {"truncated-tag.mp3", kMediaFileErrShortRead, kMediaFileErrBadMagic},
        {"frame-past-tag.mp3", kMediaFileErrShortHeader, kMediaFileErrBadMagic},
        {"compressed-4gb.mp3", kMediaFileErrMemory, kMediaFileErrBadMagic},
        {"id3v25.mp3", kMediaFileErrBadVersion, kMediaFileErrBadMagic},
        {"no-tags.mp3", kMediaFileErrBadMagic, kMediaFileErrBadMagic, 0}, // audio without tags is fine
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.fixture);
        TempDir dir;
        const std::string path = dir.copyFixture(c.fixture);
        const std::vector<uint8_t> before = readFile(path);
        kestrabel::id3::ID3Tag tag;
        EXPECT_EQ(kestrabel::id3::ID3ParseV2(kestrabel::id3::TagSource(before), tag), c.parse);
        EXPECT_EQ(OpenFile(path).status(), c.open);
        EXPECT_TRUE(c.strict == 1 || OpenFile(path, kMediaFileFlagStrict).status() == c.strict);
        OpenFile tolerant(path, kMediaFileFlagIgnoreTagErrors);
        ASSERT_EQ(tolerant.status(), 0);
        for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
            const MediaFileDataID id = MediaFileGetDataIDInfoAt(i)->dataID;
            tolerant.string(id);
            tolerant.data(id);
        }
        EXPECT_EQ(readFile(path), before);
    }
}
