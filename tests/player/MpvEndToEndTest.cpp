// The bridge against a real player: mpv with the mpv-mpris plugin on a private bus, playing MP3
// files made with ffmpeg.
#include <kestrabel/MediaFile.h>
#include "BridgeChecks.h"
#include "MprisConnection.h"
#include "PlayerTestSupport.h"
#include "TestSupport.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QFileInfo>
#include <QSignalSpy>

using namespace kestrabel::player;
using namespace kestrabel::test;

namespace {

constexpr char kMprisPlugin[] = "/usr/lib/mpv-mpris/mpris.so";
constexpr char kMpv[] = "org.mpris.MediaPlayer2.mpv";

// The album's files are listed out of order; "Elsewhere" shares the folder but not the album.
constexpr struct {
    const char *file, *title, *album;
    int track, frequency;
} kSongs[] = {{"b-two.mp3", "Two", "Record", 2, 440}, {"a-one.mp3", "One", "Record", 1, 330},
              {"c-three.mp3", "Three", "Record", 3, 550}, {"d-other.mp3", "Elsewhere", "Other Record", 1, 660}};

QVariantMap mpvPlayer() { return playerProperties(kMpv, "org.mpris.MediaPlayer2.Player").value_or(QVariantMap()); }

} // namespace

TEST(Mpv, FieldsTransportAlbumAndTheEditFlow)
{
    if (!privateBusRunning())
        GTEST_SKIP() << "dbus-daemon is not available";
    if (!haveTool("mpv") || !QFileInfo::exists(kMprisPlugin))
        GTEST_SKIP() << "mpv or mpv-mpris is not installed";
    if (runCommand("ffmpeg -hide_banner -encoders 2>/dev/null | grep -q libmp3lame") != 0)
        GTEST_SKIP() << "ffmpeg with libmp3lame is not installed";
    TempDir folder;
    std::string command = "ffmpeg -v error -y";
    for (const auto &song : kSongs)
        command += " -f lavfi -i sine=frequency=" + std::to_string(song.frequency) + ":duration=15";
    int input = 0;
    for (const auto &song : kSongs)
        command += " -map " + std::to_string(input++) + " -ac 1 -ar 22050 -c:a libmp3lame -b:a 32k -id3v2_version 3 -metadata title="
                   + shellQuote(song.title) + " -metadata artist=Band -metadata album=" + shellQuote(song.album) + " -metadata track="
                   + std::to_string(song.track) + " -metadata genre=Rock " + shellQuote(folder.file(song.file));
    ASSERT_EQ(runCommand(command), 0) << command;
    const std::string one = folder.file("a-one.mp3");
    writeFile(folder.file("list.m3u"), one + "\n" + folder.file("b-two.mp3") + "\n" + folder.file("c-three.mp3") + "\n");
    ChildProcess mpv("mpv", {"--no-config", "--no-video", "--ao=null", "--idle=yes", "--pause", "--no-terminal",
                             QString("--script=") + kMprisPlugin, "--playlist=" + QString::fromStdString(folder.file("list.m3u"))});
    ASSERT_TRUE(mpv.started() && waitUntil([] { return busNameRegistered(kMpv); })) << "mpv did not register on the bus";
    MprisConnection bridge(QDBusConnection::sessionBus());
    ASSERT_TRUE(waitUntil([&] { return bridge.copyCurrentTrackName() == "One"; })) << "mpv did not load the first file";

    EXPECT_EQ(trackFields(bridge) << bridge.playerIdentity(), QStringList({"One", "Band", "Record", "Rock", QString::fromStdString(one), "mpv"}));
    EXPECT_TRUE(bridge.copyCurrentTrackArtwork().isNull());
    EXPECT_FALSE(bridge.isPlaying() || bridge.canSetRating() || bridge.setCurrentTrackRating(60));
    EXPECT_EQ(bridge.copyAlbumTrackNames(), (QStringList{"One", "Two", "Three"})) << "from the folder in track order";
    ASSERT_TRUE(bridge.playPause());
    EXPECT_TRUE(waitUntil([&] { return bridge.isPlaying(); }));
    QSignalSpy tracks(&bridge.notifier(), &PlayerNotifier::trackChanged);
    ASSERT_TRUE(bridge.nextTrack());
    EXPECT_TRUE(waitUntil([&] { return bridge.copyCurrentTrackName() == "Two" && tracks.count() > 0; }));
    ASSERT_TRUE(bridge.previousTrack());
    EXPECT_TRUE(waitUntil([&] { return bridge.copyCurrentTrackName() == "One"; }));
    EXPECT_FALSE(bridge.playTrackNamed("Elsewhere"));

    // What the window does when a title edit ends: pause, write, play on.
    ASSERT_TRUE(waitUntil([&] { return bridge.isPlaying() && mpvPlayer().value("Position").toLongLong() > 200'000; }));
    ASSERT_TRUE(bridge.pause());
    ASSERT_TRUE(waitUntil([&] { return !bridge.isPlaying(); }));
    const std::string audioBefore = decodedAudio(one);
    const qlonglong pausedAt = mpvPlayer().value("Position").toLongLong();
    {
        OpenFile file(one, kMediaFileFlagSkipMPEGInfo);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "One, Retitled At Length"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), kMediaFileNoErr);
    }
    ASSERT_TRUE(bridge.play());
    EXPECT_TRUE(waitUntil([&] { return mpvPlayer().value("Position").toLongLong() > pausedAt + 500'000; })) << "playback did not go on";
    EXPECT_EQ(bridge.copyCurrentTrackPath().toStdString(), one);
    EXPECT_EQ(decodedAudio(one), audioBefore);
    // mpv still shows what it read at the start; the bridge shows what the file now says.
    EXPECT_EQ(qdbus_cast<QVariantMap>(mpvPlayer().value("Metadata").value<QDBusArgument>()).value("xesam:title"), "One");
    EXPECT_EQ(bridge.copyCurrentTrackName(), "One, Retitled At Length");

    ASSERT_TRUE(bridge.playTrackNamed("Three"));
    EXPECT_TRUE(waitUntil([&] { return bridge.copyCurrentTrackName() == "Three" && bridge.isPlaying(); }));
    EXPECT_EQ(bridge.copyCurrentTrackPath().toStdString(), folder.file("c-three.mp3"));
    ASSERT_TRUE(bridge.stop());
    EXPECT_TRUE(waitUntil([&] { return !bridge.isPlaying(); }));
}
