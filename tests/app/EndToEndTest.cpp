// The whole application as a user meets it: an X server (Xvfb) with a compositor (xcompmgr), mpv
// with its MPRIS plugin and Audacious both playing the sample album, and the kestrabel program. The
// window must show the playing track, a title typed into it must land in that player's file while
// both play on, and the hot key sent with xdotool must hide and show it. With KESTRABEL_SCREENSHOT
// set to a path, the window is photographed there for the documentation.
#include "AppTestSupport.h"

#include <kestrabel/MediaFile.h>

using namespace kestrabel;
using namespace Qt::StringLiterals;
using apptest::ChildProcess;
using apptest::waitUntil;

namespace {

constexpr int kWaitMs = 15000;

#define SKIP_WITHOUT(...)                                                                            \
    for (const char *tool : {__VA_ARGS__})                                                           \
        if (QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty())                           \
            GTEST_SKIP() << tool << " is not installed";                                             \
    if (!apptest::privateBusRunning())                                                               \
    GTEST_SKIP() << "no dbus-daemon for a private bus"

QString run(const QString &program, const QStringList &arguments, const QString &display)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DISPLAY"_s, display);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    return process.waitForFinished(kWaitMs) ? QString::fromUtf8(process.readAllStandardOutput()).trimmed() : QString();
}

QVariant call(const QString &service, const QString &path, const QString &interface, const QString &method,
              const QVariantList &arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message, QDBus::Block, 5000);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

QVariant mpris(const QString &service, const QString &name)
{
    return call(service, u"/org/mpris/MediaPlayer2"_s, u"org.freedesktop.DBus.Properties"_s, u"Get"_s,
                {u"org.mpris.MediaPlayer2.Player"_s, name})
        .value<QDBusVariant>()
        .variant();
}

QString playingFile(const QString &service)
{
    const QVariantMap metadata = qdbus_cast<QVariantMap>(mpris(service, u"Metadata"_s).value<QDBusArgument>());
    return QUrl(metadata.value(u"xesam:url"_s).toString()).toLocalFile();
}

double positionSeconds(const QString &service)
{
    return mpris(service, u"Position"_s).toLongLong() / 1e6;
}

QVariant application(const QString &method)
{
    return call(u"org.kestrabel.Kestrabel"_s, u"/org/kestrabel/Kestrabel"_s, u"org.kestrabel.Kestrabel"_s, method);
}

QStringList mprisServices()
{
    return QDBusConnection::sessionBus().interface()->registeredServiceNames().value().filter(
        QRegularExpression(u"^org\\.mpris\\.MediaPlayer2\\."_s));
}

// The window's X, Y, WIDTH and HEIGHT as xdotool tells them; zeros while there is none.
QList<int> windowGeometry(const QString &display)
{
    const QString shell = run(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Kestrabel$"_s,
                                             u"getwindowgeometry"_s, u"--shell"_s, u"%1"_s}, display);
    QList<int> values;
    for (const char *key : {"X", "Y", "WIDTH", "HEIGHT"})
        values << QRegularExpression(u"^%1=(-?\\d+)$"_s.arg(QLatin1String(key)), QRegularExpression::MultilineOption)
                      .match(shell).captured(1).toInt();
    return values;
}

// Settings of the test's own: the window stays up until the hot key hides it; no update check.
QStringList applicationEnvironment(const QString &display, const QString &folder)
{
    const QString config = folder + u"/config"_s;
    QDir().mkpath(config + u"/Kestrabel"_s);
    QFile settings(config + u"/Kestrabel/Kestrabel.conf"_s);
    if (settings.open(QIODevice::WriteOnly))
        settings.write("[General]\nkWindowShowStyle=0\nkDontCheckForUpdatesKey=true\n");
    return {u"DISPLAY="_s + display, u"QT_QPA_PLATFORM=xcb"_s, u"XDG_CONFIG_HOME="_s + config};
}

// Audacious has no null output, and no sound device is here: its SDL output on SDL's dummy driver
// plays in real time. The output is chosen in the plugin registry Audacious writes at its first
// start, so it starts once with nothing to play, quits, and starts again with the registry edited.
// One file, repeated: like mpv's --loop-file, the position comes back near 0 without a track change.
std::unique_ptr<ChildProcess> startAudacious(const QString &config, const QString &file)
{
    const QString service = u"org.mpris.MediaPlayer2.audacious"_s;
    const QStringList environment{u"XDG_CONFIG_HOME="_s + config, u"SDL_AUDIODRIVER=dummy"_s};
    QDir().mkpath(config + u"/audacious"_s);
    QFile settings(config + u"/audacious/config"_s);
    if (!settings.open(QIODevice::WriteOnly) || settings.write("[audacious]\nrepeat=TRUE\n") < 0)
        return nullptr;
    settings.close();
    {
        ChildProcess first(u"audacious"_s, {u"--headless"_s}, environment);
        if (!waitUntil([&] { return apptest::busNameRegistered(service); }, kWaitMs))
            return nullptr;
        call(service, u"/org/mpris/MediaPlayer2"_s, u"org.mpris.MediaPlayer2"_s, u"Quit"_s);
        waitUntil([&] { return !first.running(); }, kWaitMs);
    }
    QFile registry(config + u"/audacious/plugin-registry"_s);
    if (!registry.open(QIODevice::ReadWrite))
        return nullptr;
    QStringList lines = QString::fromUtf8(registry.readAll()).split(u'\n');
    QString section;
    for (QString &line : lines) {
        if (line.section(u' ', 1, 1).startsWith(u'/'))
            section = line;
        if (section.startsWith(u"output "_s) && line.startsWith(u"enabled "_s))
            line = section.contains(u"/sdlout."_s) ? u"enabled 1"_s : u"enabled 0"_s;
    }
    registry.resize(0);
    registry.write(lines.join(u'\n').toUtf8());
    registry.close();
    auto player = std::make_unique<ChildProcess>(u"audacious"_s, QStringList{u"--headless"_s, file}, environment);
    return waitUntil([&] { return positionSeconds(service) > 0.5; }, kWaitMs) ? std::move(player) : nullptr;
}

// Two real players play at once, mpv and Audacious, each with its own copy of the album; the
// window shows one of them, and an edit must pause, write and resume exactly that one.
TEST(EndToEnd, WindowFollowsMpvEditsTheFileAndAnswersTheHotKey)
{
    SKIP_WITHOUT("Xvfb", "xcompmgr", "mpv", "audacious", "xdotool", "import");
    QString display;
    const auto xvfb = apptest::startXvfb(&display);
    ASSERT_NE(xvfb, nullptr);
    ChildProcess compositor(u"xcompmgr"_s, {}, {u"DISPLAY="_s + display});
    ASSERT_TRUE(compositor.started());
    QTemporaryDir folder;
    std::vector<std::unique_ptr<ChildProcess>> players;
    for (const QString &copy : {u"mpv"_s, u"audacious"_s}) {
        QDir().mkpath(folder.filePath(copy));
        QStringList tracks;
        for (const QString &name : {u"01 Hovering.mp3"_s, u"02 Stoop.mp3"_s})
            tracks << apptest::copyDemoTrack(name, folder.filePath(copy));
        if (copy == u"mpv"_s) {
            players.push_back(std::make_unique<ChildProcess>(
                u"mpv"_s, QStringList{u"--no-video"_s, u"--no-terminal"_s, u"--force-window=no"_s, u"--ao=null"_s, u"--loop-file=inf"_s, u"--"_s} + tracks,
                QStringList{u"DISPLAY="_s + display}));
            ASSERT_TRUE(waitUntil([&] { return mprisServices().size() == 1; }, kWaitMs)) << "no mpv-mpris on the bus";
        } else {
            players.push_back(startAudacious(folder.filePath(u"audacious-config"_s), tracks.first()));
            ASSERT_NE(players.back(), nullptr) << "Audacious did not play headless";
        }
    }
    const QStringList environment = applicationEnvironment(display, folder.path());
    ChildProcess app(QStringLiteral(KESTRABEL_APP_PATH), {}, environment);
    ASSERT_TRUE(app.started());

    // The window shows the track of one of the two players.
    QString shown;
    ASSERT_TRUE(waitUntil([&] {
        shown = application(u"ShownPlayer"_s).toString();
        const QStringList track = application(u"ShownTrack"_s).toStringList();
        return mprisServices().contains(shown) && application(u"IsWindowVisible"_s).toBool() &&
               track.value(0) == apptest::fileTag(playingFile(shown), kMediaFileDataIDTitle) &&
               track.mid(1, 2) == QStringList{u"The Kestrabel Ensemble"_s, u"Demo Flight"_s};
    }, kWaitMs));
    const QString other = mprisServices().at(mprisServices().at(0) == shown ? 1 : 0);
    QList<int> window;
    ASSERT_TRUE(waitUntil([&] { return (window = windowGeometry(display)).value(2) > 0; }, kWaitMs));
    apptest::spinEvents(800);
    std::unique_ptr<ChildProcess> backdrop;
    if (const QString shot = qEnvironmentVariable("KESTRABEL_SCREENSHOT"); !shot.isEmpty()) {
        // A light desktop behind the window, as most users have: a plain light window under it.
        backdrop = std::make_unique<ChildProcess>(
            u"display"_s, QStringList{u"-geometry"_s, u"+0+0"_s, u"-size"_s, u"2000x1400"_s, u"xc:#e9ecf1"_s},
            QStringList{u"DISPLAY="_s + display});
        apptest::spinEvents(1500);
        application(u"Toggle"_s);
        application(u"Toggle"_s);
        apptest::spinEvents(1500);
        const QString crop = u"%1x%2+%3+%4"_s.arg(window[2] + 40).arg(window[3] + 40).arg(std::max(0, window[0] - 20))
                                 .arg(std::max(0, window[1] - 20));
        run(u"import"_s, {u"-window"_s, u"root"_s, u"-crop"_s, crop, u"+repage"_s, shot}, display);
        EXPECT_TRUE(QFile::exists(shot));
    }

    // A new title into the title field, the first row of the fields, early in the track (each file
    // loops), so that the position after the edit can be told from a restart.
    const QString file = playingFile(shown), otherFile = playingFile(other);
    const QString otherTitle = apptest::fileTag(otherFile, kMediaFileDataIDTitle);
    ASSERT_FALSE(file.isEmpty() || otherFile.isEmpty());
    run(u"xdotool"_s, {u"mousemove"_s, QString::number(window[0] + window[2] * 6 / 10), QString::number(window[1] + 31),
                       u"click"_s, u"1"_s}, display);
    run(u"xdotool"_s, {u"key"_s, u"ctrl+a"_s}, display);
    run(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"20"_s, u"Typed Under Xvfb"_s}, display);
    ASSERT_TRUE(waitUntil([&] { return positionSeconds(shown) < 4.0; }, kWaitMs));
    const double before = positionSeconds(shown);
    QElapsedTimer elapsed;
    elapsed.start();
    run(u"xdotool"_s, {u"key"_s, u"Return"_s}, display);
    EXPECT_TRUE(waitUntil([&] { return apptest::fileTag(file, kMediaFileDataIDTitle) == u"Typed Under Xvfb"_s; }, kWaitMs));
    for (const QString &service : {shown, other})
        EXPECT_TRUE(waitUntil([&] { return mpris(service, u"PlaybackStatus"_s) == u"Playing"_s; }, kWaitMs))
            << service.toStdString();
    // Resumed where it was paused: no restart, and no more than the time the edit took.
    const double after = positionSeconds(shown);
    EXPECT_GE(after, before - 1.0);
    EXPECT_LE(after, before + elapsed.elapsed() / 1000.0 + 1.0);
    EXPECT_EQ(playingFile(shown), file);
    EXPECT_EQ(apptest::fileTag(otherFile, kMediaFileDataIDTitle), otherTitle);
    for (const auto &player : players)
        EXPECT_TRUE(player->running());

    // The hot key hides the window and brings it back; a second start, with --toggle or without,
    // toggles the first one's window instead of opening another.
    QProcess second;
    second.setEnvironment(QProcess::systemEnvironment().filter(QRegularExpression(u"^(?!QT_QPA_PLATFORM=|XDG_CONFIG_HOME=|DISPLAY=)"_s)) + environment);
    for (const char *how : {"hot key", "hot key", "--toggle", ""}) {
        const bool visible = application(u"IsWindowVisible"_s).toBool();
        if (*how == 'h') {
            run(u"xdotool"_s, {u"key"_s, u"super+Escape"_s}, display);
        } else {
            second.start(QStringLiteral(KESTRABEL_APP_PATH), *how ? QStringList{QLatin1String(how)} : QStringList{});
            ASSERT_TRUE(second.waitForFinished(kWaitMs));
            EXPECT_EQ(second.exitCode(), 0);
        }
        EXPECT_TRUE(waitUntil([&] { return application(u"IsWindowVisible"_s).toBool() != visible; }, kWaitMs)) << how;
    }
    EXPECT_TRUE(app.running());
}

// --help and --version answer on a terminal without any display.
TEST(EndToEnd, HelpAndVersionNeedNoDisplay)
{
    for (const auto &[option, shown] : {std::pair{"--help", "--toggle"}, {"--version", "Kestrabel "}, {"-h", "--demo"}}) {
        QProcess process;
        process.setEnvironment(QProcess::systemEnvironment().filter(
            QRegularExpression(u"^(?!DISPLAY=|WAYLAND_DISPLAY=|QT_QPA_PLATFORM=)"_s)));
        process.start(QStringLiteral(KESTRABEL_APP_PATH), {QLatin1String(option)});
        ASSERT_TRUE(process.waitForFinished(kWaitMs)) << option;
        EXPECT_TRUE(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 &&
                    process.readAllStandardOutput().contains(shown)) << option;
    }
}

// The demo plays a copy of the sample album in mpv and removes it when it ends.
TEST(EndToEnd, DemoPlaysTheSampleAlbumAndCleansUpWhenEnded)
{
    SKIP_WITHOUT("Xvfb", "mpv");
    QString display;
    const auto xvfb = apptest::startXvfb(&display);
    ASSERT_NE(xvfb, nullptr);
    QTemporaryDir folder;
    const QString temporary = folder.filePath(u"tmp"_s);
    QDir().mkpath(temporary);
    ChildProcess app(QStringLiteral(KESTRABEL_APP_PATH), {u"--demo"_s},
                     applicationEnvironment(display, folder.path()) + QStringList{u"TMPDIR="_s + temporary});
    ASSERT_TRUE(app.started());
    const QString mpv = u"org.mpris.MediaPlayer2.mpv"_s;
    ASSERT_TRUE(waitUntil([&] { return apptest::busNameRegistered(mpv); }, kWaitMs));
    ASSERT_TRUE(waitUntil([&] { return application(u"ShownTrack"_s).toStringList().value(2) == u"Demo Flight"_s; }, kWaitMs));
    EXPECT_TRUE(playingFile(mpv).startsWith(temporary));
    app.process().terminate();
    ASSERT_TRUE(app.process().waitForFinished(kWaitMs));
    EXPECT_EQ(app.process().exitStatus(), QProcess::NormalExit);
    EXPECT_TRUE(waitUntil([&] { return !apptest::busNameRegistered(mpv); }, kWaitMs));
    EXPECT_TRUE(QDir(temporary).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot));
}

} // namespace
