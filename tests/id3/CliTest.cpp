// kestrabel-tag set on MP3 files: the default keeps the versions a file has and gives an MP3
// without an ID3v2 tag version 2.3; the write options map onto the save flags; errors name the
// file, the value and the status, and the other files are still done.
#include "Mp3TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;

namespace {

std::string set(const std::string &arguments, int expectedExit = 0)
{
    std::string output;
    EXPECT_EQ(runCli("set " + arguments, &output), expectedExit) << output;
    return output;
}

TEST(Mp3Cli, DefaultKeepsTheVersionsTheFileHas)
{
    TempDir dir;
    const std::string v22 = dir.copyFixture("id3v22.mp3");
    const std::string v24 = dir.copyFixture("id3v24-full.mp3");
    const std::string v1Only = dir.copyFixture("id3v1-only.mp3");
    const std::string bare = dir.copyFixture("no-tags.mp3");
    set("-t Title=Kept " + shellQuote(v22) + " " + shellQuote(v24) + " " + shellQuote(v1Only) + " " + shellQuote(bare));

    EXPECT_EQ(readTagHeader(readFile(v22)).major, 2) << "a 2.2 tag is not turned into 2.3";
    EXPECT_EQ(readTagHeader(readFile(v24)).major, 4);
    const std::vector<uint8_t> v1After = readFile(v1Only);
    EXPECT_EQ(readTagHeader(v1After).major, 3) << "no ID3v2 tag yet: 2.3";
    EXPECT_TRUE(hasV1(v1After)) << "the ID3v1 tag is kept";
    EXPECT_EQ(v1Record(v1After)[126], 7);
    EXPECT_EQ(readTagHeader(readFile(bare)).major, 3);
    EXPECT_FALSE(hasV1(readFile(bare)));
    for (const std::string &path : {v22, v24, v1Only, bare}) {
        OpenFile file(path);
        ASSERT_EQ(file.status(), kMediaFileNoErr) << path;
        EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Kept") << path;
    }
    EXPECT_EQ(audioPart(readFile(bare)), readFile(fixturePath("no-tags.mp3")));
}

TEST(Mp3Cli, WriteOptions)
{
    TempDir dir;
    const std::string path = dir.copyFixture("id3v22.mp3");
    set("--id3v2.4 --id3v1.1 -t 'Track Number=6' " + shellQuote(path));
    std::vector<uint8_t> bytes = readFile(path);
    EXPECT_EQ(readTagHeader(bytes).major, 4);
    ASSERT_TRUE(hasV1(bytes));
    EXPECT_EQ(v1Record(bytes)[126], 6);
    EXPECT_EQ(readTagHeader(bytes).size % 512, 0u);

    set("--id3v2.3 --strip-other --no-padding -t Title=Bare " + shellQuote(path));
    bytes = readFile(path);
    EXPECT_EQ(readTagHeader(bytes).major, 3);
    EXPECT_FALSE(hasV1(bytes));
    size_t framesEnd = 10;
    for (const RawFrame &frame : rawFrames(bytes, false))
        framesEnd += 10 + frame.body.size();
    EXPECT_EQ(readTagHeader(bytes).size, framesEnd) << "no padding";

    // --id3v1 adds a record beside the kept ID3v2 tag.
    set("--id3v1 -t Title=Also " + shellQuote(path));
    bytes = readFile(path);
    EXPECT_EQ(readTagHeader(bytes).major, 3);
    ASSERT_TRUE(hasV1(bytes));
    EXPECT_EQ(std::string(bytes.end() - 125, bytes.end() - 121), "Also");
    EXPECT_EQ(v1Record(bytes)[126], 0) << "ID3v1.0";
    EXPECT_EQ(audioPart(bytes), audioPart(readFile(fixturePath("id3v22.mp3"))));
}

TEST(Mp3Cli, ErrorsNameTheFileTheValueAndTheStatus)
{
    TempDir dir;
    const std::string good = dir.copyFixture("no-tags.mp3", "good.mp3");
    const std::string missing = dir.file("missing.mp3");
    const std::string output = set("-t Title=Done -t Volume=abc " + shellQuote(missing) + " " + shellQuote(good), 1);
    EXPECT_NE(output.find("missing.mp3"), std::string::npos) << output;
    EXPECT_NE(output.find("kMediaFileDataIDVolume"), std::string::npos) << output;
    EXPECT_NE(output.find("kMediaFileErrShortHeader"), std::string::npos) << output;
    EXPECT_FALSE(readTagHeader(readFile(good)).present) << "a file with a failed value is not saved";

    set("-t Title=Done " + shellQuote(missing) + " " + shellQuote(good), 1);
    OpenFile file(good);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Done") << "the other files are still done";

    set("-t Nonsense=1 " + shellQuote(good), 2);
    set("-t 'Bit Rate=1' " + shellQuote(good), 2);
    std::string text;
    EXPECT_EQ(runCli("set -t 'Track Number=x' " + shellQuote(good), &text), 2) << "checked before any file";
    EXPECT_NE(text.find("not a number"), std::string::npos) << text;
}

} // namespace
