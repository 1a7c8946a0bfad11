// The MPRIS players on a bus, kept up to date as they appear and vanish.
#pragma once

#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <QString>

namespace kestrabel::player {

inline constexpr char kMprisServicePrefix[] = "org.mpris.MediaPlayer2.";
inline constexpr char kMprisObjectPath[] = "/org/mpris/MediaPlayer2";

struct MprisPlayer {
    QString service;
    // The unique connection name that owns service.
    QString owner;
    uint pid = 0;
    // Larger for players that appeared or were active later.
    quint64 lastActive = 0;
    // Larger for players that started playing later; 0 while never seen starting.
    quint64 playStarted = 0;
};

class MprisPlayerList : public QObject {
    Q_OBJECT
public:
    explicit MprisPlayerList(const QDBusConnection &bus, QObject *parent = nullptr);

    // One entry per player process, the least recently active first.
    QList<MprisPlayer> players() const;
    // Asks the bus for its names again, for callers that could not run the event loop.
    void rescan();
    // Makes service the most recently active player.
    void markActive(const QString &service);
    // Makes service the player that started playing last.
    void markPlayStarted(const QString &service);

    // The part of a player's bus name after the MPRIS prefix ("vlc.instance42").
    static QString shortName(const QString &service);

signals:
    void playersChanged();

private slots:
    void nameOwnerChanged(const QString &name, const QString &oldOwner, const QString &newOwner);

private:
    bool add(const QString &service, const QString &owner);

    QDBusConnection bus_;
    QList<MprisPlayer> names_;
    quint64 clock_ = 1;
};

} // namespace kestrabel::player
