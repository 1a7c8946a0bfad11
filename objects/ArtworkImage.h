// Artwork is stored as JPEG. These turn image files and images into JPEG bytes with Qt's
// image readers and writer.
#pragma once

#include <kestrabel/MediaFile.h>

#include <QByteArray>
#include <QImage>
#include <QString>

namespace kestrabel {

// An image file larger than this is not read as artwork.
constexpr qint64 kMaxArtworkFileSize = qint64(256) << 20;

// A JPEG file's bytes as they are (after checking they decode); any other image Qt can read
// re-encoded as JPEG at the highest quality. kMediaFileErrNotImage when the file cannot be
// read or is not an image, kMediaFileErrMemory for a valid image too large to decode here,
// kMediaFileErrCantCreate when the encoder fails.
MediaFileStatus jpegArtworkFromImageFile(const QString &path, QByteArray *out);

// Empty for a null image or a failed encoding. Transparent parts come out white.
QByteArray jpegArtworkFromImage(const QImage &image);

// A null image when the bytes are not an image Qt can read.
QImage imageFromArtworkData(const QByteArray &bytes);

// 0 when the bytes decode as an image; kMediaFileErrMemory for a valid image too large to
// decode here, kMediaFileErrNotImage otherwise.
MediaFileStatus checkArtworkData(const QByteArray &bytes);

// "jpg", "png", "gif", … for the image format of the bytes; empty when it is not an image.
QString imageFileExtension(const QByteArray &bytes);

class MediaFileWrapper;

// The Cover Art bytes as stored, once they are known to be an image: kMediaFileErrNoArtwork,
// kMediaFileErrNotImage or the getter's status otherwise.
MediaFileStatus artworkFileBytes(const MediaFileWrapper &wrapper, QByteArray *out);

// createSeparateArtworkFileForMediaFileAtFullPath with the same rules and statuses, except that
// a failed write is reported (an errno) where the wrapper's method keeps the original's silence.
MediaFileStatus writeArtworkFile(const MediaFileWrapper &wrapper, const QString &path);

} // namespace kestrabel
