#include "MediaFileWrapper.h"

#include "PlayerRefresh.h"

#include <QFile>

#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace kestrabel {
namespace {

struct FreeDeleter {
    void operator()(void *p) const { std::free(p); }
};

} // namespace

std::optional<MediaFileWrapper> MediaFileWrapper::initWithFileAtPath(const QString &path, bool audioFilesOnly,
                                                                     bool readMPEGInfo, MediaFileStatus *error,
                                                                     MediaFileFlags extraFlags)
{
    return initWithFileAtNativePath(QFile::encodeName(path), audioFilesOnly, readMPEGInfo, error, extraFlags);
}

std::optional<MediaFileWrapper> MediaFileWrapper::initWithFileAtNativePath(const QByteArray &path, bool audioFilesOnly,
                                                                           bool readMPEGInfo, MediaFileStatus *error,
                                                                           MediaFileFlags extraFlags)
{
    auto report = [error](MediaFileStatus status) {
        if (error)
            *error = status;
    };
    if (path.isEmpty()) {
        report(kMediaFileErrParam);
        return std::nullopt;
    }
    MediaFileFlags flags = kMediaFileFlagIgnoreTagErrors | extraFlags;
    if (audioFilesOnly)
        flags |= kMediaFileFlagAudioOnly;
    if (!readMPEGInfo)
        flags |= kMediaFileFlagSkipMPEGInfo;
    MediaFileRef ref = nullptr;
    MediaFileStatus status = MediaFileOpen(path.constData(), &ref, flags);
    if (status != kMediaFileNoErr || !ref) {
        report(status != kMediaFileNoErr ? status : kMediaFileErrNullRef);
        return std::nullopt;
    }
    report(kMediaFileNoErr);
    return MediaFileWrapper(ref);
}

std::optional<MediaFileWrapper> MediaFileWrapper::mediaFileWithFileAtPath(const QString &path, bool readMPEGInfo,
                                                                          MediaFileStatus *error, MediaFileFlags extraFlags)
{
    return initWithFileAtPath(path, false, readMPEGInfo, error, extraFlags);
}

std::optional<MediaFileWrapper> MediaFileWrapper::audioMediaFileWithFileAtPath(const QString &path, bool readMPEGInfo,
                                                                               MediaFileStatus *error, MediaFileFlags extraFlags)
{
    return initWithFileAtPath(path, true, readMPEGInfo, error, extraFlags);
}

MediaFileWrapper::~MediaFileWrapper()
{
    if (_mediaFileRef)
        MediaFileClose(_mediaFileRef);
}

MediaFileWrapper::MediaFileWrapper(MediaFileWrapper &&other) noexcept
    : _mediaFileRef(std::exchange(other._mediaFileRef, nullptr)),
      _refreshiTunesOnSave(std::exchange(other._refreshiTunesOnSave, false))
{
}

MediaFileWrapper &MediaFileWrapper::operator=(MediaFileWrapper &&other) noexcept
{
    if (this != &other) {
        if (_mediaFileRef)
            MediaFileClose(_mediaFileRef);
        _mediaFileRef = std::exchange(other._mediaFileRef, nullptr);
        _refreshiTunesOnSave = std::exchange(other._refreshiTunesOnSave, false);
    }
    return *this;
}

const char *MediaFileWrapper::path() const { return MediaFileGetPath(_mediaFileRef); }

QString MediaFileWrapper::pathString() const
{
    const char *p = path();
    return p ? QFile::decodeName(p) : QString();
}

MediaFileType MediaFileWrapper::type() const
{
    MediaFileType kind = kMediaFileTypeUnsupported;
    if (_mediaFileRef)
        MediaFileGetType(_mediaFileRef, &kind);
    return kind;
}

MediaFileStatus MediaFileWrapper::update(MediaFileFlags flags)
{
    MediaFileStatus status = MediaFileUpdate(_mediaFileRef, flags);
    // The player hears about the save even when it failed: it may have changed part of the file.
    if (_refreshiTunesOnSave && path())
        refreshPlayerTrackAtPath(pathString());
    return status;
}

std::optional<QString> MediaFileWrapper::mediaFileStringForID(MediaFileDataID dataID) const
{
    if (!_mediaFileRef)
        return std::nullopt;
    char *text = nullptr;
    MediaFileStatus status = MediaFileGetString(_mediaFileRef, dataID, &text);
    std::unique_ptr<char, FreeDeleter> owner(text);
    if (status != kMediaFileNoErr || !text)
        return std::nullopt;
    return QString::fromUtf8(text);
}

MediaFileStatus MediaFileWrapper::setMediaFileString(const QString &string, MediaFileDataID dataID,
                                                     bool overwriteExistingData)
{
    if (!_mediaFileRef || string.isEmpty())
        return kMediaFileErrParam;
    if (!overwriteExistingData) {
        std::optional<QString> existing = mediaFileStringForID(dataID);
        if (existing && !existing->isEmpty())
            return kMediaFileErrParam;
    }
    return MediaFileSetString(_mediaFileRef, dataID, string.toUtf8().constData());
}

MediaFileStatus MediaFileWrapper::setMediaFileInteger(std::optional<int> number, MediaFileDataID dataID,
                                                      bool overwriteExistingData)
{
    if (!_mediaFileRef || !number)
        return kMediaFileErrParam;
    if (!overwriteExistingData) {
        int32_t existing = 0;
        MediaFileGetInteger(_mediaFileRef, dataID, &existing);
        if (existing != 0)
            return kMediaFileErrParam;
    }
    return MediaFileSetInteger(_mediaFileRef, dataID, *number);
}

QByteArray MediaFileWrapper::mediaFileDataForID(MediaFileDataID dataID) const
{
    if (!_mediaFileRef)
        return {};
    void *bytes = nullptr;
    size_t length = 0;
    MediaFileStatus status = MediaFileGetData(_mediaFileRef, dataID, &bytes, &length);
    std::unique_ptr<void, FreeDeleter> owner(bytes);
    if (status != kMediaFileNoErr || !bytes || length == 0 || length > size_t(std::numeric_limits<qsizetype>::max()))
        return {};
    try {
        return QByteArray(static_cast<const char *>(bytes), qsizetype(length));
    } catch (const std::bad_alloc &) {
        return {};
    }
}

MediaFileStatus MediaFileWrapper::setMediaFileData(const QByteArray &data, MediaFileDataID dataID)
{
    if (data.isEmpty())
        return MediaFileSetData(_mediaFileRef, dataID, nullptr, 0);
    return MediaFileSetData(_mediaFileRef, dataID, data.constData(), size_t(data.size()));
}

} // namespace kestrabel
