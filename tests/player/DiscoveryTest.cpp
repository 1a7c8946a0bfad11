// Which player the bridge talks to as players appear, vanish, play and pause, and the change
// notifier that tells the window.
#include "MprisConnection.h"
#include "MprisPlayerList.h"
#include "PlayerTestSupport.h"

#include <QDBusConnection>
#include <QJsonArray>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace kestrabel::player;
using namespace kestrabel::test;

namespace {

QJsonObject playerWith(const QString &title, const QString &status)
{
    return {{"identity", title + " Player"},
            {"status", status},
            {"current", 0},
            {"tracks", QJsonArray{QJsonObject{{"mpris:trackid", "/t/1"},
                                              {"xesam:title", title},
                                              {"xesam:url", "file:///music/" + title + ".mp3"}}}}};
}

class DiscoveryTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!privateBusRunning())
            GTEST_SKIP() << "dbus-daemon is not available";
    }
};

TEST_F(DiscoveryTest, PlayerIsFoundWhenItAppearsAndForgottenWhenItVanishes)
{
    MprisConnection connection(QDBusConnection::sessionBus());
    ASSERT_FALSE(connection.isRunning());
    auto player = std::make_unique<FakePlayer>("alpha", playerWith("Alpha", "Playing"));
    ASSERT_TRUE(player->ready());
    EXPECT_TRUE(waitUntil([&] { return connection.isRunning(); }));
    EXPECT_EQ(connection.copyCurrentTrackName(), "Alpha");
    player->vanish();
    EXPECT_TRUE(waitUntil([&] { return !connection.isRunning(); }));
    EXPECT_TRUE(connection.copyCurrentTrackName().isNull());
}

TEST_F(DiscoveryTest, VanishedPlayerIsDroppedEvenBeforeItsSignalArrives)
{
    FakePlayer player("alpha", playerWith("Alpha", "Playing"));
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    ASSERT_TRUE(connection.isRunning());
    player.vanishWithoutEvents();
    // No event loop ran since: the failed call itself must make the bridge look again.
    EXPECT_TRUE(connection.copyCurrentTrackName().isNull());
    EXPECT_FALSE(connection.isRunning());
}

TEST_F(DiscoveryTest, PlayingPlayerWinsOverPausedOne)
{
    FakePlayer alpha("alpha", playerWith("Alpha", "Paused"));
    FakePlayer beta("beta", playerWith("Beta", "Playing"));
    FakePlayer gamma("gamma", playerWith("Gamma", "Stopped"));
    ASSERT_TRUE(alpha.ready() && beta.ready() && gamma.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_EQ(connection.currentService(), beta.service());
    EXPECT_EQ(connection.copyCurrentTrackName(), "Beta");
}

TEST_F(DiscoveryTest, MostRecentlySeenPlayerWinsWhenNoneIsPlaying)
{
    MprisConnection connection(QDBusConnection::sessionBus());
    FakePlayer alpha("alpha", playerWith("Alpha", "Paused"));
    ASSERT_TRUE(alpha.ready());
    ASSERT_TRUE(waitUntil([&] { return connection.currentService() == alpha.service(); }));
    FakePlayer beta("beta", playerWith("Beta", "Stopped"));
    ASSERT_TRUE(beta.ready());
    EXPECT_TRUE(waitUntil([&] { return connection.currentService() == beta.service(); }));
}

TEST_F(DiscoveryTest, PausingForAnEditKeepsThePlayerThatWasPlaying)
{
    // beta is seen after alpha, so it would be the most recently seen once alpha pauses.
    FakePlayer alpha("alpha", playerWith("Alpha", "Playing"));
    FakePlayer beta("beta", playerWith("Beta", "Paused"));
    ASSERT_TRUE(alpha.ready() && beta.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    ASSERT_EQ(connection.copyCurrentTrackName(), "Alpha");
    // The edit flow: pause, then at once ask for the file, before any signal is handled.
    ASSERT_TRUE(connection.pause());
    EXPECT_EQ(connection.copyCurrentTrackPath(), "/music/Alpha.mp3");
    spinEvents(200);
    EXPECT_EQ(connection.currentService(), alpha.service());
    EXPECT_TRUE(connection.play());
    EXPECT_TRUE(alpha.calls().contains("Play"));
    EXPECT_FALSE(beta.calls().contains("Play"));
}

TEST_F(DiscoveryTest, AnotherPlayerStartingToPlayTakesOver)
{
    FakePlayer alpha("alpha", playerWith("Alpha", "Playing"));
    FakePlayer beta("beta", playerWith("Beta", "Paused"));
    ASSERT_TRUE(alpha.ready() && beta.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    ASSERT_EQ(connection.currentService(), alpha.service());
    ASSERT_TRUE(alpha.script({{"status", "Paused"}}));
    ASSERT_TRUE(beta.script({{"status", "Playing"}}));
    EXPECT_TRUE(waitUntil([&] { return connection.currentService() == beta.service(); }));
}

TEST_F(DiscoveryTest, ThePlayerThatStartedPlayingLastWins)
{
    // Both play at first sight: the one less far into its track started later, whatever the
    // order of their names.
    QJsonObject early = playerWith("Alpha", "Playing");
    early.insert("position", 90e6);
    QJsonObject late = playerWith("Beta", "Playing");
    late.insert("position", 5e6);
    FakePlayer alpha("alpha", late);
    FakePlayer beta("beta", early);
    ASSERT_TRUE(alpha.ready() && beta.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_EQ(connection.currentService(), alpha.service());
    // beta pauses and plays again: now it started last.
    ASSERT_TRUE(beta.script({{"status", "Paused"}}));
    ASSERT_TRUE(waitUntil([&] { return connection.currentService() == alpha.service(); }));
    ASSERT_TRUE(beta.script({{"status", "Playing"}}));
    EXPECT_TRUE(waitUntil([&] { return connection.currentService() == beta.service(); }));
}

TEST_F(DiscoveryTest, HungPlayerIsSkippedUntilItAnswersAgain)
{
    FakePlayer alpha("alpha", playerWith("Alpha", "Paused"));
    FakePlayer beta("beta", playerWith("Beta", "Playing"));
    ASSERT_TRUE(alpha.ready() && beta.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    ASSERT_EQ(connection.currentService(), beta.service());
    beta.hang();
    // The first look waits out its deadline for beta; from then on beta is not asked at all.
    EXPECT_EQ(connection.copyCurrentTrackName(), "Alpha");
    EXPECT_EQ(connection.currentService(), alpha.service());
    connection.pinPlayer(beta.service());
    EXPECT_TRUE(connection.currentPlayerId().isNull());
    EXPECT_FALSE(connection.play());
    connection.pinPlayer({});
    beta.resume();
    EXPECT_TRUE(waitUntil([&] { return connection.currentService() == beta.service(); }));
}

TEST_F(DiscoveryTest, PinnedPlayerTakesEveryOperationAndNeverFallsBack)
{
    FakePlayer alpha("alpha", playerWith("Alpha", "Playing"));
    FakePlayer beta("beta", playerWith("Beta", "Paused"));
    ASSERT_TRUE(alpha.ready() && beta.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    connection.pinPlayer(beta.service());
    EXPECT_EQ(connection.copyCurrentTrackName(), "Beta");
    EXPECT_EQ(connection.copyCurrentTrackId(), "/t/1");
    EXPECT_TRUE(connection.play());
    EXPECT_TRUE(beta.calls().contains("Play"));
    EXPECT_FALSE(alpha.calls().contains("Play"));
    beta.vanish();
    EXPECT_TRUE(waitUntil([&] { return connection.currentPlayerId().isNull(); }));
    EXPECT_TRUE(connection.copyCurrentTrackName().isNull());
    EXPECT_FALSE(connection.pause());
    EXPECT_FALSE(alpha.calls().contains("Pause"));
}

TEST_F(DiscoveryTest, PreferredPlayerWinsWhileItRuns)
{
    FakePlayer alpha("alpha", playerWith("Alpha", "Paused"));
    FakePlayer beta("beta", playerWith("Beta", "Playing"));
    ASSERT_TRUE(alpha.ready() && beta.ready());
    MprisConnection connection(QDBusConnection::sessionBus(), "alpha");
    EXPECT_EQ(connection.copyCurrentTrackName(), "Alpha");
    connection.setPreferredPlayer("");
    EXPECT_EQ(connection.copyCurrentTrackName(), "Beta");
    connection.setPreferredPlayer("Alpha");
    EXPECT_EQ(connection.copyCurrentTrackName(), "Alpha");
    // A preference for a player that is not running changes nothing.
    connection.setPreferredPlayer("delta");
    EXPECT_EQ(connection.copyCurrentTrackName(), "Beta");
}

TEST_F(DiscoveryTest, PreferenceMatchesInstanceNamesAndDesktopEntries)
{
    QJsonObject state = playerWith("Alpha", "Paused");
    state.insert("desktopEntry", "org.example.Alpha");
    FakePlayer alpha("alpha.instance4242", state);
    FakePlayer beta("beta", playerWith("Beta", "Playing"));
    ASSERT_TRUE(alpha.ready() && beta.ready());
    MprisConnection connection(QDBusConnection::sessionBus(), "alpha");
    EXPECT_EQ(connection.currentService(), alpha.service());
    connection.setPreferredPlayer("org.example.Alpha.desktop");
    EXPECT_EQ(connection.currentService(), alpha.service());
}

TEST_F(DiscoveryTest, TwoNamesOfOneProcessAreOnePlayer)
{
    QJsonObject state = playerWith("Vlc", "Playing");
    state.insert("extraNames", QJsonArray{"vlc.instance31337"});
    FakePlayer vlc("vlc", state);
    ASSERT_TRUE(vlc.ready());
    ASSERT_TRUE(busNameRegistered("org.mpris.MediaPlayer2.vlc.instance31337"));
    MprisPlayerList list(QDBusConnection::sessionBus());
    const QList<MprisPlayer> players = list.players();
    ASSERT_EQ(players.size(), 1);
    EXPECT_EQ(players[0].service, "org.mpris.MediaPlayer2.vlc");
}

TEST_F(DiscoveryTest, PlayerctldIsNotAPlayer)
{
    FakePlayer proxy("playerctld", playerWith("Proxy", "Playing"));
    ASSERT_TRUE(proxy.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_FALSE(connection.isRunning());
    FakePlayer real("real", playerWith("Real", "Playing"));
    ASSERT_TRUE(real.ready());
    EXPECT_TRUE(waitUntil([&] { return connection.copyCurrentTrackName() == "Real"; }));
}

TEST_F(DiscoveryTest, NotifierReportsTrackAndPlaybackChangesOfTheCurrentPlayer)
{
    FakePlayer player("alpha", playerWith("Alpha", "Playing"));
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    ASSERT_TRUE(connection.isRunning());
    spinEvents(100);
    QSignalSpy tracks(&connection.notifier(), &PlayerNotifier::trackChanged);
    QSignalSpy playback(&connection.notifier(), &PlayerNotifier::playbackChanged);

    QJsonObject next = playerWith("Second", "Playing");
    ASSERT_TRUE(player.script({{"tracks", next.value("tracks")}}));
    EXPECT_TRUE(waitUntil([&] { return tracks.count() > 0; }));

    const auto lastPlaying = [&](bool playing) {
        return !playback.isEmpty() && playback.constLast().at(0).toBool() == playing;
    };
    playback.clear();
    ASSERT_TRUE(connection.pause());
    EXPECT_TRUE(waitUntil([&] { return lastPlaying(false); }));
    playback.clear();
    ASSERT_TRUE(connection.play());
    EXPECT_TRUE(waitUntil([&] { return lastPlaying(true); }));
}

TEST_F(DiscoveryTest, NotifierIgnoresOtherPlayersButReportsASwitch)
{
    FakePlayer alpha("alpha", playerWith("Alpha", "Playing"));
    FakePlayer beta("beta", playerWith("Beta", "Paused"));
    ASSERT_TRUE(alpha.ready() && beta.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    ASSERT_EQ(connection.currentService(), alpha.service());
    spinEvents(100);
    QSignalSpy tracks(&connection.notifier(), &PlayerNotifier::trackChanged);

    ASSERT_TRUE(beta.script({{"tracks", playerWith("Beta Two", "Paused").value("tracks")}}));
    spinEvents(300);
    EXPECT_EQ(tracks.count(), 0);

    alpha.vanish();
    EXPECT_TRUE(waitUntil([&] { return tracks.count() > 0; }));
    EXPECT_EQ(connection.copyCurrentTrackName(), "Beta Two");
}

} // namespace
