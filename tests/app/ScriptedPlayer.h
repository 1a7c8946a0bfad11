// A player connection whose answers the test sets and whose commands it reads back in order, for
// the control window's own rules; the MPRIS tests cover the way through the real bridge.
#pragma once

#include "PlayerConnection.h"

#include <QStringList>

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

    bool play() override { return command(QStringLiteral("play"), [&] { playing = true; }); }
    bool pause() override { return command(QStringLiteral("pause"), [&] { playing = false; }); }
    bool playPause() override { return command(QStringLiteral("playPause"), [&] { playing = !playing; }); }
    bool stop() override { return command(QStringLiteral("stop"), [&] { playing = false; }); }
    bool nextTrack() override { return command(QStringLiteral("next"), [] {}); }
    bool previousTrack() override { return command(QStringLiteral("previous"), [] {}); }

    bool canSetRating() override { return running && canRate; }
    bool setCurrentTrackRating(int value) override
    {
        return command(QStringLiteral("rating %1").arg(value), [&] { rating = value; });
    }
    bool playTrackNamed(const QString &name) override
    {
        return command(QStringLiteral("playTrackNamed %1").arg(name), [] {});
    }
    QStringList copyAlbumTrackNames() override
    {
        log << QStringLiteral("albumTracks");
        return running ? albumTracks : QStringList();
    }

    bool launch() override
    {
        log << QStringLiteral("launch");
        if (launchWorks)
            running = true;
        return launchWorks;
    }
    void scanLibraryLocations(bool) override {}
    void refreshTrackAtPath(const QString &) override {}
    void setPreferredPlayer(const QString &) override {}
    QString playerIdentity() override { return running ? QStringLiteral("Scripted") : QString(); }

    // Back to the answers above, for the next row of a table.
    void reset(const QString &trackPath)
    {
        const ScriptedPlayer fresh;
        running = fresh.running;
        playing = fresh.playing;
        canRate = fresh.canRate;
        launchWorks = fresh.launchWorks;
        title = fresh.title;
        artist = fresh.artist;
        album = fresh.album;
        genre = fresh.genre;
        path = trackPath;
        rating = fresh.rating;
        artwork.clear();
        albumTracks = fresh.albumTracks;
        log.clear();
    }

    QStringList commands() const
    {
        QStringList only;
        for (const QString &entry : log) {
            if (entry != QLatin1String("albumTracks"))
                only << entry;
        }
        return only;
    }

private:
    template <typename Change> bool command(const QString &name, Change change)
    {
        log << name;
        if (running)
            change();
        return running;
    }
};

} // namespace kestrabel::apptest
