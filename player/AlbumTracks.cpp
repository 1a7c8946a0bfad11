#include "AlbumTracks.h"

#include "FileTags.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <limits>
#include <vector>

namespace kestrabel::player {

namespace {

// A folder holding more files than this is not an album; reading every one of them on each
// change of track would stall the window.
constexpr qsizetype kMaxFolderFiles = 2000;

bool sameAlbum(const TrackFields &a, const TrackFields &b) { return a.album == b.album && a.artist == b.artist; }

QString folderOf(const QString &path) { return path.isNull() ? QString() : QFileInfo(path).absolutePath(); }

} // namespace

QList<AlbumTrack> albumTracksInList(const QList<QVariantMap> &list, const CurrentTrack &current)
{
    const QString folder = folderOf(current.fields.path);
    QList<AlbumTrack> tracks;
    for (const QVariantMap &metadata : list) {
        TrackFields fields = fieldsFromMetadata(metadata);
        if (!fields.path.isNull()) {
            const bool candidate = sameAlbum(fields, current.reported) || folderOf(fields.path) == folder;
            if (!candidate)
                continue;
            if (auto tags = readFileTags(fields.path))
                applyFileTags(fields, *tags);
        }
        if (sameAlbum(fields, current.fields) && !fields.title.isEmpty())
            tracks.append({fields.title, fields.trackId, fields.path, fields.url});
    }
    return tracks;
}

std::optional<AlbumTrack> findTitleInList(const QList<QVariantMap> &list, const QString &title)
{
    for (const QVariantMap &metadata : list) {
        const TrackFields fields = fieldsFromMetadata(metadata);
        if (fields.title == title)
            return AlbumTrack{fields.title, fields.trackId, fields.path, fields.url};
    }
    return std::nullopt;
}

QList<AlbumTrack> albumTracksInFolder(const TrackFields &current)
{
    if (current.path.isNull())
        return {};
    const QDir folder(folderOf(current.path));
    const QStringList names = folder.entryList(QDir::Files | QDir::Readable, QDir::Name);
    if (names.size() > kMaxFolderFiles)
        return {};
    struct Found {
        int disc;
        int track;
        AlbumTrack entry;
    };
    std::vector<Found> found;
    for (const QString &name : names) {
        const QString path = folder.filePath(name);
        if (!isAudioFile(path))
            continue;
        const auto tags = readFileTags(path);
        if (!tags)
            continue;
        TrackFields fields;
        applyFileTags(fields, *tags);
        if (!sameAlbum(fields, current) || fields.title.isEmpty())
            continue;
        // Tracks without a number go after the numbered ones.
        const int disc = fields.discNumber > 0 ? fields.discNumber : 1;
        const int track = fields.trackNumber > 0 ? fields.trackNumber : std::numeric_limits<int>::max();
        found.push_back({disc, track, {fields.title, QString(), path, fileUrlForPath(path)}});
    }
    // The folder listing is sorted by name, so equal numbers keep file-name order.
    std::stable_sort(found.begin(), found.end(), [](const Found &a, const Found &b) {
        if (a.disc != b.disc)
            return a.disc < b.disc;
        return a.track < b.track;
    });
    QList<AlbumTrack> tracks;
    for (Found &item : found)
        tracks.append(std::move(item.entry));
    return tracks;
}

} // namespace kestrabel::player
