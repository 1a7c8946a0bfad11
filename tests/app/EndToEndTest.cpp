// The whole application as a user meets it: an X server (Xvfb) with a compositor (xcompmgr), mpv
// with its MPRIS plugin and Audacious both playing the sample album, and the kestrabel program. The
// window must show the playing track, a title typed into it must land in that player's file while
// both play on, and the hot key sent with xdotool must hide and show it. With KESTRABEL_SCREENSHOT set to a path, the
// window is photographed there for the documentation.
#include "AppTestSupport.h"

#include <kestrabel/MediaFile.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace kestrabel;

namespace {

constexpr int kWaitMs = 15000;

QString run(const QString &program, const QStringList &arguments, const QString &display)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), display);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(kWaitMs))
        return {};
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QVariant mprisProperty(const QString &service, const QString &name)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, QStringLiteral("/org/mpris/MediaPlayer2"),
                                                       QStringLiteral("org.freedesktop.DBus.Properties"),
                                                       QStringLiteral("Get"));
    call << QStringLiteral("org.mpris.MediaPlayer2.Player") << name;
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().constFirst().value<QDBusVariant>().variant();
}

QString playingFile(const QString &service)
{
    const QDBusArgument argument = mprisProperty(service, QStringLiteral("Metadata")).value<QDBusArgument>();
    const QVariantMap metadata = qdbus_cast<QVariantMap>(argument);
    return QUrl(metadata.value(QStringLiteral("xesam:url")).toString()).toLocalFile();
}

QVariant applicationCall(const QString &method)
{
    const QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.kestrabel.Kestrabel"), QStringLiteral("/org/kestrabel/Kestrabel"),
        QStringLiteral("org.kestrabel.Kestrabel"), method);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 5000);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

struct Geometry {
    int x = 0, y = 0, width = 0, height = 0;
};

Geometry windowGeometry(const QString &display)
{
    const QString ids = run(QStringLiteral("xdotool"),
                            {QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
                             QStringLiteral("^Kestrabel$")},
                            display);
    const QString id = ids.section(QLatin1Char('\n'), 0, 0);
    if (id.isEmpty())
        return {};
    const QString shell = run(QStringLiteral("xdotool"),
                              {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), id}, display);
    const auto value = [&](const char *key) {
        const QRegularExpression line(QStringLiteral("^%1=(-?\\d+)$").arg(QLatin1String(key)),
                                      QRegularExpression::MultilineOption);
        return line.match(shell).captured(1).toInt();
    };
    return {value("X"), value("Y"), value("WIDTH"), value("HEIGHT")};
}

void writeSettings(const QString &config)
{
    // The window stays up until the hot key hides it; no update check.
    QDir().mkpath(config + QStringLiteral("/Kestrabel"));
    QFile settings(config + QStringLiteral("/Kestrabel/Kestrabel.conf"));
    if (settings.open(QIODevice::WriteOnly))
        settings.write("[General]\nkWindowShowStyle=0\nkDontCheckForUpdatesKey=true\n");
}

bool skipWithout(std::initializer_list<const char *> tools, std::string *missing)
{
    for (const char *tool : tools) {
        if (QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty()) {
            *missing = std::string(tool) + " is not installed";
            return true;
        }
    }
    if (!apptest::privateBusRunning()) {
        *missing = "no dbus-daemon for a private bus";
        return true;
    }
    return false;
}

QStringList mprisServices()
{
    QStringList services;
    for (const QString &name : QDBusConnection::sessionBus().interface()->registeredServiceNames().value())
        if (name.startsWith(QLatin1String("org.mpris.MediaPlayer2.")))
            services << name;
    return services;
}

double positionSeconds(const QString &service)
{
    return mprisProperty(service, QStringLiteral("Position")).toLongLong() / 1e6;
}

QVariant mprisCall(const QString &service, const QString &interface, const QString &method)
{
    const QDBusMessage call =
        QDBusMessage::createMethodCall(service, QStringLiteral("/org/mpris/MediaPlayer2"), interface, method);
    return QDBusConnection::sessionBus().call(call, QDBus::Block, 5000).arguments().value(0);
}

// Audacious has no null output, and no sound device is here: its SDL output on SDL's dummy driver
// plays in real time. The output is chosen in the plugin registry Audacious writes at its first
// start, so it starts once with nothing to play, quits, and starts again with the registry edited.
std::unique_ptr<apptest::ChildProcess> startAudacious(const QString &config, const QString &file)
{
    const QString service = QStringLiteral("org.mpris.MediaPlayer2.audacious");
    const QStringList environment{QStringLiteral("XDG_CONFIG_HOME=") + config, QStringLiteral("SDL_AUDIODRIVER=dummy")};
    QDir().mkpath(config + QStringLiteral("/audacious"));
    QFile settings(config + QStringLiteral("/audacious/config"));
    if (!settings.open(QIODevice::WriteOnly))
        return nullptr;
    // One file, repeated: like mpv's --loop-file, the position comes back near 0 without a track change.
    settings.write("[audacious]\nrepeat=TRUE\n");
    settings.close();
    {
        apptest::ChildProcess first(QStringLiteral("audacious"), {QStringLiteral("--headless")}, environment);
        if (!apptest::waitUntil([&] { return apptest::busNameRegistered(service); }, kWaitMs))
            return nullptr;
        mprisCall(service, QStringLiteral("org.mpris.MediaPlayer2"), QStringLiteral("Quit"));
        apptest::waitUntil([&] { return !first.running(); }, kWaitMs);
    }
    QFile registry(config + QStringLiteral("/audacious/plugin-registry"));
    if (!registry.open(QIODevice::ReadOnly))
        return nullptr;
    QStringList lines = QString::fromUtf8(registry.readAll()).split(QLatin1Char('\n'));
    registry.close();
    QString section;
    for (QString &line : lines) {
        if (line.section(QLatin1Char(' '), 1, 1).startsWith(QLatin1Char('/')))
            section = line;
        if (section.startsWith(QLatin1String("output ")) && line.startsWith(QLatin1String("enabled ")))
            line = section.contains(QLatin1String("/sdlout.")) ? QStringLiteral("enabled 1") : QStringLiteral("enabled 0");
    }
    if (!registry.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return nullptr;
    registry.write(lines.join(QLatin1Char('\n')).toUtf8());
    registry.close();
    auto player = std::make_unique<apptest::ChildProcess>(QStringLiteral("audacious"),
                                                         QStringList{QStringLiteral("--headless"), file}, environment);
    if (!apptest::waitUntil([&] { return positionSeconds(service) > 0.5; }, kWaitMs))
        return nullptr;
    return player;
}

// Two real players play at once, mpv and Audacious, each with its own copy of the album; the
// window shows one of them, and an edit must pause, write and resume exactly that one.
TEST(EndToEnd, WindowFollowsMpvEditsTheFileAndAnswersTheHotKey)
{
    std::string missing;
    if (skipWithout({"Xvfb", "xcompmgr", "mpv", "audacious", "xdotool", "import"}, &missing))
        GTEST_SKIP() << missing;

    QString display;
    const auto xvfb = apptest::startXvfb(&display);
    ASSERT_NE(xvfb, nullptr);
    const QStringList displayEnvironment{QStringLiteral("DISPLAY=") + display};
    apptest::ChildProcess compositor(QStringLiteral("xcompmgr"), {}, displayEnvironment);
    ASSERT_TRUE(compositor.started());

    QTemporaryDir folder;
    std::vector<std::unique_ptr<apptest::ChildProcess>> players;
    for (const QString &copy : {QStringLiteral("mpv"), QStringLiteral("audacious")}) {
        const QString album = folder.filePath(copy);
        QDir().mkpath(album);
        QStringList tracks;
        for (const QString &name : {QStringLiteral("01 Hovering.mp3"), QStringLiteral("02 Stoop.mp3")})
            tracks << apptest::copyDemoTrack(name, album);
        if (copy == QLatin1String("audacious")) {
            players.push_back(startAudacious(folder.filePath(QStringLiteral("audacious-config")), tracks.first()));
            ASSERT_NE(players.back(), nullptr) << "Audacious did not play headless";
            continue;
        }
        players.push_back(std::make_unique<apptest::ChildProcess>(
            QStringLiteral("mpv"),
            QStringList{QStringLiteral("--no-video"), QStringLiteral("--no-terminal"), QStringLiteral("--force-window=no"),
                        QStringLiteral("--ao=null"), QStringLiteral("--loop-file=inf"), QStringLiteral("--")}
                + tracks,
            displayEnvironment));
        ASSERT_TRUE(players.back()->started());
        ASSERT_TRUE(apptest::waitUntil([&] { return mprisServices().size() == 1; }, kWaitMs))
            << "mpv-mpris did not appear on the bus";
    }

    const QString config = folder.filePath(QStringLiteral("config"));
    writeSettings(config);
    apptest::ChildProcess application(QStringLiteral(KESTRABEL_APP_PATH), {},
                                      {QStringLiteral("DISPLAY=") + display, QStringLiteral("QT_QPA_PLATFORM=xcb"),
                                       QStringLiteral("XDG_CONFIG_HOME=") + config});
    ASSERT_TRUE(application.started());
    ASSERT_TRUE(apptest::waitUntil([&] { return apptest::busNameRegistered(QStringLiteral("org.kestrabel.Kestrabel")); },
                                   kWaitMs));

    // The window shows the track of one of the two players.
    QString shownService;
    ASSERT_TRUE(apptest::waitUntil(
        [&] {
            shownService = applicationCall(QStringLiteral("ShownPlayer")).toString();
            const QStringList shown = applicationCall(QStringLiteral("ShownTrack")).toStringList();
            return mprisServices().contains(shownService) && !shown.isEmpty() &&
                   shown.first() == apptest::fileTag(playingFile(shownService), kMediaFileDataIDTitle) &&
                   applicationCall(QStringLiteral("IsWindowVisible")).toBool();
        },
        kWaitMs));
    QString otherService;
    for (const QString &service : mprisServices())
        if (service != shownService)
            otherService = service;
    const QStringList shown = applicationCall(QStringLiteral("ShownTrack")).toStringList();
    EXPECT_EQ(shown.value(1), QStringLiteral("The Kestrabel Ensemble"));
    EXPECT_EQ(shown.value(2), QStringLiteral("Demo Flight"));

    Geometry window;
    ASSERT_TRUE(apptest::waitUntil([&] { return (window = windowGeometry(display)).width > 0; }, kWaitMs));
    apptest::spinEvents(800);
    std::unique_ptr<apptest::ChildProcess> backdrop;
    if (const QString shot = qEnvironmentVariable("KESTRABEL_SCREENSHOT"); !shot.isEmpty()) {
        // A light desktop behind the window, as most users have: a plain light window under it.
        backdrop = std::make_unique<apptest::ChildProcess>(
            QStringLiteral("display"),
            QStringList{QStringLiteral("-geometry"), QStringLiteral("+0+0"), QStringLiteral("-size"),
                        QStringLiteral("2000x1400"), QStringLiteral("xc:#e9ecf1")},
            displayEnvironment);
        apptest::spinEvents(1500);
        applicationCall(QStringLiteral("Toggle"));
        applicationCall(QStringLiteral("Toggle"));
        apptest::spinEvents(1500);
        const QString crop = QStringLiteral("%1x%2+%3+%4")
                                 .arg(window.width + 40)
                                 .arg(window.height + 40)
                                 .arg(std::max(0, window.x - 20))
                                 .arg(std::max(0, window.y - 20));
        run(QStringLiteral("import"),
            {QStringLiteral("-window"), QStringLiteral("root"), QStringLiteral("-crop"), crop, QStringLiteral("+repage"),
             shot},
            display);
        EXPECT_TRUE(QFile::exists(shot));
    }

    // Type a new title into the title field, the first row of the fields, early in the track
    // (each file loops), so that the position after the edit can be told from a restart.
    const QString file = playingFile(shownService);
    const QString otherFile = playingFile(otherService);
    ASSERT_FALSE(file.isEmpty());
    ASSERT_FALSE(otherFile.isEmpty());
    const QString otherTitle = apptest::fileTag(otherFile, kMediaFileDataIDTitle);
    const QString newTitle = QStringLiteral("Typed Under Xvfb");
    const int fieldX = window.x + window.width * 6 / 10;
    const int fieldY = window.y + 31;
    run(QStringLiteral("xdotool"),
        {QStringLiteral("mousemove"), QString::number(fieldX), QString::number(fieldY), QStringLiteral("click"),
         QStringLiteral("1")},
        display);
    run(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("ctrl+a")}, display);
    run(QStringLiteral("xdotool"), {QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("20"), newTitle},
        display);
    ASSERT_TRUE(apptest::waitUntil([&] { return positionSeconds(shownService) < 4.0; }, kWaitMs));
    const double before = positionSeconds(shownService);
    QElapsedTimer elapsed;
    elapsed.start();
    run(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("Return")}, display);
    EXPECT_TRUE(apptest::waitUntil([&] { return apptest::fileTag(file, kMediaFileDataIDTitle) == newTitle; }, kWaitMs))
        << "title of " << file.toStdString() << " is "
        << apptest::fileTag(file, kMediaFileDataIDTitle).toStdString();
    for (const QString &service : {shownService, otherService})
        EXPECT_TRUE(apptest::waitUntil(
            [&] { return mprisProperty(service, QStringLiteral("PlaybackStatus")).toString() == QLatin1String("Playing"); },
            kWaitMs))
            << service.toStdString();
    const double after = positionSeconds(shownService);
    // Resumed where it was paused: no restart, and no more than the time the edit took.
    EXPECT_GE(after, before - 1.0);
    EXPECT_LE(after, before + elapsed.elapsed() / 1000.0 + 1.0);
    EXPECT_EQ(playingFile(shownService), file);
    EXPECT_EQ(apptest::fileTag(otherFile, kMediaFileDataIDTitle), otherTitle);
    for (const auto &player : players)
        EXPECT_TRUE(player->running());

    // The hot key hides the window and brings it back.
    run(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("super+Escape")}, display);
    EXPECT_TRUE(apptest::waitUntil([&] { return !applicationCall(QStringLiteral("IsWindowVisible")).toBool(); }, kWaitMs));
    run(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("super+Escape")}, display);
    EXPECT_TRUE(apptest::waitUntil([&] { return applicationCall(QStringLiteral("IsWindowVisible")).toBool(); }, kWaitMs));

    // A second start toggles the first one's window instead of opening another.
    QProcess second;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), display);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config);
    second.setProcessEnvironment(environment);
    second.start(QStringLiteral(KESTRABEL_APP_PATH), {QStringLiteral("--toggle")});
    ASSERT_TRUE(second.waitForFinished(kWaitMs));
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_TRUE(apptest::waitUntil([&] { return !applicationCall(QStringLiteral("IsWindowVisible")).toBool(); }, kWaitMs));
    // A plain second start does the same and leaves.
    second.start(QStringLiteral(KESTRABEL_APP_PATH), {});
    ASSERT_TRUE(second.waitForFinished(kWaitMs));
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_TRUE(apptest::waitUntil([&] { return applicationCall(QStringLiteral("IsWindowVisible")).toBool(); }, kWaitMs));
    EXPECT_TRUE(application.running());
}

// --help and --version answer on a terminal without any display.
TEST(EndToEnd, HelpAndVersionNeedNoDisplay)
{
    const struct {
        const char *option;
        const char *shown;
    } rows[] = {{"--help", "--toggle"}, {"--version", "Kestrabel "}, {"-h", "--demo"}};
    for (const auto &row : rows) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            environment.remove(QLatin1String(name));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(KESTRABEL_APP_PATH), {QLatin1String(row.option)});
        ASSERT_TRUE(process.waitForFinished(kWaitMs)) << row.option;
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << row.option;
        EXPECT_EQ(process.exitCode(), 0) << row.option;
        EXPECT_TRUE(process.readAllStandardOutput().contains(row.shown)) << row.option;
    }
}

TEST(EndToEnd, DemoPlaysTheSampleAlbumAndCleansUpWhenEnded)
{
    std::string missing;
    if (skipWithout({"Xvfb", "mpv"}, &missing))
        GTEST_SKIP() << missing;
    QString display;
    const auto xvfb = apptest::startXvfb(&display);
    ASSERT_NE(xvfb, nullptr);

    QTemporaryDir folder;
    const QString config = folder.filePath(QStringLiteral("config"));
    writeSettings(config);
    const QString temporary = folder.filePath(QStringLiteral("tmp"));
    QDir().mkpath(temporary);
    apptest::ChildProcess application(QStringLiteral(KESTRABEL_APP_PATH), {QStringLiteral("--demo")},
                                      {QStringLiteral("DISPLAY=") + display, QStringLiteral("QT_QPA_PLATFORM=xcb"),
                                       QStringLiteral("XDG_CONFIG_HOME=") + config,
                                       QStringLiteral("TMPDIR=") + temporary});
    ASSERT_TRUE(application.started());
    const QString mpvService = QStringLiteral("org.mpris.MediaPlayer2.mpv");
    ASSERT_TRUE(apptest::waitUntil([&] { return apptest::busNameRegistered(mpvService); }, kWaitMs));
    ASSERT_TRUE(apptest::waitUntil(
        [&] {
            return applicationCall(QStringLiteral("ShownTrack")).toStringList().value(2) == QLatin1String("Demo Flight");
        },
        kWaitMs));
    // mpv plays the copy, not the bundled album.
    EXPECT_TRUE(playingFile(mpvService).startsWith(temporary));

    application.process().terminate();
    ASSERT_TRUE(application.process().waitForFinished(kWaitMs));
    EXPECT_EQ(application.process().exitStatus(), QProcess::NormalExit);
    EXPECT_TRUE(apptest::waitUntil([&] { return !apptest::busNameRegistered(mpvService); }, kWaitMs));
    EXPECT_TRUE(QDir(temporary).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot));
}

} // namespace
