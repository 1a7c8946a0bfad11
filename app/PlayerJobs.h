// The jobs the control window sends to the player worker: a look at the player whose track the
// window shows, and an edit that pauses, asks, writes and resumes one player. Each job pins its
// player, so that every question and command of one action reaches the same player.
#pragma once

#include "PlayerConnection.h"

#include <kestrabel/MediaFile.h>

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

namespace kestrabel::app {

// What the window shows now, for telling whether anything changed.
struct ShownTrack {
    QString player;
    QString trackId;
    QString title;
    QString artist;
    QString album;
};

struct TrackSnapshot {
    bool running = false;
    QString player;
    QString trackId;
    // Null when no player runs.
    QString title;
    QString artist;
    QString album;
    QString genre;
    bool playing = false;
    // Whether the track differs from the shown one; the fields below are filled only then.
    bool changed = false;
    bool albumChanged = false;
    QString path;
    QString length; // "3:42", empty when unknown
    QStringList albumTracks;
    QByteArray artwork;
    bool canSetRating = false;
    int rating = 0;
    player::TrackChoice choice;
};

TrackSnapshot takeSnapshot(player::PlayerConnection &player, const ShownTrack &shown);

// The track an edit belongs to: the one the window showed when the edit began.
struct EditTarget {
    QString player;
    QString trackId;
    QString path;
};

// Files the window reads and edits follow today's taggers, so it never hides or drops what
// another tool wrote.
inline constexpr MediaFileFlags kEditProfile = kMediaFileFlagInterop;

struct EditRequest {
    EditTarget target;
    QList<QPair<MediaFileDataID, QString>> values;
    // The genre box's choice pauses and plays whatever the player did before.
    bool alwaysPauseAndPlay = false;
};

struct EditResult {
    enum Outcome {
        Written,
        // The player moved to another track (or went away); nothing was written.
        TrackChanged,
        // The track has no file the tag library opens.
        NoFile,
        WriteFailed,
    };
    Outcome outcome = NoFile;
    MediaFileStatus status = 0;
    QString path;
    // The genre box's choice asks the player for the genre again; null otherwise.
    QString genreAfter;

    // A short line for the window; empty when written.
    QString message() const;
};

EditResult runEdit(player::PlayerConnection &player, const EditRequest &request);

// Runs job with player pinned to id, releasing it afterwards.
template <typename Job> auto withPlayer(player::PlayerConnection &player, const QString &id, Job job)
{
    player.pinPlayer(id);
    struct Release {
        player::PlayerConnection &player;
        ~Release() { player.pinPlayer({}); }
    } release{player};
    return job();
}

} // namespace kestrabel::app
