// The bridge against the scriptable fake player on a private bus: which player it talks to as
// players appear, vanish, play and pause; every catalogue operation; the change notifier.
#include "BridgeChecks.h"
#include "MprisConnection.h"
#include "MprisPlayerList.h"
#include "PlayerTestSupport.h"

#include <QDBusConnection>
#include <QJsonArray>
#include <QSignalSpy>

#include <list>

using namespace kestrabel::player;
using namespace kestrabel::test;

namespace {

QJsonObject track(const QString &id, const QString &title, const QString &album = "Harbour Lights", const QString &artist = "The Gulls")
{
    return {{"mpris:trackid", id}, {"xesam:title", title}, {"xesam:album", album}, {"xesam:artist", QJsonArray{artist}},
            {"xesam:url", "http://radio.invalid" + id}};
}

QJsonObject player(const QString &title, const QString &status, QJsonObject state = {})
{
    QJsonObject first = track("/t/1", title);
    first.insert("xesam:url", "file:///music/" + title + ".mp3");
    for (const auto &[key, value] : {std::pair<QString, QJsonValue>{"identity", title + " Player"}, {"status", status}, {"current", 0},
                                     {"tracks", QJsonArray{first}}})
        if (!state.contains(key))
            state.insert(key, value);
    return state;
}

class Mpris : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!privateBusRunning())
            GTEST_SKIP() << "dbus-daemon is not available";
    }
    bool becomes(MprisConnection &connection, const QString &service)
    {
        return waitUntil([&] { return connection.currentService() == service; });
    }
};

} // namespace

// Playing beats paused; among players that play, the one least far into its track; a running
// preference by name, instance name or desktop entry; never playerctld; two names of one process
// are one player.
TEST_F(Mpris, ChoiceAmongPlayersAtFirstSight)
{
    const struct {
        std::vector<std::pair<QString, QJsonObject>> players;
        const char *preference, *chosen; // chosen nullptr: no player
    } rows[] = {
        {{{"alpha", player("Alpha", "Paused")}, {"beta", player("Beta", "Playing")}, {"gamma", player("Gamma", "Stopped")}}, "", "beta"},
        {{{"alpha", player("Alpha", "Playing", {{"position", 5e6}})}, {"beta", player("Beta", "Playing", {{"position", 90e6}})}}, "", "alpha"},
        {{{"alpha", player("Alpha", "Playing", {{"position", 90e6}})}, {"beta", player("Beta", "Playing", {{"position", 5e6}})}}, "", "beta"},
        {{{"alpha", player("Alpha", "Paused")}, {"beta", player("Beta", "Playing")}}, "Alpha", "alpha"},
        {{{"alpha", player("Alpha", "Paused")}, {"beta", player("Beta", "Playing")}}, "delta", "beta"},
        {{{"alpha.instance4242", player("Alpha", "Paused")}, {"beta", player("Beta", "Playing")}}, "alpha", "alpha.instance4242"},
        {{{"alpha.instance4242", player("Alpha", "Paused", {{"desktopEntry", "org.example.Alpha"}})}, {"beta", player("Beta", "Playing")}},
         "org.example.Alpha.desktop", "alpha.instance4242"},
        {{{"playerctld", player("Proxy", "Playing")}}, "", nullptr},
        {{{"playerctld.extra", player("Proxy", "Playing")}}, "", nullptr},
        {{{"vlc", player("Vlc", "Playing", {{"extraNames", QJsonArray{"vlc.instance31337"}}})}}, "", "vlc"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.preference) + " " + (row.chosen ? row.chosen : "none"));
        std::list<FakePlayer> fakes;
        for (const auto &[name, state] : row.players)
            ASSERT_TRUE(fakes.emplace_back(name, state).ready());
        MprisConnection connection(QDBusConnection::sessionBus(), row.preference);
        EXPECT_EQ(connection.currentService(), row.chosen ? "org.mpris.MediaPlayer2." + QString(row.chosen) : QString());
        EXPECT_EQ(connection.isRunning(), row.chosen != nullptr);
        if (row.players.size() == 1) {
            EXPECT_EQ(MprisPlayerList(QDBusConnection::sessionBus()).players().size(), row.chosen ? 1 : 0);
        }
        for (FakePlayer &fake : fakes)
            fake.vanish();
    }
}

TEST_F(Mpris, ChoiceFollowsPlayersAsTheyComeGoAndPlay)
{
    MprisConnection connection(QDBusConnection::sessionBus());
    expectNoPlayer(connection);
    std::optional<FakePlayer> alpha(std::in_place, "alpha", player("Alpha", "Paused"));
    EXPECT_TRUE(becomes(connection, alpha->service())) << "found when it appears";
    std::optional<FakePlayer> beta(std::in_place, "beta", player("Beta", "Stopped"));
    EXPECT_TRUE(becomes(connection, beta->service())) << "the most recently seen when none plays";
    ASSERT_TRUE(alpha->script({{"status", "Playing"}}));
    EXPECT_TRUE(becomes(connection, alpha->service())) << "playing wins";
    spinEvents(100);
    QSignalSpy tracks(&connection.notifier(), &PlayerNotifier::trackChanged);
    ASSERT_TRUE(beta->script({{"tracks", player("Beta Two", "").value("tracks")}}));
    spinEvents(300);
    EXPECT_EQ(tracks.count(), 0) << "another player's track change is not told";
    ASSERT_TRUE(beta->script({{"status", "Playing"}}));
    EXPECT_TRUE(becomes(connection, beta->service())) << "the one that started playing last";
    ASSERT_TRUE(beta->script({{"status", "Paused"}}));
    EXPECT_TRUE(becomes(connection, alpha->service()));
    tracks.clear();
    alpha->vanish();
    EXPECT_TRUE(becomes(connection, beta->service()));
    EXPECT_TRUE(waitUntil([&] { return tracks.count() > 0; })) << "the switch is told";
    EXPECT_EQ(connection.copyCurrentTrackName(), "Beta Two");
    // No event loop runs after this vanishing: the failed call itself must make the bridge look again.
    beta->vanishWithoutEvents();
    EXPECT_TRUE(connection.copyCurrentTrackName().isNull());
    EXPECT_FALSE(connection.isRunning());
}

// Pausing for an edit keeps the player that was playing, though another was seen after it; a
// hung player is skipped until it answers; a pinned player takes every operation and never falls back.
TEST_F(Mpris, EditFlowHungAndPinnedPlayers)
{
    FakePlayer alpha("alpha", player("Alpha", "Playing"));
    FakePlayer beta("beta", player("Beta", "Paused"));
    ASSERT_TRUE(alpha.ready() && beta.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    QSignalSpy playback(&connection.notifier(), &PlayerNotifier::playbackChanged);
    ASSERT_TRUE(connection.pause());
    EXPECT_EQ(connection.copyCurrentTrackPath(), "/music/Alpha.mp3");
    EXPECT_TRUE(waitUntil([&] { return !playback.isEmpty() && !playback.constLast().at(0).toBool(); }));
    EXPECT_EQ(connection.currentService(), alpha.service());
    EXPECT_TRUE(connection.play());
    EXPECT_TRUE(waitUntil([&] { return playback.constLast().at(0).toBool(); }));
    EXPECT_TRUE(alpha.calls().contains("Play") && !beta.calls().contains("Play"));

    alpha.hang();
    // The first look waits out its deadline for alpha; from then on alpha is not asked at all.
    EXPECT_EQ(connection.copyCurrentTrackName(), "Beta");
    connection.pinPlayer(alpha.service());
    EXPECT_TRUE(connection.currentPlayerId().isNull());
    EXPECT_FALSE(connection.play());
    connection.pinPlayer({});
    alpha.resume();
    EXPECT_TRUE(becomes(connection, alpha.service()));

    connection.pinPlayer(beta.service());
    EXPECT_EQ(connection.copyCurrentTrackId(), "/t/1");
    alpha.clearCalls();
    EXPECT_TRUE(connection.play());
    EXPECT_TRUE(beta.calls().contains("Play") && !alpha.calls().contains("Play"));
    beta.vanish();
    EXPECT_TRUE(waitUntil([&] { return connection.currentPlayerId().isNull(); }));
    expectNoPlayer(connection);
    EXPECT_FALSE(alpha.calls().contains("Pause"));
}

// Each row: the current track's metadata over track("/t/1", "Low Tide"), the fields, rating and
// artwork the bridge gives. A local file the tag library cannot open still has its path.
TEST_F(Mpris, CatalogueOperations)
{
    FakePlayer fake("fake", {{"identity", "Fake Player"}, {"status", "Stopped"}, {"current", 0}, {"tracks", QJsonArray{}}});
    ASSERT_TRUE(fake.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    // A running player without a track gives empty texts, not none.
    EXPECT_TRUE(connection.copyCurrentTrackName().isEmpty() && !connection.copyCurrentTrackName().isNull());
    EXPECT_TRUE(connection.copyCurrentTrackPath().isNull() && connection.copyCurrentTrackArtwork().isNull());
    EXPECT_EQ(connection.playerIdentity(), "Fake Player");
    const QString png64 = "iVBORw0KGgo=";
    const struct {
        QJsonObject metadata;
        QStringList fields;
        int rating;
        QByteArray artwork;
    } rows[] = {
        {{{"xesam:artist", QJsonArray{"The Gulls", "Mara Quell"}}, {"xesam:genre", "Shanty"}, {"xesam:userRating", 0.8},
          {"xesam:url", "file:///no/such/folder/Low%20Tide%20%231.mp3"}},
         {"Low Tide", "The Gulls, Mara Quell", "Harbour Lights", "Shanty", "/no/such/folder/Low Tide #1.mp3"}, 80, {}},
        {{{"xesam:genre", QJsonArray{"Shanty", "Folk"}}, {"xesam:artist", "Solo Singer"}, {"mpris:artUrl", "data:image/png;base64," + png64}},
         {"Low Tide", "Solo Singer", "Harbour Lights", "Shanty, Folk", QString()}, 0, QByteArray::fromBase64(png64.toLatin1())},
        {{{"mpris:artUrl", "http://images.invalid/cover.png"}}, {"Low Tide", "The Gulls", "Harbour Lights", "", QString()}, 0, {}},
    };
    for (const auto &row : rows) {
        QJsonObject current = track("/t/1", "Low Tide");
        for (auto it = row.metadata.begin(); it != row.metadata.end(); ++it)
            current.insert(it.key(), it.value());
        ASSERT_TRUE(fake.script({{"tracks", QJsonArray{current}}}));
        EXPECT_EQ(trackFields(connection), row.fields);
        EXPECT_EQ(connection.currentTrackRating(), row.rating);
        EXPECT_EQ(connection.copyCurrentTrackArtwork(), row.artwork);
    }

    ASSERT_TRUE(fake.script({{"status", "Paused"}, {"tracks", QJsonArray{track("/t/1", "One"), track("/t/2", "Two")}}}));
    fake.clearCalls();
    EXPECT_TRUE(!connection.isPlaying() && connection.play() && connection.isPlaying() && connection.pause() && !connection.isPlaying()
                && connection.playPause() && connection.isPlaying() && connection.nextTrack());
    EXPECT_EQ(connection.copyCurrentTrackName(), "Two");
    EXPECT_TRUE(connection.previousTrack() && connection.copyCurrentTrackName() == "One" && connection.stop() && !connection.isPlaying());
    EXPECT_EQ(fake.calls().filter(QRegularExpression("^(Play|Pause|PlayPause|Stop|Next|Previous)$")),
              (QStringList{"Play", "Pause", "PlayPause", "Next", "Previous", "Stop"}));
    ASSERT_TRUE(fake.script({{"failMethods", QJsonArray{"Play", "Next"}}}));
    EXPECT_FALSE(connection.play() || connection.nextTrack());
    EXPECT_TRUE(connection.pause());
    fake.clearCalls();
    connection.scanLibraryLocations(true);
    connection.refreshTrackAtPath("/music/a.mp3");
    EXPECT_TRUE(fake.calls().isEmpty()) << "a library scan and a refresh send nothing";
}

// Rating goes through a writable Rating property, or Rhythmbox's database in stars; elsewhere it is read-only.
TEST_F(Mpris, Rating)
{
    const struct {
        const char *name, *flag;
        int set;
        const char *call;
        int after;
    } rows[] = {
        {"fake", "", 80, nullptr, 0},
        {"strawberry", "rating", 80, "Set org.mpris.MediaPlayer2.Player Rating 0.8", 80},
        {"strawberry", "rating", 250, "Set org.mpris.MediaPlayer2.Player Rating 1", 100},
        {"rhythmbox", "rhythmDb", 80, "SetEntryProperties http://radio.invalid/t/1 rating=4", 80},
        {"elsewhere", "rhythmDb", 80, nullptr, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        FakePlayer fake(row.name, player("One", "Playing", {{"tracks", QJsonArray{track("/t/1", "One")}}, {row.flag, true}}));
        ASSERT_TRUE(fake.ready());
        MprisConnection connection(QDBusConnection::sessionBus());
        EXPECT_EQ(connection.canSetRating(), row.call != nullptr);
        EXPECT_EQ(connection.setCurrentTrackRating(row.set), row.call != nullptr);
        EXPECT_EQ(fake.calls().filter(QRegularExpression("^Set")).value(0), row.call ? QString(row.call) : QString());
        EXPECT_EQ(connection.currentTrackRating(), row.after);
        fake.vanish();
    }
}

// Album tracks come from the track list, asked even when the player says it has none and its
// introspection data leaves the Player out; a track without an id of its own is listed too; a
// choice goes to the list's entry and plays.
TEST_F(Mpris, TrackList)
{
    QJsonObject anonymous = track("", "Neap Tide");
    anonymous.remove("mpris:trackid");
    FakePlayer fake("vlc", player("Low Tide", "Paused", {{"trackList", true}, {"hasTrackList", false},
                                                         {"tracks", QJsonArray{track("/t/1", "Low Tide"), track("/t/2", "Elsewhere", "Far Album"),
                                                                               track("/t/3", "Spring Tide"),
                                                                               track("/t/4", "Other Artist", "Harbour Lights", "Someone"), anonymous}}}));
    ASSERT_TRUE(fake.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_EQ(connection.copyAlbumTrackNames(), (QStringList{"Low Tide", "Spring Tide", "Neap Tide"}));
    fake.clearCalls();
    EXPECT_TRUE(connection.playTrackNamed("Spring Tide"));
    EXPECT_EQ(connection.copyCurrentTrackName(), "Spring Tide");
    EXPECT_TRUE(connection.isPlaying());
    EXPECT_TRUE(fake.calls().contains("GoTo /t/3") && fake.calls().contains("Play")) << fake.calls().join('\n').toStdString();
    // A title only found outside the album is still played, as the player's own list has it.
    EXPECT_TRUE(connection.playTrackNamed("Elsewhere"));
    EXPECT_EQ(connection.copyCurrentTrackName(), "Elsewhere");
    EXPECT_FALSE(connection.playTrackNamed("Not There"));
}
