// kestrabel-tag show and set on M4A files.
#include "MP4TestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;
using namespace kestrabel::test::mp4;

namespace {

int cli(const std::string &arguments, std::string *output = nullptr)
{
    return runCommand(shellQuote(cliPath()) + " " + arguments, output, true);
}

bool contains(const std::string &haystack, const std::string &needle) { return haystack.find(needle) != std::string::npos; }

} // namespace

TEST(Mp4Cli, ShowPrintsTheItems)
{
    std::string output;
    ASSERT_EQ(cli("show --json " + shellQuote(fixturePath("tagged.m4a")), &output), 0) << output;
    for (const char *expected : {"\"kind\": \"MP4\"", "\"kMediaFileDataIDTitle\": \"Tiny Tone\"",
                                 "\"kMediaFileDataIDTrackNumber\": 3", "\"kMediaFileDataIDTotalTracks\": 12",
                                 "\"kMediaFileDataIDLyrics\": \"line one\\nline two\"", "\"kMediaFileDataIDSeason\": 4",
                                 "\"kMediaFileDataIDGenre\": \"Chillout\""})
        EXPECT_TRUE(contains(output, expected)) << expected << "\n" << output;

    ASSERT_EQ(cli("show --json " + shellQuote(fixturePath("cover.m4a")), &output), 0) << output;
    EXPECT_TRUE(contains(output, "\"kMediaFileDataIDArtwork\": {\"length\": 512")) << output;
}

TEST(Mp4Cli, SetWritesAndShowReadsBack)
{
    TempDir dir;
    std::string path = dir.copyFixture("tagged-faststart.m4a");
    std::string output;
    ASSERT_EQ(cli("set -t Title='Set from the command line' -t 'Track Number=4/9' -t Genre=blues -t Year=1970 --artwork " +
                      shellQuote(fixturePath("m4a-cover.jpg")) + " " + shellQuote(path),
                  &output),
              0)
        << output;
    ASSERT_EQ(cli("show --json " + shellQuote(path), &output), 0) << output;
    for (const char *expected : {"\"kMediaFileDataIDTitle\": \"Set from the command line\"",
                                 "\"kMediaFileDataIDTrackNumber\": 4", "\"kMediaFileDataIDTotalTracks\": 12",
                                 "\"kMediaFileDataIDGenre\": \"Blues\"", "\"kMediaFileDataIDYear\": 1970",
                                 "\"kMediaFileDataIDArtwork\": {\"length\": 512"})
        EXPECT_TRUE(contains(output, expected)) << expected << "\n" << output;
    if (haveFfmpeg()) {
        EXPECT_EQ(decodeErrors(path), "");
        EXPECT_EQ(decodedAudio(path), decodedAudio(fixturePath("tagged-faststart.m4a")));
    }
}

TEST(Mp4Cli, DamagedFileFailsAndIsNotTouched)
{
    TempDir dir;
    std::string path = dir.copyFixture("child-past-parent.m4a");
    std::vector<uint8_t> before = readFile(path);
    std::string output;
    EXPECT_EQ(cli("set -t Title=x " + shellQuote(path), &output), 1) << output;
    EXPECT_TRUE(contains(output, "kMediaFileErrPastEnd (-6751)")) << output;
    EXPECT_EQ(cli("show " + shellQuote(path), &output), 1) << output;
    EXPECT_EQ(readFile(path), before);
}

// The dictionary of a tagged file imported into one without udta: every container is created
// and the audio after moov moves.
TEST(Mp4Cli, ExportThenImportIntoAFileWithoutTags)
{
    std::string output;
    if (cli("export --help", &output) != 0)
        GTEST_SKIP() << "this build's kestrabel-tag has no export (built without the object layer)";
    TempDir dir;
    std::string source = dir.copyFixture("tagged.m4a");
    std::string target = dir.copyFixture("no-udta-faststart.m4a");
    std::string plist = dir.file("tags.plist");
    ASSERT_EQ(cli("export -o " + shellQuote(plist) + " " + shellQuote(source), &output), 0) << output;
    ASSERT_EQ(cli("import " + shellQuote(plist) + " " + shellQuote(target), &output), 0) << output;
    ASSERT_EQ(cli("show --json " + shellQuote(target), &output), 0) << output;
    for (const char *expected : {"\"kMediaFileDataIDTitle\": \"Tiny Tone\"", "\"kMediaFileDataIDArtist\": \"Test Artist\"",
                                 "\"kMediaFileDataIDTrackNumber\": 3", "\"kMediaFileDataIDTotalTracks\": 12",
                                 "\"kMediaFileDataIDGenre\": \"Chillout\"", "\"kMediaFileDataIDYear\": 2021"})
        EXPECT_TRUE(contains(output, expected)) << expected << "\n" << output;
    if (haveFfmpeg()) {
        EXPECT_EQ(decodeErrors(target), "");
        EXPECT_EQ(decodedAudio(target), decodedAudio(fixturePath("no-udta-faststart.m4a")));
    }
}
