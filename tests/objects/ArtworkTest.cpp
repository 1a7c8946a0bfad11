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

namespace {

// What a writer's target is before the write, and what it must still be after.
struct TargetRow {
    const char *name;
    const char *make; // shell command run in the folder to make "out"
    MediaFileStatus status;
    const char *after; // "fifo", "folder" or "link to a new file"
};

const TargetRow kTargetRows[] = {
    {"FIFO", "mkfifo out", kMediaFileErrBadPath, "fifo"},
    {"Folder", "mkdir out", kMediaFileErrBadPath, "folder"},
    {"LinkToAFile", "echo old > real && ln -s real out", kMediaFileNoErr, "link to a new file"},
};

} // namespace

// Both file writers of the object layer: an existing target that is no regular file is refused
// and stays what it was; a symbolic link is written through and stays a link.
TEST_F(Artwork, WritersRefuseWhatIsNoRegularFile)
{
    MediaFileWrapper wrapper = withCover();
    for (const TargetRow &row : kTargetRows) {
        for (int writer = 0; writer < 2; ++writer) {
            SCOPED_TRACE(std::string(row.name) + (writer ? " dictionary" : " artwork"));
            TempDir folder;
            ASSERT_EQ(runCommand("cd " + shellQuote(folder.path().string()) + " && " + row.make), 0);
            const QString out = qpath(folder.file("out"));
            EXPECT_EQ(writer ? wrapper.saveDictionaryRepresentationToFile(out, true, false)
                             : wrapper.createSeparateArtworkFileForMediaFileAtFullPath(out),
                      row.status);
            const std::filesystem::file_status link = std::filesystem::symlink_status(folder.file("out"));
            if (std::string(row.after) == "fifo")
                EXPECT_EQ(link.type(), std::filesystem::file_type::fifo);
            else if (std::string(row.after) == "folder")
                EXPECT_EQ(link.type(), std::filesystem::file_type::directory);
            else {
                EXPECT_EQ(link.type(), std::filesystem::file_type::symlink);
                EXPECT_NE(fileBytes(folder.file("real")), QByteArray("old\n"));
            }
        }
    }
}

namespace {

QStringList *heard = nullptr;

void hear(QtMsgType, const QMessageLogContext &, const QString &message)
{
    if (heard)
        heard->append(message);
}

} // namespace

// libpng's warning over a damaged ancillary chunk, which it reads on from, never reaches the
// process's message handler when the object layer converts the image; our own messages do.
TEST(ArtworkImage, ImageLibraryChatterIsNotHeard)
{
    TempDir dir;
    const std::string png = dir.file("warn.png");
    ASSERT_EQ(runCommand("/usr/bin/python3 -c '\nimport struct, zlib, sys\n"
                         "def chunk(t, d): return struct.pack(\">I\", len(d)) + t + d + struct.pack(\">I\", zlib.crc32(t + d))\n"
                         "row = b\"\\0\" + b\"\\x40\\x80\\xc0\" * 8\n"
                         "bad = chunk(b\"tEXt\", b\"Comment\\0x\")[:-4] + b\"\\0\\0\\0\\0\"\n"
                         "open(sys.argv[1], \"wb\").write(b\"\\x89PNG\\r\\n\\x1a\\n\" + chunk(b\"IHDR\", struct.pack(\">IIBBBBB\", 8, 8, 8, 2, 0, 0, 0))"
                         " + bad + chunk(b\"IDAT\", zlib.compress(row * 8)) + chunk(b\"IEND\", b\"\"))\n' " + shellQuote(png)),
              0);
    QStringList messages;
    heard = &messages;
    QtMessageHandler previous = qInstallMessageHandler(hear);
    QByteArray jpeg;
    const MediaFileStatus status = jpegArtworkFromImageFile(qpath(png), &jpeg);
    qWarning("our own warning");
    qInstallMessageHandler(previous);
    heard = nullptr;
    EXPECT_EQ(status, kMediaFileNoErr);
    EXPECT_EQ(messages.join(u'\n').toStdString(), "our own warning");
}
