// The player connection over MPRIS 2 on a D-Bus bus.
#pragma once

#include "AlbumTracks.h"
#include "FileTags.h"
#include "MprisPlayerList.h"
#include "PlayerConnection.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QHash>
#include <QSet>
#include <QObject>
#include <QVariantMap>

#include <optional>

namespace kestrabel::player {

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

    QString currentPlayerId() override;
    void pinPlayer(const QString &id) override;
    QString copyCurrentTrackId() override;
    TrackChoice trackChoice() override;
    QString unansweredPreferredPlayer() override;

    // The bus name of the player the operations go to; null when none runs.
    QString currentService();

private slots:
    void propertiesChanged(const QDBusMessage &message);
    void playersChanged();

private:
    std::optional<QVariantMap> getAll(const QString &service, const QString &interface);
    // A blocking call with a short deadline; a player that misses it is skipped from then on
    // until it answers a question asked in the background, or speaks.
    QDBusMessage send(const QDBusMessage &call);
    bool finished(QDBusPendingCall call, const QString &service);
    void markHung(const QString &service);
    void answered(const QString &service);
    QList<MprisPlayer> answeringPlayers() const;
    // Asks every player for its status at once and notes who started playing since.
    void refreshStatuses(const QList<MprisPlayer> &players);
    QString preferredName() const;
    bool nameMatchesPreferred(const QString &service) const;
    static QString stepKey(const QString &service, const QString &path);
    bool stepTo(const QString &service, const QString &from, const QString &expected, bool forward);
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
    QString pinned_;
    QSet<QString> hung_;
    QSet<QString> probing_;
    QHash<QString, QString> status_;
    // Player and album folder pairs where a step through the queue did not land on the album's
    // next track.
    QSet<QString> notInAlbumOrder_;
    FileTagCache tagCache_;
};

} // namespace kestrabel::player
