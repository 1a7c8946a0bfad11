// The player connection over MPRIS 2 on a D-Bus bus.
#pragma once

#include "AlbumTracks.h"
#include "FileTags.h"
#include "PlayerConnection.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QVariantMap>

#include <optional>

namespace kestrabel::player {

class MprisPlayerList;

class MprisConnection : public QObject, public PlayerConnection {
    Q_OBJECT
public:
    explicit MprisConnection(const QDBusConnection &bus, const QString &preferredPlayer = {}, QObject *parent = nullptr);
    ~MprisConnection() override;

    QString copyCurrentTrackName() override;
    QString copyCurrentTrackArtist() override;
    QString copyCurrentTrackAlbum() override;
    QString copyCurrentTrackGenre() override;
    int currentTrackRating() override;
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

    // The bus name of the player the operations go to; null when none runs.
    QString currentService();

private slots:
    void propertiesChanged(const QDBusMessage &message);
    void playersChanged();

private:
    std::optional<QVariantMap> getAll(const QString &service, const QString &interface);
    std::optional<CurrentTrack> currentTrack();
    QString textField(QString TrackFields::*field);
    bool callPlayer(const QString &method);
    bool reportsPlaying(const QString &service);
    bool matchesPreferred(const QString &service);
    std::optional<QList<QVariantMap>> trackList(const QString &service);
    QList<AlbumTrack> albumTracks(const QString &service, const CurrentTrack &current, bool *fromList);
    bool isRhythmbox(const QString &service) const;
    void noteFailure(const QDBusMessage &reply);
    void announceSwitch();

    QDBusConnection bus_;
    MprisPlayerList *players_;
    QString preferred_;
    QString current_;
    QString currentOwner_;
    FileTagCache tagCache_;
};

} // namespace kestrabel::player
