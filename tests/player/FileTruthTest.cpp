// Truth from the file: when the fake player's track is a local file, its fields, artwork and
// album come from the file's own tags, however stale the player's metadata is.
#include <kestrabel/MediaFile.h>
#include "MprisConnection.h"
#include "PlayerTestSupport.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QJsonArray>

#include <gtest/gtest.h>

using namespace kestrabel::player;
using namespace kestrabel::test;

namespace {

class FileTruthTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!privateBusRunning())
            GTEST_SKIP() << "dbus-daemon is not available";
        if (!haveTool("ffmpeg"))
            GTEST_SKIP() << "ffmpeg is not installed";
        cover_ = folder_.file("cover.png");
        const std::string mp3 = " -c:a libmp3lame -b:a 32k -ac 1 -ar 22050 -id3v2_version 3 -metadata artist=Gulls";
        std::string command = "ffmpeg -v error -y -f lavfi -i color=c=red:s=8x8 -frames:v 1 " + shellQuote(cover_)
                              + " && ffmpeg -v error -y -f lavfi -i sine=duration=1 -i " + shellQuote(cover_)
                              + " -map 0 -map 1 -c:v copy -metadata:s:v comment='Cover (front)'" + mp3
                              + " -metadata title='Low Tide' -metadata album=Harbour -metadata track=1 "
                              + shellQuote(first()) + " && ffmpeg -v error -y -f lavfi -i sine=duration=1" + mp3
                              + " -metadata title=Spring -metadata album=Harbour -metadata track=2 "
                              + shellQuote(second()) + " && ffmpeg -v error -y -f lavfi -i sine=duration=1" + mp3
                              + " -metadata title=Away -metadata album=Elsewhere -metadata track=1 "
                              + shellQuote(folder_.file("03 away.mp3"));
        ASSERT_EQ(runCommand(command), 0) << command;
        OpenFile probe(first());
        if (probe.status() != kMediaFileNoErr || probe.string(kMediaFileDataIDTitle) != "Low Tide")
            GTEST_SKIP() << "the tag library does not read MP3 files yet";
    }

    std::string first() const { return folder_.file("01 Low Tide #1.mp3"); }
    std::string second() const { return folder_.file("02 Spring.mp3"); }

    // What a player shows after the file was edited behind its back.
    QJsonObject staleState() const
    {
        const QJsonObject track{{"mpris:trackid", "/t/1"},
                                {"xesam:title", "Stale Title"},
                                {"xesam:album", "Stale Album"},
                                {"xesam:artist", QJsonArray{"Stale Artist"}},
                                {"xesam:genre", "Stale Genre"},
                                {"xesam:url", fileUrlForPath(QString::fromStdString(first()))}};
        return {{"status", "Playing"}, {"current", 0}, {"tracks", QJsonArray{track}}};
    }

    TempDir folder_;
    std::string cover_;
};

TEST_F(FileTruthTest, FieldsAndArtworkComeFromTheFile)
{
    FakePlayer player("fake", staleState());
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_EQ(connection.copyCurrentTrackName(), "Low Tide");
    EXPECT_EQ(connection.copyCurrentTrackArtist(), "Gulls");
    EXPECT_EQ(connection.copyCurrentTrackAlbum(), "Harbour");
    // The file has no genre: empty, not the player's stale one.
    EXPECT_EQ(connection.copyCurrentTrackGenre(), "");
    EXPECT_EQ(connection.copyCurrentTrackPath().toStdString(), first());
    const std::vector<uint8_t> cover = readFile(cover_);
    EXPECT_EQ(connection.copyCurrentTrackArtwork(), QByteArray(reinterpret_cast<const char *>(cover.data()), qsizetype(cover.size())));
}

TEST_F(FileTruthTest, AnEditShowsAtOnce)
{
    FakePlayer player("fake", staleState());
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    ASSERT_EQ(connection.copyCurrentTrackName(), "Low Tide");
    {
        OpenFile file(first());
        ASSERT_EQ(file.status(), kMediaFileNoErr);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Low Tide (Live)"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), kMediaFileNoErr);
    }
    EXPECT_EQ(connection.copyCurrentTrackName(), "Low Tide (Live)");
}

// Without a track list a choice skips through the player's queue, each step checked; the queue
// itself is never replaced.
TEST_F(FileTruthTest, TrackChoiceWithoutTrackListStepsThroughTheQueueOrRefuses)
{
    const auto entry = [](const std::string &path, int id) {
        return QJsonObject{{"mpris:trackid", QStringLiteral("/t/%1").arg(id)},
                           {"xesam:url", fileUrlForPath(QString::fromStdString(path))}};
    };
    const std::string away = folder_.file("03 away.mp3");
    struct Row {
        const char *situation;
        QJsonArray queue;
        int current;
        bool canSkip;
        const char *choose;
        TrackChoice::Kind before;
        bool played;
        QStringList steps;
        TrackChoice::Kind after;
    };
    const Row rows[] = {
        {"album in order, forward", {entry(first(), 1), entry(second(), 2)}, 0, true, "Spring", TrackChoice::Stepping,
         true, {"Next"}, TrackChoice::Stepping},
        {"album in order, backward", {entry(first(), 1), entry(second(), 2)}, 1, true, "Low Tide",
         TrackChoice::Stepping, true, {"Previous"}, TrackChoice::Stepping},
        {"another album between", {entry(first(), 1), entry(away, 3), entry(second(), 2)}, 0, true, "Spring",
         TrackChoice::Stepping, false, {"Next"}, TrackChoice::Unavailable},
        {"player cannot skip", {entry(first(), 1), entry(second(), 2)}, 0, false, "Spring", TrackChoice::Unavailable,
         false, {}, TrackChoice::Unavailable},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.situation);
        FakePlayer player("fake", {{"status", "Playing"}, {"current", row.current}, {"tracks", row.queue},
                                   {"canSkip", row.canSkip}});
        ASSERT_TRUE(player.ready());
        MprisConnection connection(QDBusConnection::sessionBus());
        EXPECT_EQ(connection.copyAlbumTrackNames(), (QStringList{"Low Tide", "Spring"}));
        EXPECT_EQ(connection.trackChoice().kind, row.before);
        player.clearCalls();
        EXPECT_EQ(connection.playTrackNamed(row.choose), row.played);
        const QStringList calls = player.calls();
        EXPECT_EQ(calls.filter(QRegularExpression("^(Next|Previous|OpenUri|GoTo)")), row.steps);
        EXPECT_EQ(calls.contains("Play"), row.played);
        if (row.played) {
            EXPECT_EQ(connection.copyCurrentTrackName(), row.choose);
        }
        const TrackChoice after = connection.trackChoice();
        EXPECT_EQ(after.kind, row.after);
        EXPECT_EQ(after.reason.isEmpty(), row.after != TrackChoice::Unavailable);
        player.vanish();
    }
}

} // namespace
