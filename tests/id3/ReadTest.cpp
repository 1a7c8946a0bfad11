// Reading the fixtures: every data ID an MP3 answers, each ID3v2 version and its peculiarities,
// ID3v1 and its merge, and the damaged files, which must fail cleanly and stay untouched.
#include "Mp3TestSupport.h"

#include "id3/ID3Engine.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;

namespace {

std::vector<uint8_t> fixturePng()
{
    std::vector<uint8_t> png{0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    for (int round = 0; round < 2; ++round)
        for (int i = 0; i < 256; ++i)
            png.push_back(static_cast<uint8_t>(i));
    return png;
}

std::vector<uint8_t> fixtureJpeg()
{
    std::vector<uint8_t> jpeg{0xFF, 0xD8, 0xFF, 0xE0, 'J', 'F', 'I', 'F'};
    for (int i = 255; i >= 0; --i)
        jpeg.push_back(static_cast<uint8_t>(i));
    jpeg.push_back(0xFF);
    jpeg.push_back(0xD9);
    return jpeg;
}

// The ID3v2 parse alone, without the ID3v1 read that replaces its status.
MediaFileStatus parseStatus(const std::string &fixture)
{
    const std::vector<uint8_t> bytes = readFile(fixturePath(fixture));
    kestrabel::id3::ID3Tag tag;
    return kestrabel::id3::ID3ParseV2(kestrabel::id3::TagSource(bytes), tag);
}

void expectFullTag(const OpenFile &file)
{
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Full Title");
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Ärtist ☃");
    EXPECT_EQ(file.string(kMediaFileDataIDBandOrOrchestra), "Band");
    EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "Albüm");
    EXPECT_EQ(file.string(kMediaFileDataIDComposer), "Composer");
    EXPECT_EQ(file.string(kMediaFileDataIDEncodedBy), "Encoder");
    EXPECT_EQ(file.string(kMediaFileDataIDSortOrder), "Sort Artist");
    EXPECT_EQ(file.string(kMediaFileDataIDGrouping), "Grouping");
    EXPECT_EQ(file.string(kMediaFileDataIDDescription), "Description");
    EXPECT_EQ(file.string(kMediaFileDataIDPublisher), "Publisher");
    EXPECT_EQ(file.string(kMediaFileDataIDISRC), "USABC0000001");
    EXPECT_EQ(file.string(kMediaFileDataIDComment), "Comment ☃");
    EXPECT_EQ(file.string(kMediaFileDataIDLyrics), "line one\nline two");
    EXPECT_EQ(file.string(kMediaFileDataIDInvolvedPeople), "producer: Pat\nmix: Max");
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 1999);
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 3);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 12);
    EXPECT_EQ(file.integer(kMediaFileDataIDDiskNumber), 1);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalDisks), 2);
    EXPECT_EQ(file.integer(kMediaFileDataIDBPM), 120);
    EXPECT_EQ(file.integer(kMediaFileDataIDCompilation), 1);
    EXPECT_EQ(file.string(kMediaFileDataIDTotalTracks), "12");
    EXPECT_EQ(file.data(kMediaFileDataIDArtwork), fixturePng());
    EXPECT_EQ(file.data(kMediaFileDataIDArtworkBack), fixtureJpeg());
    MediaFileStatus status = 0;
    file.data(kMediaFileDataIDArtworkMisc, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
    EXPECT_EQ(file.integer(kMediaFileDataIDTagFrameCount), 22);
    file.integer(kMediaFileDataIDMetaDataSize, &status);
    EXPECT_EQ(status, kMediaFileErrNoTag) << "no ID3v1 tag";
}

TEST(Mp3Read, Version23FromMutagen)
{
    OpenFile file(fixturePath("id3v23-full.mp3"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    expectFullTag(file);
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Rock") << "(17) resolves to the list's name";
}

TEST(Mp3Read, Version24FromMutagen)
{
    OpenFile file(fixturePath("id3v24-full.mp3"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    expectFullTag(file);
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Chillout") << "a genre outside the list reads as stored";
}

TEST(Mp3Read, Version22WithPictureAndUnknownFrame)
{
    OpenFile file(fixturePath("id3v22.mp3"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Two Two");
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Artist 22");
    EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "Album 22");
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 5);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 9);
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 1982);
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Jazz");
    EXPECT_EQ(file.string(kMediaFileDataIDComment), "Comment 22");
    EXPECT_EQ(file.string(kMediaFileDataIDLyrics), "words");
    EXPECT_EQ(file.string(kMediaFileDataIDISRC), "ISRC22") << "TRC is the ISRC";
    EXPECT_EQ(file.data(kMediaFileDataIDArtwork), fixtureJpeg()) << "PIC with its 3-character format";
    EXPECT_EQ(file.integer(kMediaFileDataIDTagFrameCount), 11) << "the unknown XYZ frame is kept";
}

TEST(Mp3Read, UnsynchronisedCompressedAndExtendedHeaderTags)
{
    OpenFile unsync(fixturePath("id3v23-unsync.mp3"));
    ASSERT_EQ(unsync.status(), kMediaFileNoErr);
    EXPECT_EQ(unsync.string(kMediaFileDataIDTitle), "Unsync");
    EXPECT_EQ(unsync.data(kMediaFileDataIDArtwork), (std::vector<uint8_t>{0xFF, 0xE0, 0x11, 0xFF, 0x00, 0x22, 0xFF, 0xFB, 0xFF}));

    OpenFile compressed(fixturePath("id3v23-compressed.mp3"));
    ASSERT_EQ(compressed.status(), kMediaFileNoErr);
    std::string expected;
    for (int i = 0; i < 8; ++i)
        expected += "compressed comment ";
    EXPECT_EQ(compressed.string(kMediaFileDataIDComment), expected);
    EXPECT_EQ(compressed.string(kMediaFileDataIDTitle), "Compressed");

    OpenFile extended(fixturePath("id3v23-ext-header.mp3"));
    ASSERT_EQ(extended.status(), kMediaFileNoErr);
    EXPECT_EQ(extended.string(kMediaFileDataIDTitle), "Extended");
    EXPECT_EQ(extended.integer(kMediaFileDataIDTagFrameCount), 2);
}

TEST(Mp3Read, SizesThatBreakTheRules)
{
    // A 2.4 tag with plain frame sizes fails the synchsafe reading at its 300-byte frame and
    // parses on the second attempt, with every frame.
    OpenFile plain(fixturePath("id3v24-plain-sizes.mp3"));
    ASSERT_EQ(plain.status(), kMediaFileNoErr);
    EXPECT_EQ(plain.string(kMediaFileDataIDTitle), "Plain Sizes");
    EXPECT_EQ(plain.string(kMediaFileDataIDComment), std::string(295, 'x'));
    EXPECT_EQ(plain.string(kMediaFileDataIDAlbum), "After");
    EXPECT_EQ(plain.integer(kMediaFileDataIDTagFrameCount), 3);

    OpenFile topBit(fixturePath("tag-size-top-bit.mp3"));
    ASSERT_EQ(topBit.status(), kMediaFileNoErr);
    EXPECT_EQ(topBit.string(kMediaFileDataIDTitle), "Top Bit");
    EXPECT_EQ(topBit.integer(kMediaFileDataIDTagFrameCount), 2);
    EXPECT_EQ(topBit.integer(kMediaFileDataIDBitRate), 8) << "the audio is found right behind the 154-byte tag";
}

TEST(Mp3Read, Id3v1Only)
{
    OpenFile file(fixturePath("id3v1-only.mp3"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "V1 Title");
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "V1 Artist");
    EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "V1 Album");
    EXPECT_EQ(file.string(kMediaFileDataIDComment), "V1 comment");
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 1999);
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 7);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Jazz");
    EXPECT_EQ(file.integer(kMediaFileDataIDMetaDataSize), 128);
}

TEST(Mp3Read, Id3v10WithThirtyByteComment)
{
    OpenFile file(fixturePath("id3v10-long-comment.mp3"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDComment), "abcdefghijklmnopqrstuvwxyz12") << "only 28 comment bytes";
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 198) << "four year bytes, leading blank skipped";
    MediaFileStatus status = 0;
    file.integer(kMediaFileDataIDTrackNumber, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound) << "ID3v1.0 has no track";
    file.string(kMediaFileDataIDGenre, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound) << "genre byte 200 is not a genre";
}

TEST(Mp3Read, Id3v1FillsWhatTheId3v2TagLacks)
{
    OpenFile file(fixturePath("id3v1-and-v2.mp3"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "V2 Title") << "ID3v2 wins";
    EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "V1 Album");
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "V1 Artist");
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 2004);
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 7);
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Rock");
    const TagHeader header = readTagHeader(readFile(fixturePath("id3v1-and-v2.mp3")));
    EXPECT_EQ(file.integer(kMediaFileDataIDMetaDataSize), int32_t(header.size + 128));
}

TEST(Mp3Read, FileShorterThanAnId3v1Tag)
{
    // The ID3v1 read fails on a 22-byte file, which does not matter once the ID3v2 tag parsed.
    TempDir dir;
    const std::string path = dir.file("tiny.mp3");
    writeFile(path, std::string("ID3\3\0\0\0\0\0\x0c" "TIT2\0\0\0\2\0\0\0A", 22));
    OpenFile file(path);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "A");
    MediaFileStatus status = 0;
    file.integer(kMediaFileDataIDBitRate, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound) << "no audio";
}

TEST(Mp3Read, UnsupportedIdsAnswerUnsupported)
{
    OpenFile file(fixturePath("id3v23-full.mp3"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(MediaFileGetString(file.ref(), kMediaFileDataIDNetwork, nullptr), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileGetInteger(file.ref(), kMediaFileDataIDSeason, nullptr), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileGetString(file.ref(), kMediaFileDataIDParent0, nullptr), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDShow, "x"), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDBitRate, 1), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileGetData(file.ref(), kMediaFileDataIDTitle, nullptr, nullptr), kMediaFileErrUnsupported);
}

// Damaged tags: the open reports the status (the ID3v1 read's, since the ID3v2 parse failed),
// the parse alone reports what broke, and the file is byte for byte what it was.
struct Damaged {
    const char *fixture;
    MediaFileStatus parse;
    MediaFileStatus open;
};

void PrintTo(const Damaged &c, std::ostream *os) { *os << c.fixture; }

class Mp3Damaged : public ::testing::TestWithParam<Damaged> {};

TEST_P(Mp3Damaged, FailsCleanlyAndLeavesTheFileAlone)
{
    const Damaged &c = GetParam();
    TempDir dir;
    const std::string path = dir.copyFixture(c.fixture);
    const std::vector<uint8_t> before = readFile(path);
    EXPECT_EQ(parseStatus(c.fixture), c.parse);
    {
        OpenFile file(path);
        EXPECT_EQ(file.status(), c.open);
    }
    {
        OpenFile tolerant(path, kMediaFileFlagIgnoreTagErrors);
        EXPECT_EQ(tolerant.status(), kMediaFileNoErr);
        if (tolerant.status() == kMediaFileNoErr) {
            for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
                const MediaFileDataID id = MediaFileGetDataIDInfoAt(i)->dataID;
                tolerant.string(id);
                tolerant.integer(id);
                tolerant.data(id);
            }
        }
    }
    EXPECT_EQ(readFile(path), before);
}

INSTANTIATE_TEST_SUITE_P(Faults, Mp3Damaged,
                         ::testing::Values(Damaged{"only-id3.mp3", kMediaFileErrShortRead, kMediaFileErrShortRead},
                                           Damaged{"truncated-tag.mp3", kMediaFileErrShortRead, -6748},
                                           Damaged{"frame-past-tag.mp3", kMediaFileErrShortHeader, -6748},
                                           Damaged{"compressed-4gb.mp3", kMediaFileErrMemory, -6748},
                                           Damaged{"id3v25.mp3", -6715, -6748},
                                           Damaged{"no-tags.mp3", -6748, -6748}),
                         [](const auto &info) {
                             std::string name = info.param.fixture;
                             name = name.substr(0, name.find('.'));
                             for (char &c : name)
                                 if (c == '-')
                                     c = '_';
                             return name;
                         });

TEST(Mp3Read, StrictOpenNeedsAudioNotTags)
{
    // The strict flag makes the audio scan decide the open, while a missing tag does not.
    OpenFile untagged(fixturePath("no-tags.mp3"), kMediaFileFlagStrict);
    EXPECT_EQ(untagged.status(), kMediaFileNoErr);
    OpenFile noAudio(fixturePath("only-id3.mp3"), kMediaFileFlagStrict);
    EXPECT_EQ(noAudio.status(), kMediaFileErrTooSmall);
}

TEST(Mp3Read, PictureWithoutMimeTerminator)
{
    OpenFile file(fixturePath("apic-mime-unterminated.mp3"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    MediaFileStatus status = 0;
    file.data(kMediaFileDataIDArtwork, &status);
    EXPECT_EQ(status, kMediaFileErrPastEnd);
}

TEST(Mp3Read, AudioFiguresAreUnknownWhenTheScanIsSkippedOrFails)
{
    OpenFile skipped(fixturePath("id3v23-full.mp3"), kMediaFileFlagSkipMPEGInfo);
    MediaFileStatus status = 0;
    skipped.integer(kMediaFileDataIDBitRate, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
    OpenFile truncated(fixturePath("truncated-tag.mp3"), kMediaFileFlagIgnoreTagErrors);
    ASSERT_EQ(truncated.status(), kMediaFileNoErr);
    truncated.integer(kMediaFileDataIDPlayTime, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound) << "the audio would start past the end of the file";
    EXPECT_EQ(truncated.string(kMediaFileDataIDBitRate, &status), "");
    EXPECT_EQ(status, kMediaFileErrNotFound);
}

} // namespace
