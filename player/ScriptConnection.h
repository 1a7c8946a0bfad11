// The player connection for a player driven by fixed scripts (iTunes through osascript).
#pragma once

#include "PlayerConnection.h"
#include "ScriptRunner.h"

#include <QHash>

#include <memory>

namespace kestrabel::player {

// The file locations of the player's library and their database IDs, built by the first scan
// and kept for the rest of the run.
class LibraryLocationCache {
public:
    bool exists() const { return exists_; }
    void replace(const QList<LibraryLocation> &locations);
    std::optional<qint32> databaseID(const QString &location) const;

private:
    bool exists_ = false;
    QHash<QString, qint32> ids_;
};

// A POSIX path in the form the library holds locations in: "/Volumes/" dropped, then every '/'
// made ':'. A path on the start-up volume thus begins with ':'; that is how the lookup has
// always worked.
QString libraryLocationForPath(const QString &path);

class ScriptConnection : public PlayerConnection {
public:
    explicit ScriptConnection(std::unique_ptr<ScriptRunner> runner);

    QString copyCurrentTrackName() override;
    QString copyCurrentTrackArtist() override;
    QString copyCurrentTrackAlbum() override;
    QString copyCurrentTrackGenre() override;
    int currentTrackRating() override;
    // A PICT file image: 512 zero bytes, then the picture.
    QByteArray copyCurrentTrackArtwork() override;
    QString copyCurrentTrackPath() override;
    bool isPlaying() override;
    bool isRunning() override;

    bool play() override;
    bool pause() override;
    bool playPause() override;
    bool stop() override;
    bool nextTrack() override;
    bool previousTrack() override;

    bool canSetRating() override;
    bool setCurrentTrackRating(int rating) override;
    bool playTrackNamed(const QString &name) override;
    QStringList copyAlbumTrackNames() override;

    bool launch() override;
    void scanLibraryLocations(bool force) override;
    void refreshTrackAtPath(const QString &path) override;

    void setPreferredPlayer(const QString &name) override;
    QString playerIdentity() override;

    // The current track's artwork from an image file in /private/tmp; the script's error code.
    int setCurrentTrackArtworkFromFile(const QString &fileName);

private:
    QString query(const char *script);

    std::unique_ptr<ScriptRunner> runner_;
    LibraryLocationCache cache_;
};

} // namespace kestrabel::player
