// The forms only this library still writes (2.2, an unsynchronised tag, compressed frames),
// read by mutagen after a save. What peers write and read of every kind is the contract
// suite's interop table.
#include "Mp3TestSupport.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

using namespace kestrabel::test;

namespace {

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
