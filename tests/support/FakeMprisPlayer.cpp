// A scriptable MPRIS player for the bridge's tests. It serves /org/mpris/MediaPlayer2 on the
// session bus under org.mpris.MediaPlayer2.<name>, answers the way its JSON state says (track
// list or not, a Strawberry-style Rating property or not, Rhythmbox's database or not, skipping
// or not, methods that fail), logs every call it gets, and takes new state through
// org.kestrabel.FakePlayer.Script at /org/kestrabel/FakePlayer.
//
// usage: kestrabel-fake-mpris NAME STATE-JSON|@STATE-FILE
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <cstdio>

namespace {

const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kRoot = QStringLiteral("org.mpris.MediaPlayer2");
const QString kPlayer = QStringLiteral("org.mpris.MediaPlayer2.Player");
const QString kTrackList = QStringLiteral("org.mpris.MediaPlayer2.TrackList");
const QString kRhythmDb = QStringLiteral("org.gnome.Rhythmbox3.RhythmDB");
const QString kControl = QStringLiteral("org.kestrabel.FakePlayer");
const QString kMprisPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString kRhythmDbPath = QStringLiteral("/org/gnome/Rhythmbox3/RhythmDB");
const QString kControlPath = QStringLiteral("/org/kestrabel/FakePlayer");

QVariant metadataValue(const QString &key, const QJsonValue &value)
{
    if (key == QLatin1String("mpris:trackid"))
        return QVariant::fromValue(QDBusObjectPath(value.toString()));
    if (key == QLatin1String("mpris:length"))
        return qlonglong(value.toDouble());
    if (key == QLatin1String("xesam:trackNumber") || key == QLatin1String("xesam:discNumber"))
        return value.toInt();
    if (value.isArray()) {
        QStringList texts;
        for (const QJsonValue &item : value.toArray())
            texts << item.toString();
        return texts;
    }
    if (value.isDouble())
        return value.toDouble();
    if (value.isBool())
        return value.toBool();
    return value.toString();
}

QVariantMap metadataOf(const QJsonObject &track)
{
    QVariantMap metadata;
    for (auto it = track.begin(); it != track.end(); ++it)
        metadata.insert(it.key(), metadataValue(it.key(), it.value()));
    return metadata;
}

class FakePlayer : public QDBusVirtualObject {
public:
    FakePlayer(QDBusConnection bus, QJsonObject state) : bus_(bus), state_(std::move(state)) {}

    QString introspect(const QString &path) const override
    {
        if (path != kMprisPath)
            return {};
        // Deliberately incomplete, as some players' introspection data is: the bridge must not
        // depend on it.
        if (state_.value(QStringLiteral("introspection")).toString() == QLatin1String("wrong"))
            return QStringLiteral("<interface name=\"org.mpris.MediaPlayer2\"/>");
        return QStringLiteral("<interface name=\"org.mpris.MediaPlayer2\"/><interface name=\"org.mpris.MediaPlayer2.Player\"/>");
    }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        const QString interface = message.interface();
        const QString member = message.member();
        if (message.path() == kControlPath)
            return control(message, connection);
        QStringList logged{member};
        for (const QVariant &argument : message.arguments())
            logged << describe(argument);
        calls_ << logged.join(QLatin1Char(' '));

        if (failing(member))
            return connection.send(message.createErrorReply(QStringLiteral("org.mpris.MediaPlayer2.Error.Failed"), member)), true;
        if (message.path() == kRhythmDbPath)
            return rhythmDb(message, connection);
        if (interface == kProperties)
            return properties(message, connection);
        if (interface == kPlayer || (interface.isEmpty() && isPlayerMethod(member)))
            return playerMethod(message, connection);
        if (interface == kTrackList && trackListEnabled())
            return trackListMethod(message, connection);
        return interface == kRoot ? reply(connection, message) : refuse(connection, message, "UnknownMethod", member);
    }

private:
    static QString describe(const QVariant &value)
    {
        if (value.metaType() == QMetaType::fromType<QDBusObjectPath>())
            return value.value<QDBusObjectPath>().path();
        if (value.metaType() == QMetaType::fromType<QDBusVariant>())
            return describe(value.value<QDBusVariant>().variant());
        if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
            const auto argument = value.value<QDBusArgument>();
            QStringList entries;
            if (argument.currentSignature() == QLatin1String("a{sv}")) {
                const auto map = qdbus_cast<QVariantMap>(argument);
                for (auto it = map.begin(); it != map.end(); ++it)
                    entries << it.key() + QLatin1Char('=') + describe(it.value());
            } else if (argument.currentSignature() == QLatin1String("ao")) {
                for (const QDBusObjectPath &path : qdbus_cast<QList<QDBusObjectPath>>(argument))
                    entries << path.path();
            }
            return entries.join(QLatin1Char(','));
        }
        return value.toString();
    }

    static bool isPlayerMethod(const QString &member)
    {
        static const QStringList methods{"Play", "Pause", "PlayPause", "Stop", "Next", "Previous", "OpenUri", "Seek", "SetPosition"};
        return methods.contains(member);
    }

    bool failing(const QString &member) const { return state_.value("failMethods").toArray().contains(QJsonValue(member)); }
    bool trackListEnabled() const { return state_.value("trackList").toBool(); }
    bool ratingEnabled() const { return state_.value("rating").toBool(); }
    QJsonArray tracks() const { return state_.value("tracks").toArray(); }
    int current() const { return state_.value("current").toInt(); }

    QJsonObject currentTrack() const
    {
        const QJsonArray list = tracks();
        return current() >= 0 && current() < list.size() ? list.at(current()).toObject() : QJsonObject();
    }

    QVariantMap playerProperties() const
    {
        const bool canSkip = state_.value("canSkip").toBool(true);
        QVariantMap properties{{"PlaybackStatus", state_.value("status").toString("Stopped")}, {"Metadata", metadataOf(currentTrack())},
                               {"Position", qlonglong(state_.value("position").toDouble())}, {"CanControl", true}, {"CanPlay", true},
                               {"CanPause", true}, {"CanGoNext", canSkip}, {"CanGoPrevious", canSkip}};
        if (ratingEnabled())
            properties.insert("Rating", currentTrack().value("xesam:userRating").toDouble());
        return properties;
    }

    QVariantMap rootProperties() const
    {
        return {{"Identity", state_.value("identity").toString()}, {"DesktopEntry", state_.value("desktopEntry").toString()},
                {"HasTrackList", state_.value("hasTrackList").toBool(trackListEnabled())}, {"CanQuit", false}, {"CanRaise", false}};
    }

    QVariantMap trackListProperties() const
    {
        QList<QDBusObjectPath> ids;
        for (const QJsonValue &track : tracks())
            ids << QDBusObjectPath(track.toObject().value("mpris:trackid").toString());
        return {{"Tracks", QVariant::fromValue(ids)}, {"CanEditTracks", false}};
    }

    static bool reply(const QDBusConnection &connection, const QDBusMessage &message, const QVariant &value = {})
    {
        return connection.send(value.isValid() ? message.createReply(value) : message.createReply()), true;
    }
    static bool refuse(const QDBusConnection &connection, const QDBusMessage &message, const char *error, const QString &what)
    {
        return connection.send(message.createErrorReply(QStringLiteral("org.freedesktop.DBus.Error.") + error, what)), true;
    }

    bool properties(const QDBusMessage &message, const QDBusConnection &connection)
    {
        const QList<QVariant> arguments = message.arguments();
        const QString interface = arguments.value(0).toString(), name = arguments.value(1).toString();
        const QVariantMap all = interface == kPlayer ? playerProperties()
                                : interface == kRoot ? rootProperties()
                                : interface == kTrackList && trackListEnabled() ? trackListProperties() : QVariantMap();
        if (all.isEmpty())
            return refuse(connection, message, "InvalidArgs", interface);
        if (message.member() == QLatin1String("GetAll"))
            return reply(connection, message, all);
        if (message.member() == QLatin1String("Get"))
            return all.contains(name) ? reply(connection, message, QVariant::fromValue(QDBusVariant(all.value(name))))
                                      : refuse(connection, message, "InvalidArgs", name);
        if (message.member() == QLatin1String("Set") && interface == kPlayer && name == QLatin1String("Rating") && ratingEnabled()) {
            setRating(current(), arguments.value(2).value<QDBusVariant>().variant().toDouble());
            return reply(connection, message);
        }
        return refuse(connection, message, "PropertyReadOnly", interface);
    }

    void setRating(int index, double rating)
    {
        QJsonArray list = tracks();
        if (index < 0 || index >= list.size())
            return;
        QJsonObject track = list.at(index).toObject();
        track.insert("xesam:userRating", rating);
        list.replace(index, track);
        state_.insert("tracks", list);
        announce({"Metadata"});
    }

    void setStatus(const QString &status)
    {
        state_.insert("status", status);
        announce({"PlaybackStatus"});
    }

    void setCurrent(int index)
    {
        if (index < 0 || index >= tracks().size())
            return;
        state_.insert("current", index);
        announce({"Metadata"});
    }

    int indexOf(const QString &key, const QString &value) const
    {
        const QJsonArray list = tracks();
        for (int i = 0; i < list.size(); ++i)
            if (list.at(i).toObject().value(key).toString() == value)
                return i;
        return -1;
    }

    bool playerMethod(const QDBusMessage &message, const QDBusConnection &connection)
    {
        const QString member = message.member();
        const bool playing = state_.value("status").toString() == QLatin1String("Playing");
        static const QHash<QString, QString> statuses{{"Play", "Playing"}, {"Pause", "Paused"}, {"Stop", "Stopped"}};
        if (statuses.contains(member) || member == QLatin1String("PlayPause"))
            setStatus(statuses.value(member, playing ? "Paused" : "Playing"));
        else if (member == QLatin1String("Next"))
            setCurrent(current() + 1);
        else if (member == QLatin1String("Previous"))
            setCurrent(current() - 1);
        else if (member == QLatin1String("OpenUri")) {
            const QString uri = message.arguments().value(0).toString();
            int index = indexOf("xesam:url", uri);
            if (index < 0) {
                QJsonArray list = tracks();
                index = int(list.size());
                list.append(QJsonObject{{"xesam:url", uri}, {"mpris:trackid", QStringLiteral("/opened/%1").arg(index)}});
                state_.insert("tracks", list);
            }
            setCurrent(index);
        }
        return reply(connection, message);
    }

    bool trackListMethod(const QDBusMessage &message, const QDBusConnection &connection)
    {
        const QString member = message.member();
        if (member == QLatin1String("GetTracksMetadata")) {
            const auto ids = qdbus_cast<QList<QDBusObjectPath>>(message.arguments().value(0));
            QList<QVariantMap> result;
            for (const QDBusObjectPath &id : ids)
                if (const int index = indexOf("mpris:trackid", id.path()); index >= 0)
                    result << metadataOf(tracks().at(index).toObject());
            return reply(connection, message, QVariant::fromValue(result));
        }
        if (member == QLatin1String("GoTo"))
            setCurrent(indexOf("mpris:trackid", message.arguments().value(0).value<QDBusObjectPath>().path()));
        return reply(connection, message);
    }

    bool rhythmDb(const QDBusMessage &message, const QDBusConnection &connection)
    {
        if (message.member() == QLatin1String("SetEntryProperties")) {
            const QString uri = message.arguments().value(0).toString();
            const auto changes = qdbus_cast<QVariantMap>(message.arguments().value(1));
            if (changes.contains("rating"))
                setRating(indexOf("xesam:url", uri), changes.value("rating").toDouble() / 5.0);
        }
        return reply(connection, message);
    }

    bool control(const QDBusMessage &message, const QDBusConnection &connection)
    {
        const QString member = message.member();
        if (member == QLatin1String("Script")) {
            const QJsonObject changes = QJsonDocument::fromJson(message.arguments().value(0).toString().toUtf8()).object();
            for (auto it = changes.begin(); it != changes.end(); ++it)
                state_.insert(it.key(), it.value());
            reply(connection, message);
            announce({"Metadata", "PlaybackStatus"});
            return true;
        }
        if (member == QLatin1String("Calls"))
            return reply(connection, message, calls_);
        if (member == QLatin1String("ClearCalls"))
            return calls_.clear(), reply(connection, message);
        return refuse(connection, message, "UnknownMethod", member);
    }

    void announce(const QStringList &names)
    {
        const QVariantMap all = playerProperties();
        QVariantMap changed;
        for (const QString &name : names)
            changed.insert(name, all.value(name));
        QDBusMessage signal = QDBusMessage::createSignal(kMprisPath, kProperties, QStringLiteral("PropertiesChanged"));
        signal << kPlayer << changed << QStringList();
        bus_.send(signal);
    }

    QDBusConnection bus_;
    QJsonObject state_;
    QStringList calls_;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 3) {
        std::fputs("usage: kestrabel-fake-mpris NAME STATE-JSON|@STATE-FILE\n", stderr);
        return 2;
    }
    qDBusRegisterMetaType<QList<QVariantMap>>();
    // "@FILE" reads the state from a file, for launches from a desktop entry's Exec line.
    QByteArray json = argv[2];
    if (json.startsWith('@')) {
        QFile file(QString::fromLocal8Bit(json.mid(1)));
        if (!file.open(QIODevice::ReadOnly))
            return 2;
        json = file.readAll();
    }
    QJsonParseError error{};
    const QJsonObject state = QJsonDocument::fromJson(json, &error).object();
    if (error.error != QJsonParseError::NoError) {
        std::fprintf(stderr, "kestrabel-fake-mpris: bad state: %s\n", qPrintable(error.errorString()));
        return 2;
    }
    QDBusConnection bus = QDBusConnection::sessionBus();
    FakePlayer player(bus, state);
    if (!bus.registerVirtualObject(kMprisPath, &player) || !bus.registerVirtualObject(kControlPath, &player))
        return 1;
    if (state.value(QStringLiteral("rhythmDb")).toBool()) {
        if (!bus.registerVirtualObject(kRhythmDbPath, &player) || !bus.registerService(QStringLiteral("org.gnome.Rhythmbox3")))
            return 1;
    }
    // Extra names first, so that the player is whole once its main name shows up.
    for (const QJsonValue &extra : state.value(QStringLiteral("extraNames")).toArray())
        if (!bus.registerService(QStringLiteral("org.mpris.MediaPlayer2.") + extra.toString()))
            return 1;
    if (!bus.registerService(QStringLiteral("org.mpris.MediaPlayer2.") + QString::fromLocal8Bit(argv[1])))
        return 1;
    // Launched fakes are not the test's children: they end with the test's private bus.
    QTimer busWatch;
    QObject::connect(&busWatch, &QTimer::timeout, &app, [&] {
        if (!bus.isConnected())
            app.quit();
    });
    busWatch.start(500);
    return app.exec();
}
