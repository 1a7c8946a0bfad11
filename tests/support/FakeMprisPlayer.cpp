// A scriptable MPRIS player for the bridge's tests, org.mpris.MediaPlayer2.<name>, answering as its
// JSON state says (the keys of its property table, and "trackList", "rating" as Strawberry has it,
// "rhythmDb", "failMethods", "extraNames"). It logs every call and takes new
// state through org.kestrabel.FakePlayer.Script. Usage: kestrabel-fake-mpris NAME JSON|@FILE
#include <QCoreApplication>
#include <QDBusConnection>
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
#include <functional>
#include <tuple>
#include <utility>

namespace {

const QString kProperties = "org.freedesktop.DBus.Properties", kRoot = "org.mpris.MediaPlayer2", kPlayer = kRoot + ".Player",
              kTrackList = kRoot + ".TrackList", kRhythmDb = "org.gnome.Rhythmbox3.RhythmDB", kMprisPath = "/org/mpris/MediaPlayer2",
              kRhythmDbPath = "/org/gnome/Rhythmbox3/RhythmDB", kControlPath = "/org/kestrabel/FakePlayer",
              kControl = "org.kestrabel.FakePlayer";

// An argument as the call log shows it: paths bare, a{sv} as key=value pairs joined by commas.
QString describe(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    if (value.metaType() == QMetaType::fromType<QDBusVariant>())
        return describe(value.value<QDBusVariant>().variant());
    if (value.metaType() != QMetaType::fromType<QDBusArgument>() || value.value<QDBusArgument>().currentSignature() != "a{sv}")
        return value.toString();
    QStringList entries;
    const auto map = qdbus_cast<QVariantMap>(value.value<QDBusArgument>());
    for (auto it = map.begin(); it != map.end(); ++it)
        entries << it.key() + '=' + describe(it.value());
    return entries.join(',');
}

class FakePlayer : public QDBusVirtualObject {
public:
    FakePlayer(QDBusConnection bus, QJsonObject state) : bus_(bus), state_(std::move(state)) {}

    // Incomplete, as some players' introspection data is: the bridge must not depend on it.
    QString introspect(const QString &path) const override { return path == kMprisPath ? "<interface name=\"org.mpris.MediaPlayer2\"/>" : ""; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        if (message.interface() != kControl) {
            QStringList logged{message.member()};
            for (const QVariant &argument : message.arguments())
                logged << describe(argument);
            calls_ << logged.join(' ');
        }
        connection.send(answer(message));
        announceChanges();
        return true;
    }

private:
    using Args = QList<QVariant>;

    bool on(const char *key) const { return state_.value(key).toBool(); }
    QJsonArray tracks() const { return state_.value("tracks").toArray(); }
    int current() const { return state_.value("current").toInt(); }
    QJsonObject track(int index) const { return index >= 0 && index < tracks().size() ? tracks().at(index).toObject() : QJsonObject(); }
    // A track without an id of its own still needs a valid object path in the track list.
    QString trackId(int index) const
    {
        return track(index).value("mpris:trackid").toString(QStringLiteral("/org/kestrabel/FakePlayer/track%1").arg(index));
    }
    QVariantMap metadata(int index) const
    {
        QVariantMap metadata;
        const QJsonObject fields = track(index);
        for (auto it = fields.begin(); it != fields.end(); ++it)
            metadata.insert(it.key(), it.key() == "mpris:trackid" ? QVariant::fromValue(QDBusObjectPath(it->toString()))
                                      : it->isArray()             ? QVariant(it->toVariant().toStringList()) : it->toVariant());
        return metadata;
    }
    int indexOf(const QString &key, const QString &value) const
    {
        for (int i = 0; i < tracks().size(); ++i)
            if ((key == "mpris:trackid" ? trackId(i) : track(i).value(key).toString()) == value)
                return i;
        return -1;
    }

    // Every property by interface; an invalid value is one this player does not have.
    QVariantMap properties(const QString &interface) const
    {
        const bool skip = state_.value("canSkip").toBool(true), list = on("trackList");
        QList<QDBusObjectPath> ids;
        for (int i = 0; list && i < tracks().size(); ++i)
            ids << QDBusObjectPath(trackId(i));
        const std::tuple<QString, QString, QVariant> rows[] = {
            {kRoot, "Identity", state_.value("identity").toString()}, {kRoot, "DesktopEntry", state_.value("desktopEntry").toString()},
            {kRoot, "HasTrackList", state_.value("hasTrackList").toBool(list)},
            {kPlayer, "PlaybackStatus", state_.value("status").toString("Stopped")}, {kPlayer, "Metadata", metadata(current())},
            {kPlayer, "Position", qlonglong(state_.value("position").toDouble())}, {kPlayer, "CanGoNext", skip}, {kPlayer, "CanGoPrevious", skip},
            {kPlayer, "Rating", on("rating") ? QVariant(track(current()).value("xesam:userRating").toDouble()) : QVariant()},
            {kTrackList, "Tracks", list ? QVariant::fromValue(ids) : QVariant()},
        };
        QVariantMap found;
        for (const auto &[in, name, value] : rows)
            if (in == interface && value.isValid())
                found.insert(name, value);
        return found;
    }

    // Every method: what it does and what it answers (nothing when invalid); refuse() makes the answer an error.
    const QList<std::tuple<QString, QString, std::function<QVariant(const Args &)>>> methods_{
        {kPlayer, "Play", [this](const Args &) { return setStatus("Playing"); }},
        {kPlayer, "Pause", [this](const Args &) { return setStatus("Paused"); }},
        {kPlayer, "Stop", [this](const Args &) { return setStatus("Stopped"); }},
        {kPlayer, "PlayPause", [this](const Args &) { return setStatus(state_.value("status") == QJsonValue("Playing") ? "Paused" : "Playing"); }},
        {kPlayer, "Next", [this](const Args &) { return setCurrent(current() + 1); }},
        {kPlayer, "Previous", [this](const Args &) { return setCurrent(current() - 1); }},
        {kTrackList, "GoTo", [this](const Args &a) { return setCurrent(indexOf("mpris:trackid", a.value(0).value<QDBusObjectPath>().path())); }},
        {kTrackList, "GetTracksMetadata", [this](const Args &a) {
             QList<QVariantMap> result;
             for (const QDBusObjectPath &id : qdbus_cast<QList<QDBusObjectPath>>(a.value(0)))
                 if (const int index = indexOf("mpris:trackid", id.path()); index >= 0)
                     result << metadata(index), result.last().insert("mpris:trackid", QVariant::fromValue(QDBusObjectPath(trackId(index))));
             return QVariant::fromValue(result);
         }},
        {kRhythmDb, "SetEntryProperties", [this](const Args &a) {
             const auto changes = qdbus_cast<QVariantMap>(a.value(1));
             return changes.contains("rating") ? setRating(indexOf("xesam:url", a.value(0).toString()), changes.value("rating").toDouble() / 5.0)
                                               : QVariant();
         }},
        {kProperties, "GetAll", [this](const Args &a) {
             const QVariantMap all = properties(a.value(0).toString());
             return all.isEmpty() ? refuse("InvalidArgs", a.value(0).toString()) : QVariant(all);
         }},
        {kProperties, "Get", [this](const Args &a) {
             const QVariantMap all = properties(a.value(0).toString());
             return all.contains(a.value(1).toString()) ? QVariant::fromValue(QDBusVariant(all.value(a.value(1).toString())))
                                                        : refuse("InvalidArgs", a.value(1).toString());
         }},
        {kProperties, "Set", [this](const Args &a) {
             return a.value(1) == "Rating" && properties(a.value(0).toString()).contains("Rating")
                        ? setRating(current(), a.value(2).value<QDBusVariant>().variant().toDouble()) : refuse("PropertyReadOnly", a.value(0).toString());
         }},
        {kControl, "Script", [this](const Args &a) {
             const QJsonObject changes = QJsonDocument::fromJson(a.value(0).toString().toUtf8()).object();
             for (auto it = changes.begin(); it != changes.end(); ++it)
                 state_.insert(it.key(), it.value());
             return changed_ << "Metadata" << "PlaybackStatus", QVariant();
         }},
        {kControl, "Calls", [this](const Args &) { return QVariant(calls_); }},
        {kControl, "ClearCalls", [this](const Args &) { return calls_.clear(), QVariant(); }},
    };

    QDBusMessage answer(const QDBusMessage &message)
    {
        const QString interface = message.interface(), member = message.member();
        if (interface != kControl && state_.value("failMethods").toArray().contains(QJsonValue(member)))
            return message.createErrorReply("org.mpris.MediaPlayer2.Error.Failed", member);
        for (const auto &[in, name, act] : methods_) {
            if (name != member || !(interface.isEmpty() || interface == in) || (in == kTrackList && !on("trackList")))
                continue;
            const QVariant value = act(message.arguments());
            if (!error_.isEmpty())
                return message.createErrorReply("org.freedesktop.DBus.Error." + std::exchange(error_, {}), std::exchange(what_, {}));
            return value.isValid() ? message.createReply(value) : message.createReply();
        }
        return interface == kRoot ? message.createReply() : message.createErrorReply("org.freedesktop.DBus.Error.UnknownMethod", member);
    }

    QVariant refuse(const QString &error, const QString &what) { return error_ = error, what_ = what, QVariant(); }
    QVariant setStatus(const QString &status) { return state_.insert("status", status), changed_ << "PlaybackStatus", QVariant(); }
    QVariant setCurrent(int index) { return index >= 0 && index < tracks().size() ? change("current", index) : QVariant(); }
    QVariant setRating(int index, double rating)
    {
        QJsonArray list = tracks();
        QJsonObject rated = track(index);
        return rated.isEmpty() ? QVariant() : (rated.insert("xesam:userRating", rating), list.replace(index, rated), change("tracks", list));
    }
    QVariant change(const QString &key, const QJsonValue &value) { return state_.insert(key, value), changed_ << "Metadata", QVariant(); }

    // Sent after the reply to the call that made the change.
    void announceChanges()
    {
        if (changed_.isEmpty())
            return;
        const QVariantMap all = properties(kPlayer);
        QVariantMap changed;
        for (const QString &name : std::exchange(changed_, {}))
            changed.insert(name, all.value(name));
        QDBusMessage signal = QDBusMessage::createSignal(kMprisPath, kProperties, "PropertiesChanged");
        bus_.send(signal << kPlayer << changed << QStringList());
    }

    QDBusConnection bus_;
    QJsonObject state_;
    QStringList calls_, changed_;
    QString error_, what_;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    qDBusRegisterMetaType<QList<QVariantMap>>();
    // "@FILE" reads the state from a file, for launches from a desktop entry's Exec line.
    QByteArray json = argc == 3 ? argv[2] : "";
    if (QFile file(QString::fromLocal8Bit(json.mid(1))); json.startsWith('@'))
        json = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    QJsonParseError error{};
    const QJsonObject state = QJsonDocument::fromJson(json, &error).object();
    if (error.error != QJsonParseError::NoError)
        return std::fprintf(stderr, "usage: kestrabel-fake-mpris NAME STATE-JSON|@STATE-FILE (%s)\n", qPrintable(error.errorString())), 2;
    QDBusConnection bus = QDBusConnection::sessionBus();
    FakePlayer player(bus, state);
    // Extra names first, so that the player is whole once its main name shows up.
    const QStringList names = state.value("extraNames").toVariant().toStringList() << QString::fromLocal8Bit(argv[1]);
    const bool rhythmDb = state.value("rhythmDb").toBool();
    if (!bus.registerVirtualObject(kMprisPath, &player) || !bus.registerVirtualObject(kControlPath, &player)
        || (rhythmDb && (!bus.registerVirtualObject(kRhythmDbPath, &player) || !bus.registerService("org.gnome.Rhythmbox3"))))
        return 1;
    for (const QString &name : names)
        if (!bus.registerService(kRoot + '.' + name))
            return 1;
    // Launched fakes are not the test's children: they end with the test's private bus.
    QTimer busWatch;
    QObject::connect(&busWatch, &QTimer::timeout, &app, [&] { bus.isConnected() || (app.quit(), true); });
    busWatch.start(500);
    return app.exec();
}
