// One open media file as an object: Qt strings, numbers, bytes and images over the tag
// library's C interface, with the rules that keep existing values unless overwriting is
// allowed, artwork conversion to JPEG, and the tag dictionary export and import.
#pragma once

#include <kestrabel/MediaFile.h>

#include <QByteArray>
#include <QImage>
#include <QString>
#include <QVariantMap>

#include <optional>
#include <vector>

namespace kestrabel {

// A value of an imported dictionary that the file did not take, and why.
struct ImportRefusal {
    MediaFileDataID dataID;
    MediaFileStatus status;
};

class MediaFileWrapper {
public:
    // The open mask is always kMediaFileFlagIgnoreTagErrors, plus kMediaFileFlagAudioOnly for
    // audioFilesOnly and kMediaFileFlagSkipMPEGInfo without readMPEGInfo, plus extraFlags (the
    // interop profile, for one). On failure the open's status (kMediaFileErrParam for an empty
    // path) goes to *error when it is given.
    static std::optional<MediaFileWrapper> initWithFileAtPath(const QString &path, bool audioFilesOnly,
                                                             bool readMPEGInfo, MediaFileStatus *error = nullptr,
                                                             MediaFileFlags extraFlags = 0);
    static std::optional<MediaFileWrapper> mediaFileWithFileAtPath(const QString &path, bool readMPEGInfo,
                                                                  MediaFileStatus *error = nullptr,
                                                                  MediaFileFlags extraFlags = 0);
    // The same with the name's bytes as the file system has them: a name that is not UTF-8
    // does not survive the trip through a QString.
    static std::optional<MediaFileWrapper> initWithFileAtNativePath(const QByteArray &path, bool audioFilesOnly,
                                                                   bool readMPEGInfo, MediaFileStatus *error = nullptr,
                                                                   MediaFileFlags extraFlags = 0);
    static std::optional<MediaFileWrapper> audioMediaFileWithFileAtPath(const QString &path, bool readMPEGInfo,
                                                                       MediaFileStatus *error = nullptr,
                                                                       MediaFileFlags extraFlags = 0);

    // Closes the handle without saving.
    ~MediaFileWrapper();
    MediaFileWrapper(MediaFileWrapper &&other) noexcept;
    MediaFileWrapper &operator=(MediaFileWrapper &&other) noexcept;
    MediaFileWrapper(const MediaFileWrapper &) = delete;
    MediaFileWrapper &operator=(const MediaFileWrapper &) = delete;

    // Borrowed from the handle; valid while the wrapper lives.
    const char *path() const;
    QString pathString() const;
    MediaFileType type() const;
    MediaFileRef mediaFileRef() const { return _mediaFileRef; }

    // When set, update() asks the installed player refresh (PlayerRefresh.h) to re-read the
    // file, whether or not the save succeeded.
    void setUpdateiTunesOnSave(bool refresh) { _refreshiTunesOnSave = refresh; }
    MediaFileStatus update(MediaFileFlags flags);

    // Nothing when the value is missing or cannot be read.
    std::optional<QString> mediaFileStringForID(MediaFileDataID dataID) const;
    // An empty string is always refused with kMediaFileErrParam; without overwriting, so is a
    // value over an existing non-empty one.
    MediaFileStatus setMediaFileString(const QString &string, MediaFileDataID dataID, bool overwriteExistingData);
    // No number gives kMediaFileErrParam; without overwriting, so does an existing non-zero value.
    MediaFileStatus setMediaFileInteger(std::optional<int> number, MediaFileDataID dataID,
                                        bool overwriteExistingData);
    // Empty when the value is missing, unreadable or zero bytes long.
    QByteArray mediaFileDataForID(MediaFileDataID dataID) const;
    // Empty data removes the item.
    MediaFileStatus setMediaFileData(const QByteArray &data, MediaFileDataID dataID);

    // Stores the image file re-encoded as JPEG. A path that is empty or not a readable image
    // removes the existing artwork of that ID, whatever the flag says.
    MediaFileStatus setMediaFileArtworkFromImageFile(const QString &imagePath, MediaFileDataID artworkDataID,
                                                     bool deleteExistingIfCantOpenImage);
    // A null image removes the artwork only when the flag is set, and otherwise returns 0.
    MediaFileStatus setMediaFileArtworkImage(const QImage &image, MediaFileDataID artworkDataID,
                                             bool deleteExistingIfCantOpenImage);
    // Writes the Cover Art bytes exactly as stored in the tag, atomically; an existing path that is
    // not a regular file is refused with kMediaFileErrBadPath, and a symbolic link is written through.
    MediaFileStatus createSeparateArtworkFileForMediaFileAtFullPath(const QString &path) const;
    // The full path written, or a null string.
    QString createTempFileOfArtworkAtFolderPath(const QString &folderPath, const QString &name) const;

    // The export dictionary: the marker, the version, the text and integer keys and, with
    // saveArtwork, the Cover Art bytes.
    std::optional<QVariantMap> getDictionaryRepresentation(bool saveArtwork) const;
    MediaFileStatus saveDictionaryRepresentationToFile(const QString &path, bool overwriteIfExists,
                                                       bool saveArtwork) const;
    // Saves beside the media file: a.mp3 -> a.plist.
    MediaFileStatus saveDictionaryRepresentation(bool overwriteIfExists, bool saveArtwork) const;
    // Applies a dictionary in memory; the caller saves with update(). A value the file refuses
    // is skipped; with refusals given, each one that was meant to be stored is listed there
    // (kMediaFileErrUnsupported for a value taken without a word but not read back).
    MediaFileStatus setMediaFileDataFromDictionaryRepresentation(const std::optional<QVariantMap> &dictionary,
                                                                bool overwriteExistingData,
                                                                std::vector<ImportRefusal> *refusals = nullptr);
    MediaFileStatus setMediaFileDataFromDictionaryRepresentationAtPath(const QString &path,
                                                                      bool overwriteExistingData);
    // An archive keys export dictionaries by "Filename Clean"; this file's entry is applied.
    MediaFileStatus setMediaFileDataFromArchiveAtPath(const QString &path, bool overwriteExistingData);

private:
    explicit MediaFileWrapper(MediaFileRef ref) : _mediaFileRef(ref) {}

    MediaFileRef _mediaFileRef = nullptr;
    bool _refreshiTunesOnSave = false;
};

// The value's text, or an empty string when there is none.
QString stringFromMediaFileRef(MediaFileRef ref, MediaFileDataID dataID);
// "3", "3 / 12", or empty when there is no track number.
QString stringRepresentationOfTrackNumberForMediaFile(MediaFileRef ref);
// Play time as "m:ss", or empty when it cannot be read.
QString stringRepresentationOfTimeForMediaFile(MediaFileRef ref);

// The formatting behind the two above, for values from elsewhere.
QString trackNumberText(int32_t track, int32_t total);
QString playTimeText(int32_t seconds);

} // namespace kestrabel
