// Opening and reading FLAC files: comments under the FLAC names, the stream information, the
// application-block picture, and files whose metadata is broken.
#include "FlacTestSupport.h"
#include "TestSupport.h"

#include <FLAC/metadata.h>
#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::test;

TEST(FlacRead, EveryCommentOfATaggedFile)
{
    OpenFile file(fixturePath("flac-tagged.flac"));
    ASSERT_EQ(file.status(), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Small Hours");
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Kestrel Quartet");
    EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "Field Recordings");
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Ambient");
    EXPECT_EQ(file.string(kMediaFileDataIDComment), "ünïcödé comment");
    EXPECT_EQ(file.string(kMediaFileDataIDDate), "2021-06-01");
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 4);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 9) << "FLAC keeps Total Tracks in TOTALTRACKS";
    EXPECT_EQ(file.integer(kMediaFileDataIDDiskNumber), 1);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalDisks), 2);
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 2021);
    EXPECT_EQ(file.integer(kMediaFileDataIDBPM), 120);
    EXPECT_EQ(file.integer(kMediaFileDataIDCompilation), 1);
    EXPECT_EQ(file.string(kMediaFileDataIDTotalTracks), "9");
    EXPECT_EQ(file.string(kMediaFileDataIDEncodedBy), "reference libFLAC 1.4.2 20221022");
}

TEST(FlacRead, StreamInformationAndItsBitRateRule)
{
    OpenFile stereo(fixturePath("flac-tagged.flac"));
    ASSERT_EQ(stereo.status(), 0);
    EXPECT_EQ(stereo.integer(kMediaFileDataIDSampleRate), 44100);
    EXPECT_EQ(stereo.integer(kMediaFileDataIDChannels), 2);
    EXPECT_EQ(stereo.integer(kMediaFileDataIDBitRate), 689) << "44,100 x 16 / 1,024: the channels do not count";

    OpenFile mono(fixturePath("flac-no-tags.flac"));
    ASSERT_EQ(mono.status(), 0);
    EXPECT_EQ(mono.integer(kMediaFileDataIDSampleRate), 8000) << "found without a comment block";
    EXPECT_EQ(mono.integer(kMediaFileDataIDChannels), 1);
    EXPECT_EQ(mono.integer(kMediaFileDataIDBitRate), 125);
    MediaFileStatus status = 0;
    mono.integer(kMediaFileDataIDPlayTime, &status);
    EXPECT_EQ(status, kMediaFileErrUnsupported);
}

TEST(FlacRead, WithoutACommentBlockNothingIsFound)
{
    OpenFile file(fixturePath("flac-no-tags.flac"));
    ASSERT_EQ(file.status(), 0);
    MediaFileStatus status = 0;
    file.string(kMediaFileDataIDTitle, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
    file.string(kMediaFileDataIDEncodedBy, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
    file.integer(kMediaFileDataIDTrackNumber, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
    file.data(kMediaFileDataIDArtwork, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
    EXPECT_EQ(MediaFileGetString(file.ref(), kMediaFileDataIDTitle, nullptr), kMediaFileErrNotFound);
}

TEST(FlacRead, OnlyTheFlacNamesAreLookedUp)
{
    TempDir dir;
    std::string path = dir.copyFixture("flac-tagged.flac");
    if (!haveTool("metaflac"))
        GTEST_SKIP() << "metaflac is not installed";
    ASSERT_EQ(runCommand("metaflac --remove-tag=TOTALTRACKS --remove-tag=DISC --set-tag=TRACKTOTAL=7 --set-tag=DISCNUMBER=3 " +
                         shellQuote(path)),
              0);
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    MediaFileStatus status = 0;
    file.integer(kMediaFileDataIDTotalTracks, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound) << "no alias lookup for FLAC";
    file.integer(kMediaFileDataIDDiskNumber, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
}

TEST(FlacRead, TheFirstOfTwoEntriesAndAnEntryWithoutEquals)
{
    OpenFile duplicate(fixturePath("flac-duplicate-artist.flac"));
    ASSERT_EQ(duplicate.status(), 0);
    EXPECT_EQ(duplicate.string(kMediaFileDataIDArtist), "First Artist");

    OpenFile file(fixturePath("flac-entry-without-equals.flac"));
    ASSERT_EQ(file.status(), 0);
    MediaFileStatus status = 0;
    file.string(kMediaFileDataIDTitle, &status);
    EXPECT_EQ(status, kMediaFileErrBadFrame) << "the entry TITLE has no '='";
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Has Equals");
    EXPECT_EQ(file.string(kMediaFileDataIDEncodedBy), "hand made");
}

TEST(FlacRead, ThePictureComesWithTheBlocksLength)
{
    std::vector<uint8_t> image = readFile(fixturePath("escn-cover.jpg"));
    ASSERT_FALSE(image.empty());
    OpenFile file(fixturePath("flac-escn-picture.flac"));
    ASSERT_EQ(file.status(), 0);
    std::vector<uint8_t> data = file.data(kMediaFileDataIDArtwork);
    ASSERT_EQ(data.size(), image.size() + 8) << "the length counts the application ID and PIC1";
    EXPECT_TRUE(std::equal(image.begin(), image.end(), data.begin())) << "the image starts the buffer";
    EXPECT_EQ(std::vector<uint8_t>(data.end() - 8, data.end()), std::vector<uint8_t>(8, 0));
    size_t length = 0;
    EXPECT_EQ(MediaFileGetData(file.ref(), kMediaFileDataIDArtwork, nullptr, &length), 0);
    EXPECT_EQ(length, image.size() + 8);
    for (MediaFileDataID id : {kMediaFileDataIDArtworkBack, kMediaFileDataIDVolume}) {
        MediaFileStatus status = 0;
        file.data(id, &status);
        EXPECT_EQ(status, kMediaFileErrUnsupported) << id;
    }
}

TEST(FlacRead, UnsupportedIDs)
{
    OpenFile file(fixturePath("flac-tagged.flac"));
    ASSERT_EQ(file.status(), 0);
    for (MediaFileDataID id : {kMediaFileDataIDLyrics, kMediaFileDataIDGrouping, kMediaFileDataIDSortOrder,
                               kMediaFileDataIDInvolvedPeople, kMediaFileDataIDMake, kMediaFileDataIDBWFDescription}) {
        MediaFileStatus status = 0;
        file.string(id, &status);
        EXPECT_EQ(status, kMediaFileErrUnsupported) << id;
    }
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDLyrics, "x"), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDSeason, 1), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDBitRate, 1), kMediaFileErrUnsupported);
}

TEST(FlacRead, BrokenFilesGiveTheChainsStatusByName)
{
    TempDir dir;
    struct Case {
        std::string path;
        MediaFileStatus status;
    };
    std::string empty = dir.file("empty.flac");
    writeFile(empty, std::string());
    const Case cases[] = {
        {dir.copyFixture("flac-truncated-metadata.flac"), kMediaFileErrFLACReadError},
        {dir.copyFixture("vorbis-tagged.ogg", "ogg.flac"), kMediaFileErrFLACNotAFLACFile},
        {empty, kMediaFileErrFLACNotAFLACFile},
        {dir.file("missing.flac"), kMediaFileErrFLACErrorOpeningFile},
    };
    for (const Case &c : cases) {
        std::vector<uint8_t> before = readFile(c.path);
        EXPECT_EQ(MediaFileOpen(c.path.c_str(), nullptr, 0), c.status) << c.path;
        EXPECT_EQ(readFile(c.path), before);
    }
}
