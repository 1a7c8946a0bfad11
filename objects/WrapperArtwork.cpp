#include "ArtworkImage.h"
#include "MediaFileWrapper.h"

#include <QDir>
#include <QSaveFile>

#include <cstdlib>
#include <memory>

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

MediaFileStatus MediaFileWrapper::createSeparateArtworkFileForMediaFileAtFullPath(const QString &path) const
{
    if (path.isEmpty())
        return kMediaFileErrBadPath;
    void *bytes = nullptr;
    size_t length = 0;
    MediaFileStatus status = MediaFileGetData(_mediaFileRef, kMediaFileDataIDArtwork, &bytes, &length);
    std::unique_ptr<void, decltype(&std::free)> owner(bytes, &std::free);
    if (status != kMediaFileNoErr)
        return status;
    if (!bytes || length == 0 || length > size_t(std::numeric_limits<qsizetype>::max()))
        return kMediaFileErrNoArtwork;
    QByteArray artwork = QByteArray::fromRawData(static_cast<const char *>(bytes), qsizetype(length));
    if (imageFromArtworkData(artwork).isNull())
        return kMediaFileErrNotImage;
    // The bytes go out as stored, not re-encoded. Like the original, the write's own result is
    // not part of the status.
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(artwork);
        file.commit();
    }
    return kMediaFileNoErr;
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
