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

TEST_F(FileTruthTest, AlbumFromTheFolderAndPlayByNameOpensTheFile)
{
    FakePlayer player("fake", staleState());
    ASSERT_TRUE(player.ready());
    MprisConnection connection(QDBusConnection::sessionBus());
    EXPECT_EQ(connection.copyAlbumTrackNames(), (QStringList{"Low Tide", "Spring"}));
    player.clearCalls();
    EXPECT_TRUE(connection.playTrackNamed("Spring"));
    const QStringList calls = player.calls();
    EXPECT_TRUE(calls.contains("OpenUri " + fileUrlForPath(QString::fromStdString(second())))) << calls.join('\n').toStdString();
    EXPECT_EQ(calls.constLast(), "Play");
    EXPECT_FALSE(connection.playTrackNamed("Away"));
}

} // namespace
