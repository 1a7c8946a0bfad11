// The bridge and `kestrabel-tag now` against the scriptable fake player on a private bus: which
// player they talk to as players appear, vanish, play and pause; every catalogue operation; the
// change notifier; fields, artwork and album from the files the player plays.
#include "BridgeChecks.h"
#include "MprisConnection.h"
#include "MprisPlayerList.h"
#include "PlayerTestSupport.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QJsonArray>
#include <QJsonDocument>
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

// A player whose one track is a local file named after title; state's own keys win.
QJsonObject player(const QString &title, const QString &status, QJsonObject state = {})
{
    QJsonObject first = track("/t/1", title);
    first.insert("xesam:url", "file:///music/" + title + ".mp3");
    const QJsonObject defaults{{"identity", title + " Player"}, {"status", status}, {"current", 0}, {"tracks", QJsonArray{first}}};
    for (auto it = defaults.begin(); it != defaults.end(); ++it)
        state.insert(it.key(), state.value(it.key()).isUndefined() ? *it : state.value(it.key()));
    return state;
}

class Mpris : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!privateBusRunning())
            GTEST_SKIP() << "dbus-daemon is not available";
    }
    // Ends the fakes of the row before, then starts these; the first of them is returned.
    FakePlayer &start(const std::vector<std::pair<QString, QJsonObject>> &players)
    {
        fakes.clear();
        for (const auto &[name, state] : players)
            EXPECT_TRUE(fakes.emplace_back(name, state).ready()) << name.toStdString();
        return fakes.front();
    }
    static bool becomes(MprisConnection &connection, const QString &service)
    {
        return waitUntil([&] { return connection.currentService() == service; });
    }
    std::list<FakePlayer> fakes;
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
        start(row.players);
        MprisConnection connection(QDBusConnection::sessionBus(), row.preference);
        EXPECT_EQ(connection.currentService(), row.chosen ? "org.mpris.MediaPlayer2." + QString(row.chosen) : QString());
        EXPECT_EQ(connection.isRunning(), row.chosen != nullptr);
        const qsizetype listed = MprisPlayerList(QDBusConnection::sessionBus()).players().size();
        EXPECT_TRUE(row.players.size() > 1 || listed == (row.chosen ? 1 : 0)) << listed;
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
    FakePlayer &fake = start({{"fake", {{"identity", "Fake Player"}, {"status", "Stopped"}, {"current", 0}, {"tracks", QJsonArray{}}}}});
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
        FakePlayer &fake = start({{row.name, player("One", "Playing", {{"tracks", QJsonArray{track("/t/1", "One")}}, {row.flag, true}})}});
        MprisConnection connection(QDBusConnection::sessionBus());
        EXPECT_EQ(connection.canSetRating(), row.call != nullptr);
        EXPECT_EQ(connection.setCurrentTrackRating(row.set), row.call != nullptr);
        EXPECT_EQ(fake.calls().filter(QRegularExpression("^Set")).value(0), row.call ? QString(row.call) : QString());
        EXPECT_EQ(connection.currentTrackRating(), row.after);
    }
}

// Album tracks come from the track list, asked even when the player says it has none and its
// introspection data leaves the Player out; a track without an id of its own is listed too; a
// choice goes to the list's entry and plays.
TEST_F(Mpris, TrackList)
{
    QJsonObject anonymous = track("", "Neap Tide");
    anonymous.remove("mpris:trackid");
    const QJsonArray tracks{track("/t/1", "Low Tide"), track("/t/2", "Elsewhere", "Far Album"), track("/t/3", "Spring Tide"),
                            track("/t/4", "Other Artist", "Harbour Lights", "Someone"), anonymous};
    FakePlayer &fake = start({{"vlc", player("Low Tide", "Paused", {{"trackList", true}, {"hasTrackList", false}, {"tracks", tracks}})}});
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_EQ(connection.copyAlbumTrackNames(), (QStringList{"Low Tide", "Spring Tide", "Neap Tide"}));
    fake.clearCalls();
    EXPECT_TRUE(connection.playTrackNamed("Spring Tide"));
    EXPECT_TRUE(connection.copyCurrentTrackName() == "Spring Tide" && connection.isPlaying());
    EXPECT_TRUE(fake.calls().contains("GoTo /t/3") && fake.calls().contains("Play")) << fake.calls().join('\n').toStdString();
    // A title only found outside the album is still played, as the player's own list has it.
    EXPECT_TRUE(connection.playTrackNamed("Elsewhere"));
    EXPECT_EQ(connection.copyCurrentTrackName(), "Elsewhere");
    EXPECT_FALSE(connection.playTrackNamed("Not There"));
}

// Truth from the file: when the track is a local file, its fields, artwork and album come from
// its own tags, however stale the player's metadata is. Without a track list a choice skips
// through the player's queue, each step checked; the queue itself is never replaced.
TEST_F(Mpris, FieldsArtworkAndTrackChoiceComeFromTheFiles)
{
    TempDir folder;
    // Track numbers, not file names, give the album's order.
    const auto make = [&](const char *name, const char *title, const char *album, int track) {
        const std::string path = folder.copyFixture("objects/tagged.mp3", name);
        OpenFile file(path);
        EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, title) | MediaFileSetString(file.ref(), kMediaFileDataIDAlbum, album)
                      | MediaFileSetInteger(file.ref(), kMediaFileDataIDTrackNumber, track)
                      | MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), kMediaFileNoErr);
        return path;
    };
    const std::string first = make("b Low Tide #1.mp3", "Low Tide", "Harbour", 1), second = make("a Spring.mp3", "Spring", "Harbour", 2),
                      away = make("c away.mp3", "Away", "Elsewhere", 1);
    const auto entry = [](const std::string &path, int id) {
        return QJsonObject{{"mpris:trackid", QStringLiteral("/t/%1").arg(id)}, {"xesam:title", "Stale Title"}, {"xesam:album", "Stale Album"},
                           {"xesam:genre", "Stale Genre"}, {"xesam:url", fileUrlForPath(QString::fromStdString(path))}};
    };
    {
        start({{"fake", {{"status", "Playing"}, {"current", 0}, {"tracks", QJsonArray{entry(first, 1)}}}}});
        MprisConnection connection(QDBusConnection::sessionBus());
        EXPECT_EQ(trackFields(connection), QStringList({"Low Tide", "Falco Tinnunculus", "Harbour", "Ambient", QString::fromStdString(first)}));
        const std::vector<uint8_t> cover = OpenFile(first).data(kMediaFileDataIDArtwork);
        EXPECT_EQ(connection.copyCurrentTrackArtwork(), QByteArray(reinterpret_cast<const char *>(cover.data()), qsizetype(cover.size())));
        OpenFile file(first);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Low Tide (Live)")
                      | MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), kMediaFileNoErr);
        EXPECT_EQ(connection.copyCurrentTrackName(), "Low Tide (Live)") << "an edit shows at once";
    }
    const struct {
        const char *situation;
        QJsonArray queue;
        int current;
        bool canSkip;
        const char *choose;
        TrackChoice::Kind before;
        bool played;
        QStringList steps;
        TrackChoice::Kind after;
    } rows[] = {
        {"in order, forward", {entry(first, 1), entry(second, 2)}, 0, true, "Spring", TrackChoice::Stepping, true, {"Next"}, TrackChoice::Stepping},
        {"in order, backward", {entry(first, 1), entry(second, 2)}, 1, true, "Low Tide (Live)", TrackChoice::Stepping, true, {"Previous"},
         TrackChoice::Stepping},
        {"another album between", {entry(first, 1), entry(away, 3), entry(second, 2)}, 0, true, "Spring", TrackChoice::Stepping, false,
         {"Next"}, TrackChoice::Unavailable},
        {"player cannot skip", {entry(first, 1), entry(second, 2)}, 0, false, "Spring", TrackChoice::Unavailable, false, {}, TrackChoice::Unavailable},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.situation);
        FakePlayer &player = start({{"fake", {{"status", "Playing"}, {"current", row.current}, {"tracks", row.queue}, {"canSkip", row.canSkip}}}});
        MprisConnection connection(QDBusConnection::sessionBus());
        EXPECT_EQ(connection.copyAlbumTrackNames(), (QStringList{"Low Tide (Live)", "Spring"}));
        EXPECT_EQ(connection.trackChoice().kind, row.before);
        player.clearCalls();
        EXPECT_EQ(connection.playTrackNamed(row.choose), row.played);
        EXPECT_EQ(player.calls().filter(QRegularExpression("^(Next|Previous|OpenUri|GoTo)")), row.steps);
        EXPECT_EQ(player.calls().contains("Play"), row.played);
        EXPECT_TRUE(!row.played || connection.copyCurrentTrackName() == row.choose) << connection.copyCurrentTrackName().toStdString();
        EXPECT_EQ(connection.trackChoice().kind, row.after);
        EXPECT_EQ(connection.trackChoice().reason.isEmpty(), row.after != TrackChoice::Unavailable);
    }
}

// Each row runs `kestrabel-tag now ARGUMENTS` and finds its text in the output (or, from '{', the
// whole JSON document); "@start" starts the fakes, "@hang" stops the first. A player that stopped
// answering is left out after a second; asked for by name, it is an error.
TEST_F(Mpris, NowCommand)
{
    const struct {
        const char *arguments;
        int status;
        const char *shows;
    } rows[] = {
        {"--json", 1, "{\"player\": null}\n"}, {"", 1, ""}, {"--player", 2, ""}, {"--loud", 2, ""}, {"--help", 0, "usage: kestrabel-tag now"},
        {"@start", 0, ""},
        {"--json", 0, R"({"player": "Fake Player", "playing": true, "title": "Low \"Tide\"", "artist": "The Gulls, Mara", )"
                      R"("album": "Harbour Lights", "genre": "Shanty", "rating": 60, "path": "/no/such/Low Tide.mp3", )"
                      R"("artworkBytes": 6, "albumTracks": ["Low \"Tide\""]})"},
        {"", 0, "Fake Player (playing)"}, {"--player alpha", 0, "Alpha (not playing)"}, {"--player alpha", 0, "Title        : From Alpha"},
        {"--player alpha", 0, "(not a local file)"}, {"@hang", 0, ""}, {"", 0, "Alpha (not playing)"},
        {"--player fake", 1, "the player org.mpris.MediaPlayer2.fake does not answer"},
    };
    for (const auto &row : rows) {
        if (std::string(row.arguments) == "@start") {
            const QJsonObject low{{"mpris:trackid", "/t/1"}, {"xesam:title", "Low \"Tide\""}, {"xesam:artist", QJsonArray{"The Gulls", "Mara"}},
                                  {"xesam:album", "Harbour Lights"}, {"xesam:genre", "Shanty"}, {"xesam:userRating", 0.6},
                                  {"xesam:url", "file:///no/such/Low%20Tide.mp3"}, {"mpris:artUrl", "data:image/jpeg;base64,/9j/4AAQ"}};
            start({{"fake", player("Fake", "Playing", {{"trackList", true}, {"tracks", QJsonArray{low}}})},
                   {"alpha", player("Alpha", "Paused", {{"identity", "Alpha"}, {"tracks", QJsonArray{QJsonObject{{"xesam:title", "From Alpha"},
                                                                                                                 {"xesam:url", "http://stream.invalid/a"}}}}})}});
            continue;
        }
        if (std::string(row.arguments) == "@hang") {
            fakes.front().hang();
            continue;
        }
        std::string output;
        EXPECT_EQ(runCommand(shellQuote(cliPath()) + " now " + row.arguments + " 2>&1", &output), row.status) << row.arguments << ": " << output;
        if (row.shows[0] == '{') {
            EXPECT_EQ(QJsonDocument::fromJson(QByteArray::fromStdString(output)), QJsonDocument::fromJson(row.shows)) << output;
            EXPECT_TRUE(std::string(row.shows).find("null") == std::string::npos || output == row.shows) << output;
        } else {
            EXPECT_NE(output.find(row.shows), std::string::npos) << row.arguments << ": " << output;
        }
    }
    fakes.front().resume();
}
