// The bridge against a real player: mpv with the mpv-mpris plugin on a private bus, playing MP3
// files made with ffmpeg for each test.
#include <kestrabel/MediaFile.h>
#include "MprisConnection.h"
#include "PlayerTestSupport.h"
#include "TestSupport.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QFileInfo>
#include <QSignalSpy>
#include <QStandardPaths>

#include <gtest/gtest.h>

using namespace kestrabel::player;
using namespace kestrabel::test;

namespace {

constexpr char kMprisPlugin[] = "/usr/lib/mpv-mpris/mpris.so";
constexpr char kMpvService[] = "org.mpris.MediaPlayer2.mpv";

struct Song {
    const char *file;
    const char *title;
    const char *album;
    int track;
    int frequency;
};

// The album's files are listed out of order; "Elsewhere" shares the folder but not the album.
constexpr Song kSongs[] = {
    {"b-two.mp3", "Two", "Record", 2, 440},
    {"a-one.mp3", "One", "Record", 1, 330},
    {"c-three.mp3", "Three", "Record", 3, 550},
    {"d-other.mp3", "Elsewhere", "Other Record", 1, 660},
};

bool haveFfmpegMp3()
{
    std::string encoders;
    return haveTool("ffmpeg") && runCommand("ffmpeg -hide_banner -encoders 2>/dev/null", &encoders) == 0
           && encoders.find("libmp3lame") != std::string::npos;
}

std::string decodedAudioDigest(const std::string &path)
{
    std::string digest;
    if (runCommand("ffmpeg -v error -i " + shellQuote(path) + " -map 0:a -f md5 -", &digest) != 0)
        return {};
    return digest;
}

class MpvTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!privateBusRunning())
            GTEST_SKIP() << "dbus-daemon is not available";
        if (!haveTool("mpv") || !QFileInfo::exists(kMprisPlugin))
            GTEST_SKIP() << "mpv or mpv-mpris is not installed";
        if (!haveFfmpegMp3())
            GTEST_SKIP() << "ffmpeg with libmp3lame is not installed";
        // One ffmpeg run makes every file: its start-up is most of the cost.
        std::string command = "ffmpeg -v error -y";
        for (const Song &song : kSongs)
            command += " -f lavfi -i sine=frequency=" + std::to_string(song.frequency) + ":duration=15";
        int input = 0;
        for (const Song &song : kSongs)
            command += " -map " + std::to_string(input++) + " -ac 1 -ar 22050 -c:a libmp3lame -b:a 32k -id3v2_version 3"
                       + " -metadata title=" + shellQuote(song.title) + " -metadata artist=Band -metadata album="
                       + shellQuote(song.album) + " -metadata track=" + std::to_string(song.track)
                       + " -metadata genre=Rock " + shellQuote(folder_.file(song.file));
        ASSERT_EQ(runCommand(command), 0) << command;
        writeFile(folder_.file("list.m3u"), folder_.file("a-one.mp3") + "\n" + folder_.file("b-two.mp3") + "\n"
                                                + folder_.file("c-three.mp3") + "\n");
        mpv_ = std::make_unique<ChildProcess>(
            "mpv", QStringList{"--no-config", "--no-video", "--ao=null", "--idle=yes", "--pause", "--no-terminal",
                               QString("--script=") + kMprisPlugin,
                               "--playlist=" + QString::fromStdString(folder_.file("list.m3u"))});
        ASSERT_TRUE(mpv_->started());
        ASSERT_TRUE(waitUntil([] { return busNameRegistered(kMpvService); })) << "mpv did not register on the bus";
        connection_ = std::make_unique<MprisConnection>(QDBusConnection::sessionBus());
        ASSERT_TRUE(waitUntil([&] { return connection_->copyCurrentTrackName() == "One"; }))
            << "mpv did not load the first file";
    }

    // Whether the tag library reads these files; the folder listing depends on it.
    bool tagLibraryReadsMp3() const
    {
        OpenFile file(folder_.file("a-one.mp3"));
        return file.status() == kMediaFileNoErr && file.string(kMediaFileDataIDTitle) == "One";
    }

    static qlonglong position()
    {
        const auto properties = playerProperties(kMpvService, "org.mpris.MediaPlayer2.Player");
        return properties ? properties->value("Position").toLongLong() : -1;
    }

    static QString reportedTitle()
    {
        const auto properties = playerProperties(kMpvService, "org.mpris.MediaPlayer2.Player");
        if (!properties)
            return {};
        return qdbus_cast<QVariantMap>(properties->value("Metadata").value<QDBusArgument>()).value("xesam:title").toString();
    }

    TempDir folder_;
    std::unique_ptr<ChildProcess> mpv_;
    std::unique_ptr<MprisConnection> connection_;
};

TEST_F(MpvTest, CurrentTrackFieldsAndPath)
{
    MprisConnection &mpv = *connection_;
    EXPECT_TRUE(mpv.isRunning());
    EXPECT_EQ(mpv.playerIdentity(), "mpv");
    EXPECT_EQ(mpv.copyCurrentTrackName(), "One");
    EXPECT_EQ(mpv.copyCurrentTrackArtist(), "Band");
    EXPECT_EQ(mpv.copyCurrentTrackAlbum(), "Record");
    EXPECT_EQ(mpv.copyCurrentTrackGenre(), "Rock");
    EXPECT_EQ(mpv.copyCurrentTrackPath().toStdString(), folder_.file("a-one.mp3"));
    EXPECT_EQ(mpv.currentTrackRating(), 0);
    EXPECT_TRUE(mpv.copyCurrentTrackArtwork().isNull());
    EXPECT_FALSE(mpv.canSetRating());
    EXPECT_FALSE(mpv.setCurrentTrackRating(60));
}

TEST_F(MpvTest, PlayPauseNextPreviousStop)
{
    MprisConnection &mpv = *connection_;
    EXPECT_FALSE(mpv.isPlaying());
    ASSERT_TRUE(mpv.play());
    EXPECT_TRUE(waitUntil([&] { return mpv.isPlaying(); }));
    ASSERT_TRUE(mpv.pause());
    EXPECT_TRUE(waitUntil([&] { return !mpv.isPlaying(); }));
    ASSERT_TRUE(mpv.playPause());
    EXPECT_TRUE(waitUntil([&] { return mpv.isPlaying(); }));

    QSignalSpy tracks(&mpv.notifier(), &PlayerNotifier::trackChanged);
    ASSERT_TRUE(mpv.nextTrack());
    EXPECT_TRUE(waitUntil([&] { return mpv.copyCurrentTrackName() == "Two"; }));
    EXPECT_EQ(mpv.copyCurrentTrackPath().toStdString(), folder_.file("b-two.mp3"));
    EXPECT_TRUE(waitUntil([&] { return tracks.count() > 0; }));
    ASSERT_TRUE(mpv.previousTrack());
    EXPECT_TRUE(waitUntil([&] { return mpv.copyCurrentTrackName() == "One"; }));

    ASSERT_TRUE(mpv.stop());
    EXPECT_TRUE(waitUntil([&] { return !mpv.isPlaying(); }));
}

TEST_F(MpvTest, AlbumTracksComeFromTheFolderInTrackOrder)
{
    if (!tagLibraryReadsMp3())
        GTEST_SKIP() << "the tag library does not read MP3 files yet";
    EXPECT_EQ(connection_->copyAlbumTrackNames(), (QStringList{"One", "Two", "Three"}));
}

TEST_F(MpvTest, PlayTrackNamedOpensTheFile)
{
    if (!tagLibraryReadsMp3())
        GTEST_SKIP() << "the tag library does not read MP3 files yet";
    MprisConnection &mpv = *connection_;
    ASSERT_TRUE(mpv.playTrackNamed("Three"));
    EXPECT_TRUE(waitUntil([&] { return mpv.copyCurrentTrackName() == "Three"; }));
    EXPECT_EQ(mpv.copyCurrentTrackPath().toStdString(), folder_.file("c-three.mp3"));
    EXPECT_TRUE(waitUntil([&] { return mpv.isPlaying(); }));
    EXPECT_FALSE(mpv.playTrackNamed("Elsewhere"));
}

TEST_F(MpvTest, EditFlowKeepsPlaybackGoing)
{
    MprisConnection &mpv = *connection_;
    ASSERT_TRUE(mpv.play());
    ASSERT_TRUE(waitUntil([&] { return mpv.isPlaying() && position() > 200'000; }));

    // What the window does when a title edit ends.
    const bool wasPlaying = mpv.isPlaying();
    ASSERT_TRUE(wasPlaying);
    ASSERT_TRUE(mpv.pause());
    ASSERT_TRUE(waitUntil([&] { return !mpv.isPlaying(); }));
    const QString path = mpv.copyCurrentTrackPath();
    ASSERT_EQ(path.toStdString(), folder_.file("a-one.mp3"));
    const std::string audioBefore = decodedAudioDigest(path.toStdString());
    const qlonglong pausedAt = position();

    MediaFileStatus written = kMediaFileErrUnsupported;
    {
        OpenFile file(path.toStdString(), kMediaFileFlagSkipMPEGInfo);
        if (file.status() == kMediaFileNoErr) {
            written = MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "One, Retitled At Length");
            if (written == kMediaFileNoErr)
                written = MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion);
        }
    }
    if (wasPlaying) {
        ASSERT_TRUE(mpv.play());
    }

    EXPECT_TRUE(waitUntil([&] { return position() > pausedAt + 500'000; })) << "playback did not go on";
    EXPECT_TRUE(mpv.isPlaying());
    EXPECT_EQ(mpv.copyCurrentTrackPath(), path);

    if (written != kMediaFileNoErr)
        GTEST_SKIP() << "the tag library could not write the title: " << MediaFileGetStatusName(written);
    OpenFile reopened(path.toStdString());
    EXPECT_EQ(reopened.string(kMediaFileDataIDTitle), "One, Retitled At Length");
    EXPECT_EQ(decodedAudioDigest(path.toStdString()), audioBefore);
    // mpv still shows what it read at the start; the bridge shows what the file now says.
    EXPECT_EQ(reportedTitle(), "One");
    EXPECT_EQ(mpv.copyCurrentTrackName(), "One, Retitled At Length");
}

} // namespace
