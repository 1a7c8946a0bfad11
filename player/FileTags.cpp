#include "FileTags.h"

#include <kestrabel/MediaFile.h>
#include "MprisMetadata.h"

#include <QFile>

#include <cstdlib>
#include <limits>
#include <memory>
#include <sys/stat.h>

namespace kestrabel::player {

namespace {

struct CloseRef {
    void operator()(MediaFile *ref) const { MediaFileClose(ref); }
};
using OpenRef = std::unique_ptr<MediaFile, CloseRef>;

OpenRef openAudio(const QString &path)
{
    if (path.isEmpty())
        return {};
    MediaFileRef ref = nullptr;
    const QByteArray name = QFile::encodeName(path);
    if (MediaFileOpen(name.constData(), &ref, kMediaFileFlagSkipMPEGInfo | kMediaFileFlagAudioOnly | kMediaFileFlagInterop) != kMediaFileNoErr)
        return {};
    return OpenRef(ref);
}

QString text(MediaFileRef ref, MediaFileDataID id)
{
    char *value = nullptr;
    const MediaFileStatus status = MediaFileGetString(ref, id, &value);
    if (status == kMediaFileNoErr) {
        QString result = QString::fromUtf8(value ? value : "");
        std::free(value);
        return result;
    }
    if (status == kMediaFileErrUnsupported)
        return {};
    return QStringLiteral("");
}

int number(MediaFileRef ref, MediaFileDataID id)
{
    int32_t value = 0;
    if (MediaFileGetInteger(ref, id, &value) != kMediaFileNoErr || value < 0)
        return 0;
    return value;
}

// Changes whenever the file is rewritten or replaced; the saver may swap the inode.
QByteArray fileStamp(const QString &path)
{
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return {};
    return QByteArray::number(qulonglong(info.st_dev)) + ':' + QByteArray::number(qulonglong(info.st_ino)) + ':'
           + QByteArray::number(qlonglong(info.st_size)) + ':' + QByteArray::number(qlonglong(info.st_mtim.tv_sec))
           + '.' + QByteArray::number(qlonglong(info.st_mtim.tv_nsec)) + ':'
           + QByteArray::number(qlonglong(info.st_ctim.tv_sec)) + '.' + QByteArray::number(qlonglong(info.st_ctim.tv_nsec));
}

} // namespace

std::optional<FileTags> readFileTags(const QString &path)
{
    OpenRef ref = openAudio(path);
    if (!ref)
        return std::nullopt;
    FileTags tags;
    tags.title = text(ref.get(), kMediaFileDataIDTitle);
    tags.artist = text(ref.get(), kMediaFileDataIDArtist);
    tags.album = text(ref.get(), kMediaFileDataIDAlbum);
    tags.genre = text(ref.get(), kMediaFileDataIDGenre);
    tags.trackNumber = number(ref.get(), kMediaFileDataIDTrackNumber);
    tags.discNumber = number(ref.get(), kMediaFileDataIDDiskNumber);
    return tags;
}

QByteArray readFileArtwork(const QString &path)
{
    OpenRef ref = openAudio(path);
    if (!ref)
        return {};
    void *bytes = nullptr;
    size_t length = 0;
    if (MediaFileGetData(ref.get(), kMediaFileDataIDArtwork, &bytes, &length) != kMediaFileNoErr)
        return {};
    QByteArray image;
    if (bytes && length > 0 && length <= size_t(std::numeric_limits<qsizetype>::max()))
        image = QByteArray(static_cast<const char *>(bytes), qsizetype(length));
    std::free(bytes);
    return image;
}

void applyFileTags(TrackFields &fields, const FileTags &tags)
{
    if (!tags.title.isNull())
        fields.title = tags.title;
    if (!tags.artist.isNull())
        fields.artist = tags.artist;
    if (!tags.album.isNull())
        fields.album = tags.album;
    if (!tags.genre.isNull())
        fields.genre = tags.genre;
    if (tags.trackNumber > 0)
        fields.trackNumber = tags.trackNumber;
    if (tags.discNumber > 0)
        fields.discNumber = tags.discNumber;
}

bool isAudioFile(const QString &path)
{
    MediaFileType kind = kMediaFileTypeUnsupported;
    const QByteArray name = QFile::encodeName(path);
    if (MediaFileGetTypeForPath(name.constData(), &kind) != kMediaFileNoErr)
        return false;
    return kind != kMediaFileTypeUnsupported && kind != kMediaFileTypeEXIF && kind != kMediaFileTypeQuickTime;
}

std::optional<FileTags> FileTagCache::tags(const QString &path)
{
    const QByteArray stamp = fileStamp(path);
    if (stamp.isEmpty()) {
        path_.clear();
        return std::nullopt;
    }
    if (path != path_ || stamp != stamp_) {
        path_ = path;
        stamp_ = stamp;
        tags_ = readFileTags(path);
    }
    return tags_;
}

} // namespace kestrabel::player
