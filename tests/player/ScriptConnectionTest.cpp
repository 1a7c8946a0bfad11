// The scripted connection: which text each operation runs and when, the library location
// cache, and the reading of osascript's results.
#include "AppleScriptValue.h"
#include "BridgeChecks.h"
#include "ScriptConnection.h"
#include "ScriptTexts.h"

#include <QVariant>

#include <map>

using namespace kestrabel::player;
using namespace kestrabel::player::scripts;

namespace {

// A runner that records every script and answers from a table.
class RecordingRunner : public ScriptRunner {
public:
    bool running = true, launchWorks = true;
    int launches = 0, error = 0;
    std::map<QByteArray, QVariant> answers;
    std::optional<QStringList> list;
    QList<LibraryLocation> library;
    QList<QByteArray> scripts, quiet;

    bool isPlayerRunning() override { return running; }
    bool launchPlayer() override { return ++launches, running = launchWorks; }
    int run(const QByteArray &script) override { return scripts << script, error; }
    void runQuietly(const QByteArray &script) override { quiet << script; }
    QString resultAsString(const QByteArray &script) override { return answer(script, QStringLiteral("")).toString(); }
    qint32 resultAsLong(const QByteArray &script) override { return answer(script, 0).toInt(); }
    quint32 resultAsEnum(const QByteArray &script) override { return answer(script, 0).toUInt(); }
    QString resultAsAliasPath(const QByteArray &script) override { return answer(script, QString()).toString(); }
    std::optional<QStringList> resultAsStringList(const QByteArray &script) override { return scripts << script, list; }
    QByteArray resultAsData(const QByteArray &script, int prefix) override
    {
        const QByteArray data = answer(script, QByteArray()).toByteArray();
        return data.isEmpty() ? QByteArray() : QByteArray(prefix, '\0') + data;
    }
    QList<LibraryLocation> resultAsLibraryLocations(const QByteArray &script) override { return quiet << script, library; }

private:
    QVariant answer(const QByteArray &script, const QVariant &otherwise)
    {
        scripts << script;
        return answers.count(script) ? answers[script] : otherwise;
    }
};

struct ScriptedPlayer {
    RecordingRunner *runner = new RecordingRunner;
    ScriptConnection connection{std::unique_ptr<RecordingRunner>(runner)};
};

// A parsed value written back in one line, for comparing.
QString describe(const AppleScriptValue &v)
{
    using K = AppleScriptValue::Kind;
    QStringList items;
    for (const AppleScriptValue &item : v.items)
        items << describe(item);
    switch (v.kind) {
    case K::Text: return "t:" + v.text;
    case K::Number: return "n:" + QString::number(v.number);
    case K::List: return "[" + items.join(", ") + "]";
    case K::Alias: return "alias:" + v.text;
    case K::File: return "file:" + v.text;
    case K::Data: return "data:" + v.dataType + ":" + v.data.toHex();
    case K::Word: return "w:" + v.text;
    }
    return {};
}

} // namespace

TEST(ScriptConnection, QueriesRunOnlyWhileThePlayerRunsCommandsAlways)
{
    ScriptedPlayer player;
    RecordingRunner &runner = *player.runner;
    runner.running = false;
    runner.error = -600;
    kestrabel::test::expectNoPlayer(player.connection);
    EXPECT_EQ(runner.scripts, (QList<QByteArray>{kPlay, kPause, kPlayPause, kStop, kNextTrack, kPreviousTrack, playTrackNamedScript("Any")}));
    // Arguments go in unescaped.
    EXPECT_NE(playTrackNamedScript("Say \"Hi\" \\ Café").indexOf("whose name is \"Say \"Hi\" \\ Caf\xC3\xA9\") as list"), -1);

    runner.running = true;
    runner.error = 0;
    runner.scripts.clear();
    runner.answers = {{kCurrentTrackName, "Low Tide"}, {kCurrentTrackRating, 60}, {kCurrentTrackLocation, "/Users/me/a.mp3"},
                      {kPlayerState, kPlayerStatePlaying}, {kCurrentTrackArtwork, QByteArray(1000, '\x11')}};
    EXPECT_EQ(player.connection.copyCurrentTrackName(), "Low Tide");
    const QString artist = player.connection.copyCurrentTrackArtist();
    EXPECT_TRUE(artist.isEmpty() && !artist.isNull());
    EXPECT_EQ(player.connection.currentTrackRating(), 60);
    EXPECT_EQ(player.connection.copyCurrentTrackPath(), "/Users/me/a.mp3");
    EXPECT_TRUE(player.connection.isPlaying());
    EXPECT_EQ(player.connection.copyCurrentTrackArtwork(), QByteArray(512, '\0') + QByteArray(1000, '\x11')) << "a PICT file image";
    EXPECT_EQ(runner.scripts, (QList<QByteArray>{kCurrentTrackName, kCurrentTrackArtist, kCurrentTrackRating, kCurrentTrackLocation,
                                                 kPlayerState, kCurrentTrackArtwork}));
    runner.answers[kPlayerState] = playerStateCode("paused");
    EXPECT_FALSE(player.connection.isPlaying());
    runner.list = QStringList{"a", "b", "c"};
    EXPECT_EQ(player.connection.copyAlbumTrackNames(), (QStringList{"a", "b", "c"}));
    EXPECT_TRUE(player.connection.canSetRating() && player.connection.setCurrentTrackRating(-20));
    EXPECT_EQ(runner.scripts.constLast(), "tell application \"iTunes\" to set the rating of the current track to -20");

    // Launch starts the player only when it is not running.
    EXPECT_TRUE(player.connection.launch());
    runner.running = false;
    EXPECT_TRUE(player.connection.launch());
    runner.running = runner.launchWorks = false;
    EXPECT_FALSE(player.connection.launch());
    EXPECT_EQ(runner.launches, 2);
}

TEST(ScriptConnection, RefreshFindsTheTrackInTheLibraryScannedOnce)
{
    const std::pair<const char *, const char *> paths[] = {{"/Volumes/Music/Pop/a.mp3", "Music:Pop:a.mp3"},
        {"/Users/me/a.mp3", ":Users:me:a.mp3"}, {"/VolumesX/a.mp3", ":VolumesX:a.mp3"}, {"relative/a.mp3", "relative:a.mp3"}};
    for (const auto &[path, location] : paths)
        EXPECT_EQ(libraryLocationForPath(path), location);

    ScriptedPlayer player;
    RecordingRunner &runner = *player.runner;
    runner.running = false;
    player.connection.scanLibraryLocations(true);
    player.connection.refreshTrackAtPath("/Users/me/b.mp3");
    EXPECT_TRUE(runner.quiet.isEmpty()) << "nothing while the player is not running";
    runner.running = true;
    runner.library = {{"Music:Pop:a.mp3", 4242}, {":Users:me:b.mp3", 7}, {"Music:Pop:a.mp3", 99}};
    for (const char *path : {"/Volumes/Music/Pop/a.mp3", "/Users/me/b.mp3", "/Users/me/not-in-library.mp3"})
        player.connection.refreshTrackAtPath(path);
    EXPECT_EQ(runner.quiet, (QList<QByteArray>{kScanLibraryLocations, refreshTrackScript(4242), refreshTrackScript(7)}));
    // A track added after the scan is not found; an unforced scan does not rebuild the cache.
    runner.library.append({":Users:me:new.mp3", 2147483647});
    player.connection.scanLibraryLocations(false);
    player.connection.refreshTrackAtPath("/Users/me/new.mp3");
    EXPECT_EQ(runner.quiet.size(), 3);
    player.connection.scanLibraryLocations(true);
    player.connection.refreshTrackAtPath("/Users/me/new.mp3");
    EXPECT_EQ(runner.quiet.constLast(),
              "tell app \"iTunes\" to refresh (every file track of library playlist 1 whose database ID is 2147483647)");

    ScriptedPlayer failed;
    failed.connection.refreshTrackAtPath("/Users/me/b.mp3");
    failed.runner->library = {{":Users:me:b.mp3", 7}};
    failed.connection.refreshTrackAtPath("/Users/me/b.mp3");
    EXPECT_EQ(failed.runner->quiet, (QList<QByteArray>{kScanLibraryLocations})) << "a failed scan is not repeated unless forced";
}

TEST(AppleScriptValue, ReadsTheSourceFormsOsascriptPrintsAndRefusesTheRest)
{
    const std::pair<QString, const char *> rows[] = {
        {R"("Say \"Hi\" \\ there\n")", "t:Say \"Hi\" \\ there\n"},
        {R"({"a", "b", {}, 42, -1.5, playing, missing value})", "[t:a, t:b, [], n:42, n:-1.5, w:playing, w:missing value]"},
        {R"({{alias "Music:Pop:a.mp3", file "HD:b.mp3"}, {4242, 7}})", "[[alias:Music:Pop:a.mp3, file:HD:b.mp3], [n:4242, n:7]]"},
        {"«data PICT00FFd8»", "data:PICT:00ffd8"}, {QString(20, '{') + QString(20, '}'), "[[[[[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]]]]]"},
        {"", nullptr}, {"\"open", nullptr}, {"{\"a\",", nullptr}, {"{\"a\" \"b\"}", nullptr}, {"«data PIC»", nullptr},
        {"«data PICT0»", nullptr}, {"«data PICTzz»", nullptr}, {"«data PICT00", nullptr}, {"\"a\" trailing", nullptr},
        {"}", nullptr}, {"-", nullptr}, {QString(100000, '{') + QString(100000, '}'), nullptr},
    };
    for (const auto &[source, described] : rows) {
        const auto value = parseAppleScriptValue(source);
        EXPECT_EQ(value ? describe(*value) : QString(), described ? QString::fromUtf8(described) : QString()) << source.left(40).toStdString();
    }
    const std::pair<const char *, quint32> states[] = {{"playing", kPlayerStatePlaying}, {"fast forwarding", 0x6B505346u}, {"dancing", 0}};
    for (const auto &[name, code] : states)
        EXPECT_EQ(playerStateCode(name), code) << name;
    // Long results are cut without splitting a character.
    const QString exact(1024, 'x');
    EXPECT_EQ(firstUnits(exact + "y", 1024), exact);
    EXPECT_EQ(firstUnits(QString(1023, 'x') + QString::fromUtf8("\xF0\x9F\x8E\xB5"), 1024), QString(1023, 'x'));
}
