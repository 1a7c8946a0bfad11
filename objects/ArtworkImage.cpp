#include "ArtworkImage.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QPainter>

#include <new>

namespace kestrabel {
namespace {

struct DecodedImage {
    QImage image;
    QByteArray format; // as QImageReader names it: "jpeg", "png", …
};

DecodedImage decode(const QByteArray &bytes)
{
    QByteArray copy = bytes; // QBuffer wants a non-const array; the copy shares the data
    QBuffer buffer(&copy);
    if (!buffer.open(QIODevice::ReadOnly))
        return {};
    QImageReader reader(&buffer);
    reader.setDecideFormatFromContent(true);
    DecodedImage decoded;
    decoded.format = reader.format();
    if (!reader.read(&decoded.image) || decoded.image.isNull())
        return {};
    return decoded;
}

} // namespace

MediaFileStatus jpegArtworkFromImageFile(const QString &path, QByteArray *out)
{
    try {
        // Regular files only: a device or a pipe could block or never end.
        QFile file(path);
        if (path.isEmpty() || !QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) ||
            file.size() > kMaxArtworkFileSize)
            return kMediaFileErrNotImage;
        QByteArray bytes = file.read(kMaxArtworkFileSize + 1);
        if (bytes.isEmpty() || bytes.size() > kMaxArtworkFileSize)
            return kMediaFileErrNotImage;
        DecodedImage decoded = decode(bytes);
        if (decoded.image.isNull())
            return kMediaFileErrNotImage;
        // A JPEG is not recompressed: every round of JPEG encoding loses a little.
        if (decoded.format == "jpeg") {
            *out = std::move(bytes);
            return kMediaFileNoErr;
        }
        QByteArray jpeg = jpegArtworkFromImage(decoded.image);
        if (jpeg.isEmpty())
            return kMediaFileErrCantCreate;
        *out = std::move(jpeg);
        return kMediaFileNoErr;
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
}

QByteArray jpegArtworkFromImage(const QImage &image)
{
    if (image.isNull())
        return {};
    QImage opaque = image;
    if (image.hasAlphaChannel()) {
        opaque = QImage(image.size(), QImage::Format_RGB32);
        opaque.fill(Qt::white);
        QPainter painter(&opaque);
        painter.drawImage(0, 0, image);
    }
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    if (!buffer.open(QIODevice::WriteOnly) || !opaque.save(&buffer, "JPEG", 100))
        return {};
    return jpeg;
}

QImage imageFromArtworkData(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return {};
    return decode(bytes).image;
}

QString imageFileExtension(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return {};
    QByteArray copy = bytes;
    QBuffer buffer(&copy);
    if (!buffer.open(QIODevice::ReadOnly))
        return {};
    QImageReader reader(&buffer);
    reader.setDecideFormatFromContent(true);
    QByteArray format = reader.format();
    if (format.isEmpty() || !reader.canRead())
        return {};
    if (format == "jpeg")
        return QStringLiteral("jpg");
    if (format == "tiff")
        return QStringLiteral("tif");
    return QString::fromLatin1(format);
}

} // namespace kestrabel
