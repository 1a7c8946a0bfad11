// kestrabel-tag set on MP3 files: the default keeps the versions a file has and gives an MP3
// without an ID3v2 tag version 2.3; the write options map onto the save flags. One row a fixture,
// the options, and the file's tags afterwards. Errors and usage are tests/cli's tables.
#include "Mp3TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;

TEST(Mp3Cli, DefaultAndWriteOptions)
{
    const struct {
        const char *fixture, *options;
        int major;      // of the ID3v2 tag afterwards; 0: none
        int v1Track;    // byte 126 of the ID3v1 record; -1: no record
        int room;       // after the frames: 0 none, 1 some, 512 up to a multiple of 512 bytes
    } cases[] = {
        {"id3v22.mp3", "", 2, -1, 1}, // a 2.2 tag is not turned into 2.3
        {"id3v24-full.mp3", "", 4, -1, 1},
        {"id3v1-only.mp3", "", 3, 7, 512}, // no ID3v2 tag yet: 2.3, and the record is kept
        {"no-tags.mp3", "", 3, -1, 512},
        {"id3v22.mp3", "--id3v2.4 --id3v1.1 -t 'Track Number=6'", 4, 6, 512},
        {"id3v1-and-v2.mp3", "--id3v2.3 --strip-other --no-padding", 3, -1, 0},
        {"id3v22.mp3", "--id3v1", 2, 0, 1}, // ID3v1.0 beside the kept ID3v2 tag
        {"id3v1-and-v2.mp3", "", 3, 7, 1},   // the ID3v1.1 record overwritten in place, not appended
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.fixture) + " " + c.options);
        TempDir dir;
        const std::string path = dir.copyFixture(c.fixture);
        std::string output;
        ASSERT_EQ(runCli(std::string("set ") + c.options + " -t Title=Kept " + shellQuote(path), &output), 0) << output;
        const std::vector<uint8_t> bytes = readFile(path), record = v1Record(bytes);
        const TagHeader header = readTagHeader(bytes);
        EXPECT_EQ(header.major, c.major);
        EXPECT_EQ(record.empty() ? -1 : record[126], c.v1Track);
        EXPECT_EQ(record.empty() || bytesAsText(record).substr(3, 5) == std::string("Kept\0", 5), true);
        size_t framesEnd = 10;
        for (const RawFrame &frame : rawFrames(bytes, c.major == 2 ? 2 : 3))
            framesEnd += (c.major == 2 ? 6 : 10) + frame.body.size();
        EXPECT_EQ(header.size > framesEnd, c.room > 0) << header.size;
        EXPECT_TRUE(c.room < 512 || header.size % 512 == 0) << header.size;
        EXPECT_EQ(audioPart(bytes), audioPart(readFile(fixturePath(c.fixture))));
        EXPECT_EQ(OpenFile(path).string(kMediaFileDataIDTitle), "Kept");
    }
}
