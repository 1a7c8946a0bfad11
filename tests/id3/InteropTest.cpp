// What kestrabel-tag writes, mutagen and ffprobe read back with the same values; what mutagen
// and ffmpeg write, kestrabel-tag reads. Each case skips when its peer tool is missing.
#include "Mp3TestSupport.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

using namespace kestrabel::test;

namespace {

// kestrabel-tag show --json, flattened by Python's json module into key=value lines.
std::map<std::string, std::string> showJson(const std::string &path)
{
    std::string output;
    const std::string flatten = "import json,sys\n"
                                "d = json.loads(sys.stdin.readline())\n"
                                "for k, v in d.get('values', {}).items():\n"
                                "    v = v['length'] if isinstance(v, dict) else v\n"
                                "    print('%s=%s' % (k[len('kMediaFileDataID'):], str(v).replace('\\n', '|')))\n";
    TempDir dir;
    writeFile(dir.file("flatten.py"), flatten);
    runCommand(shellQuote(cliPath()) + " show --json " + shellQuote(path) + " | /usr/bin/python3 " +
                   shellQuote(dir.file("flatten.py")),
               &output);
    std::map<std::string, std::string> values;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const size_t equals = line.find('=');
        if (equals != std::string::npos)
            values[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return values;
}

std::map<std::string, std::string> ffprobeTags(const std::string &path)
{
    std::string output;
    runCommand("ffprobe -v error -show_entries format_tags -of default=noprint_wrappers=1 " + shellQuote(path), &output);
    std::map<std::string, std::string> tags;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("TAG:", 0) != 0)
            continue;
        const size_t equals = line.find('=');
        tags[line.substr(4, equals - 4)] = line.substr(equals + 1);
    }
    return tags;
}

// Prints the frames mutagen sees, one "ID=text" per line, pictures as "APIC:type=length".
const char kMutagenDump[] = R"(import sys
from mutagen.id3 import ID3
t = ID3(sys.argv[1])
print('version=%d.%d' % t.version[:2])
for f in t.values():
    if f.FrameID == 'APIC':
        print('APIC:%d=%d:%s' % (f.type, len(f.data), f.mime))
    elif f.FrameID in ('COMM', 'USLT'):
        text = f.text if isinstance(f.text, str) else f.text[0]
        print('%s=%s' % (f.FrameID, text.replace('\r', '^').replace('\n', '|')))
    elif f.FrameID in ('TIPL', 'IPLS'):
        print('%s=%s' % (f.FrameID, ';'.join(':'.join(p) for p in f.people)))
    elif hasattr(f, 'text'):
        print('%s=%s' % (f.FrameID, '/'.join(str(x) for x in f.text)))
)";

std::map<std::string, std::string> mutagenFrames(const std::string &path)
{
    std::string output;
    EXPECT_EQ(runMutagen(kMutagenDump, path, &output), 0) << output;
    std::map<std::string, std::string> frames;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const size_t equals = line.find('=');
        if (equals != std::string::npos)
            frames[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return frames;
}

class Mp3Interop : public ::testing::TestWithParam<const char *> {};

TEST_P(Mp3Interop, WhatTheCliWritesPeersRead)
{
    if (!haveMutagen())
        GTEST_SKIP() << "mutagen is not installed for /usr/bin/python3";
    TempDir dir;
    const std::string path = dir.copyFixture("no-tags.mp3", "song.mp3");
    const std::string cover = fixturePath("mp3-cover.jpg");
    const std::string coverLength = std::to_string(readFile(cover).size());
    const std::string version = GetParam();
    std::string output;
    ASSERT_EQ(runCli("set --" + version + " -t Title='Snow ☃ Man' -t Artist=Ärtist -t Album=Alb -t 'Track Number=3' "
                     "-t 'Total Tracks=12' -t Year=2010 -t Genre=Rock -t Comment='Note ☃' -t Composer=Comp "
                     "-t 'Album Artist=Band' -t 'Disk Number=1' --artwork " + shellQuote(cover) + " " + shellQuote(path),
                     &output),
              0)
        << output;

    std::map<std::string, std::string> frames = mutagenFrames(path);
    EXPECT_EQ(frames["version"], version == "id3v2.3" ? "2.3" : "2.4");
    EXPECT_EQ(frames["TIT2"], "Snow ☃ Man");
    EXPECT_EQ(frames["TPE1"], "Ärtist");
    EXPECT_EQ(frames["TALB"], "Alb");
    EXPECT_EQ(frames["TRCK"], "3/12");
    EXPECT_EQ(frames["TCON"], "Rock");
    EXPECT_EQ(frames["TCOM"], "Comp");
    EXPECT_EQ(frames["TPE2"], "Band");
    EXPECT_EQ(frames["TPOS"], "1");
    EXPECT_EQ(frames["COMM"], "Note ☃");
    EXPECT_EQ(frames["TDRC"], "2010");
    EXPECT_EQ(frames["APIC:3"], coverLength + ":image/jpeg");

    if (haveTool("ffprobe")) {
        std::map<std::string, std::string> tags = ffprobeTags(path);
        EXPECT_EQ(tags["title"], "Snow ☃ Man");
        EXPECT_EQ(tags["artist"], "Ärtist");
        EXPECT_EQ(tags["album"], "Alb");
        EXPECT_EQ(tags["track"], "3/12");
        EXPECT_EQ(tags["genre"], "Rock");
        EXPECT_EQ(tags["date"], "2010");
        EXPECT_EQ(tags["album_artist"], "Band");
        EXPECT_EQ(tags["comment"], "Note ☃");
        std::string streams;
        runCommand("ffprobe -v error -show_entries stream=codec_name,sample_rate -of csv=p=0 " + shellQuote(path), &streams);
        EXPECT_NE(streams.find("mp3,8000"), std::string::npos) << streams;
        EXPECT_NE(streams.find("mjpeg"), std::string::npos) << "the cover is an attached picture: " << streams;
    }
}

INSTANTIATE_TEST_SUITE_P(Versions, Mp3Interop, ::testing::Values("id3v2.3", "id3v2.4"));

TEST(Mp3InteropRead, WhatMutagenWritesTheCliReads)
{
    if (!haveMutagen())
        GTEST_SKIP() << "mutagen is not installed for /usr/bin/python3";
    TempDir dir;
    for (int version : {3, 4}) {
        const std::string path = dir.copyFixture("no-tags.mp3", "m" + std::to_string(version) + ".mp3");
        const std::string script = "import sys\n"
                                   "from mutagen.id3 import ID3, TIT2, TPE1, TALB, TRCK, TPOS, TCON, TDRC, COMM, USLT, APIC, TXXX\n"
                                   "t = ID3()\n"
                                   "t.add(TIT2(encoding=1, text='Mutagen ☃'))\n"
                                   "t.add(TPE1(encoding=3, text='Ünïcode'))\n"
                                   "t.add(TALB(encoding=0, text='Latin é'))\n"
                                   "t.add(TRCK(encoding=0, text='5/9'))\n"
                                   "t.add(TPOS(encoding=0, text='2/2'))\n"
                                   "t.add(TCON(encoding=0, text='Jazz'))\n"
                                   "t.add(TDRC(encoding=0, text='1984-02-03'))\n"
                                   "t.add(COMM(encoding=1, lang='eng', desc='', text='Said ☃'))\n"
                                   "t.add(USLT(encoding=0, lang='eng', desc='', text='a\\nb'))\n"
                                   "t.add(APIC(encoding=3, mime='image/png', type=4, desc='back ☃', data=b'\\x89PNG' + bytes(range(256)) * 2))\n"
                                   "t.add(TXXX(encoding=0, desc='custom', text='kept'))\n"
                                   "t.save(sys.argv[1], v2_version=" + std::to_string(version) + ")\n";
        std::string output;
        ASSERT_EQ(runMutagen(script, path, &output), 0) << output;
        std::map<std::string, std::string> values = showJson(path);
        EXPECT_EQ(values["Title"], "Mutagen ☃");
        EXPECT_EQ(values["Artist"], "Ünïcode");
        EXPECT_EQ(values["Album"], "Latin é");
        EXPECT_EQ(values["TrackNumber"], "5");
        EXPECT_EQ(values["TotalTracks"], "9");
        EXPECT_EQ(values["DiskNumber"], "2");
        EXPECT_EQ(values["TotalDisks"], "2");
        EXPECT_EQ(values["Genre"], "Jazz");
        EXPECT_EQ(values["Year"], "1984");
        EXPECT_EQ(values["Comment"], "Said ☃");
        EXPECT_EQ(values["Lyrics"], "a|b");
        EXPECT_EQ(values["ArtworkBack"], "516");
        EXPECT_EQ(values["Artwork"], "516") << "Cover Art falls back to the only picture";
        EXPECT_EQ(values["BitRate"], "8");

        // Saving it again with our defaults keeps the version, and mutagen still reads it all.
        ASSERT_EQ(runCli("set -t Title=Again " + shellQuote(path), &output), 0) << output;
        std::map<std::string, std::string> frames = mutagenFrames(path);
        EXPECT_EQ(frames["version"], "2." + std::to_string(version));
        EXPECT_EQ(frames["TIT2"], "Again");
        EXPECT_EQ(frames["TPE1"], "Ünïcode");
        EXPECT_EQ(frames["TXXX"], "kept");
        EXPECT_EQ(frames["APIC:4"], "516:image/png");
        EXPECT_EQ(showJson(path)["ArtworkBack"], "516");
    }
}

TEST(Mp3InteropRead, WhatFfmpegWritesTheCliReads)
{
    if (!haveTool("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not installed";
    TempDir dir;
    for (int version : {3, 4}) {
        const std::string path = dir.file("ff" + std::to_string(version) + ".mp3");
        std::string output;
        ASSERT_EQ(runCommand("ffmpeg -nostdin -v error -y -i " + shellQuote(fixturePath("no-tags.mp3")) +
                                 " -c copy -write_xing 0 -id3v2_version " + std::to_string(version) +
                                 " -metadata title='FF ☃' -metadata artist=Artist -metadata album=Album"
                                 " -metadata track=2/8 -metadata date=2003 -metadata genre=Chillout " + shellQuote(path),
                             &output, true),
                  0)
            << output;
        std::map<std::string, std::string> values = showJson(path);
        EXPECT_EQ(values["Title"], "FF ☃");
        EXPECT_EQ(values["Artist"], "Artist");
        EXPECT_EQ(values["Album"], "Album");
        EXPECT_EQ(values["TrackNumber"], "2");
        EXPECT_EQ(values["TotalTracks"], "8");
        EXPECT_EQ(values["Year"], "2003");
        EXPECT_EQ(values["Genre"], "Chillout");
        EXPECT_EQ(values["SampleRate"], "32000");
    }
}

TEST(Mp3InteropRead, OurOtherFormsReadByMutagen)
{
    if (!haveMutagen())
        GTEST_SKIP() << "mutagen is not installed for /usr/bin/python3";
    TempDir dir;
    // 2.2, an unsynchronised tag and a compressed frame, each rewritten by us.
    const std::string v22 = dir.copyFixture("id3v23-full.mp3", "v22.mp3");
    std::string output;
    ASSERT_EQ(runCli("set --id3v2.2 -t Title=Twotwo " + shellQuote(v22), &output), 0) << output;
    std::map<std::string, std::string> frames = mutagenFrames(v22);
    EXPECT_EQ(frames["version"], "2.2");
    EXPECT_EQ(frames["TIT2"], "Twotwo");
    EXPECT_EQ(frames["TPE1"], "Ärtist ☃");
    EXPECT_EQ(frames["COMM"], "Comment ☃");
    EXPECT_EQ(frames["APIC:3"], "520:image/png") << "PIC with format PNG";
    EXPECT_EQ(frames["APIC:4"], "266:image/jpeg");

    const std::string unsync = dir.copyFixture("id3v23-unsync.mp3");
    ASSERT_EQ(runCli("set -t Title=Still " + shellQuote(unsync), &output), 0) << output;
    EXPECT_EQ(readFile(unsync)[5], 0x80);
    frames = mutagenFrames(unsync);
    EXPECT_EQ(frames["TIT2"], "Still");
    EXPECT_EQ(frames["APIC:3"], "9:image/jpeg");

    const std::string compressed = dir.copyFixture("id3v23-compressed.mp3");
    ASSERT_EQ(runCli("set -t Title=Packed " + shellQuote(compressed), &output), 0) << output;
    frames = mutagenFrames(compressed);
    EXPECT_EQ(frames["TIT2"], "Packed");
    EXPECT_EQ(frames["COMM"].size(), 19u * 8);

    const std::string v24 = dir.copyFixture("id3v24-full.mp3");
    ASSERT_EQ(runCli("set -t Title=Plain " + shellQuote(v24), &output), 0) << output;
    frames = mutagenFrames(v24);
    EXPECT_EQ(frames["version"], "2.4");
    EXPECT_EQ(frames["TIT2"], "Plain");
    EXPECT_EQ(frames["TIPL"], "producer:Pat;mix:Max");
    EXPECT_EQ(frames["APIC:3"], "520:image/png") << "a 2.4 frame of more than 127 bytes with a plain size";
    EXPECT_EQ(frames["USLT"], "line one^|line two") << "lyrics not set are written back as they were";
}

} // namespace
