// The tracks that share the current track's album and artist: from the player's track list
// when it has one, else from the audio files beside the current file.
#pragma once

#include "MprisMetadata.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace kestrabel::player {

struct AlbumTrack {
    QString title;
    QString trackId;
    QString path;
    QString url;
};

// The current track as the player reports it and as its file says it is; both are needed
// because the track list is first narrowed by what the player reports.
struct CurrentTrack {
    TrackFields reported;
    TrackFields fields;
};

// The entries of a player's track list whose album and artist equal the current track's, in
// list order. Local files are judged by their own tags, but only those the player places on
// the album or that lie in the current file's folder are opened.
QList<AlbumTrack> albumTracksInList(const QList<QVariantMap> &list, const CurrentTrack &current);

// The first entry of a track list titled title, by what the player reports.
std::optional<AlbumTrack> findTitleInList(const QList<QVariantMap> &list, const QString &title);

// The audio files of the current file's folder whose album and artist equal the current track's,
// ordered by disc and track number, then by file name.
QList<AlbumTrack> albumTracksInFolder(const TrackFields &current);

} // namespace kestrabel::player
