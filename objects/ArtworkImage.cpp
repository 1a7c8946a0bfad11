#include "ArtworkImage.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QLoggingCategory>
#include <QPainter>

#include <cstring>
#include <mutex>
#include <new>

namespace kestrabel {
namespace {

// Qt refuses images above 256 MB of pixels by default, less than a 12,000 × 12,000 scan needs;
// this is room for 16,000 × 16,000 at four bytes a pixel.
constexpr int kAllocationLimitMB = 1024;

struct DecodedImage {
    QImage image;
    QByteArray format; // as QImageReader names it: "jpeg", "png", …
    // The header gave a size the decoder could not make room for: a valid image too large to
    // decode here, which is not the same as no image.
    bool tooLarge = false;
};

QLoggingCategory::CategoryFilter previousFilter = nullptr;

// Qt's image readers, and libpng and libjpeg through them, report on their own lines what they
// forgive ("libpng warning: tEXt: CRC error"); the callers say in their own words what went
// wrong, so those readers' categories keep only their critical messages. Every other category
// is left to the filter installed before.
void quietImageReaders(QLoggingCategory *category)
{
    if (previousFilter)
        previousFilter(category);
    if (std::strncmp(category->categoryName(), "qt.gui.imageio", 14) == 0) {
        category->setEnabled(QtDebugMsg, false);
        category->setEnabled(QtInfoMsg, false);
        category->setEnabled(QtWarningMsg, false);
    }
}

DecodedImage decode(const QByteArray &bytes)
{
    static std::once_flag quiet;
    std::call_once(quiet, [] { previousFilter = QLoggingCategory::installFilter(quietImageReaders); });
    if (QImageReader::allocationLimit() < kAllocationLimitMB)
        QImageReader::setAllocationLimit(kAllocationLimitMB);
    QByteArray copy = bytes; // QBuffer wants a non-const array; the copy shares the data
    QBuffer buffer(&copy);
    if (!buffer.open(QIODevice::ReadOnly))
        return {};
    QImageReader reader(&buffer);
    reader.setDecideFormatFromContent(true);
    DecodedImage decoded;
    decoded.format = reader.format();
    const QSize size = reader.size();
    if (!reader.read(&decoded.image) || decoded.image.isNull()) {
        decoded.image = {};
        decoded.tooLarge = size.isValid() && qint64(size.width()) * size.height() * 4 > qint64(kAllocationLimitMB) << 20;
        return decoded;
    }
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
        if (decoded.tooLarge)
            return kMediaFileErrMemory;
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

MediaFileStatus checkArtworkData(const QByteArray &bytes)
{
    try {
        DecodedImage decoded = decode(bytes);
        if (decoded.tooLarge)
            return kMediaFileErrMemory;
        return decoded.image.isNull() ? kMediaFileErrNotImage : kMediaFileNoErr;
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
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
