// What we write, ffprobe, exiftool and mutagen read; what ffmpeg and mutagen write, we read.
// Each test skips when its peer tool is missing.
#include "IffTestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;

namespace {

const char kMutagenPython[] = "/usr/bin/python3";

bool haveMutagen()
{
    return runCommand(std::string(kMutagenPython) + " -c 'import mutagen' >/dev/null 2>&1") == 0;
}

std::string run(const std::string &command)
{
    std::string output;
    int status = runCommand(command, &output);
    EXPECT_EQ(status, 0) << command << "\n" << output;
    return output;
}

// One tag per line, "key=value", as ffprobe prints the container's tags.
std::string ffprobeTags(const std::string &path)
{
    return run("ffprobe -v error -show_entries format_tags -of default=noprint_wrappers=1:nokey=0 " + shellQuote(path));
}

std::string ffmpegAudioMd5(const std::string &path)
{
    return run("ffmpeg -v error -i " + shellQuote(path) + " -map 0:a -f md5 -");
}

void setAll(const std::string &path, std::initializer_list<std::pair<MediaFileDataID, const char *>> values)
{
    OpenFile file(path);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    for (const auto &[id, text] : values)
        ASSERT_EQ(MediaFileSetString(file.ref(), id, text), kMediaFileNoErr) << id;
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
}

TEST(IffInterop, FfprobeAndExiftoolReadTheBextWeWrite)
{
    if (!haveTool("ffprobe") && !haveTool("exiftool"))
        GTEST_SKIP() << "neither ffprobe nor exiftool installed";
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.wav");
    setAll(path, {{kMediaFileDataIDBWFDescription, "Dawn chorus"},
                  {kMediaFileDataIDBWFOriginator, "Kestrabel"},
                  {kMediaFileDataIDBWFOriginatorReference, "KST-7"},
                  {kMediaFileDataIDBWFOriginatorDate, "2021-06-21"},
                  {kMediaFileDataIDBWFOriginatorTime, "04:45:00"},
                  {kMediaFileDataIDBWFCodingHistory, "A=PCM,F=8000,W=16,M=mono\nA=PCM,T=Kestrabel"}});
    if (haveTool("ffprobe")) {
        std::string tags = ffprobeTags(path);
        EXPECT_NE(tags.find("TAG:comment=Dawn chorus"), std::string::npos) << tags;
        EXPECT_NE(tags.find("TAG:encoded_by=Kestrabel"), std::string::npos) << tags;
        EXPECT_NE(tags.find("TAG:originator_reference=KST-7"), std::string::npos) << tags;
        EXPECT_NE(tags.find("TAG:date=2021-06-21"), std::string::npos) << tags;
        EXPECT_NE(tags.find("TAG:creation_time=04:45:00"), std::string::npos) << tags;
        EXPECT_NE(tags.find("TAG:coding_history=A=PCM,F=8000,W=16,M=mono"), std::string::npos) << tags;
    }
    if (haveTool("exiftool")) {
        std::string out = run("exiftool -s -s -s -RIFF:Description -RIFF:Originator -RIFF:OriginatorReference "
                              "-RIFF:DateTimeOriginal -RIFF:BWFVersion -RIFF:CodingHistory " +
                              shellQuote(path));
        EXPECT_EQ(out, "Dawn chorus\nKestrabel\nKST-7\n2021:06:21 04:45:00\n1\n"
                       "A=PCM,F=8000,W=16,M=mono..A=PCM,T=Kestrabel..\n");
    }
}

// The audio decodes to the same samples after saves that move it.
TEST(IffInterop, AudioDecodesTheSameAfterTheChunksMove)
{
    if (!haveTool("ffmpeg"))
        GTEST_SKIP() << "ffmpeg not installed";
    TempDir dir;
    for (const char *fixture : {"bext.wav", "id3-middle.aiff", "no-tags.aifc"}) {
        SCOPED_TRACE(fixture);
        std::string path = dir.copyFixture(fixture);
        std::string before = ffmpegAudioMd5(path);
        setAll(path, {{kMediaFileDataIDBWFCodingHistory, std::string(333, 'h').c_str()},
                      {kMediaFileDataIDTitle, "A title long enough to grow the tag"}});
        EXPECT_EQ(ffmpegAudioMd5(path), before);
        std::string samples =
            run("ffprobe -v error -select_streams a -count_packets -show_entries stream=duration_ts -of csv=p=0 " +
                shellQuote(path));
        EXPECT_EQ(samples, "400\n");
    }
}

TEST(IffInterop, PeersReadTheId3ChunkWeWrite)
{
    TempDir dir;
    for (const char *fixture : {"no-tags.aiff", "no-tags.wav"}) {
        SCOPED_TRACE(fixture);
        std::string path = dir.copyFixture(fixture);
        setAll(path, {{kMediaFileDataIDTitle, "Heron"},
                      {kMediaFileDataIDArtist, "Wader \xC3\xA9"},
                      {kMediaFileDataIDAlbum, "Estuary"},
                      {kMediaFileDataIDTrackNumber, "5"}});
        if (haveTool("ffprobe")) {
            std::string tags = ffprobeTags(path);
            EXPECT_NE(tags.find("TAG:title=Heron"), std::string::npos) << tags;
            EXPECT_NE(tags.find("TAG:artist=Wader \xC3\xA9"), std::string::npos) << tags;
            EXPECT_NE(tags.find("TAG:album=Estuary"), std::string::npos) << tags;
            EXPECT_NE(tags.find("TAG:track=5"), std::string::npos) << tags;
        }
        if (haveMutagen()) {
            std::string out = run(std::string(kMutagenPython) + " -c " +
                                  shellQuote("import sys, mutagen\n"
                                             "f = mutagen.File(sys.argv[1])\n"
                                             "print(f.tags.version[1], f.tags['TIT2'], f.tags['TPE1'], f.tags['TALB'], "
                                             "f.tags['TRCK'], sep='|')") +
                                  " " + shellQuote(path));
            EXPECT_EQ(out, "2|Heron|Wader \xC3\xA9|Estuary|5\n");
        }
    }
}

// mutagen writes ID3v2.3 and ID3v2.4 "ID3 " chunks into AIFF; we read either, picture included.
TEST(IffInterop, WeReadTheId3ChunkMutagenWrites)
{
    if (!haveMutagen())
        GTEST_SKIP() << "mutagen not installed for " << kMutagenPython;
    TempDir dir;
    std::vector<uint8_t> jpeg = readFile(fixturePath("iff-cover.jpg"));
    for (int version : {3, 4}) {
        SCOPED_TRACE(version);
        std::string path = dir.copyFixture("no-tags.aiff", "mutagen-v2" + std::to_string(version) + ".aiff");
        run(std::string(kMutagenPython) + " -c " +
            shellQuote("import sys\n"
                       "from mutagen.aiff import AIFF\n"
                       "from mutagen.id3 import TIT2, TPE1, TALB, TRCK, TCON, COMM, APIC\n"
                       "f = AIFF(sys.argv[1])\n"
                       "f.add_tags()\n"
                       "f.tags.add(TIT2(encoding=3, text='Kingfisher'))\n"
                       "f.tags.add(TPE1(encoding=1, text='Bird \\u00e9'))\n"
                       "f.tags.add(TALB(encoding=0, text='River'))\n"
                       "f.tags.add(TRCK(encoding=0, text='2/7'))\n"
                       "f.tags.add(TCON(encoding=0, text='(8)'))\n"
                       "f.tags.add(APIC(encoding=0, mime='image/jpeg', type=3, desc='', data=open(sys.argv[2], 'rb').read()))\n"
                       "f.save(v2_version=int(sys.argv[3]))\n") +
            " " + shellQuote(path) + " " + shellQuote(fixturePath("iff-cover.jpg")) + " " + std::to_string(version));
        ASSERT_EQ(readLayout(path).count("ID3 "), 1u);
        OpenFile file(path);
        ASSERT_EQ(file.status(), kMediaFileNoErr);
        EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Kingfisher");
        EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Bird \xC3\xA9");
        EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "River");
        EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 2);
        EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 7);
        EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Jazz");
        EXPECT_EQ(file.data(kMediaFileDataIDArtwork), jpeg);
    }
}

TEST(IffInterop, ExiftoolReadsTheId3ChunkWeWriteIntoAiff)
{
    if (!haveTool("exiftool"))
        GTEST_SKIP() << "exiftool not installed";
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.aifc");
    setAll(path, {{kMediaFileDataIDTitle, "Curlew"}, {kMediaFileDataIDAlbum, "Mudflats"}});
    EXPECT_EQ(run("exiftool -s -s -s -ID3:Title -ID3:Album " + shellQuote(path)), "Curlew\nMudflats\n");
}

} // namespace
