// kestrabel-tag set on MP3 files. The default keeps the versions a file has and gives an MP3
// without an ID3v2 tag version 2.3; the write options map onto the save flags. The forms only this
// library still writes (2.2, an unsynchronised tag, compressed frames, plain 2.4 frame sizes) are
// read by mutagen after a save. Errors and usage are tests/cli's tables; what peers write and read
// of every kind is the contract suite's interop table.
#include "Mp3TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;

namespace {

// Prints "ID=text" per frame, pictures as "APIC:type=length:mime", line breaks in texts as ^ and |.
const char kMutagenDump[] = R"(import sys
from mutagen.id3 import ID3
t = ID3(sys.argv[1])
print('version=%d.%d' % t.version[:2])
for f in t.values():
    text = f.text if isinstance(getattr(f, 'text', []), str) else '/'.join(str(x) for x in getattr(f, 'text', []))
    people = ';'.join(':'.join(p) for p in getattr(f, 'people', []))
    print('APIC:%d=%d:%s' % (f.type, len(f.data), f.mime) if f.FrameID == 'APIC' else '%s=%s' % (f.FrameID, people or text.replace('\r', '^').replace('\n', '|')))
)";

int runCli(const std::string &arguments, std::string *output) { return runCommand(shellQuote(cliPath()) + " " + arguments, output, true); }

} // namespace

// What each option leaves in the file, and what mutagen reads of the forms only this library still writes.
TEST(Mp3Cli, DefaultAndWriteOptions)
{
    const struct {
        const char *fixture, *options;
        int major;      // of the ID3v2 tag afterwards; 0: none
        int v1Track;    // byte 126 of the ID3v1 record; -1: no record
        int room;       // after the frames: 0 none, 1 some, 512 up to a multiple of 512 bytes
        std::vector<std::string> mutagen = {}; // lines of mutagen's dump afterwards
    } cases[] = {
        {"id3v22.mp3", "", 2, -1, 1}, // a 2.2 tag is not turned into 2.3
        // A 2.4 frame of more than 127 bytes with a plain size; lyrics not set are written back as they were.
        {"id3v24-full.mp3", "", 4, -1, 1, {"version=2.4", "TIPL=producer:Pat;mix:Max", "APIC:3=520:image/png", "USLT=line one^|line two"}},
        {"id3v23-full.mp3", "--id3v2.2", 2, -1, 1, {"version=2.2", "TPE1=Ärtist ☃", "COMM=Comment ☃", "APIC:3=520:image/png", "APIC:4=266:image/jpeg"}},
        {"id3v23-unsync.mp3", "", 3, -1, 1, {"APIC:3=9:image/jpeg"}},
        {"id3v23-compressed.mp3", "", 3, -1, 1, {"COMM=" + repeated("compressed comment ", 8)}},
        {"id3v1-only.mp3", "", 3, 7, 512}, // no ID3v2 tag yet: 2.3, and the record is kept
        {"no-tags.mp3", "", 3, -1, 512},
        {"id3v22.mp3", "--id3v2.4 --id3v1.1 -t 'Track Number=6'", 4, 6, 512},
        {"id3v1-and-v2.mp3", "--id3v2.3 --strip-other --no-padding", 3, -1, 0},
        {"id3v22.mp3", "--id3v1", 2, 0, 1}, // ID3v1.0 beside the kept ID3v2 tag
        {"id3v1-and-v2.mp3", "", 3, 7, 1},   // the ID3v1.1 record overwritten in place, not appended
    };
    const bool mutagen = runCommand("/usr/bin/python3 -c 'import mutagen'") == 0;
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.fixture) + " " + c.options);
        TempDir dir;
        const std::string path = dir.copyFixture(c.fixture);
        std::string output;
        ASSERT_EQ(runCli(std::string("set ") + c.options + " -t Title=Kept " + shellQuote(path), &output), 0) << output;
        const std::vector<uint8_t> bytes = readFile(path), record = v1Record(bytes);
        const TagHeader header = readTagHeader(bytes);
        EXPECT_EQ(header.major, c.major);
        EXPECT_TRUE(std::string(c.fixture) != "id3v23-unsync.mp3" || bytes[5] == 0x80) << "still unsynchronised";
        EXPECT_EQ(record.empty() ? -1 : record[126], c.v1Track);
        EXPECT_EQ(record.empty() || bytesAsText(record).substr(3, 5) == std::string("Kept\0", 5), true);
        size_t framesEnd = 10;
        for (const RawFrame &frame : rawFrames(bytes, c.major == 2 ? 2 : 3))
            framesEnd += (c.major == 2 ? 6 : 10) + frame.body.size();
        EXPECT_EQ(header.size > framesEnd, c.room > 0) << header.size;
        EXPECT_TRUE(c.room < 512 || header.size % 512 == 0) << header.size;
        EXPECT_EQ(audioPart(bytes), audioPart(readFile(fixturePath(c.fixture))));
        EXPECT_EQ(OpenFile(path).string(kMediaFileDataIDTitle), "Kept");
        if (!mutagen || c.mutagen.empty())
            continue;
        writeFile(dir.file("dump.py"), std::string(kMutagenDump));
        ASSERT_EQ(runCommand("/usr/bin/python3 " + shellQuote(dir.file("dump.py")) + " " + shellQuote(path), &output), 0) << output;
        for (const std::string &line : c.mutagen)
            EXPECT_NE(output.find(line + "\n"), std::string::npos) << line << "\n" << output;
    }
    if (!mutagen)
        GTEST_SKIP() << "mutagen is not installed for /usr/bin/python3: what it reads was not checked";
}
