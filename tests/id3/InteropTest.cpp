// The forms only this library still writes (2.2, an unsynchronised tag, compressed frames, plain
// 2.4 frame sizes), read by mutagen after a save. What peers write and read of every kind is the
// contract suite's interop table.
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

std::string repeated(const std::string &text, int times)
{
    std::string out;
    while (times-- > 0)
        out += text;
    return out;
}

} // namespace

TEST(Mp3InteropRead, OurOtherFormsReadByMutagen)
{
    if (runCommand("/usr/bin/python3 -c 'import mutagen'") != 0)
        GTEST_SKIP() << "mutagen is not installed for /usr/bin/python3";
    const struct {
        const char *fixture, *options;
        std::vector<std::string> lines; // in mutagen's dump afterwards
    } cases[] = {
        {"id3v23-full.mp3", "--id3v2.2", {"version=2.2", "TPE1=Ärtist ☃", "COMM=Comment ☃", "APIC:3=520:image/png", "APIC:4=266:image/jpeg"}},
        {"id3v23-unsync.mp3", "", {"APIC:3=9:image/jpeg"}},
        {"id3v23-compressed.mp3", "", {"COMM=" + repeated("compressed comment ", 8)}},
        // A 2.4 frame of more than 127 bytes with a plain size; lyrics not set are written back as they were.
        {"id3v24-full.mp3", "", {"version=2.4", "TIPL=producer:Pat;mix:Max", "APIC:3=520:image/png", "USLT=line one^|line two"}},
    };
    TempDir dir;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.fixture);
        const std::string path = dir.copyFixture(c.fixture), script = dir.file("dump.py");
        std::string output;
        ASSERT_EQ(runCli(std::string("set ") + c.options + " -t Title=Kept " + shellQuote(path), &output), 0) << output;
        writeFile(script, std::string(kMutagenDump));
        ASSERT_EQ(runCommand("/usr/bin/python3 " + shellQuote(script) + " " + shellQuote(path), &output), 0) << output;
        EXPECT_NE(output.find("TIT2=Kept\n"), std::string::npos) << output;
        for (const std::string &line : c.lines)
            EXPECT_NE(output.find(line + "\n"), std::string::npos) << line << "\n" << output;
    }
    EXPECT_EQ(readFile(dir.file("id3v23-unsync.mp3"))[5], 0x80) << "still unsynchronised";
}
