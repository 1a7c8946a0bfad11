// Cover Art: conversion of any image to JPEG, and the wrapper's artwork setters and writers.
#include "ArtworkImage.h"
#include "ObjectsTestSupport.h"

#include <filesystem>

using namespace kestrabel;
using namespace kestrabel::test;
namespace fs = std::filesystem;

namespace {

bool isJpeg(const QByteArray &bytes) { return bytes.startsWith("\xFF\xD8\xFF"); }
QSize sizeOf(const QByteArray &artwork) { return imageFromArtworkData(artwork).size(); }

} // namespace

// A JPEG is taken as it is; every other image is re-encoded; what is not an image leaves the
// output alone. Transparency becomes white; quality 100 keeps a flat colour within a step or two.
TEST(ArtworkImage, ConversionToJpeg)
{
    const std::pair<std::string, MediaFileStatus> rows[] = {
        {fixturePath("objects/cover.jpg"), kMediaFileNoErr}, {fixturePath("objects/cover.png"), kMediaFileNoErr},
        {fixturePath("objects/cover.gif"), kMediaFileNoErr}, {fixturePath("objects/cover.bmp"), kMediaFileNoErr},
        {fixturePath("objects/not-an-image.png"), kMediaFileErrNotImage}, {"/nonexistent.png", kMediaFileErrNotImage},
        {"", kMediaFileErrNotImage}, {"/dev/zero", kMediaFileErrNotImage}, {fixturePath("objects"), kMediaFileErrNotImage},
    };
    for (const auto &[path, status] : rows) {
        QByteArray out = "untouched";
        EXPECT_EQ(jpegArtworkFromImageFile(qpath(path), &out), status) << path;
        EXPECT_TRUE(status == kMediaFileNoErr ? isJpeg(out) && sizeOf(out) == QSize(24, 16) && imageFileExtension(out) == "jpg"
                                              : out == "untouched") << path;
    }
    QByteArray out;
    ASSERT_EQ(jpegArtworkFromImageFile(qpath(fixturePath("objects/cover.jpg")), &out), kMediaFileNoErr);
    EXPECT_EQ(out, fileBytes(fixturePath("objects/cover.jpg")));
    EXPECT_TRUE(jpegArtworkFromImage(QImage()).isEmpty() && imageFromArtworkData("not an image").isNull());
    EXPECT_EQ(imageFileExtension(fileBytes(fixturePath("objects/cover.png"))), "png");
    EXPECT_TRUE(imageFileExtension("text").isEmpty());
    QImage transparent(8, 8, QImage::Format_ARGB32), red(16, 16, QImage::Format_RGB32);
    transparent.fill(Qt::transparent);
    EXPECT_GE(imageFromArtworkData(jpegArtworkFromImage(transparent)).pixelColor(0, 0).lightness(), 250);
    red.fill(QColor(200, 30, 40));
    const QColor back = imageFromArtworkData(jpegArtworkFromImage(red)).pixelColor(8, 8);
    EXPECT_TRUE(std::abs(back.red() - 200) <= 3 && std::abs(back.green() - 30) <= 3 && std::abs(back.blue() - 40) <= 3) << back.name().toStdString();
}

TEST(Artwork, SettersAndWriters)
{
    TempDir dir;
    const std::string path = dir.copyFixture(plainFixture(kMp3));
    const QByteArray cover = fileBytes(fixturePath("objects/cover.jpg"));
    {
        // The getter's own status for a missing picture is passed on; an empty one is "no artwork".
        MediaFileWrapper w = openWrapper(path);
        const MediaFileStatus missing = MediaFileGetData(w.mediaFileRef(), kMediaFileDataIDArtwork, nullptr, nullptr);
        EXPECT_EQ(w.createSeparateArtworkFileForMediaFileAtFullPath(qpath(dir.file("none.jpg"))),
                  missing == kMediaFileNoErr ? kMediaFileErrNoArtwork : missing);
        EXPECT_FALSE(fs::exists(dir.file("none.jpg")));
    }
    editAndSave(path, [](MediaFileWrapper &w) {
        EXPECT_EQ(w.setMediaFileArtworkFromImageFile(qpath(fixturePath("objects/cover.png")), kMediaFileDataIDArtwork, false), kMediaFileNoErr);
    });
    MediaFileWrapper w = openWrapper(path);
    EXPECT_TRUE(isJpeg(w.mediaFileDataForID(kMediaFileDataIDArtwork)) && sizeOf(w.mediaFileDataForID(kMediaFileDataIDArtwork)) == QSize(24, 16));
    // What is not an image removes the cover, whatever the flag; a JPEG is stored unchanged.
    for (const std::string &bad : {fixturePath("objects/not-an-image.png"), std::string("/nonexistent.jpg"), std::string()}) {
        ASSERT_EQ(w.setMediaFileArtworkFromImageFile(qpath(fixturePath("objects/cover.jpg")), kMediaFileDataIDArtwork, false), kMediaFileNoErr);
        EXPECT_EQ(w.mediaFileDataForID(kMediaFileDataIDArtwork), cover);
        EXPECT_EQ(w.setMediaFileArtworkFromImageFile(qpath(bad), kMediaFileDataIDArtwork, false), kMediaFileNoErr);
        EXPECT_TRUE(w.mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty()) << bad;
    }
    ASSERT_EQ(w.setMediaFileData(cover, kMediaFileDataIDArtwork), kMediaFileNoErr);
    EXPECT_EQ(w.setMediaFileArtworkImage(QImage(), kMediaFileDataIDArtwork, false), kMediaFileNoErr);
    EXPECT_EQ(w.mediaFileDataForID(kMediaFileDataIDArtwork), cover) << "no image, flag off: unchanged";
    EXPECT_EQ(w.createSeparateArtworkFileForMediaFileAtFullPath(QString()), kMediaFileErrBadPath);
    EXPECT_EQ(w.createSeparateArtworkFileForMediaFileAtFullPath(qpath(dir.file("out.jpg"))), kMediaFileNoErr);
    EXPECT_EQ(w.createTempFileOfArtworkAtFolderPath(qpath(dir.path().string()), "t.jpg"), qpath(dir.file("t.jpg")));
    EXPECT_TRUE(fileBytes(dir.file("out.jpg")) == cover && fileBytes(dir.file("t.jpg")) == cover);
    EXPECT_EQ(w.setMediaFileArtworkImage(QImage(), kMediaFileDataIDArtwork, true), kMediaFileNoErr);
    EXPECT_TRUE(w.mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty());
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    EXPECT_EQ(w.setMediaFileArtworkImage(image, kMediaFileDataIDArtwork, false), kMediaFileNoErr);
    EXPECT_EQ(sizeOf(w.mediaFileDataForID(kMediaFileDataIDArtwork)), QSize(40, 30));
    // Bytes that are not an image are refused, and nothing is written.
    ASSERT_EQ(w.setMediaFileData("definitely not an image", kMediaFileDataIDArtwork), kMediaFileNoErr);
    EXPECT_EQ(w.createSeparateArtworkFileForMediaFileAtFullPath(qpath(dir.file("bad.jpg"))), kMediaFileErrNotImage);
    EXPECT_FALSE(fs::exists(dir.file("bad.jpg")));
    EXPECT_TRUE(w.createTempFileOfArtworkAtFolderPath(qpath(dir.path().string()), "b.jpg").isNull());
}

// Both file writers of the object layer: an existing target that is no regular file is refused
// and stays what it was; a symbolic link is written through and stays a link.
TEST(Artwork, WritersRefuseWhatIsNoRegularFile)
{
    TempDir dir;
    MediaFileWrapper wrapper = openWrapper(dir.copyFixture(plainFixture(kMp3)));
    ASSERT_EQ(wrapper.setMediaFileData(fileBytes(fixturePath("objects/cover.jpg")), kMediaFileDataIDArtwork), kMediaFileNoErr);
    const struct {
        const char *make; // shell command run in the folder to make "out"
        MediaFileStatus status;
        fs::file_type after;
    } rows[] = {{"mkfifo out", kMediaFileErrBadPath, fs::file_type::fifo}, {"mkdir out", kMediaFileErrBadPath, fs::file_type::directory},
                {"echo old > real && ln -s real out", kMediaFileNoErr, fs::file_type::symlink}};
    for (const auto &row : rows)
        for (const bool dictionary : {false, true}) {
            SCOPED_TRACE(std::string(row.make) + (dictionary ? " dictionary" : " artwork"));
            TempDir folder;
            ASSERT_EQ(runCommand("cd " + shellQuote(folder.path().string()) + " && " + row.make), 0);
            const QString out = qpath(folder.file("out"));
            EXPECT_EQ(dictionary ? wrapper.saveDictionaryRepresentationToFile(out, true, false)
                                 : wrapper.createSeparateArtworkFileForMediaFileAtFullPath(out), row.status);
            EXPECT_EQ(fs::symlink_status(folder.file("out")).type(), row.after);
            EXPECT_TRUE(row.after != fs::file_type::symlink || fileBytes(folder.file("real")) != "old\n");
        }
}
