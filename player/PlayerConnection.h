// The one way the rest of Kestrabel talks to the music player: every question and command the
// control window and the object layer need, one operation each. Implementations talk MPRIS 2 on
// the D-Bus session bus (MprisConnection) or run fixed scripts where the player is scripted.
//
// Nothing here throws. A failure comes back as the empty value of the operation's type:
// a null QString or QByteArray for "none", an empty but non-null QString for a value the
// player has but left empty, 0, false or an empty list.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

namespace kestrabel::player {

// Told when the current player reports a change, so that a window can react at once instead of
// waiting for its next poll. A player appearing or vanishing counts as both kinds of change.
class PlayerNotifier : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

signals:
    // Another track, or other metadata for the same track (title, artist, artwork, rating...).
    void trackChanged();
    // Playing, paused or stopped; playing is true only while the player plays.
    void playbackChanged(bool playing);
};

// How the window can move the current player to another track of the album.
struct TrackChoice {
    enum Kind {
        // The player goes to the track itself (its track list, or its scripting).
        Direct,
        // Next and Previous, one step at a time, each step checked against the album's order.
        Stepping,
        // Neither; reason says why, for the chooser's tooltip.
        Unavailable,
    };
    Kind kind = Direct;
    QString reason;
};

class PlayerConnection {
public:
    virtual ~PlayerConnection() = default;
    PlayerConnection(const PlayerConnection &) = delete;
    PlayerConnection &operator=(const PlayerConnection &) = delete;

    // Queries about the current track. Each is null when no player runs; a running player
    // without a current track, or without that field, gives an empty (non-null) text.
    // Where the track is a local file the tag library can read, the text fields come from the
    // file's own tags: players keep showing stale metadata after the file was edited.
    virtual QString copyCurrentTrackName() = 0;
    virtual QString copyCurrentTrackArtist() = 0;
    virtual QString copyCurrentTrackAlbum() = 0;
    virtual QString copyCurrentTrackGenre() = 0;
    // 0 to 100; 0 when unknown or unrated.
    virtual int currentTrackRating() = 0;
    // The encoded image (JPEG, PNG...) as a file would hold it; null when the track has none.
    virtual QByteArray copyCurrentTrackArtwork() = 0;
    // A local POSIX path; null when there is no track or it is not a local file.
    virtual QString copyCurrentTrackPath() = 0;
    virtual bool isPlaying() = 0;
    virtual bool isRunning() = 0;

    // Transport. True when the player accepted the command.
    virtual bool play() = 0;
    virtual bool pause() = 0;
    virtual bool playPause() = 0;
    virtual bool stop() = 0;
    virtual bool nextTrack() = 0;
    virtual bool previousTrack() = 0;

    // Whether setCurrentTrackRating can reach the current player at all; when false the window
    // shows the rating read-only.
    virtual bool canSetRating() = 0;
    // rating is 0 to 100.
    virtual bool setCurrentTrackRating(int rating) = 0;
    // Plays the first track titled name among the current track's album (or the player's list).
    // Never replaces the player's queue: where the player cannot go there, nothing happens.
    virtual bool playTrackNamed(const QString &name) = 0;
    // Titles of the tracks sharing the current track's album and artist, in album order, all of
    // them; empty when there is no current track.
    virtual QStringList copyAlbumTrackNames() = 0;

    // Starts the player when none runs. True when one runs or was started.
    virtual bool launch() = 0;
    // Tells the player's library that a file changed. Harmless where the player has no library.
    virtual void scanLibraryLocations(bool force) = 0;
    virtual void refreshTrackAtPath(const QString &path) = 0;

    // The player to prefer when several run, and to start on launch(): a short name as the
    // player registers it ("vlc", "strawberry", "mpv"). Empty: no preference.
    virtual void setPreferredPlayer(const QString &name) = 0;
    // The current player's own name for itself ("mpv", "VLC media player"); null when none runs.
    virtual QString playerIdentity() = 0;

    // Which player the operations go to now (its bus name, say); null when none runs.
    virtual QString currentPlayerId() { return playerIdentity(); }
    // Every following operation goes to that player alone, until a null id releases it; when it
    // has gone or stopped answering they fail rather than reach another player.
    virtual void pinPlayer(const QString &id) { (void)id; }
    // The player's id for its current track; null where players have none.
    virtual QString copyCurrentTrackId() { return {}; }
    virtual TrackChoice trackChoice() { return {}; }
    // The bus name of the preferred player when it runs but did not answer in time; else null.
    virtual QString unansweredPreferredPlayer() { return {}; }

    PlayerNotifier &notifier() { return notifier_; }

protected:
    PlayerConnection() = default;

private:
    PlayerNotifier notifier_;
};

// The connection for this system: MPRIS 2 on the session bus on Linux. preferredPlayer as for
// setPreferredPlayer. Call from a thread with a Qt event loop (the GUI thread).
std::unique_ptr<PlayerConnection> createPlayerConnection(const QString &preferredPlayer = {});

} // namespace kestrabel::player
