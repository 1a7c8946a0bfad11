// Still images through libexif, read only; and QuickTime movies, which open with their
// path-derived values alone.
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::test;

TEST(Exif, TheFourValuesOfACameraImage)
{
    OpenFile file(fixturePath("exif-camera.jpg"));
    ASSERT_EQ(file.status(), 0);
    MediaFileType kind = 0;
    MediaFileGetType(file.ref(), &kind);
    EXPECT_EQ(kind, kMediaFileTypeEXIF);
    EXPECT_EQ(file.string(kMediaFileDataIDMake), "Kestrabel Optics");
    EXPECT_EQ(file.string(kMediaFileDataIDModel), "KB-1 Mark II");
    EXPECT_EQ(file.string(kMediaFileDataIDDate), "2024:05:06 07:08:09");
    // libexif renders the copyright as its photographer and editor parts.
    EXPECT_EQ(file.string(kMediaFileDataIDCopyright), "(c) 2024 Field Recordist (Photographer) - [None] (Editor)");
    EXPECT_EQ(file.string(kMediaFileDataIDFilenameClean), "exif-camera");
}

TEST(Exif, OnlyDateTimeOriginalIsTheDate)
{
    OpenFile file(fixturePath("exif-no-original-date.jpg"));
    ASSERT_EQ(file.status(), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDMake), "Kestrabel Optics");
    EXPECT_EQ(file.string(kMediaFileDataIDModel), "KB-2");
    MediaFileStatus status = 0;
    file.string(kMediaFileDataIDDate, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound) << "the image has a DateTime (0x0132), which does not count";
    file.string(kMediaFileDataIDCopyright, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
    EXPECT_EQ(MediaFileGetString(file.ref(), kMediaFileDataIDMake, nullptr), 0) << "presence test";
}

TEST(Exif, EverythingElseIsUnsupportedAndNothingCanBeSet)
{
    TempDir dir;
    std::string path = dir.copyFixture("exif-camera.jpg");
    std::vector<uint8_t> original = readFile(path);
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    MediaFileStatus status = 0;
    for (MediaFileDataID id : {kMediaFileDataIDTitle, kMediaFileDataIDArtist, kMediaFileDataIDEncodedBy, kMediaFileDataIDBWFDescription}) {
        file.string(id, &status);
        EXPECT_EQ(status, kMediaFileErrUnsupported) << id;
    }
    file.integer(kMediaFileDataIDYear, &status);
    EXPECT_EQ(status, kMediaFileErrUnsupported);
    file.data(kMediaFileDataIDArtwork, &status);
    EXPECT_EQ(status, kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDMake, "Other"), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Other"), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDYear, 2000), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, "x", 1), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileUpdate(file.ref(), 0), 0) << "nothing to write";
    EXPECT_EQ(readFile(path), original);
}

TEST(Exif, ImagesWithoutExifAndFilesThatAreNoImages)
{
    TempDir dir;
    EXPECT_EQ(MediaFileOpen(fixturePath("no-exif.jpg").c_str(), nullptr, 0), kMediaFileErrNoExif);
    std::string empty = dir.file("empty.jpg");
    writeFile(empty, std::string());
    EXPECT_EQ(MediaFileOpen(empty.c_str(), nullptr, 0), kMediaFileErrNoExif);
    std::string sound = dir.copyFixture("vorbis-tagged.ogg", "sound.jpg");
    EXPECT_EQ(MediaFileOpen(sound.c_str(), nullptr, 0), kMediaFileErrNoExif);
    // The EXIF block cut off after its first bytes: libexif still hands out an (empty) block.
    std::vector<uint8_t> bytes = readFile(fixturePath("exif-camera.jpg"));
    bytes.resize(40);
    std::string cut = dir.file("cut.jpg");
    writeFile(cut, bytes);
    {
        OpenFile file(cut);
        ASSERT_EQ(file.status(), 0);
        for (MediaFileDataID id : {kMediaFileDataIDMake, kMediaFileDataIDModel, kMediaFileDataIDCopyright, kMediaFileDataIDDate}) {
            MediaFileStatus status = 0;
            file.string(id, &status);
            EXPECT_EQ(status, kMediaFileErrNotFound) << id;
        }
    }
    EXPECT_EQ(MediaFileOpen(dir.file("missing.jpg").c_str(), nullptr, 0), ENOENT);
    EXPECT_EQ(MediaFileOpen(fixturePath("exif-camera.jpg").c_str(), nullptr, kMediaFileFlagAudioOnly), kMediaFileErrUnsupported);
}

TEST(Exif, ExiftoolAgrees)
{
    if (!haveTool("exiftool"))
        GTEST_SKIP() << "exiftool is not installed";
    std::string output;
    ASSERT_EQ(runCommand("exiftool -s3 -Make -Model -DateTimeOriginal " + shellQuote(fixturePath("exif-camera.jpg")), &output), 0);
    OpenFile file(fixturePath("exif-camera.jpg"));
    EXPECT_EQ(output, file.string(kMediaFileDataIDMake) + "\n" + file.string(kMediaFileDataIDModel) + "\n" +
                          file.string(kMediaFileDataIDDate) + "\n");

    TempDir dir;
    std::string path = dir.copyFixture("no-exif.jpg", "tagged-now.jpg");
    ASSERT_EQ(runCommand("exiftool -q -overwrite_original -Model='Set Later' -DateTimeOriginal='2001:02:03 04:05:06' " +
                         shellQuote(path)),
              0);
    OpenFile later(path);
    ASSERT_EQ(later.status(), 0);
    EXPECT_EQ(later.string(kMediaFileDataIDModel), "Set Later");
    EXPECT_EQ(later.string(kMediaFileDataIDDate), "2001:02:03 04:05:06");
    MediaFileStatus status = 0;
    later.string(kMediaFileDataIDMake, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
}

TEST(Exif, CliShowsExifAndRefusesToSetIt)
{
    TempDir dir;
    std::string path = dir.copyFixture("exif-camera.jpg");
    std::vector<uint8_t> original = readFile(path);
    std::string output;
    ASSERT_EQ(runCommand(shellQuote(cliPath()) + " show " + shellQuote(path), &output, true), 0) << output;
    EXPECT_NE(output.find("(EXIF)"), std::string::npos) << output;
    EXPECT_NE(output.find("Make           : Kestrabel Optics"), std::string::npos) << output;
    EXPECT_NE(output.find("Date           : 2024:05:06 07:08:09"), std::string::npos) << output;

    EXPECT_EQ(runCommand(shellQuote(cliPath()) + " set -t Title=Nope " + shellQuote(path), &output, true), 1);
    EXPECT_NE(output.find(path), std::string::npos) << output;
    EXPECT_NE(output.find("kMediaFileErrUnsupported"), std::string::npos) << output;
    EXPECT_EQ(readFile(path), original);
}

TEST(QuickTime, AMovieOpensWithItsPathValuesOnly)
{
    OpenFile file(fixturePath("quicktime-tiny.mov"));
    ASSERT_EQ(file.status(), 0);
    MediaFileType kind = 0;
    MediaFileGetType(file.ref(), &kind);
    EXPECT_EQ(kind, kMediaFileTypeQuickTime);
    EXPECT_EQ(file.string(kMediaFileDataIDFilename), "quicktime-tiny.mov");
    EXPECT_EQ(file.string(kMediaFileDataIDParent1), "data");
    MediaFileStatus status = 0;
    file.string(kMediaFileDataIDTitle, &status);
    EXPECT_EQ(status, kMediaFileErrUnsupported);
    file.integer(kMediaFileDataIDBitRate, &status);
    EXPECT_EQ(status, kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "x"), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    EXPECT_EQ(MediaFileOpen(fixturePath("quicktime-tiny.mov").c_str(), nullptr, kMediaFileFlagAudioOnly), kMediaFileErrUnsupported);
}

TEST(QuickTime, ABrokenOrMissingMovieStillOpens)
{
    OpenFile broken(fixturePath("quicktime-broken.mov"));
    ASSERT_EQ(broken.status(), 0);
    EXPECT_EQ(broken.string(kMediaFileDataIDFilenameClean), "quicktime-broken");
    TempDir dir;
    OpenFile missing(dir.file("missing.mov"));
    EXPECT_EQ(missing.status(), 0) << "the QuickTime handler's failure never fails the open";
    EXPECT_EQ(missing.string(kMediaFileDataIDFilename), "missing.mov");
}
