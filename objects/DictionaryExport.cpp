#include "ArtworkImage.h"
#include "ExportFormat.h"
#include "MediaFileWrapper.h"
#include "PropertyList.h"

#include <QDir>
#include <QFileInfo>

#include <limits>
#include <new>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace kestrabel {
namespace {

QString homeOfUser(const QString &user)
{
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size > 0 ? size_t(size) : 16384);
    struct passwd entry {};
    struct passwd *found = nullptr;
    if (getpwnam_r(user.toLocal8Bit().constData(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found ||
        !found->pw_dir)
        return {};
    return QFile::decodeName(found->pw_dir);
}

} // namespace

// An unknown user leaves the path as it is.
QString expandTildeInPath(const QString &path)
{
    if (!path.startsWith(u'~'))
        return path;
    qsizetype slash = path.indexOf(u'/');
    QString user = path.mid(1, slash < 0 ? -1 : slash - 1);
    QString home = user.isEmpty() ? QDir::homePath() : homeOfUser(user);
    if (home.isEmpty())
        return path;
    return slash < 0 ? home : home + path.mid(slash);
}

QString dictionaryPathBeside(const QString &mediaPath)
{
    qsizetype nameStart = mediaPath.lastIndexOf(u'/') + 1;
    qsizetype dot = mediaPath.lastIndexOf(u'.');
    QString stem = dot >= nameStart ? mediaPath.left(dot) : mediaPath;
    return stem + QStringLiteral(".plist");
}

namespace {

std::optional<int> integerValue(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::ULong: {
        qlonglong number = value.toLongLong();
        if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max())
            return std::nullopt;
        return int(number);
    }
    case QMetaType::ULongLong:
        if (value.toULongLong() > qulonglong(std::numeric_limits<int>::max()))
            return std::nullopt;
        return int(value.toULongLong());
    default:
        return std::nullopt;
    }
}

} // namespace

QStringList exportKeyOrder()
{
    QStringList order{QString::fromLatin1(kMediaFileDataExportKey), QString::fromLatin1(kKestrabelVersionKey)};
    for (const ExportKey &key : kExportTextKeys)
        order.append(QString::fromLatin1(key.name));
    for (const ExportKey &key : kExportIntegerKeys)
        order.append(QString::fromLatin1(key.name));
    order.append(QString::fromLatin1(kArtworkExportKey));
    return order;
}

std::optional<QVariantMap> MediaFileWrapper::getDictionaryRepresentation(bool saveArtwork) const
{
    if (!_mediaFileRef)
        return std::nullopt;
    try {
        QVariantMap dictionary;
        dictionary.insert(QString::fromLatin1(kMediaFileDataExportKey), QString::fromLatin1(kMediaFileDataExportMarker));
        dictionary.insert(QString::fromLatin1(kKestrabelVersionKey), QStringLiteral(KESTRABEL_VERSION));
        for (const ExportKey &key : kExportTextKeys)
            dictionary.insert(QString::fromLatin1(key.name), stringFromMediaFileRef(_mediaFileRef, key.dataID));
        for (const ExportKey &key : kExportIntegerKeys) {
            int32_t value = 0;
            if (MediaFileGetInteger(_mediaFileRef, key.dataID, &value) != kMediaFileNoErr || value < 0)
                value = 0;
            dictionary.insert(QString::fromLatin1(key.name), int(value));
        }
        if (saveArtwork) {
            QByteArray artwork = mediaFileDataForID(kMediaFileDataIDArtwork);
            if (!artwork.isEmpty())
                dictionary.insert(QString::fromLatin1(kArtworkExportKey), artwork);
        }
        return dictionary;
    } catch (const std::bad_alloc &) {
        return std::nullopt;
    }
}

MediaFileStatus writeDictionaryRepresentation(const MediaFileWrapper &wrapper, const QString &path,
                                              bool overwriteIfExists, bool saveArtwork)
{
    QString target = expandTildeInPath(path);
    if (target.isEmpty())
        return kMediaFileErrBadPath;
    QFileInfo info(target);
    if (info.exists() && info.isDir())
        return kMediaFileErrBadPath;
    if (info.exists() && !overwriteIfExists)
        return kMediaFileErrExists;
    std::optional<QVariantMap> dictionary = wrapper.getDictionaryRepresentation(saveArtwork);
    if (!dictionary)
        return kMediaFileErrCantCreate;
    return writePropertyListAtomically(*dictionary, target, exportKeyOrder());
}

MediaFileStatus MediaFileWrapper::saveDictionaryRepresentationToFile(const QString &path, bool overwriteIfExists,
                                                                     bool saveArtwork) const
{
    MediaFileStatus status = writeDictionaryRepresentation(*this, path, overwriteIfExists, saveArtwork);
    // The write's own failure is deliberately not reported here, as in the original;
    // writeDictionaryRepresentation reports it.
    bool refused = status == kMediaFileErrBadPath || status == kMediaFileErrExists || status == kMediaFileErrCantCreate ||
                   status == kMediaFileErrBadFormat;
    return refused ? status : kMediaFileNoErr;
}

MediaFileStatus MediaFileWrapper::saveDictionaryRepresentation(bool overwriteIfExists, bool saveArtwork) const
{
    QString mediaPath = pathString();
    if (mediaPath.isEmpty())
        return kMediaFileErrBadPath;
    QString target = dictionaryPathBeside(mediaPath);
    if (target.isEmpty())
        return kMediaFileErrBadPath;
    return saveDictionaryRepresentationToFile(target, overwriteIfExists, saveArtwork);
}

MediaFileStatus MediaFileWrapper::setMediaFileDataFromDictionaryRepresentation(
    const std::optional<QVariantMap> &dictionary, bool overwriteExistingData, std::vector<ImportRefusal> *refusals)
{
    if (!dictionary)
        return kMediaFileErrParam;
    const QVariantMap &values = *dictionary;
    // A dictionary without the marker is accepted; only a different marker is refused.
    auto marker = values.constFind(QString::fromLatin1(kMediaFileDataExportKey));
    if (marker != values.constEnd() && (marker->typeId() != QMetaType::QString ||
                                        marker->toString() != QLatin1String(kMediaFileDataExportMarker)))
        return kMediaFileErrBadFormat;

    // A handler may take a value it has no place for without a word, or refuse one it already
    // holds (an Ogg vendor string); reading it back tells.
    auto refuse = [&](MediaFileDataID dataID, MediaFileStatus status, bool readsBack) {
        if (refusals && !readsBack)
            refusals->push_back({dataID, status != kMediaFileNoErr ? status : kMediaFileErrUnsupported});
    };
    // Single fields that fail are skipped; the others are still applied.
    for (const ExportKey &key : kExportTextKeys) {
        if (!isImportedTextKey(key))
            continue;
        QVariant value = values.value(QString::fromLatin1(key.name));
        if (value.typeId() != QMetaType::QString || value.toString().isEmpty())
            continue;
        std::optional<QString> existing = mediaFileStringForID(key.dataID);
        bool kept = !overwriteExistingData && existing && !existing->isEmpty();
        MediaFileStatus status = setMediaFileString(value.toString(), key.dataID, overwriteExistingData);
        if (!kept)
            refuse(key.dataID, status, mediaFileStringForID(key.dataID) == value.toString());
    }
    for (const ExportKey &key : kExportIntegerKeys) {
        std::optional<int> number = integerValue(values.value(QString::fromLatin1(key.name)));
        int32_t existing = 0;
        MediaFileGetInteger(_mediaFileRef, key.dataID, &existing);
        bool kept = !overwriteExistingData && existing != 0;
        MediaFileStatus status = setMediaFileInteger(number, key.dataID, overwriteExistingData);
        // The export writes 0 for a value the file has not: nothing was asked for.
        int32_t now = 0;
        if (!kept && number && *number != 0)
            refuse(key.dataID, status,
                   MediaFileGetInteger(_mediaFileRef, key.dataID, &now) == kMediaFileNoErr && now == *number);
    }

    // Artwork is only ever imported with overwriting, even into a file that has none: deliberate.
    QVariant artwork = values.value(QString::fromLatin1(kArtworkExportKey));
    if (overwriteExistingData && artwork.typeId() == QMetaType::QByteArray) {
        QImage image = imageFromArtworkData(artwork.toByteArray());
        if (image.isNull())
            refuse(kMediaFileDataIDArtwork, kMediaFileErrBadFormat, false);
        else if (MediaFileStatus status = setMediaFileArtworkImage(image, kMediaFileDataIDArtwork, true))
            refuse(kMediaFileDataIDArtwork, status, false);
    }
    return kMediaFileNoErr;
}

MediaFileStatus MediaFileWrapper::setMediaFileDataFromDictionaryRepresentationAtPath(const QString &path,
                                                                                     bool overwriteExistingData)
{
    std::optional<QVariantMap> dictionary = readPropertyListDictionary(path);
    if (!dictionary)
        return kMediaFileErrParam;
    return setMediaFileDataFromDictionaryRepresentation(dictionary, overwriteExistingData);
}

MediaFileStatus MediaFileWrapper::setMediaFileDataFromArchiveAtPath(const QString &path, bool overwriteExistingData)
{
    std::optional<QVariantMap> archive = readPropertyListDictionary(path);
    if (!archive)
        return kMediaFileErrParam;
    auto entry = archive->constFind(stringFromMediaFileRef(_mediaFileRef, kMediaFileDataIDFilenameClean));
    if (entry == archive->constEnd())
        return kMediaFileErrNotFound;
    if (entry->typeId() != QMetaType::QVariantMap)
        return kMediaFileErrParam;
    return setMediaFileDataFromDictionaryRepresentation(entry->toMap(), overwriteExistingData);
}

} // namespace kestrabel
