#include "ArtworkImage.h"
#include "MediaFileWrapper.h"
#include "PropertyList.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <memory>
#include <sys/stat.h>

namespace kestrabel {

MediaFileStatus MediaFileWrapper::setMediaFileArtworkFromImageFile(const QString &imagePath,
                                                                   MediaFileDataID artworkDataID,
                                                                   bool deleteExistingIfCantOpenImage)
{
    QByteArray jpeg;
    MediaFileStatus status = jpegArtworkFromImageFile(imagePath, &jpeg);
    // Something that is not an image removes the artwork whatever the flag says; deliberate,
    // the flag only matters for setMediaFileArtworkImage.
    if (status == kMediaFileErrNotImage)
        return MediaFileSetData(_mediaFileRef, artworkDataID, nullptr, 0);
    if (status != kMediaFileNoErr)
        return status;
    return setMediaFileData(jpeg, artworkDataID);
}

MediaFileStatus MediaFileWrapper::setMediaFileArtworkImage(const QImage &image, MediaFileDataID artworkDataID,
                                                           bool deleteExistingIfCantOpenImage)
{
    if (image.isNull()) {
        if (!deleteExistingIfCantOpenImage)
            return kMediaFileNoErr;
        return MediaFileSetData(_mediaFileRef, artworkDataID, nullptr, 0);
    }
    return setMediaFileData(jpegArtworkFromImage(image), artworkDataID);
}

namespace {

MediaFileStatus writeArtwork(const MediaFileWrapper &wrapper, const QString &path, bool *writeFailed)
{
    if (path.isEmpty())
        return kMediaFileErrBadPath;
    QByteArray artwork;
    if (MediaFileStatus status = artworkFileBytes(wrapper, &artwork))
        return status;
    // A path that is no regular file is refused as a bad path, not as a failed write.
    struct stat existing {};
    if (::stat(QFile::encodeName(path).constData(), &existing) == 0 && !S_ISREG(existing.st_mode))
        return kMediaFileErrBadPath;
    // The bytes go out as stored, not re-encoded.
    MediaFileStatus status = writeFileAtomically(path, artwork);
    *writeFailed = status != kMediaFileNoErr;
    return status;
}

} // namespace

MediaFileStatus artworkFileBytes(const MediaFileWrapper &wrapper, QByteArray *out)
{
    void *bytes = nullptr;
    size_t length = 0;
    MediaFileStatus status = MediaFileGetData(wrapper.mediaFileRef(), kMediaFileDataIDArtwork, &bytes, &length);
    std::unique_ptr<void, decltype(&std::free)> owner(bytes, &std::free);
    if (status != kMediaFileNoErr)
        return status;
    if (!bytes || length == 0 || length > size_t(std::numeric_limits<qsizetype>::max()))
        return kMediaFileErrNoArtwork;
    QByteArray artwork(static_cast<const char *>(bytes), qsizetype(length));
    if (imageFromArtworkData(artwork).isNull())
        return kMediaFileErrNotImage;
    *out = std::move(artwork);
    return kMediaFileNoErr;
}

MediaFileStatus writeArtworkFile(const MediaFileWrapper &wrapper, const QString &path)
{
    bool writeFailed = false;
    return writeArtwork(wrapper, path, &writeFailed);
}

MediaFileStatus MediaFileWrapper::createSeparateArtworkFileForMediaFileAtFullPath(const QString &path) const
{
    bool writeFailed = false;
    MediaFileStatus status = writeArtwork(*this, path, &writeFailed);
    // As in the original, the file system's answer to the write is not part of this status.
    return writeFailed ? kMediaFileNoErr : status;
}

QString MediaFileWrapper::createTempFileOfArtworkAtFolderPath(const QString &folderPath, const QString &name) const
{
    if (!_mediaFileRef)
        return {};
    QString fullPath = folderPath.isEmpty() ? name : QDir(folderPath).filePath(name);
    if (createSeparateArtworkFileForMediaFileAtFullPath(fullPath) != kMediaFileNoErr)
        return {};
    return fullPath;
}

} // namespace kestrabel
