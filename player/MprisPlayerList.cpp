#include "MprisPlayerList.h"

#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QHash>

#include <algorithm>

namespace kestrabel::player {

namespace {

// playerctld re-exports whichever player was active last; counting it would show every player
// twice and make the choice between them follow playerctld's instead of ours.
constexpr const char *kIgnoredServices[] = {"org.mpris.MediaPlayer2.playerctld"};

bool isPlayerService(const QString &name)
{
    if (!name.startsWith(QLatin1String(kMprisServicePrefix)) || name.size() == qsizetype(sizeof kMprisServicePrefix) - 1)
        return false;
    for (const char *ignored : kIgnoredServices)
        if (name == QLatin1String(ignored) || name.startsWith(QLatin1String(ignored) + QLatin1Char('.')))
            return false;
    return true;
}

} // namespace

MprisPlayerList::MprisPlayerList(const QDBusConnection &bus, QObject *parent) : QObject(parent), bus_(bus)
{
    bus_.connect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                 QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"), this,
                 SLOT(nameOwnerChanged(QString, QString, QString)));
    rescan();
}

QString MprisPlayerList::shortName(const QString &service)
{
    return service.mid(qsizetype(sizeof kMprisServicePrefix) - 1);
}

QList<MprisPlayer> MprisPlayerList::players() const
{
    // VLC registers org.mpris.MediaPlayer2.vlc and ….vlc.instance<pid> from one process; the
    // shorter name stands for both.
    QList<MprisPlayer> result;
    QHash<QString, qsizetype> byProcess;
    for (const MprisPlayer &player : names_) {
        const QString key = player.pid ? QString::number(player.pid) : player.owner;
        auto found = byProcess.constFind(key);
        if (found == byProcess.cend()) {
            byProcess.insert(key, result.size());
            result.append(player);
            continue;
        }
        MprisPlayer &kept = result[*found];
        const quint64 lastActive = std::max(kept.lastActive, player.lastActive);
        const quint64 playStarted = std::max(kept.playStarted, player.playStarted);
        if (player.service.size() < kept.service.size())
            kept = player;
        kept.lastActive = lastActive;
        kept.playStarted = playStarted;
    }
    std::sort(result.begin(), result.end(),
              [](const MprisPlayer &a, const MprisPlayer &b) { return a.lastActive < b.lastActive; });
    return result;
}

void MprisPlayerList::rescan()
{
    QDBusConnectionInterface *daemon = bus_.interface();
    if (!daemon)
        return;
    const QDBusReply<QStringList> names = daemon->registeredServiceNames();
    if (!names.isValid())
        return;
    bool changed = false;
    for (qsizetype i = names_.size() - 1; i >= 0; --i)
        if (!names.value().contains(names_[i].service)) {
            names_.removeAt(i);
            changed = true;
        }
    QStringList sorted = names.value();
    sorted.sort();
    for (const QString &name : sorted) {
        if (!isPlayerService(name))
            continue;
        const QDBusReply<QString> owner = daemon->serviceOwner(name);
        if (owner.isValid())
            changed |= add(name, owner.value());
    }
    if (changed)
        emit playersChanged();
}

bool MprisPlayerList::add(const QString &service, const QString &owner)
{
    for (const MprisPlayer &player : names_)
        if (player.service == service && player.owner == owner)
            return false;
    names_.removeIf([&](const MprisPlayer &player) { return player.service == service; });
    MprisPlayer player{service, owner, 0, clock_++, 0};
    if (QDBusConnectionInterface *daemon = bus_.interface()) {
        const QDBusReply<uint> pid = daemon->servicePid(service);
        if (pid.isValid())
            player.pid = pid.value();
    }
    names_.append(player);
    return true;
}

void MprisPlayerList::markActive(const QString &service)
{
    for (MprisPlayer &player : names_)
        if (player.service == service)
            player.lastActive = clock_++;
}

void MprisPlayerList::markPlayStarted(const QString &service)
{
    for (MprisPlayer &player : names_)
        if (player.service == service)
            player.playStarted = clock_++;
}

void MprisPlayerList::nameOwnerChanged(const QString &name, const QString &oldOwner, const QString &newOwner)
{
    if (!isPlayerService(name))
        return;
    if (newOwner.isEmpty()) {
        const qsizetype removed = names_.removeIf([&](const MprisPlayer &player) { return player.service == name; });
        if (removed)
            emit playersChanged();
        return;
    }
    if (add(name, newOwner))
        emit playersChanged();
}

} // namespace kestrabel::player
