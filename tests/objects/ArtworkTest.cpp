#include "ArtworkImage.h"
#include "ObjectsTestSupport.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

QByteArray fileBytes(const std::string &path)
{
    QFile file(qpath(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool isJpeg(const QByteArray &bytes) { return bytes.startsWith("\xFF\xD8\xFF"); }

class Artwork : public ::testing::Test {
protected:
    void SetUp() override
    {
        kind = firstArtworkKind();
        if (!kind)
            GTEST_SKIP() << "no handler that stores artwork is built yet";
        path = dir.copyFixture(plainFixture(*kind));
        cover = fileBytes(fixturePath("objects/cover.jpg"));
        ASSERT_FALSE(cover.isEmpty());
    }

    // A file with the fixture's JPEG as its Cover Art, saved and reopened.
    MediaFileWrapper withCover()
    {
        {
            MediaFileWrapper wrapper = openWrapper(path);
            EXPECT_EQ(wrapper.setMediaFileData(cover, kMediaFileDataIDArtwork), kMediaFileNoErr);
            EXPECT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
        }
        return openWrapper(path);
    }

    TempDir dir;
    const KindCase *kind = nullptr;
    std::string path;
    QByteArray cover;
};

} // namespace

TEST(ArtworkImage, ConversionToJpeg)
{
    QByteArray out;
    // A JPEG is taken as it is; every other format is re-encoded.
    ASSERT_EQ(jpegArtworkFromImageFile(qpath(fixturePath("objects/cover.jpg")), &out), kMediaFileNoErr);
    EXPECT_EQ(out, fileBytes(fixturePath("objects/cover.jpg")));
    for (const char *name : {"objects/cover.png", "objects/cover.gif", "objects/cover.bmp"}) {
        SCOPED_TRACE(name);
        out.clear();
        ASSERT_EQ(jpegArtworkFromImageFile(qpath(fixturePath(name)), &out), kMediaFileNoErr);
        EXPECT_TRUE(isJpeg(out));
        QImage image = imageFromArtworkData(out);
        EXPECT_EQ(image.size(), QSize(24, 16));
        EXPECT_EQ(imageFileExtension(out), QStringLiteral("jpg"));
    }
    out = "untouched";
    EXPECT_EQ(jpegArtworkFromImageFile(qpath(fixturePath("objects/not-an-image.png")), &out), kMediaFileErrNotImage);
    EXPECT_EQ(jpegArtworkFromImageFile(qpath("/nonexistent.png"), &out), kMediaFileErrNotImage);
    EXPECT_EQ(jpegArtworkFromImageFile(QString(), &out), kMediaFileErrNotImage);
    EXPECT_EQ(jpegArtworkFromImageFile(QStringLiteral("/dev/zero"), &out), kMediaFileErrNotImage);
    EXPECT_EQ(jpegArtworkFromImageFile(qpath(fixturePath("objects")), &out), kMediaFileErrNotImage);
    EXPECT_EQ(out, QByteArray("untouched"));

    EXPECT_TRUE(jpegArtworkFromImage(QImage()).isEmpty());
    EXPECT_TRUE(imageFromArtworkData(QByteArray("not an image")).isNull());
    EXPECT_EQ(imageFileExtension(fileBytes(fixturePath("objects/cover.png"))), QStringLiteral("png"));
    EXPECT_TRUE(imageFileExtension(QByteArray("text")).isEmpty());
}

TEST(ArtworkImage, TransparencyBecomesWhiteAtHighestQuality)
{
    QImage transparent(8, 8, QImage::Format_ARGB32);
    transparent.fill(Qt::transparent);
    QImage decoded = imageFromArtworkData(jpegArtworkFromImage(transparent));
    ASSERT_FALSE(decoded.isNull());
    QColor corner = decoded.pixelColor(0, 0);
    EXPECT_GE(corner.red(), 250);
    EXPECT_GE(corner.green(), 250);
    EXPECT_GE(corner.blue(), 250);

    // Quality 100 keeps a flat colour within a step or two.
    QImage red(16, 16, QImage::Format_RGB32);
    red.fill(QColor(200, 30, 40));
    QColor back = imageFromArtworkData(jpegArtworkFromImage(red)).pixelColor(8, 8);
    EXPECT_NEAR(back.red(), 200, 3);
    EXPECT_NEAR(back.green(), 30, 3);
    EXPECT_NEAR(back.blue(), 40, 3);
}

TEST_F(Artwork, FromImageFileStoresJpeg)
{
    {
        MediaFileWrapper wrapper = openWrapper(path);
        ASSERT_EQ(wrapper.setMediaFileArtworkFromImageFile(qpath(fixturePath("objects/cover.png")),
                                                           kMediaFileDataIDArtwork, false),
                  kMediaFileNoErr);
        ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    }
    QByteArray stored = openWrapper(path).mediaFileDataForID(kMediaFileDataIDArtwork);
    EXPECT_TRUE(isJpeg(stored));
    EXPECT_EQ(imageFromArtworkData(stored).size(), QSize(24, 16));

    MediaFileWrapper wrapper = openWrapper(path);
    ASSERT_EQ(wrapper.setMediaFileArtworkFromImageFile(qpath(fixturePath("objects/cover.jpg")), kMediaFileDataIDArtwork,
                                                       false),
              kMediaFileNoErr);
    EXPECT_EQ(wrapper.mediaFileDataForID(kMediaFileDataIDArtwork), cover) << "a JPEG is stored unchanged";
}

TEST_F(Artwork, FromSomethingNotAnImageRemovesWhateverTheFlag)
{
    for (const std::string &bad : {fixturePath("objects/not-an-image.png"), std::string("/nonexistent.jpg"), std::string()}) {
        SCOPED_TRACE(bad);
        MediaFileWrapper wrapper = withCover();
        ASSERT_EQ(wrapper.mediaFileDataForID(kMediaFileDataIDArtwork), cover);
        EXPECT_EQ(wrapper.setMediaFileArtworkFromImageFile(qpath(bad), kMediaFileDataIDArtwork, false), kMediaFileNoErr);
        EXPECT_TRUE(wrapper.mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty());
    }
}

TEST_F(Artwork, FromImageObject)
{
    MediaFileWrapper wrapper = withCover();
    EXPECT_EQ(wrapper.setMediaFileArtworkImage(QImage(), kMediaFileDataIDArtwork, false), kMediaFileNoErr);
    EXPECT_EQ(wrapper.mediaFileDataForID(kMediaFileDataIDArtwork), cover) << "no image, flag off: unchanged";
    EXPECT_EQ(wrapper.setMediaFileArtworkImage(QImage(), kMediaFileDataIDArtwork, true), kMediaFileNoErr);
    EXPECT_TRUE(wrapper.mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty());

    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    EXPECT_EQ(wrapper.setMediaFileArtworkImage(image, kMediaFileDataIDArtwork, false), kMediaFileNoErr);
    QByteArray stored = wrapper.mediaFileDataForID(kMediaFileDataIDArtwork);
    EXPECT_TRUE(isJpeg(stored));
    EXPECT_EQ(imageFromArtworkData(stored).size(), QSize(40, 30));
}

TEST_F(Artwork, WrittenOutAsStored)
{
    {
        // The getter's own status for a missing picture is passed on; an empty one is "no artwork".
        MediaFileWrapper wrapper = openWrapper(path);
        MediaFileStatus missing = MediaFileGetData(wrapper.mediaFileRef(), kMediaFileDataIDArtwork, nullptr, nullptr);
        EXPECT_EQ(wrapper.createSeparateArtworkFileForMediaFileAtFullPath(qpath(dir.file("none.jpg"))),
                  missing == kMediaFileNoErr ? kMediaFileErrNoArtwork : missing);
        EXPECT_FALSE(std::filesystem::exists(dir.file("none.jpg")));
        EXPECT_TRUE(wrapper.createTempFileOfArtworkAtFolderPath(qpath(dir.path().string()), QStringLiteral("t.jpg")).isNull());
    }
    MediaFileWrapper wrapper = withCover();
    EXPECT_EQ(wrapper.createSeparateArtworkFileForMediaFileAtFullPath(QString()), kMediaFileErrBadPath);
    EXPECT_EQ(wrapper.createSeparateArtworkFileForMediaFileAtFullPath(qpath(dir.file("out.jpg"))), kMediaFileNoErr);
    EXPECT_EQ(fileBytes(dir.file("out.jpg")), cover);

    QString temp = wrapper.createTempFileOfArtworkAtFolderPath(qpath(dir.path().string()), QStringLiteral("temp.jpg"));
    EXPECT_EQ(temp, qpath(dir.file("temp.jpg")));
    EXPECT_EQ(fileBytes(dir.file("temp.jpg")), cover);

    // Bytes that are not an image are refused, and nothing is written.
    ASSERT_EQ(wrapper.setMediaFileData(QByteArray("definitely not an image"), kMediaFileDataIDArtwork), kMediaFileNoErr);
    EXPECT_EQ(wrapper.createSeparateArtworkFileForMediaFileAtFullPath(qpath(dir.file("bad.jpg"))), kMediaFileErrNotImage);
    EXPECT_FALSE(std::filesystem::exists(dir.file("bad.jpg")));
    EXPECT_TRUE(wrapper.createTempFileOfArtworkAtFolderPath(qpath(dir.path().string()), QStringLiteral("bad2.jpg")).isNull());
}
