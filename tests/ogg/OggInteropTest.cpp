// What the peer tools write we read, and what we write they read: vorbiscomment, mutagen,
// ogginfo, ffmpeg's encoder; and kestrabel-tag on Ogg files.
#include "OggTestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

const char kMutagenPython[] = "/usr/bin/python3";

bool haveMutagen() { return runCommand(std::string(kMutagenPython) + " -c 'import mutagen' 2>/dev/null") == 0; }

bool contains(const std::vector<std::string> &lines, const std::string &line)
{
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

} // namespace

TEST(OggInterop, VorbiscommentReadsWhatWeWrite)
{
    if (!haveTool("vorbiscomment"))
        GTEST_SKIP() << "vorbiscomment is not installed";
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-tagged.ogg");
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Über den Wolken"), 0);
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDTotalTracks, 14), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDAuthor, "Someone"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    std::vector<std::string> lines = vorbiscommentList(path);
    EXPECT_TRUE(contains(lines, "TITLE=Über den Wolken"));
    EXPECT_TRUE(contains(lines, "TRACKTOTAL=14")) << "Ogg writes Total Tracks as TRACKTOTAL";
    EXPECT_TRUE(contains(lines, "AUTHOR=Someone"));
    EXPECT_TRUE(contains(lines, "ARTIST=Kestrel Quartet"));
    EXPECT_EQ(ogginfoProblems(path), "");
}

TEST(OggInterop, WeReadWhatVorbiscommentWrites)
{
    if (!haveTool("vorbiscomment"))
        GTEST_SKIP() << "vorbiscomment is not installed";
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-no-comments.ogg");
    ASSERT_EQ(runCommand("vorbiscomment -w -t 'ARTIST=Via Tool' -t 'COMPILATION=10' -t 'discnumber=4' -t 'TOTALTRACKS=8' " +
                         shellQuote(path)),
              0);
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Via Tool");
    EXPECT_EQ(file.integer(kMediaFileDataIDCompilation), 1);
    EXPECT_EQ(file.integer(kMediaFileDataIDDiskNumber), 4);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 8);
}

TEST(OggInterop, MutagenReadsWhatWeWriteAndWeReadWhatItWrites)
{
    if (!haveMutagen())
        GTEST_SKIP() << "mutagen is not installed for " << kMutagenPython;
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-chained.ogg");
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDAlbum, "Ünïcode Album"), 0);
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDYear, 2001), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    std::string output;
    ASSERT_EQ(runCommand(std::string(kMutagenPython) + " -c \"import sys; from mutagen.oggvorbis import OggVorbis; "
                                                        "f = OggVorbis(sys.argv[1]); print(f['album'][0]); print(f['year'][0]); "
                                                        "print(f['title'][0]); print(f.info.sample_rate)\" " +
                             shellQuote(path),
                         &output, true),
              0)
        << output;
    EXPECT_EQ(output, "Ünïcode Album\n2001\nFirst\n8000\n");

    ASSERT_EQ(runCommand(std::string(kMutagenPython) + " -c \"import sys; from mutagen.oggvorbis import OggVorbis; "
                                                        "f = OggVorbis(sys.argv[1]); f['title'] = 'Set by mutagen'; "
                                                        "f['tracknumber'] = '6'; f.save()\" " +
                             shellQuote(path),
                         &output, true),
              0)
        << output;
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Set by mutagen");
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 6);
    EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "Ünïcode Album");
}

TEST(OggInterop, AFileFromFfmpegsEncoderRoundTrips)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-ffmpeg.ogg");
    OggLayout before = readOggLayout(path);
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        EXPECT_EQ(file.string(kMediaFileDataIDTitle), "From ffmpeg");
        EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Encoder Test");
        EXPECT_EQ(file.string(kMediaFileDataIDEncodedBy), "ffmpeg");
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDGenre, "Test Tones"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    OggLayout after = readOggLayout(path);
    EXPECT_EQ(audioPackets(after.streams[0]), audioPackets(before.streams[0]));
    EXPECT_EQ(after.lastGranule(), before.lastGranule());
    if (haveTool("ogginfo")) {
        EXPECT_EQ(ogginfoProblems(path), "");
    }
    if (haveTool("ffprobe")) {
        std::string output;
        ASSERT_EQ(runCommand("ffprobe -v error -show_entries stream_tags=GENRE,title -of default=nw=1 " + shellQuote(path), &output),
                  0);
        EXPECT_NE(output.find("TAG:GENRE=Test Tones"), std::string::npos) << output;
        EXPECT_NE(output.find("TAG:title=From ffmpeg"), std::string::npos) << output;
    }
}

TEST(OggInterop, CliShowsAndSetsOgg)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-aliases.ogg");
    std::string output;
    ASSERT_EQ(runCommand(shellQuote(cliPath()) + " set -t Title=Shown -t 'Disk Number=5' " + shellQuote(path), &output, true), 0)
        << output;
    ASSERT_EQ(runCommand(shellQuote(cliPath()) + " show " + shellQuote(path), &output, true), 0) << output;
    EXPECT_NE(output.find("(Ogg)"), std::string::npos) << output;
    EXPECT_NE(output.find("Title          : Shown"), std::string::npos) << output;
    EXPECT_NE(output.find("Disk Number    : 5"), std::string::npos) << output;
    EXPECT_NE(output.find("Total Tracks   : 12"), std::string::npos) << output;

    EXPECT_EQ(runCommand(shellQuote(cliPath()) + " set -t Encoder=me " + shellQuote(path), &output, true), 1);
    EXPECT_NE(output.find("kMediaFileErrUnsupported"), std::string::npos) << "the vendor is read only: " << output;

    std::string notVorbis = dir.copyFixture("ogg-flac-not-vorbis.ogg");
    EXPECT_EQ(runCommand(shellQuote(cliPath()) + " show " + shellQuote(notVorbis), &output, true), 1);
    EXPECT_NE(output.find("This Ogg bitstream does not contain Vorbis audio data."), std::string::npos) << output;
    EXPECT_NE(output.find("2003"), std::string::npos) << output;
}
