// A player connection whose answers the test sets and whose commands it reads back in order, for
// the control window's own rules; the MPRIS tests cover the way through the real bridge.
#pragma once

#include "PlayerConnection.h"

#include <QStringList>

#include <functional>

namespace kestrabel::apptest {

class ScriptedPlayer : public player::PlayerConnection {
public:
    bool running = true;
    bool playing = true;
    bool canRate = true;
    bool launchWorks = true;
    QString title = QStringLiteral("Hovering");
    QString artist = QStringLiteral("The Kestrabel Ensemble");
    QString album = QStringLiteral("Demo Flight");
    QString genre = QStringLiteral("Ambient");
    QString path;
    int rating = 40;
    QByteArray artwork;
    QStringList albumTracks{QStringLiteral("Hovering"), QStringLiteral("Stoop"), QStringLiteral("Thermal")};
    // Commands, and the album-track fetches, in the order they came.
    QStringList log;

    QString copyCurrentTrackName() override { return running ? title : QString(); }
    QString copyCurrentTrackArtist() override { return running ? artist : QString(); }
    QString copyCurrentTrackAlbum() override { return running ? album : QString(); }
    QString copyCurrentTrackGenre() override { return running ? genre : QString(); }
    int currentTrackRating() override { return running ? rating : 0; }
    QByteArray copyCurrentTrackArtwork() override { return running ? artwork : QByteArray(); }
    QString copyCurrentTrackPath() override { return running ? path : QString(); }
    bool isPlaying() override { return running && playing; }
    bool isRunning() override { return running; }
    bool canSetRating() override { return running && canRate; }
    QString playerIdentity() override { return running ? QStringLiteral("Scripted") : QString(); }

    bool play() override { return command(QStringLiteral("play"), [&] { playing = true; }); }
    bool pause() override { return command(QStringLiteral("pause"), [&] { playing = false; }); }
    bool playPause() override { return command(QStringLiteral("playPause"), [&] { playing = !playing; }); }
    bool stop() override { return command(QStringLiteral("stop"), [&] { playing = false; }); }
    bool nextTrack() override { return command(QStringLiteral("next")); }
    bool previousTrack() override { return command(QStringLiteral("previous")); }
    bool setCurrentTrackRating(int value) override
    {
        return command(QStringLiteral("rating %1").arg(value), [&] { rating = value; });
    }
    bool playTrackNamed(const QString &name) override { return command(QStringLiteral("playTrackNamed ") + name); }
    QStringList copyAlbumTrackNames() override
    {
        log << QStringLiteral("albumTracks");
        return running ? albumTracks : QStringList();
    }
    bool launch() override
    {
        log << QStringLiteral("launch");
        running = running || launchWorks;
        return launchWorks;
    }
    void scanLibraryLocations(bool) override {}
    void refreshTrackAtPath(const QString &) override {}
    void setPreferredPlayer(const QString &) override {}

    QStringList commands() const
    {
        QStringList only = log;
        only.removeAll(QStringLiteral("albumTracks"));
        return only;
    }

private:
    // Logged always; carried out only by a running player.
    bool command(const QString &name, const std::function<void()> &change = {})
    {
        log << name;
        if (running && change)
            change();
        return running;
    }
};

} // namespace kestrabel::apptest
