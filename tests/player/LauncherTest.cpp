// Starting a player: desktop entries, the default audio application, and launch() on a bus.
#include "Launcher.h"
#include "MprisConnection.h"
#include "PlayerTestSupport.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <csignal>
#include <QDBusConnectionInterface>

using namespace kestrabel::player;
using namespace kestrabel::test;

namespace {

void writeText(const std::string &path, const std::string &text)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    writeFile(path, text);
}

TEST(Launcher, ExecLinesAreSplitAndFieldCodesDropped)
{
    EXPECT_EQ(splitExecLine("mpv --player-operation-mode=pseudo-gui -- %U"),
              (QStringList{"mpv", "--player-operation-mode=pseudo-gui", "--"}));
    EXPECT_EQ(splitExecLine("\"/opt/My Player/bin/player\" --title \"a \\\"quoted\\\" name\" %f"),
              (QStringList{"/opt/My Player/bin/player", "--title", "a \"quoted\" name"}));
    EXPECT_EQ(splitExecLine("player --volume=50%% %i %c %k"), (QStringList{"player", "--volume=50%"}));
    EXPECT_EQ(splitExecLine("  player\t-x  "), (QStringList{"player", "-x"}));
    EXPECT_TRUE(splitExecLine("player \"unterminated").isEmpty());
    EXPECT_TRUE(splitExecLine("player %z").isEmpty());
    EXPECT_TRUE(splitExecLine("").isEmpty());
}

TEST(Launcher, DesktopEntriesAreFoundAndRead)
{
    TempDir home;
    TempDir system;
    ScopedEnv dataHome("XDG_DATA_HOME", QByteArray::fromStdString(home.path().string()));
    ScopedEnv dataDirs("XDG_DATA_DIRS", QByteArray::fromStdString(system.path().string()));
    writeText(home.file("applications/tune.desktop"),
              "[Desktop Entry]\nType=Application\nName=Tune\nExec=tune --new-window %U\n"
              "[Desktop Action Other]\nExec=other-program\n");
    writeText(system.file("applications/tune.desktop"), "[Desktop Entry]\nExec=system-tune\n");
    writeText(system.file("applications/org.example.strawberry.desktop"),
              "[Desktop Entry]\nExec=\"/opt/straw berry/bin/strawberry\" %F\n");
    writeText(system.file("applications/gone.desktop"), "[Desktop Entry]\nExec=gone\nHidden=true\n");
    writeText(system.file("applications/escaped.desktop"), "[Desktop Entry]\nExec=play\\sit \"back\\\\\\\\slash\"\n");

    const QString tune = findDesktopEntry("tune.desktop");
    EXPECT_EQ(tune, QString::fromStdString(home.file("applications/tune.desktop")));
    EXPECT_EQ(findDesktopEntry("tune"), tune);
    EXPECT_EQ(commandOfDesktopEntry(tune), (QStringList{"tune", "--new-window"}));
    const QString strawberry = findDesktopEntry("strawberry");
    EXPECT_EQ(commandOfDesktopEntry(strawberry), (QStringList{"/opt/straw berry/bin/strawberry"}));
    EXPECT_TRUE(findDesktopEntry("strawberry.desktop").isNull());
    EXPECT_TRUE(commandOfDesktopEntry(findDesktopEntry("gone")).isEmpty());
    EXPECT_EQ(commandOfDesktopEntry(findDesktopEntry("escaped")), (QStringList{"play", "it", "back\\slash"}));
    EXPECT_TRUE(findDesktopEntry("missing").isNull());
    EXPECT_TRUE(findDesktopEntry("../tune.desktop").isNull());
}

class LaunchTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!privateBusRunning())
            GTEST_SKIP() << "dbus-daemon is not available";
        const QJsonObject state{{"identity", "Launched"},
                                {"status", "Paused"},
                                {"current", 0},
                                {"tracks", QJsonArray{QJsonObject{{"mpris:trackid", "/t/1"}, {"xesam:title", "Started"}}}}};
        writeText(stateFile(), QJsonDocument(state).toJson().toStdString());
        dataHome_.emplace("XDG_DATA_HOME", QByteArray::fromStdString(data_.path().string()));
        dataDirs_.emplace("XDG_DATA_DIRS", QByteArray::fromStdString(data_.file("none")));
        configHome_.emplace("XDG_CONFIG_HOME", QByteArray::fromStdString(config_.path().string()));
    }

    void TearDown() override
    {
        // The launched fake is detached: end it through the bus name it holds.
        if (!launchedPid_)
            return;
        ::kill(pid_t(launchedPid_), SIGKILL);
        // The next test must not find this player still on the bus.
        waitUntil([&] { return !busNameRegistered(launchedService_); });
    }

    std::string stateFile() const { return data_.file("state.json"); }

    void writeEntry(const std::string &id, const std::string &busName)
    {
        writeText(data_.file("applications/" + id),
                  "[Desktop Entry]\nType=Application\nName=Fake\nExec=" + fakePlayerPath().toStdString() + " " + busName
                      + " @" + stateFile() + " %U\n");
    }

    void rememberLaunched(const QString &service)
    {
        if (QDBusConnectionInterface *daemon = QDBusConnection::sessionBus().interface())
            launchedPid_ = daemon->servicePid(service).value();
        launchedService_ = service;
    }

    TempDir data_;
    TempDir config_;
    std::optional<ScopedEnv> dataHome_;
    std::optional<ScopedEnv> dataDirs_;
    std::optional<ScopedEnv> configHome_;
    uint launchedPid_ = 0;
    QString launchedService_;
};

TEST_F(LaunchTest, RunningPlayerIsNotStartedAgain)
{
    FakePlayer running("running", QJsonObject{{"status", "Paused"}});
    ASSERT_TRUE(running.ready());
    writeEntry("spare.desktop", "spare");
    MprisConnection connection(QDBusConnection::sessionBus(), "spare");
    EXPECT_TRUE(connection.launch());
    spinEvents(300);
    EXPECT_FALSE(busNameRegistered("org.mpris.MediaPlayer2.spare"));
}

TEST_F(LaunchTest, PreferredPlayerIsStartedFromItsDesktopEntry)
{
    writeEntry("launchme.desktop", "launchme");
    MprisConnection connection(QDBusConnection::sessionBus(), "launchme");
    ASSERT_FALSE(connection.isRunning());
    EXPECT_TRUE(connection.launch());
    // launch() waits a while for the player to show up; a loaded machine may need longer.
    EXPECT_TRUE(waitUntil([&] { return busNameRegistered("org.mpris.MediaPlayer2.launchme"); }));
    rememberLaunched("org.mpris.MediaPlayer2.launchme");
    EXPECT_TRUE(waitUntil([&] { return connection.copyCurrentTrackName() == "Started"; }));
}

TEST_F(LaunchTest, DefaultAudioApplicationIsStartedWithoutPreference)
{
    if (QStandardPaths::findExecutable("xdg-mime").isEmpty())
        GTEST_SKIP() << "xdg-mime is not installed";
    writeEntry("defaultfake.desktop", "defaultfake");
    writeText(config_.file("mimeapps.list"), "[Default Applications]\naudio/mpeg=defaultfake.desktop\n");
    ASSERT_EQ(defaultAudioPlayerEntry(), "defaultfake.desktop");
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_TRUE(connection.launch());
    EXPECT_TRUE(waitUntil([&] { return busNameRegistered("org.mpris.MediaPlayer2.defaultfake"); }));
    rememberLaunched("org.mpris.MediaPlayer2.defaultfake");
    EXPECT_TRUE(waitUntil([&] { return connection.copyCurrentTrackName() == "Started"; }));
}

TEST_F(LaunchTest, NothingToStartFails)
{
    ScopedEnv path("PATH", QByteArray::fromStdString(data_.file("empty-bin")));
    MprisConnection connection(QDBusConnection::sessionBus(), "no-such-player");
    EXPECT_FALSE(connection.launch());
    EXPECT_FALSE(connection.isRunning());
}

} // namespace
