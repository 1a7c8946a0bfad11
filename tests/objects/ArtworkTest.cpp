// Cover Art: conversion of any image to JPEG, and the wrapper's artwork setters and writers.
#include "ArtworkImage.h"
#include "ObjectsTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

bool isJpeg(const QByteArray &bytes) { return bytes.startsWith("\xFF\xD8\xFF"); }

} // namespace

// A JPEG is taken as it is; every other image is re-encoded; what is not an image leaves the
// output alone.
TEST(ArtworkImage, ConversionToJpeg)
{
    const struct {
        std::string path;
        MediaFileStatus status;
    } rows[] = {
        {fixturePath("objects/cover.jpg"), kMediaFileNoErr},      {fixturePath("objects/cover.png"), kMediaFileNoErr},
        {fixturePath("objects/cover.gif"), kMediaFileNoErr},      {fixturePath("objects/cover.bmp"), kMediaFileNoErr},
        {fixturePath("objects/not-an-image.png"), kMediaFileErrNotImage}, {"/nonexistent.png", kMediaFileErrNotImage},
        {"", kMediaFileErrNotImage}, {"/dev/zero", kMediaFileErrNotImage}, {fixturePath("objects"), kMediaFileErrNotImage},
    };
    for (const auto &row : rows) {
        QByteArray out = "untouched";
        EXPECT_EQ(jpegArtworkFromImageFile(qpath(row.path), &out), row.status) << row.path;
        if (row.status != kMediaFileNoErr) {
            EXPECT_EQ(out, QByteArray("untouched")) << row.path;
            continue;
        }
        EXPECT_TRUE(isJpeg(out)) << row.path;
        EXPECT_EQ(imageFromArtworkData(out).size(), QSize(24, 16)) << row.path;
        EXPECT_EQ(imageFileExtension(out), QStringLiteral("jpg"));
    }
    QByteArray out;
    ASSERT_EQ(jpegArtworkFromImageFile(qpath(fixturePath("objects/cover.jpg")), &out), kMediaFileNoErr);
    EXPECT_EQ(out, fileBytes(fixturePath("objects/cover.jpg")));
    EXPECT_TRUE(jpegArtworkFromImage(QImage()).isEmpty());
    EXPECT_TRUE(imageFromArtworkData(QByteArray("not an image")).isNull());
    EXPECT_EQ(imageFileExtension(fileBytes(fixturePath("objects/cover.png"))), QStringLiteral("png"));
    EXPECT_TRUE(imageFileExtension(QByteArray("text")).isEmpty());

    // Transparency becomes white; quality 100 keeps a flat colour within a step or two.
    QImage transparent(8, 8, QImage::Format_ARGB32);
    transparent.fill(Qt::transparent);
    EXPECT_GE(imageFromArtworkData(jpegArtworkFromImage(transparent)).pixelColor(0, 0).lightness(), 250);
    QImage red(16, 16, QImage::Format_RGB32);
    red.fill(QColor(200, 30, 40));
    const QColor back = imageFromArtworkData(jpegArtworkFromImage(red)).pixelColor(8, 8);
    EXPECT_NEAR(back.red(), 200, 3);
    EXPECT_NEAR(back.green(), 30, 3);
    EXPECT_NEAR(back.blue(), 40, 3);
}

TEST(Artwork, SettersAndWriters)
{
    const KindCase *kind = firstKind(true);
    if (!kind)
        GTEST_SKIP() << "no handler that stores artwork is built yet";
    TempDir dir;
    const std::string path = dir.copyFixture(plainFixture(*kind));
    const QByteArray cover = fileBytes(fixturePath("objects/cover.jpg"));
    {
        // The getter's own status for a missing picture is passed on; an empty one is "no artwork".
        MediaFileWrapper w = openWrapper(path);
        const MediaFileStatus missing = MediaFileGetData(w.mediaFileRef(), kMediaFileDataIDArtwork, nullptr, nullptr);
        EXPECT_EQ(w.createSeparateArtworkFileForMediaFileAtFullPath(qpath(dir.file("none.jpg"))),
                  missing == kMediaFileNoErr ? kMediaFileErrNoArtwork : missing);
        EXPECT_FALSE(std::filesystem::exists(dir.file("none.jpg")));
    }
    editAndSave(path, [](MediaFileWrapper &w) {
        EXPECT_EQ(w.setMediaFileArtworkFromImageFile(qpath(fixturePath("objects/cover.png")), kMediaFileDataIDArtwork, false),
                  kMediaFileNoErr);
    });
    MediaFileWrapper w = openWrapper(path);
    EXPECT_TRUE(isJpeg(w.mediaFileDataForID(kMediaFileDataIDArtwork)));
    EXPECT_EQ(imageFromArtworkData(w.mediaFileDataForID(kMediaFileDataIDArtwork)).size(), QSize(24, 16));
    // What is not an image removes the cover, whatever the flag.
    for (const std::string &bad : {fixturePath("objects/not-an-image.png"), std::string("/nonexistent.jpg"), std::string()}) {
        ASSERT_EQ(w.setMediaFileArtworkFromImageFile(qpath(fixturePath("objects/cover.jpg")), kMediaFileDataIDArtwork, false),
                  kMediaFileNoErr);
        EXPECT_EQ(w.mediaFileDataForID(kMediaFileDataIDArtwork), cover) << "a JPEG is stored unchanged";
        EXPECT_EQ(w.setMediaFileArtworkFromImageFile(qpath(bad), kMediaFileDataIDArtwork, false), kMediaFileNoErr);
        EXPECT_TRUE(w.mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty()) << bad;
    }
    ASSERT_EQ(w.setMediaFileData(cover, kMediaFileDataIDArtwork), kMediaFileNoErr);
    EXPECT_EQ(w.setMediaFileArtworkImage(QImage(), kMediaFileDataIDArtwork, false), kMediaFileNoErr);
    EXPECT_EQ(w.mediaFileDataForID(kMediaFileDataIDArtwork), cover) << "no image, flag off: unchanged";

    EXPECT_EQ(w.createSeparateArtworkFileForMediaFileAtFullPath(QString()), kMediaFileErrBadPath);
    EXPECT_EQ(w.createSeparateArtworkFileForMediaFileAtFullPath(qpath(dir.file("out.jpg"))), kMediaFileNoErr);
    EXPECT_EQ(fileBytes(dir.file("out.jpg")), cover);
    EXPECT_EQ(w.createTempFileOfArtworkAtFolderPath(qpath(dir.path().string()), QStringLiteral("t.jpg")), qpath(dir.file("t.jpg")));
    EXPECT_EQ(fileBytes(dir.file("t.jpg")), cover);

    EXPECT_EQ(w.setMediaFileArtworkImage(QImage(), kMediaFileDataIDArtwork, true), kMediaFileNoErr);
    EXPECT_TRUE(w.mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty());
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    EXPECT_EQ(w.setMediaFileArtworkImage(image, kMediaFileDataIDArtwork, false), kMediaFileNoErr);
    EXPECT_EQ(imageFromArtworkData(w.mediaFileDataForID(kMediaFileDataIDArtwork)).size(), QSize(40, 30));

    // Bytes that are not an image are refused, and nothing is written.
    ASSERT_EQ(w.setMediaFileData(QByteArray("definitely not an image"), kMediaFileDataIDArtwork), kMediaFileNoErr);
    EXPECT_EQ(w.createSeparateArtworkFileForMediaFileAtFullPath(qpath(dir.file("bad.jpg"))), kMediaFileErrNotImage);
    EXPECT_FALSE(std::filesystem::exists(dir.file("bad.jpg")));
    EXPECT_TRUE(w.createTempFileOfArtworkAtFolderPath(qpath(dir.path().string()), QStringLiteral("b.jpg")).isNull());
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
TEST(Artwork, WritersRefuseWhatIsNoRegularFile)
{
    const KindCase *kind = firstKind(true);
    if (!kind)
        GTEST_SKIP() << "no handler that stores artwork is built yet";
    TempDir dir;
    MediaFileWrapper wrapper = openWrapper(dir.copyFixture(plainFixture(*kind)));
    ASSERT_EQ(wrapper.setMediaFileData(fileBytes(fixturePath("objects/cover.jpg")), kMediaFileDataIDArtwork), kMediaFileNoErr);
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
