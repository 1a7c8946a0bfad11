// A player connection whose answers the test sets and whose commands it reads back in order, for
// the control window's own rules; the MPRIS tests cover the way through the real bridge.
#pragma once

#include "PlayerConnection.h"

#include <QDir>
#include <QFile>
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

    // Changes written as "title=Stoop;path+=.gone;playing=0": a value "-" is null; "folder" puts a
    // folder in the file's place (permissions do not stop root, a folder stops anyone).
    void script(const char *changes)
    {
        for (const QString &change : QString::fromUtf8(changes).split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
            const QString key = change.section(QLatin1Char('='), 0, 0), text = change.section(QLatin1Char('='), 1);
            QString value = text;
            if (text == QLatin1String("-"))
                value = QString();
            else if (text.isEmpty())
                value = QLatin1String("");
            if (key == QLatin1String("folder") && QFile::remove(path))
                QDir().mkdir(path);
            if (key == QLatin1String("artwork"))
                artwork = value.toUtf8();
            for (auto [name, field] : {std::pair{"title", &ScriptedPlayer::title}, {"artist", &ScriptedPlayer::artist},
                                       {"album", &ScriptedPlayer::album}, {"genre", &ScriptedPlayer::genre},
                                       {"path", &ScriptedPlayer::path}, {"path+", &ScriptedPlayer::path}})
                if (key == QLatin1String(name))
                    this->*field = key.endsWith(QLatin1Char('+')) ? this->*field + value : value;
            for (auto [name, flag] : {std::pair{"running", &ScriptedPlayer::running}, {"playing", &ScriptedPlayer::playing},
                                      {"canRate", &ScriptedPlayer::canRate}, {"launchWorks", &ScriptedPlayer::launchWorks}})
                if (key == QLatin1String(name))
                    this->*flag = value == QLatin1String("1");
        }
    }

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
