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

TEST(FileTruth, FieldsArtworkAndTrackChoiceComeFromTheFiles)
{
    if (!privateBusRunning())
        GTEST_SKIP() << "dbus-daemon is not available";
    if (!haveTool("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not installed";
    TempDir folder;
    const std::string cover = folder.file("cover.png"), first = folder.file("01 Low Tide #1.mp3"), second = folder.file("02 Spring.mp3"),
                      away = folder.file("03 away.mp3");
    const std::string mp3 = " -c:a libmp3lame -b:a 32k -ac 1 -ar 22050 -id3v2_version 3 -metadata artist=Gulls";
    const std::string sine = " && ffmpeg -v error -y -f lavfi -i sine=duration=1";
    const std::string command = "ffmpeg -v error -y -f lavfi -i color=c=red:s=8x8 -frames:v 1 " + shellQuote(cover) + sine + " -i "
        + shellQuote(cover) + " -map 0 -map 1 -c:v copy -metadata:s:v comment='Cover (front)'" + mp3
        + " -metadata title='Low Tide' -metadata album=Harbour -metadata track=1 " + shellQuote(first) + sine + mp3
        + " -metadata title=Spring -metadata album=Harbour -metadata track=2 " + shellQuote(second) + sine + mp3
        + " -metadata title=Away -metadata album=Elsewhere -metadata track=1 " + shellQuote(away);
    ASSERT_EQ(runCommand(command), 0) << command;
    const auto entry = [](const std::string &path, int id, const char *title = "Stale Title") {
        return QJsonObject{{"mpris:trackid", QStringLiteral("/t/%1").arg(id)}, {"xesam:title", title}, {"xesam:album", "Stale Album"},
                           {"xesam:genre", "Stale Genre"}, {"xesam:url", fileUrlForPath(QString::fromStdString(path))}};
    };
    {
        FakePlayer player("fake", {{"status", "Playing"}, {"current", 0}, {"tracks", QJsonArray{entry(first, 1)}}});
        ASSERT_TRUE(player.ready());
        MprisConnection connection(QDBusConnection::sessionBus());
        // The file has no genre: empty, not the player's stale one.
        EXPECT_EQ(QStringList({connection.copyCurrentTrackName(), connection.copyCurrentTrackArtist(), connection.copyCurrentTrackAlbum(),
                               connection.copyCurrentTrackGenre(), connection.copyCurrentTrackPath()}),
                  QStringList({"Low Tide", "Gulls", "Harbour", "", QString::fromStdString(first)}));
        const std::vector<uint8_t> png = readFile(cover);
        EXPECT_EQ(connection.copyCurrentTrackArtwork(), QByteArray(reinterpret_cast<const char *>(png.data()), qsizetype(png.size())));
        {
            OpenFile file(first);
            ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Low Tide (Live)"), kMediaFileNoErr);
            ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), kMediaFileNoErr);
        }
        EXPECT_EQ(connection.copyCurrentTrackName(), "Low Tide (Live)") << "an edit shows at once";
        player.vanish();
    }

    // Without a track list a choice skips through the player's queue, each step checked; the
    // queue itself is never replaced.
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
        FakePlayer player("fake", {{"status", "Playing"}, {"current", row.current}, {"tracks", row.queue}, {"canSkip", row.canSkip}});
        ASSERT_TRUE(player.ready());
        MprisConnection connection(QDBusConnection::sessionBus());
        EXPECT_EQ(connection.copyAlbumTrackNames(), (QStringList{"Low Tide (Live)", "Spring"}));
        EXPECT_EQ(connection.trackChoice().kind, row.before);
        player.clearCalls();
        EXPECT_EQ(connection.playTrackNamed(row.choose), row.played);
        EXPECT_EQ(player.calls().filter(QRegularExpression("^(Next|Previous|OpenUri|GoTo)")), row.steps);
        EXPECT_EQ(player.calls().contains("Play"), row.played);
        if (row.played) {
            EXPECT_EQ(connection.copyCurrentTrackName(), row.choose);
        }
        EXPECT_EQ(connection.trackChoice().kind, row.after);
        EXPECT_EQ(connection.trackChoice().reason.isEmpty(), row.after != TrackChoice::Unavailable);
        player.vanish();
    }
}
