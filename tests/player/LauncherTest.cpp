// Starting a player: desktop entries, the default audio application, and launch() on a bus.
#include "Launcher.h"
#include "MprisConnection.h"
#include "PlayerTestSupport.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

using namespace kestrabel::player;
using namespace kestrabel::test;

namespace {

void writeText(const std::string &path, const std::string &text)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    writeFile(path, text);
}

} // namespace

TEST(Launcher, ExecLinesAndDesktopEntries)
{
    const std::pair<const char *, QStringList> lines[] = {
        {"mpv --player-operation-mode=pseudo-gui -- %U", {"mpv", "--player-operation-mode=pseudo-gui", "--"}},
        {"\"/opt/My Player/bin/player\" --title \"a \\\"quoted\\\" name\" %f", {"/opt/My Player/bin/player", "--title", "a \"quoted\" name"}},
        {"player --volume=50%% %i %c %k", {"player", "--volume=50%"}}, {"  player\t-x  ", {"player", "-x"}},
        {"player \"unterminated", {}}, {"player %z", {}}, {"", {}},
    };
    for (const auto &[line, words] : lines)
        EXPECT_EQ(splitExecLine(line), words) << line;

    TempDir home, system;
    ScopedEnv dataHome("XDG_DATA_HOME", QByteArray::fromStdString(home.path().string()));
    ScopedEnv dataDirs("XDG_DATA_DIRS", QByteArray::fromStdString(system.path().string()));
    writeText(home.file("applications/tune.desktop"), "[Desktop Entry]\nType=Application\nName=Tune\nExec=tune --new-window %U\n"
                                                      "[Desktop Action Other]\nExec=other-program\n");
    writeText(system.file("applications/tune.desktop"), "[Desktop Entry]\nExec=system-tune\n");
    writeText(system.file("applications/org.example.strawberry.desktop"), "[Desktop Entry]\nExec=\"/opt/straw berry/bin/strawberry\" %F\n");
    writeText(system.file("applications/gone.desktop"), "[Desktop Entry]\nExec=gone\nHidden=true\n");
    writeText(system.file("applications/escaped.desktop"), "[Desktop Entry]\nExec=play\\sit \"back\\\\\\\\slash\"\n");
    const std::pair<const char *, QStringList> entries[] = {
        {"tune.desktop", {"tune", "--new-window"}}, {"tune", {"tune", "--new-window"}},
        {"strawberry", {"/opt/straw berry/bin/strawberry"}}, {"strawberry.desktop", {}}, {"gone", {}},
        {"escaped", {"play", "it", "back\\slash"}}, {"missing", {}}, {"../tune.desktop", {}},
    };
    for (const auto &[id, command] : entries)
        EXPECT_EQ(commandOfDesktopEntry(findDesktopEntry(id)), command) << id;
    EXPECT_EQ(findDesktopEntry("tune"), QString::fromStdString(home.file("applications/tune.desktop")));
    EXPECT_TRUE(findDesktopEntry("../tune.desktop").isNull());
}

// Each row: the players running, the preference, the entries; launch() and what comes up.
TEST(Launcher, LaunchStartsThePreferredOrDefaultPlayerOnlyWhenNoneRuns)
{
    if (!privateBusRunning())
        GTEST_SKIP() << "dbus-daemon is not available";
    if (QStandardPaths::findExecutable("xdg-mime").isEmpty())
        GTEST_SKIP() << "xdg-mime is not installed";
    const struct {
        const char *running, *preferred, *entry, *defaultEntry;
        bool launched;
        const char *comesUp; // the bus name that must appear, or (with running) must not
    } rows[] = {
        {"running", "spare", "spare", nullptr, true, nullptr},
        {nullptr, "launchme", "launchme", nullptr, true, "launchme"},
        {nullptr, "", "defaultfake", "defaultfake", true, "defaultfake"},
        {nullptr, "no-such-player", nullptr, nullptr, false, nullptr},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.entry ? row.entry : "none");
        TempDir data, config;
        ScopedEnv dataHome("XDG_DATA_HOME", QByteArray::fromStdString(data.path().string()));
        ScopedEnv dataDirs("XDG_DATA_DIRS", QByteArray::fromStdString(data.file("none")));
        ScopedEnv configHome("XDG_CONFIG_HOME", QByteArray::fromStdString(config.path().string()));
        ScopedEnv path("PATH", row.entry ? qgetenv("PATH") : QByteArray::fromStdString(data.file("empty-bin")));
        const QJsonObject state{{"status", "Paused"}, {"current", 0}, {"tracks", QJsonArray{QJsonObject{{"xesam:title", "Started"}}}}};
        writeText(data.file("state.json"), QJsonDocument(state).toJson().toStdString());
        if (row.entry)
            writeText(data.file(std::string("applications/") + row.entry + ".desktop"),
                      "[Desktop Entry]\nType=Application\nName=Fake\nExec=" + fakePlayerPath().toStdString() + " " + row.entry
                          + " @" + data.file("state.json") + " %U\n");
        if (row.defaultEntry)
            writeText(config.file("mimeapps.list"), std::string("[Default Applications]\naudio/mpeg=") + row.defaultEntry + ".desktop\n");
        EXPECT_EQ(defaultAudioPlayerEntry(), row.defaultEntry ? QString(row.defaultEntry) + ".desktop" : QString());
        std::optional<FakePlayer> running;
        if (row.running)
            running.emplace(row.running, state);
        MprisConnection connection(QDBusConnection::sessionBus(), row.preferred);
        EXPECT_EQ(connection.launch(), row.launched);
        if (!row.comesUp) {
            spinEvents(300);
            EXPECT_FALSE(row.entry && busNameRegistered(QString("org.mpris.MediaPlayer2.") + row.entry)) << "started again";
            EXPECT_EQ(connection.isRunning(), row.running != nullptr);
            continue;
        }
        // launch() waits a while for the player to show up; a loaded machine may need longer.
        const QString service = QString("org.mpris.MediaPlayer2.") + row.comesUp;
        EXPECT_TRUE(waitUntil([&] { return busNameRegistered(service); }));
        EXPECT_TRUE(waitUntil([&] { return connection.copyCurrentTrackName() == "Started"; }));
        // The launched fake is not our child: end it through the bus name it holds.
        if (QDBusConnectionInterface *daemon = QDBusConnection::sessionBus().interface())
            ::kill(pid_t(daemon->servicePid(service).value()), SIGKILL);
        waitUntil([&] { return !busNameRegistered(service); });
    }
}
