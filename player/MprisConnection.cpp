#include "MprisConnection.h"

#include "Launcher.h"
#include "MprisPlayerList.h"
#include "MprisPlayerProxy.h"
#include "MprisTrackListProxy.h"
#include "RhythmDbProxy.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QThread>

namespace kestrabel::player {

namespace {

const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kRootInterface = QStringLiteral("org.mpris.MediaPlayer2");
const QString kPlayerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");
const QString kTrackListInterface = QStringLiteral("org.mpris.MediaPlayer2.TrackList");
const QString kRhythmboxService = QStringLiteral("org.gnome.Rhythmbox3");
const QString kRhythmDbPath = QStringLiteral("/org/gnome/Rhythmbox3/RhythmDB");
// Strawberry's own addition to the player interface: a writable rating from 0.0 to 1.0.
const QString kRatingProperty = QStringLiteral("Rating");

// A player that does not answer within this time counts as failed; the window asks several
// questions per update and must not freeze on a hung player.
constexpr int kCallTimeoutMs = 3000;
constexpr int kLaunchWaitMs = 5000;
constexpr int kLaunchPollMs = 100;
constexpr qint64 kMaxArtworkBytes = 32 * 1024 * 1024;

QVariantMap mapOf(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const auto argument = value.value<QDBusArgument>();
        if (argument.currentType() == QDBusArgument::MapType)
            return qdbus_cast<QVariantMap>(argument);
        return {};
    }
    return value.toMap();
}

QList<QDBusObjectPath> pathsOf(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const auto argument = value.value<QDBusArgument>();
        if (argument.currentType() == QDBusArgument::ArrayType && argument.currentSignature() == "ao")
            return qdbus_cast<QList<QDBusObjectPath>>(argument);
        return {};
    }
    return value.value<QList<QDBusObjectPath>>();
}

QString orEmpty(const QString &text) { return text.isNull() ? QStringLiteral("") : text; }

bool succeeded(QDBusPendingCall call)
{
    call.waitForFinished();
    return !call.isError();
}

} // namespace

MprisConnection::MprisConnection(const QDBusConnection &bus, const QString &preferredPlayer, QObject *parent)
    : QObject(parent), bus_(bus), players_(new MprisPlayerList(bus, this)), preferred_(preferredPlayer)
{
    qDBusRegisterMetaType<QList<QVariantMap>>();
    // Queued: a rescan can happen in the middle of choosing the current player.
    connect(players_, &MprisPlayerList::playersChanged, this, &MprisConnection::playersChanged, Qt::QueuedConnection);
    bus_.connect(QString(), QLatin1String(kMprisObjectPath), kPropertiesInterface, QStringLiteral("PropertiesChanged"),
                 this, SLOT(propertiesChanged(QDBusMessage)));
    currentService();
}

MprisConnection::~MprisConnection()
{
    bus_.disconnect(QString(), QLatin1String(kMprisObjectPath), kPropertiesInterface, QStringLiteral("PropertiesChanged"),
                    this, SLOT(propertiesChanged(QDBusMessage)));
}

std::optional<QVariantMap> MprisConnection::getAll(const QString &service, const QString &interface)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, QLatin1String(kMprisObjectPath), kPropertiesInterface,
                                                       QStringLiteral("GetAll"));
    call << interface;
    const QDBusMessage reply = bus_.call(call, QDBus::Block, kCallTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        noteFailure(reply);
        return std::nullopt;
    }
    return mapOf(reply.arguments().constFirst());
}

void MprisConnection::noteFailure(const QDBusMessage &reply)
{
    // A player that vanished before its name-owner signal reached us.
    if (reply.type() == QDBusMessage::ErrorMessage
        && (reply.errorName() == QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown")
            || reply.errorName() == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner")))
        players_->rescan();
}

bool MprisConnection::reportsPlaying(const QString &service)
{
    const auto properties = getAll(service, kPlayerInterface);
    return properties && properties->value(QStringLiteral("PlaybackStatus")).toString() == QLatin1String("Playing");
}

bool MprisConnection::matchesPreferred(const QString &service)
{
    if (preferred_.isEmpty())
        return false;
    const QString name = MprisPlayerList::shortName(service);
    QString wanted = preferred_;
    if (wanted.endsWith(QLatin1String(".desktop")))
        wanted.chop(8);
    if (name.compare(wanted, Qt::CaseInsensitive) == 0 || name.startsWith(wanted + QLatin1Char('.'), Qt::CaseInsensitive))
        return true;
    const auto root = getAll(service, kRootInterface);
    return root && root->value(QStringLiteral("DesktopEntry")).toString().compare(wanted, Qt::CaseInsensitive) == 0;
}

QString MprisConnection::currentService()
{
    const QList<MprisPlayer> players = players_->players();
    const MprisPlayer *chosen = nullptr;
    for (const MprisPlayer &player : players)
        if (matchesPreferred(player.service)) {
            chosen = &player;
            break;
        }
    if (!chosen && players.size() > 1) {
        // The current player keeps its place while it plays; otherwise the player that plays
        // and was active last. Choosing a playing player marks it active, so that after the
        // edit flow has paused it, it still outranks idle players that appeared after it.
        const MprisPlayer *playing = nullptr;
        for (auto it = players.crbegin(); it != players.crend(); ++it)
            if (reportsPlaying(it->service)) {
                if (!playing || it->service == current_)
                    playing = &*it;
                if (it->service == current_)
                    break;
            }
        if (playing) {
            chosen = playing;
            if (chosen != &players.constLast())
                players_->markActive(chosen->service);
        }
    }
    if (!chosen && !players.isEmpty())
        chosen = &players.constLast();

    const QString service = chosen ? chosen->service : QString();
    const QString owner = chosen ? chosen->owner : QString();
    if (service != current_ || owner != currentOwner_) {
        current_ = service;
        currentOwner_ = owner;
        announceSwitch();
    }
    return current_;
}

void MprisConnection::announceSwitch()
{
    // Queued: a slot that asks the connection again must not run inside the choice.
    QMetaObject::invokeMethod(
        this,
        [this] {
            emit notifier().trackChanged();
            emit notifier().playbackChanged(!current_.isEmpty() && reportsPlaying(current_));
        },
        Qt::QueuedConnection);
}

void MprisConnection::playersChanged() { currentService(); }

void MprisConnection::propertiesChanged(const QDBusMessage &message)
{
    const QList<QVariant> arguments = message.arguments();
    if (arguments.size() < 2 || arguments.at(0).toString() != kPlayerInterface)
        return;
    const QVariantMap changed = mapOf(arguments.at(1));
    const QStringList invalidated = arguments.size() > 2 ? arguments.at(2).toStringList() : QStringList();
    const auto touches = [&](const QString &property) {
        return changed.contains(property) || invalidated.contains(property);
    };
    if (message.service() != currentOwner_) {
        if (changed.value(QStringLiteral("PlaybackStatus")).toString() == QLatin1String("Playing")) {
            for (const MprisPlayer &player : players_->players())
                if (player.owner == message.service())
                    players_->markActive(player.service);
        }
        if (touches(QStringLiteral("PlaybackStatus")))
            currentService();
        return;
    }
    if (touches(QStringLiteral("Metadata")) || touches(kRatingProperty))
        emit notifier().trackChanged();
    if (changed.contains(QStringLiteral("PlaybackStatus")))
        emit notifier().playbackChanged(changed.value(QStringLiteral("PlaybackStatus")).toString() == QLatin1String("Playing"));
    else if (invalidated.contains(QStringLiteral("PlaybackStatus")))
        emit notifier().playbackChanged(reportsPlaying(current_));
}

std::optional<CurrentTrack> MprisConnection::currentTrack()
{
    QString service = currentService();
    if (service.isEmpty())
        return std::nullopt;
    auto properties = getAll(service, kPlayerInterface);
    if (!properties) {
        // The player may have gone since the last look; ask once more whoever is current now.
        const QString now = currentService();
        if (now.isEmpty())
            return std::nullopt;
        if (now != service)
            properties = getAll(now, kPlayerInterface);
    }
    CurrentTrack track;
    if (properties)
        track.reported = fieldsFromMetadata(mapOf(properties->value(QStringLiteral("Metadata"))));
    track.fields = track.reported;
    if (!track.fields.path.isNull())
        if (const auto tags = tagCache_.tags(track.fields.path))
            applyFileTags(track.fields, *tags);
    return track;
}

QString MprisConnection::textField(QString TrackFields::*field)
{
    const auto track = currentTrack();
    if (!track)
        return {};
    return orEmpty(track->fields.*field);
}

QString MprisConnection::copyCurrentTrackName() { return textField(&TrackFields::title); }
QString MprisConnection::copyCurrentTrackArtist() { return textField(&TrackFields::artist); }
QString MprisConnection::copyCurrentTrackAlbum() { return textField(&TrackFields::album); }
QString MprisConnection::copyCurrentTrackGenre() { return textField(&TrackFields::genre); }

int MprisConnection::currentTrackRating()
{
    const auto track = currentTrack();
    return track ? track->reported.rating : 0;
}

QByteArray MprisConnection::copyCurrentTrackArtwork()
{
    const auto track = currentTrack();
    if (!track)
        return {};
    QByteArray image = imageFromArtUrl(track->reported.artUrl, kMaxArtworkBytes);
    if (image.isEmpty() && !track->fields.path.isNull())
        image = readFileArtwork(track->fields.path);
    if (image.isEmpty())
        return {};
    return image;
}

QString MprisConnection::copyCurrentTrackPath()
{
    const auto track = currentTrack();
    return track ? track->fields.path : QString();
}

bool MprisConnection::isPlaying()
{
    const QString service = currentService();
    return !service.isEmpty() && reportsPlaying(service);
}

bool MprisConnection::isRunning() { return !currentService().isEmpty(); }

bool MprisConnection::callPlayer(const QString &method)
{
    const QString service = currentService();
    if (service.isEmpty())
        return false;
    // The player we drive is the one the user works with, whatever it does next.
    players_->markActive(service);
    QDBusMessage call = QDBusMessage::createMethodCall(service, QLatin1String(kMprisObjectPath), kPlayerInterface, method);
    const QDBusMessage reply = bus_.call(call, QDBus::Block, kCallTimeoutMs);
    noteFailure(reply);
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool MprisConnection::play() { return callPlayer(QStringLiteral("Play")); }
bool MprisConnection::pause() { return callPlayer(QStringLiteral("Pause")); }
bool MprisConnection::playPause() { return callPlayer(QStringLiteral("PlayPause")); }
bool MprisConnection::stop() { return callPlayer(QStringLiteral("Stop")); }
bool MprisConnection::nextTrack() { return callPlayer(QStringLiteral("Next")); }
bool MprisConnection::previousTrack() { return callPlayer(QStringLiteral("Previous")); }

bool MprisConnection::isRhythmbox(const QString &service) const
{
    const QString name = MprisPlayerList::shortName(service);
    return name == QLatin1String("rhythmbox") || name.startsWith(QLatin1String("rhythmbox."));
}

bool MprisConnection::canSetRating()
{
    const QString service = currentService();
    if (service.isEmpty())
        return false;
    const auto properties = getAll(service, kPlayerInterface);
    if (properties && properties->contains(kRatingProperty))
        return true;
    QDBusConnectionInterface *daemon = bus_.interface();
    return isRhythmbox(service) && daemon && daemon->isServiceRegistered(kRhythmboxService).value();
}

bool MprisConnection::setCurrentTrackRating(int rating)
{
    const QString service = currentService();
    if (service.isEmpty())
        return false;
    rating = std::clamp(rating, 0, 100);
    const auto properties = getAll(service, kPlayerInterface);
    if (!properties)
        return false;
    if (properties->contains(kRatingProperty)) {
        QDBusMessage call = QDBusMessage::createMethodCall(service, QLatin1String(kMprisObjectPath),
                                                           kPropertiesInterface, QStringLiteral("Set"));
        call << kPlayerInterface << kRatingProperty << QVariant::fromValue(QDBusVariant(rating / 100.0));
        const QDBusMessage reply = bus_.call(call, QDBus::Block, kCallTimeoutMs);
        return reply.type() == QDBusMessage::ReplyMessage;
    }
    if (!isRhythmbox(service))
        return false;
    const QString url = fieldsFromMetadata(mapOf(properties->value(QStringLiteral("Metadata")))).url;
    if (url.isEmpty())
        return false;
    RhythmDbProxy database(kRhythmboxService, kRhythmDbPath, bus_);
    database.setTimeout(kCallTimeoutMs);
    return succeeded(database.SetEntryProperties(url, {{QStringLiteral("rating"), rating / 20.0}}));
}

std::optional<QList<QVariantMap>> MprisConnection::trackList(const QString &service)
{
    // Asked even when HasTrackList says no: VLC answers all the same.
    const auto properties = getAll(service, kTrackListInterface);
    if (!properties)
        return std::nullopt;
    const QList<QDBusObjectPath> ids = pathsOf(properties->value(QStringLiteral("Tracks")));
    if (ids.isEmpty())
        return std::nullopt;
    MprisTrackListProxy list(service, QLatin1String(kMprisObjectPath), bus_);
    list.setTimeout(kCallTimeoutMs);
    QDBusPendingReply<QList<QVariantMap>> reply = list.GetTracksMetadata(ids);
    reply.waitForFinished();
    if (reply.isError())
        return std::nullopt;
    return reply.value();
}

QList<AlbumTrack> MprisConnection::albumTracks(const QString &service, const CurrentTrack &current, bool *fromList)
{
    *fromList = false;
    if (const auto list = trackList(service)) {
        QList<AlbumTrack> tracks = albumTracksInList(*list, current);
        if (!tracks.isEmpty()) {
            *fromList = true;
            return tracks;
        }
    }
    return albumTracksInFolder(current.fields);
}

QStringList MprisConnection::copyAlbumTrackNames()
{
    const auto current = currentTrack();
    if (!current || (current->reported.url.isEmpty() && current->reported.title.isEmpty()))
        return {};
    bool fromList = false;
    QStringList titles;
    for (const AlbumTrack &track : albumTracks(current_, *current, &fromList))
        titles << track.title;
    return titles;
}

bool MprisConnection::playTrackNamed(const QString &name)
{
    const auto current = currentTrack();
    if (!current)
        return false;
    const QString service = current_;
    bool fromList = false;
    const QList<AlbumTrack> tracks = albumTracks(service, *current, &fromList);
    std::optional<AlbumTrack> chosen;
    for (const AlbumTrack &track : tracks)
        if (track.title == name) {
            chosen = track;
            break;
        }
    const auto list = chosen ? std::nullopt : trackList(service);
    if (!chosen && list) {
        chosen = findTitleInList(*list, name);
        fromList = chosen.has_value();
    }
    if (!chosen)
        return false;
    bool sent = false;
    if (fromList && !chosen->trackId.isEmpty()) {
        MprisTrackListProxy trackListProxy(service, QLatin1String(kMprisObjectPath), bus_);
        trackListProxy.setTimeout(kCallTimeoutMs);
        sent = succeeded(trackListProxy.GoTo(QDBusObjectPath(chosen->trackId)));
    }
    if (!sent) {
        const QString uri = chosen->path.isNull() ? chosen->url : fileUrlForPath(chosen->path);
        if (uri.isEmpty())
            return false;
        MprisPlayerProxy player(service, QLatin1String(kMprisObjectPath), bus_);
        player.setTimeout(kCallTimeoutMs);
        sent = succeeded(player.OpenUri(uri));
    }
    // Neither GoTo nor OpenUri promises to leave a paused player playing.
    return sent && play();
}

bool MprisConnection::launch()
{
    if (isRunning())
        return true;
    if (!startPlayer(preferred_))
        return false;
    const QDeadlineTimer deadline(kLaunchWaitMs);
    while (!deadline.hasExpired()) {
        players_->rescan();
        if (isRunning())
            break;
        QThread::msleep(kLaunchPollMs);
    }
    return true;
}

// MPRIS has no library to rescan and players re-read a file when they next open it; the object
// layer's refresh after a save ends here harmlessly.
void MprisConnection::scanLibraryLocations(bool) {}
void MprisConnection::refreshTrackAtPath(const QString &) {}

void MprisConnection::setPreferredPlayer(const QString &name)
{
    preferred_ = name.trimmed();
    currentService();
}

QString MprisConnection::playerIdentity()
{
    const QString service = currentService();
    if (service.isEmpty())
        return {};
    if (const auto root = getAll(service, kRootInterface)) {
        const QString identity = root->value(QStringLiteral("Identity")).toString();
        if (!identity.isEmpty())
            return identity;
    }
    return MprisPlayerList::shortName(service);
}

} // namespace kestrabel::player
