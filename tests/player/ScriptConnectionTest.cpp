// The scripted connection: its texts byte for byte, which text each operation runs and when, the
// library location cache, and the reading of osascript's results.
#include "AppleScriptValue.h"
#include "ScriptConnection.h"
#include "ScriptTexts.h"

#include <gtest/gtest.h>

#include <map>

using namespace kestrabel::player;

namespace {

struct Line {
    int leadingTabs;
    const char *text;
    int trailingTabs;
};

std::string assemble(std::initializer_list<Line> lines, bool newlineAfterLast)
{
    std::string script;
    size_t index = 0;
    for (const Line &line : lines) {
        script += std::string(size_t(line.leadingTabs), '\t') + line.text + std::string(size_t(line.trailingTabs), '\t');
        if (++index < lines.size() || newlineAfterLast)
            script += '\n';
    }
    return script;
}

TEST(ScriptTexts, OneLineTextsAreExact)
{
    using namespace scripts;
    EXPECT_STREQ(kCurrentTrackName, R"(tell application "iTunes" to get name of current track)");
    EXPECT_STREQ(kCurrentTrackArtist, R"(tell application "iTunes" to get artist of current track)");
    EXPECT_STREQ(kCurrentTrackAlbum, R"(tell application "iTunes" to get album of current track)");
    EXPECT_STREQ(kCurrentTrackGenre, R"(tell application "iTunes" to get genre of current track)");
    EXPECT_STREQ(kCurrentTrackRating, R"(tell application "iTunes" to get the rating of the current track)");
    EXPECT_STREQ(kCurrentTrackArtwork, R"(tell application "iTunes" to get (data of artwork 1 of current track) as picture)");
    EXPECT_STREQ(kCurrentTrackLocation, R"(tell application "iTunes" to get location of current track)");
    EXPECT_STREQ(kPlayerState, R"(tell application "iTunes" to get player state)");
    EXPECT_STREQ(kPlay, R"(tell application "iTunes" to play)");
    EXPECT_STREQ(kPause, R"(tell application "iTunes" to pause)");
    EXPECT_STREQ(kPlayPause, R"(tell application "iTunes" to playpause)");
    EXPECT_STREQ(kStop, R"(tell application "iTunes" to stop)");
    EXPECT_STREQ(kNextTrack, R"(tell application "iTunes" to next track)");
    EXPECT_STREQ(kPreviousTrack, R"(tell application "iTunes" to previous track)");
    EXPECT_STREQ(kSetCurrentTrackRating, R"(tell application "iTunes" to set the rating of the current track to %d)");
    EXPECT_STREQ(kScanLibraryLocations,
                 R"(tell app "iTunes" to get { location, database ID } of every file track of library playlist 1)");
    EXPECT_STREQ(kRefreshTrackByDatabaseID,
                 R"(tell app "iTunes" to refresh (every file track of library playlist 1 whose database ID is %ld))");
}

TEST(ScriptTexts, PlayTrackNamedIsExactTabsIncluded)
{
    const std::string expected = assemble(
        {
            {0, R"(tell application "iTunes")", 16},
            {10, R"(set the matching_tracks to (every track of current playlist whose name is "%@") as list)", 1},
            {10, "set my_track to item 1 of matching_tracks", 13},
            {10, "play my_track", 20},
            {10, "end tell", 0},
        },
        false);
    EXPECT_EQ(std::string(scripts::kPlayTrackNamed), expected);
}

TEST(ScriptTexts, AlbumTrackNamesIsExactTabsIncluded)
{
    const std::string expected = assemble(
        {
            {0, R"(tell application "iTunes")", 13},
            {4, "set foundTracks to {}", 15},
            {4, "set theAlbumID to (album of (current track))", 9},
            {4, "set theArtistID to (artist of (current track))", 9},
            {4, "set albumTrackIDs to (every track in current playlist whose (album is theAlbumID and artist is theArtistID))", 1},
            {4, "repeat with i from 1 to count of albumTrackIDs", 9},
            {4, "set theTrack to (name of item i of albumTrackIDs)", 8},
            {4, "copy (name of item i of albumTrackIDs) to end of foundTracks", 5},
            {4, "end repeat", 18},
            {4, "end tell", 18},
            {4, "set result to foundTracks", 0},
        },
        true);
    EXPECT_EQ(std::string(scripts::kAlbumTrackNames), expected);
}

TEST(ScriptTexts, ArtworkFromFileIsExactFlawsIncluded)
{
    const std::string expected = assemble(
        {
            {0, R"(set theArtFilename to "/private/tmp/%@")", 6},
            {10, "set theFile to (POSIX file theArtFilename)", 6},
            {10, R"(tell application "Image Events")", 8},
            {10, "set myImage to open (theFile as file)", 7},
            {10, R"(save myImage as PICT in (file ":private:tmp:artwork.pict"))", 1},
            {10, "close myImage", 13},
            {10, R"(tell application "iTunes")", 10},
            {11, "set myTrack to current track", 8},
            {11, "set artworkCount to count of artwork of myTrack", 4},
            {11, "set myArt to read file pictFile from 513 as picture", 3},
            {11, "set data of artwork 1 of current track to myArt", 4},
            {10, "end tell", 14},
            {10, R"(tell application "Image Events")", 8},
            {11, R"(delete (file ":private:tmp:artwork.pict"))", 5},
            {10, "end tell", 0},
        },
        false);
    EXPECT_EQ(std::string(scripts::kSetCurrentTrackArtworkFromFile), expected);
}

TEST(ScriptTexts, ArgumentsGoInUnescaped)
{
    const QByteArray play = scripts::playTrackNamedScript(QString::fromUtf8("Say \"Hi\" \\ Café"));
    EXPECT_NE(play.indexOf("whose name is \"Say \"Hi\" \\ Caf\xC3\xA9\") as list"), -1) << play.toStdString();
    EXPECT_EQ(play.count('\t'), 1 + 16 + 10 + 10 + 13 + 10 + 20 + 10);
    EXPECT_EQ(scripts::setCurrentTrackRatingScript(-20),
              "tell application \"iTunes\" to set the rating of the current track to -20");
    EXPECT_EQ(scripts::refreshTrackScript(2147483647),
              "tell app \"iTunes\" to refresh (every file track of library playlist 1 whose database ID is 2147483647)");
    EXPECT_TRUE(scripts::setCurrentTrackArtworkFromFileScript("cover 1.png").startsWith("set theArtFilename to \"/private/tmp/cover 1.png\"\t"));
}

// A runner that records every script and answers from a table.
class RecordingRunner : public ScriptRunner {
public:
    bool running = true;
    bool launchWorks = true;
    int launches = 0;
    int error = 0;
    std::map<QByteArray, QString> strings;
    std::map<QByteArray, qint32> longs;
    std::map<QByteArray, quint32> enums;
    QString aliasPath;
    std::optional<QStringList> list;
    QByteArray data;
    QList<LibraryLocation> library;
    QList<QByteArray> scripts;
    QList<QByteArray> quiet;

    bool isPlayerRunning() override { return running; }
    bool launchPlayer() override
    {
        ++launches;
        running = launchWorks;
        return launchWorks;
    }
    int run(const QByteArray &script) override
    {
        scripts << script;
        return error;
    }
    void runQuietly(const QByteArray &script) override { quiet << script; }
    QString resultAsString(const QByteArray &script) override
    {
        scripts << script;
        auto found = strings.find(script);
        return found == strings.end() ? QStringLiteral("") : found->second;
    }
    qint32 resultAsLong(const QByteArray &script) override
    {
        scripts << script;
        return longs.count(script) ? longs[script] : 0;
    }
    quint32 resultAsEnum(const QByteArray &script) override
    {
        scripts << script;
        return enums.count(script) ? enums[script] : 0;
    }
    QString resultAsAliasPath(const QByteArray &script) override
    {
        scripts << script;
        return aliasPath;
    }
    std::optional<QStringList> resultAsStringList(const QByteArray &script) override
    {
        scripts << script;
        return list;
    }
    QByteArray resultAsData(const QByteArray &script, int prefix) override
    {
        scripts << script;
        return data.isEmpty() ? QByteArray() : QByteArray(prefix, '\0') + data;
    }
    QList<LibraryLocation> resultAsLibraryLocations(const QByteArray &script) override
    {
        quiet << script;
        return library;
    }
};

struct ScriptedPlayer {
    RecordingRunner *runner;
    ScriptConnection connection;
    ScriptedPlayer() : ScriptedPlayer(std::make_unique<RecordingRunner>()) {}
    explicit ScriptedPlayer(std::unique_ptr<RecordingRunner> owned) : runner(owned.get()), connection(std::move(owned)) {}
};

TEST(ScriptConnection, QueriesRunTheirTextsOnlyWhileThePlayerRuns)
{
    ScriptedPlayer player;
    player.runner->running = false;
    EXPECT_TRUE(player.connection.copyCurrentTrackName().isNull());
    EXPECT_TRUE(player.connection.copyCurrentTrackArtist().isNull());
    EXPECT_TRUE(player.connection.copyCurrentTrackPath().isNull());
    EXPECT_TRUE(player.connection.copyCurrentTrackArtwork().isNull());
    EXPECT_EQ(player.connection.currentTrackRating(), 0);
    EXPECT_FALSE(player.connection.isPlaying());
    EXPECT_TRUE(player.connection.copyAlbumTrackNames().isEmpty());
    EXPECT_FALSE(player.connection.setCurrentTrackRating(60));
    EXPECT_TRUE(player.connection.playerIdentity().isNull());
    EXPECT_TRUE(player.runner->scripts.isEmpty());

    player.runner->running = true;
    player.runner->strings[scripts::kCurrentTrackName] = "Low Tide";
    player.runner->longs[scripts::kCurrentTrackRating] = 60;
    player.runner->aliasPath = "/Users/me/Music/Low Tide.mp3";
    EXPECT_EQ(player.connection.copyCurrentTrackName(), "Low Tide");
    const QString artist = player.connection.copyCurrentTrackArtist();
    EXPECT_TRUE(artist.isEmpty() && !artist.isNull());
    EXPECT_EQ(player.connection.currentTrackRating(), 60);
    EXPECT_EQ(player.connection.copyCurrentTrackPath(), "/Users/me/Music/Low Tide.mp3");
    EXPECT_EQ(player.runner->scripts,
              (QList<QByteArray>{scripts::kCurrentTrackName, scripts::kCurrentTrackArtist, scripts::kCurrentTrackRating,
                                 scripts::kCurrentTrackLocation}));
}

TEST(ScriptConnection, PlayingOnlyForThePlayingState)
{
    ScriptedPlayer player;
    player.runner->enums[scripts::kPlayerState] = scripts::kPlayerStatePlaying;
    EXPECT_TRUE(player.connection.isPlaying());
    player.runner->enums[scripts::kPlayerState] = playerStateCode("paused");
    EXPECT_FALSE(player.connection.isPlaying());
    player.runner->enums[scripts::kPlayerState] = 0;
    EXPECT_FALSE(player.connection.isPlaying());
}

TEST(ScriptConnection, ArtworkIsAPictFileImageOrNone)
{
    ScriptedPlayer player;
    EXPECT_TRUE(player.connection.copyCurrentTrackArtwork().isNull());
    player.runner->data = QByteArray(1000, '\x11');
    const QByteArray pict = player.connection.copyCurrentTrackArtwork();
    ASSERT_EQ(pict.size(), 1512);
    EXPECT_EQ(pict.left(512), QByteArray(512, '\0'));
    EXPECT_EQ(pict.mid(512), QByteArray(1000, '\x11'));
}

TEST(ScriptConnection, CommandsAreSentEvenWhenThePlayerIsNotRunning)
{
    ScriptedPlayer player;
    player.runner->running = false;
    player.runner->error = -600;
    EXPECT_FALSE(player.connection.play());
    EXPECT_FALSE(player.connection.pause());
    EXPECT_FALSE(player.connection.playPause());
    EXPECT_FALSE(player.connection.stop());
    EXPECT_FALSE(player.connection.nextTrack());
    EXPECT_FALSE(player.connection.previousTrack());
    EXPECT_FALSE(player.connection.playTrackNamed("Low Tide"));
    EXPECT_EQ(player.runner->scripts,
              (QList<QByteArray>{scripts::kPlay, scripts::kPause, scripts::kPlayPause, scripts::kStop, scripts::kNextTrack,
                                 scripts::kPreviousTrack, scripts::playTrackNamedScript("Low Tide")}));
    player.runner->running = true;
    player.runner->error = 0;
    EXPECT_TRUE(player.connection.setCurrentTrackRating(73));
    EXPECT_EQ(player.runner->scripts.constLast(), scripts::setCurrentTrackRatingScript(73));
    EXPECT_TRUE(player.connection.canSetRating());
}

TEST(ScriptConnection, AlbumTrackNamesKeepTheFirstTitle)
{
    ScriptedPlayer player;
    player.runner->list = QStringList{"a", "b", "c"};
    EXPECT_EQ(player.connection.copyAlbumTrackNames(), (QStringList{"a", "b", "c"}));
    player.runner->list.reset();
    EXPECT_TRUE(player.connection.copyAlbumTrackNames().isEmpty());
}

TEST(ScriptConnection, LaunchStartsThePlayerOnlyWhenItIsNotRunning)
{
    ScriptedPlayer player;
    EXPECT_TRUE(player.connection.launch());
    EXPECT_EQ(player.runner->launches, 0);
    player.runner->running = false;
    EXPECT_TRUE(player.connection.launch());
    EXPECT_EQ(player.runner->launches, 1);
    player.runner->running = false;
    player.runner->launchWorks = false;
    EXPECT_FALSE(player.connection.launch());
}

TEST(ScriptConnection, PathsAreConvertedToLibraryLocations)
{
    EXPECT_EQ(libraryLocationForPath("/Volumes/Music/Pop/a.mp3"), "Music:Pop:a.mp3");
    EXPECT_EQ(libraryLocationForPath("/Users/me/a.mp3"), ":Users:me:a.mp3");
    EXPECT_EQ(libraryLocationForPath("/VolumesX/a.mp3"), ":VolumesX:a.mp3");
    EXPECT_EQ(libraryLocationForPath("relative/a.mp3"), "relative:a.mp3");
}

TEST(ScriptConnection, RefreshFindsTheTrackInTheLibraryScannedOnce)
{
    ScriptedPlayer player;
    player.runner->library = {{"Music:Pop:a.mp3", 4242}, {":Users:me:b.mp3", 7}, {"Music:Pop:a.mp3", 99}};
    player.connection.refreshTrackAtPath("/Volumes/Music/Pop/a.mp3");
    player.connection.refreshTrackAtPath("/Users/me/b.mp3");
    player.connection.refreshTrackAtPath("/Users/me/not-in-library.mp3");
    EXPECT_EQ(player.runner->quiet,
              (QList<QByteArray>{scripts::kScanLibraryLocations, scripts::refreshTrackScript(4242), scripts::refreshTrackScript(7)}));

    // A track added after the scan is not found; an unforced scan does not rebuild the cache.
    player.runner->library.append({":Users:me:new.mp3", 8});
    player.connection.scanLibraryLocations(false);
    player.connection.refreshTrackAtPath("/Users/me/new.mp3");
    EXPECT_EQ(player.runner->quiet.size(), 3);
    player.connection.scanLibraryLocations(true);
    player.connection.refreshTrackAtPath("/Users/me/new.mp3");
    EXPECT_EQ(player.runner->quiet.constLast(), scripts::refreshTrackScript(8));
}

TEST(ScriptConnection, NothingIsScannedOrRefreshedWhileThePlayerIsNotRunning)
{
    ScriptedPlayer player;
    player.runner->running = false;
    player.runner->library = {{":Users:me:b.mp3", 7}};
    player.connection.scanLibraryLocations(true);
    player.connection.refreshTrackAtPath("/Users/me/b.mp3");
    EXPECT_TRUE(player.runner->quiet.isEmpty());
}

TEST(ScriptConnection, AFailedScanIsNotRepeatedUnlessForced)
{
    ScriptedPlayer player;
    player.connection.refreshTrackAtPath("/Users/me/b.mp3");
    player.runner->library = {{":Users:me:b.mp3", 7}};
    player.connection.refreshTrackAtPath("/Users/me/b.mp3");
    EXPECT_EQ(player.runner->quiet, (QList<QByteArray>{scripts::kScanLibraryLocations}));
}

TEST(AppleScriptValue, ReadsTheSourceFormsOsascriptPrints)
{
    auto text = parseAppleScriptValue(R"("Say \"Hi\" \\ there\n")");
    ASSERT_TRUE(text);
    EXPECT_EQ(text->kind, AppleScriptValue::Kind::Text);
    EXPECT_EQ(text->text, "Say \"Hi\" \\ there\n");

    auto list = parseAppleScriptValue(R"({"a", "b", {}, 42, -1.5, playing, missing value})");
    ASSERT_TRUE(list);
    ASSERT_EQ(list->items.size(), 7);
    EXPECT_EQ(list->items[1].text, "b");
    EXPECT_EQ(list->items[2].kind, AppleScriptValue::Kind::List);
    EXPECT_EQ(list->items[3].number, 42);
    EXPECT_EQ(list->items[4].number, -1.5);
    EXPECT_EQ(list->items[5].kind, AppleScriptValue::Kind::Word);
    EXPECT_EQ(playerStateCode(list->items[5].text), scripts::kPlayerStatePlaying);
    EXPECT_EQ(list->items[6].text, "missing value");

    auto locations = parseAppleScriptValue(R"({{alias "Music:Pop:a.mp3", file "HD:b.mp3"}, {4242, 7}})");
    ASSERT_TRUE(locations);
    EXPECT_EQ(locations->items[0].items[0].kind, AppleScriptValue::Kind::Alias);
    EXPECT_EQ(locations->items[0].items[0].text, "Music:Pop:a.mp3");
    EXPECT_EQ(locations->items[0].items[1].kind, AppleScriptValue::Kind::File);
    EXPECT_EQ(locations->items[1].items[0].number, 4242);

    auto data = parseAppleScriptValue(QString::fromUtf8("«data PICT00FFd8»"));
    ASSERT_TRUE(data);
    EXPECT_EQ(data->dataType, "PICT");
    EXPECT_EQ(data->data, QByteArray::fromHex("00ffd8"));

    EXPECT_EQ(playerStateCode("fast forwarding"), 0x6B505346u);
    EXPECT_EQ(playerStateCode("dancing"), 0u);
}

TEST(AppleScriptValue, RefusesBrokenOrRunawayInput)
{
    for (const char *broken : {"", "\"open", "{\"a\",", "{\"a\" \"b\"}", "«data PIC»", "«data PICT0»", "«data PICTzz»",
                               "«data PICT00", "\"a\" trailing", "}", "-"})
        EXPECT_FALSE(parseAppleScriptValue(QString::fromUtf8(broken))) << broken;
    EXPECT_FALSE(parseAppleScriptValue(QString(100000, '{') + QString(100000, '}')));
    EXPECT_TRUE(parseAppleScriptValue(QString(20, '{') + QString(20, '}')));
}

TEST(AppleScriptValue, LongResultsAreCutWithoutSplittingACharacter)
{
    const QString exact(1024, 'x');
    EXPECT_EQ(firstUnits(exact, 1024), exact);
    EXPECT_EQ(firstUnits(exact + "y", 1024), exact);
    const QString pair = QString::fromUtf8("\xF0\x9F\x8E\xB5");
    EXPECT_EQ(firstUnits(QString(1023, 'x') + pair, 1024), QString(1023, 'x'));
}

} // namespace
