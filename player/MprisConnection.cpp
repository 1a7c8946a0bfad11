#include "MprisConnection.h"

#include "Launcher.h"
#include "MprisPlayerList.h"
#include "MprisTrackListProxy.h"
#include "RhythmDbProxy.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <vector>

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

// A player that does not answer within this time is skipped until it answers again, so that one
// hung player costs one wait, not one per question.
constexpr int kCallTimeoutMs = 1000;
// How long a skipped player is given to answer the question that brings it back.
constexpr int kProbeTimeoutMs = 20000;
// How long one Next or Previous may take to show the next track.
constexpr int kStepWaitMs = 2000;
constexpr int kStepPollMs = 40;
const QString kPlaying = QStringLiteral("Playing");
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

bool timedOut(const QString &errorName)
{
    return errorName == QLatin1String("org.freedesktop.DBus.Error.NoReply")
           || errorName == QLatin1String("org.freedesktop.DBus.Error.Timeout");
}

bool timedOut(const QDBusMessage &reply)
{
    return reply.type() == QDBusMessage::ErrorMessage && timedOut(reply.errorName());
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
    const QDBusMessage reply = send(call);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    return mapOf(reply.arguments().constFirst());
}

QDBusMessage MprisConnection::send(const QDBusMessage &call)
{
    const QString service = call.service();
    if (hung_.contains(service))
        return call.createErrorReply(QStringLiteral("org.freedesktop.DBus.Error.NoReply"),
                                     QStringLiteral("skipped until it answers again"));
    const QDBusMessage reply = bus_.call(call, QDBus::Block, kCallTimeoutMs);
    if (timedOut(reply))
        markHung(service);
    noteFailure(reply);
    return reply;
}

bool MprisConnection::finished(QDBusPendingCall call, const QString &service)
{
    call.waitForFinished();
    if (call.isError() && timedOut(call.error().name()))
        markHung(service);
    return !call.isError();
}

void MprisConnection::markHung(const QString &service)
{
    hung_.insert(service);
    if (probing_.contains(service))
        return;
    probing_.insert(service);
    QDBusMessage call = QDBusMessage::createMethodCall(service, QLatin1String(kMprisObjectPath), kPropertiesInterface,
                                                       QStringLiteral("Get"));
    call << kRootInterface << QStringLiteral("Identity");
    auto *watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call, kProbeTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, service, watcher] {
        watcher->deleteLater();
        probing_.remove(service);
        if (!watcher->isError()) {
            answered(service);
        } else if (timedOut(watcher->error().name())) {
            bool present = false;
            for (const MprisPlayer &player : players_->players())
                present |= player.service == service;
            if (present)
                markHung(service);
            else
                hung_.remove(service);
        } else {
            hung_.remove(service);
            players_->rescan();
        }
    });
}

void MprisConnection::answered(const QString &service)
{
    if (hung_.remove(service))
        playersChanged();
}

void MprisConnection::refreshStatuses(const QList<MprisPlayer> &players)
{
    struct Asked {
        QString service;
        QDBusPendingCall call;
    };
    std::vector<Asked> asked;
    for (const MprisPlayer &player : players) {
        QDBusMessage call = QDBusMessage::createMethodCall(player.service, QLatin1String(kMprisObjectPath),
                                                           kPropertiesInterface, QStringLiteral("GetAll"));
        call << kPlayerInterface;
        asked.push_back({player.service, bus_.asyncCall(call, kCallTimeoutMs)});
    }
    // Every question is out before the first answer is awaited: the slowest player sets the
    // time, not the sum of them all.
    struct Playing {
        QString service;
        qlonglong position;
    };
    std::vector<Playing> firstSeen;
    QStringList startedSince;
    for (Asked &question : asked) {
        question.call.waitForFinished();
        const QDBusMessage reply = question.call.reply();
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            if (timedOut(reply))
                markHung(question.service);
            noteFailure(reply);
            continue;
        }
        const QVariantMap properties = mapOf(reply.arguments().constFirst());
        const QString status = properties.value(QStringLiteral("PlaybackStatus")).toString();
        const auto before = status_.constFind(question.service);
        if (status == kPlaying) {
            if (before == status_.cend())
                firstSeen.push_back({question.service, properties.value(QStringLiteral("Position")).toLongLong()});
            else if (*before != kPlaying)
                startedSince << question.service;
        }
        status_.insert(question.service, status);
    }
    // Of players found playing at first sight, the one least far into its track probably
    // started last.
    std::sort(firstSeen.begin(), firstSeen.end(),
              [](const Playing &a, const Playing &b) { return a.position > b.position; });
    for (const Playing &player : firstSeen)
        players_->markPlayStarted(player.service);
    for (const QString &service : startedSince)
        players_->markPlayStarted(service);
}

QList<MprisPlayer> MprisConnection::answeringPlayers() const
{
    QList<MprisPlayer> players = players_->players();
    players.removeIf([this](const MprisPlayer &player) { return hung_.contains(player.service); });
    return players;
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
    return properties && properties->value(QStringLiteral("PlaybackStatus")).toString() == kPlaying;
}

QString MprisConnection::preferredName() const
{
    QString wanted = preferred_;
    if (wanted.endsWith(QLatin1String(".desktop")))
        wanted.chop(8);
    return wanted;
}

bool MprisConnection::nameMatchesPreferred(const QString &service) const
{
    const QString wanted = preferredName();
    const QString name = MprisPlayerList::shortName(service);
    return !wanted.isEmpty()
           && (name.compare(wanted, Qt::CaseInsensitive) == 0
               || name.startsWith(wanted + QLatin1Char('.'), Qt::CaseInsensitive));
}

bool MprisConnection::matchesPreferred(const QString &service)
{
    if (preferred_.isEmpty())
        return false;
    if (nameMatchesPreferred(service))
        return true;
    const auto root = getAll(service, kRootInterface);
    return root && root->value(QStringLiteral("DesktopEntry")).toString().compare(preferredName(), Qt::CaseInsensitive) == 0;
}

QString MprisConnection::unansweredPreferredPlayer()
{
    if (preferred_.isEmpty())
        return {};
    for (const MprisPlayer &player : players_->players())
        if (hung_.contains(player.service) && nameMatchesPreferred(player.service))
            return player.service;
    return {};
}

void MprisConnection::pinPlayer(const QString &id) { pinned_ = id; }

QString MprisConnection::currentService()
{
    if (!pinned_.isNull()) {
        for (const MprisPlayer &player : answeringPlayers())
            if (player.service == pinned_)
                return pinned_;
        return {};
    }
    QList<MprisPlayer> players = answeringPlayers();
    std::optional<MprisPlayer> chosen;
    // Names first: asking each player for its desktop entry costs a round trip.
    for (const MprisPlayer &player : players)
        if (nameMatchesPreferred(player.service)) {
            chosen = player;
            break;
        }
    for (const MprisPlayer &player : players)
        if (!chosen && matchesPreferred(player.service))
            chosen = player;
    if (!chosen && players.size() > 1) {
        // The player that started playing last; choosing it marks it active, so that after the
        // edit flow has paused it, it still outranks idle players that appeared after it.
        refreshStatuses(players);
        players = answeringPlayers();
        const MprisPlayer *playing = nullptr;
        for (const MprisPlayer &player : players)
            if (status_.value(player.service) == kPlaying && (!playing || player.playStarted > playing->playStarted))
                playing = &player;
        if (playing) {
            chosen = *playing;
            if (playing != &players.constLast())
                players_->markActive(chosen->service);
        }
    }
    if (!chosen && !players.isEmpty())
        chosen = players.constLast();

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
    for (const MprisPlayer &player : players_->players()) {
        if (player.owner != message.service())
            continue;
        // A player that speaks is alive again.
        answered(player.service);
        if (changed.contains(QStringLiteral("PlaybackStatus"))) {
            const QString status = changed.value(QStringLiteral("PlaybackStatus")).toString();
            if (status == kPlaying && status_.value(player.service) != kPlaying) {
                players_->markPlayStarted(player.service);
                players_->markActive(player.service);
            }
            status_.insert(player.service, status);
        }
    }
    if (message.service() != currentOwner_) {
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
    return send(call).type() == QDBusMessage::ReplyMessage;
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
        return send(call).type() == QDBusMessage::ReplyMessage;
    }
    if (!isRhythmbox(service))
        return false;
    const QString url = fieldsFromMetadata(mapOf(properties->value(QStringLiteral("Metadata")))).url;
    if (url.isEmpty())
        return false;
    RhythmDbProxy database(kRhythmboxService, kRhythmDbPath, bus_);
    database.setTimeout(kCallTimeoutMs);
    return finished(database.SetEntryProperties(url, {{QStringLiteral("rating"), rating / 20.0}}), service);
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
    if (!finished(reply, service))
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
    for (const AlbumTrack &track : albumTracks(currentService(), *current, &fromList))
        titles << track.title;
    return titles;
}

TrackChoice MprisConnection::trackChoice()
{
    const QString service = currentService();
    if (service.isEmpty())
        return {TrackChoice::Unavailable, tr("No player runs.")};
    if (trackList(service))
        return {};
    const auto properties = getAll(service, kPlayerInterface);
    if (!properties)
        return {TrackChoice::Unavailable, tr("The player does not answer.")};
    if (!properties->value(QStringLiteral("CanGoNext")).toBool() || !properties->value(QStringLiteral("CanGoPrevious")).toBool())
        return {TrackChoice::Unavailable, tr("This player offers no track list and cannot skip tracks.")};
    const auto current = currentTrack();
    if (!current || current->fields.path.isNull())
        return {TrackChoice::Unavailable, tr("This player offers no track list, and its track is not a local file.")};
    if (notInAlbumOrder_.contains(stepKey(service, current->fields.path)))
        return {TrackChoice::Unavailable,
                tr("This player offers no track list, and its queue is not this album in order: "
                   "choose the track in the player.")};
    return {TrackChoice::Stepping, {}};
}

QString MprisConnection::stepKey(const QString &service, const QString &path)
{
    return service + QLatin1Char('\n') + QFileInfo(path).absolutePath();
}

bool MprisConnection::stepTo(const QString &service, const QString &from, const QString &expected, bool forward)
{
    if (!callPlayer(forward ? QStringLiteral("Next") : QStringLiteral("Previous")))
        return false;
    const QDeadlineTimer deadline(kStepWaitMs);
    while (!deadline.hasExpired()) {
        const auto properties = getAll(service, kPlayerInterface);
        if (!properties)
            return false;
        const QString path = fieldsFromMetadata(mapOf(properties->value(QStringLiteral("Metadata")))).path;
        if (path == expected)
            return true;
        if (path != from)
            return false;
        QThread::msleep(kStepPollMs);
    }
    return false;
}

bool MprisConnection::playTrackNamed(const QString &name)
{
    const auto current = currentTrack();
    const QString service = currentService();
    if (!current || service.isEmpty())
        return false;
    if (const auto list = trackList(service)) {
        std::optional<AlbumTrack> chosen;
        for (const AlbumTrack &track : albumTracksInList(*list, *current))
            if (track.title == name) {
                chosen = track;
                break;
            }
        if (!chosen)
            chosen = findTitleInList(*list, name);
        if (!chosen || chosen->trackId.isEmpty())
            return false;
        MprisTrackListProxy trackListProxy(service, QLatin1String(kMprisObjectPath), bus_);
        trackListProxy.setTimeout(kCallTimeoutMs);
        // GoTo does not promise to leave a paused player playing.
        return finished(trackListProxy.GoTo(QDBusObjectPath(chosen->trackId)), service) && play();
    }
    // Without a track list the only way that keeps the user's queue is to skip through it, and
    // that reaches the track only while the queue is the album in order: every step is checked.
    if (trackChoice().kind != TrackChoice::Stepping)
        return false;
    const QList<AlbumTrack> album = albumTracksInFolder(current->fields);
    qsizetype from = -1;
    qsizetype to = -1;
    for (qsizetype i = 0; i < album.size(); ++i) {
        if (from < 0 && album[i].path == current->fields.path)
            from = i;
        if (to < 0 && album[i].title == name)
            to = i;
    }
    if (from < 0 || to < 0)
        return false;
    const bool forward = to > from;
    for (qsizetype i = from; i != to;) {
        const QString before = album[i].path;
        i += forward ? 1 : -1;
        if (!stepTo(service, before, album[i].path, forward)) {
            notInAlbumOrder_.insert(stepKey(service, current->fields.path));
            emit notifier().trackChanged();
            return false;
        }
    }
    return play();
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

QString MprisConnection::currentPlayerId() { return currentService(); }

QString MprisConnection::copyCurrentTrackId()
{
    const auto track = currentTrack();
    return track ? orEmpty(track->reported.trackId) : QString();
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
