// The bridge against the scriptable fake player on a private bus: every catalogue operation.
#include "MprisConnection.h"
#include "PlayerTestSupport.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QJsonArray>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace kestrabel::player;
using namespace kestrabel::test;

namespace {

QJsonObject track(const QString &id, const QString &title, const QString &album = QStringLiteral("Harbour Lights"),
                  const QString &artist = QStringLiteral("The Gulls"))
{
    return {{"mpris:trackid", id},
            {"xesam:title", title},
            {"xesam:album", album},
            {"xesam:artist", QJsonArray{artist}},
            {"xesam:url", QStringLiteral("http://radio.invalid") + id}};
}

QJsonObject playerState(const QJsonArray &tracks, const QString &status = QStringLiteral("Playing"))
{
    return {{"identity", "Fake Player"}, {"status", status}, {"current", 0}, {"tracks", tracks}};
}

class MprisConnectionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!privateBusRunning())
            GTEST_SKIP() << "dbus-daemon is not available";
    }

    // Waits until the connection's current player is service (bounded).
    static bool becomesCurrent(MprisConnection &connection, const QString &service)
    {
        return waitUntil([&] { return connection.currentService() == service; });
    }
};

TEST_F(MprisConnectionTest, WithoutPlayerEveryOperationGivesItsEmptyValue)
{
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_FALSE(connection.isRunning());
    EXPECT_TRUE(connection.copyCurrentTrackName().isNull());
    EXPECT_TRUE(connection.copyCurrentTrackArtist().isNull());
    EXPECT_TRUE(connection.copyCurrentTrackAlbum().isNull());
    EXPECT_TRUE(connection.copyCurrentTrackGenre().isNull());
    EXPECT_TRUE(connection.copyCurrentTrackPath().isNull());
    EXPECT_TRUE(connection.copyCurrentTrackArtwork().isNull());
    EXPECT_TRUE(connection.playerIdentity().isNull());
    EXPECT_EQ(connection.currentTrackRating(), 0);
    EXPECT_FALSE(connection.isPlaying());
    EXPECT_FALSE(connection.play());
    EXPECT_FALSE(connection.pause());
    EXPECT_FALSE(connection.playPause());
    EXPECT_FALSE(connection.stop());
    EXPECT_FALSE(connection.nextTrack());
    EXPECT_FALSE(connection.previousTrack());
    EXPECT_FALSE(connection.canSetRating());
    EXPECT_FALSE(connection.setCurrentTrackRating(40));
    EXPECT_FALSE(connection.playTrackNamed(QStringLiteral("Anything")));
    EXPECT_TRUE(connection.copyAlbumTrackNames().isEmpty());
    connection.scanLibraryLocations(true);
    connection.refreshTrackAtPath(QStringLiteral("/nowhere.mp3"));
}

TEST_F(MprisConnectionTest, CurrentTrackFieldsFollowTheMappingRules)
{
    QJsonObject first = track("/t/1", "Low Tide");
    first.insert("xesam:artist", QJsonArray{"The Gulls", "Mara Quell"});
    first.insert("xesam:genre", "Shanty");
    first.insert("xesam:userRating", 0.8);
    first.insert("xesam:url", "file:///no/such/folder/Low%20Tide%20%231.mp3");
    FakePlayer player("fake", playerState({first}));
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());

    EXPECT_TRUE(connection.isRunning());
    EXPECT_EQ(connection.playerIdentity(), "Fake Player");
    EXPECT_EQ(connection.copyCurrentTrackName(), "Low Tide");
    EXPECT_EQ(connection.copyCurrentTrackArtist(), "The Gulls, Mara Quell");
    EXPECT_EQ(connection.copyCurrentTrackAlbum(), "Harbour Lights");
    EXPECT_EQ(connection.copyCurrentTrackGenre(), "Shanty");
    EXPECT_EQ(connection.currentTrackRating(), 80);
    // A local file the tag library cannot open still has its path; the fields stay the player's.
    EXPECT_EQ(connection.copyCurrentTrackPath(), "/no/such/folder/Low Tide #1.mp3");

    first.insert("xesam:genre", QJsonArray{"Shanty", "Folk"});
    first.insert("xesam:artist", "Solo Singer");
    first.remove("xesam:userRating");
    ASSERT_TRUE(player.script({{"tracks", QJsonArray{first}}}));
    EXPECT_EQ(connection.copyCurrentTrackGenre(), "Shanty, Folk");
    EXPECT_EQ(connection.copyCurrentTrackArtist(), "Solo Singer");
    EXPECT_EQ(connection.currentTrackRating(), 0);
}

TEST_F(MprisConnectionTest, RunningPlayerWithoutTrackGivesEmptyTextsNotNone)
{
    FakePlayer player("fake", playerState({}, "Stopped"));
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    const QString name = connection.copyCurrentTrackName();
    EXPECT_FALSE(name.isNull());
    EXPECT_TRUE(name.isEmpty());
    EXPECT_FALSE(connection.copyCurrentTrackGenre().isNull());
    EXPECT_TRUE(connection.copyCurrentTrackPath().isNull());
    EXPECT_TRUE(connection.copyCurrentTrackArtwork().isNull());
    EXPECT_TRUE(connection.copyAlbumTrackNames().isEmpty());
    EXPECT_FALSE(connection.isPlaying());
}

TEST_F(MprisConnectionTest, StreamsHaveNoPath)
{
    FakePlayer player("fake", playerState({track("/t/1", "Live")}));
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_EQ(connection.copyCurrentTrackName(), "Live");
    EXPECT_TRUE(connection.copyCurrentTrackPath().isNull());
}

TEST_F(MprisConnectionTest, TransportCommandsReachThePlayerAndPlayingFollowsItsStatus)
{
    FakePlayer player("fake", playerState({track("/t/1", "One"), track("/t/2", "Two")}, "Paused"));
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_FALSE(connection.isPlaying());
    EXPECT_TRUE(connection.play());
    EXPECT_TRUE(connection.isPlaying());
    EXPECT_TRUE(connection.pause());
    EXPECT_FALSE(connection.isPlaying());
    EXPECT_TRUE(connection.playPause());
    EXPECT_TRUE(connection.isPlaying());
    EXPECT_TRUE(connection.nextTrack());
    EXPECT_EQ(connection.copyCurrentTrackName(), "Two");
    EXPECT_TRUE(connection.previousTrack());
    EXPECT_EQ(connection.copyCurrentTrackName(), "One");
    EXPECT_TRUE(connection.stop());
    EXPECT_FALSE(connection.isPlaying());
    const QStringList commands = player.calls().filter(QRegularExpression("^(Play|Pause|PlayPause|Stop|Next|Previous)$"));
    EXPECT_EQ(commands, (QStringList{"Play", "Pause", "PlayPause", "Next", "Previous", "Stop"}));

    ASSERT_TRUE(player.script({{"failMethods", QJsonArray{"Play", "Next"}}}));
    EXPECT_FALSE(connection.play());
    EXPECT_FALSE(connection.nextTrack());
    EXPECT_TRUE(connection.pause());
}

TEST_F(MprisConnectionTest, ArtworkComesFromFileAndDataUrls)
{
    const QByteArray png = QByteArray::fromHex("89504e470d0a1a0a0000000d49484452000000010000000108060000001f15c489");
    TempDir folder;
    writeFile(folder.file("cover.png"), std::vector<uint8_t>(png.begin(), png.end()));
    QJsonObject current = track("/t/1", "Pictured");
    current.insert("mpris:artUrl", QString::fromLatin1("data:image/png;base64,") + QString::fromLatin1(png.toBase64()));
    FakePlayer player("fake", playerState({current}));
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_EQ(connection.copyCurrentTrackArtwork(), png);

    current.insert("mpris:artUrl", fileUrlForPath(QString::fromStdString(folder.file("cover.png"))));
    ASSERT_TRUE(player.script({{"tracks", QJsonArray{current}}}));
    EXPECT_EQ(connection.copyCurrentTrackArtwork(), png);

    for (const char *unusable : {"http://images.invalid/cover.png", "file:///no/such/cover.png", "data:image/png;base64,%%%"}) {
        current.insert("mpris:artUrl", unusable);
        ASSERT_TRUE(player.script({{"tracks", QJsonArray{current}}}));
        EXPECT_TRUE(connection.copyCurrentTrackArtwork().isNull()) << unusable;
    }
}

TEST_F(MprisConnectionTest, RatingIsReadOnlyWherePlayerHasNoSetter)
{
    FakePlayer player("fake", playerState({track("/t/1", "One")}));
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_FALSE(connection.canSetRating());
    EXPECT_FALSE(connection.setCurrentTrackRating(60));
    EXPECT_TRUE(player.calls().filter("Set ").isEmpty());
}

TEST_F(MprisConnectionTest, RatingGoesThroughAWritableRatingProperty)
{
    QJsonObject state = playerState({track("/t/1", "One")});
    state.insert("rating", true);
    FakePlayer player("strawberry", state);
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_TRUE(connection.canSetRating());
    EXPECT_TRUE(connection.setCurrentTrackRating(60));
    EXPECT_EQ(player.calls().filter("Set ").value(0), "Set org.mpris.MediaPlayer2.Player Rating 0.6");
    EXPECT_EQ(connection.currentTrackRating(), 60);
    EXPECT_TRUE(connection.setCurrentTrackRating(250));
    EXPECT_EQ(connection.currentTrackRating(), 100);
}

TEST_F(MprisConnectionTest, RatingGoesToRhythmboxDatabaseInStars)
{
    QJsonObject state = playerState({track("/t/1", "One")});
    state.insert("rhythmDb", true);
    FakePlayer player("rhythmbox", state);
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_TRUE(connection.canSetRating());
    EXPECT_TRUE(connection.setCurrentTrackRating(80));
    EXPECT_EQ(player.calls().filter("SetEntryProperties").value(0), "SetEntryProperties http://radio.invalid/t/1 rating=4");
    EXPECT_EQ(connection.currentTrackRating(), 80);
}

TEST_F(MprisConnectionTest, RhythmboxDatabaseWithoutRhythmboxPlayerIsNoSetter)
{
    QJsonObject state = playerState({track("/t/1", "One")});
    state.insert("rhythmDb", true);
    FakePlayer player("elsewhere", state);
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_FALSE(connection.canSetRating());
    EXPECT_FALSE(connection.setCurrentTrackRating(80));
}

TEST_F(MprisConnectionTest, AlbumTracksComeFromTheTrackListWithTheFirstOneIncluded)
{
    QJsonObject state = playerState({track("/t/1", "Low Tide"), track("/t/2", "Other Song", "Other Album"),
                                     track("/t/3", "Spring Tide"), track("/t/4", "Same Album Other Artist", "Harbour Lights", "Someone"),
                                     track("/t/5", "Neap Tide")});
    state.insert("trackList", true);
    FakePlayer player("fake", state);
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_EQ(connection.copyAlbumTrackNames(), (QStringList{"Low Tide", "Spring Tide", "Neap Tide"}));
}

TEST_F(MprisConnectionTest, TrackListIsAskedEvenWhenThePlayerSaysItHasNone)
{
    QJsonObject state = playerState({track("/t/1", "Low Tide"), track("/t/2", "Spring Tide")});
    state.insert("trackList", true);
    state.insert("hasTrackList", false);
    FakePlayer player("vlc", state);
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_EQ(connection.copyAlbumTrackNames(), (QStringList{"Low Tide", "Spring Tide"}));
}

TEST_F(MprisConnectionTest, PlayTrackNamedGoesToTheTrackListEntryAndPlays)
{
    QJsonObject state = playerState({track("/t/1", "Low Tide"), track("/t/2", "Elsewhere", "Far Album"),
                                     track("/t/3", "Spring Tide")},
                                    "Paused");
    state.insert("trackList", true);
    FakePlayer player("fake", state);
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    player.clearCalls();
    EXPECT_TRUE(connection.playTrackNamed("Spring Tide"));
    EXPECT_EQ(connection.copyCurrentTrackName(), "Spring Tide");
    EXPECT_TRUE(connection.isPlaying());
    const QStringList calls = player.calls();
    EXPECT_TRUE(calls.contains("GoTo /t/3")) << calls.join('\n').toStdString();
    EXPECT_TRUE(calls.contains("Play"));
    // A title only found outside the album is still played, as the player's own list has it.
    EXPECT_TRUE(connection.playTrackNamed("Elsewhere"));
    EXPECT_EQ(connection.copyCurrentTrackName(), "Elsewhere");
    EXPECT_FALSE(connection.playTrackNamed("Not There"));
}

TEST_F(MprisConnectionTest, IntrospectionIsNotTrusted)
{
    QJsonObject state = playerState({track("/t/1", "One")});
    state.insert("introspection", "wrong");
    FakePlayer player("fake", state);
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_EQ(connection.copyCurrentTrackName(), "One");
    EXPECT_TRUE(connection.pause());
    EXPECT_FALSE(connection.isPlaying());
}

TEST_F(MprisConnectionTest, LibraryScanAndRefreshSendNothing)
{
    FakePlayer player("fake", playerState({track("/t/1", "One")}));
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    player.clearCalls();
    connection.scanLibraryLocations(true);
    connection.refreshTrackAtPath("/music/a.mp3");
    EXPECT_TRUE(player.calls().isEmpty()) << player.calls().join('\n').toStdString();
}

} // namespace
