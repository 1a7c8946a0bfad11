// kestrabel-tag on chunk files: set saves both chunks, show prints them.
#include "IffTestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;

namespace {

std::string tool(const std::string &arguments, int *status = nullptr)
{
    std::string output;
    int result = runCommand(shellQuote(cliPath()) + " " + arguments, &output);
    if (status)
        *status = result;
    return output;
}

TEST(IffCli, ShowPrintsTheBextFields)
{
    int status = -1;
    std::string out = tool("show " + shellQuote(fixturePath("bext.wav")), &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(out.find("(WAVE)"), std::string::npos) << out;
    EXPECT_NE(out.find("BWF Originater Reference : KESTRABEL0001"), std::string::npos) << out;
    out = tool("show --json " + shellQuote(fixturePath("bext.wav")), &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(out.find("\"kMediaFileDataIDBWFOriginatorDate\": \"2024-05-17\""), std::string::npos) << out;
}

TEST(IffCli, SetWritesBextAndTagThenShowReadsThem)
{
    TempDir dir;
    for (const char *fixture : {"no-tags.wav", "id3-middle.aiff"}) {
        SCOPED_TRACE(fixture);
        std::string path = dir.copyFixture(fixture);
        int status = -1;
        tool("set -t 'BWF Originator=From the CLI' -t Title=Plover -t 'Track Number=6/8' " + shellQuote(path), &status);
        ASSERT_EQ(status, 0);
        ChunkLayout layout = readLayout(path);
        EXPECT_EQ(layout.count("bext"), 1u);
        EXPECT_EQ(layout.count("ID3 "), 1u);
        EXPECT_EQ(uint64_t(layout.containerSize), layout.fileSize - 8);
        std::string out = tool("show --json " + shellQuote(path), &status);
        EXPECT_EQ(status, 0);
        EXPECT_NE(out.find("\"kMediaFileDataIDBWFOriginator\": \"From the CLI\""), std::string::npos) << out;
        EXPECT_NE(out.find("\"kMediaFileDataIDTitle\": \"Plover\""), std::string::npos) << out;
        EXPECT_NE(out.find("\"kMediaFileDataIDTrackNumber\": 6"), std::string::npos) << out;
    }
}

TEST(IffCli, DamagedFileFailsAndIsLeftAlone)
{
    TempDir dir;
    std::string path = dir.copyFixture("bext-twice.wav");
    std::vector<uint8_t> before = readFile(path);
    int status = -1;
    std::string out = tool("set -t Title=x " + shellQuote(path) + " 2>&1", &status);
    EXPECT_EQ(status, 1);
    EXPECT_NE(out.find("kMediaFileErrDuplicate"), std::string::npos) << out;
    EXPECT_EQ(readFile(path), before);
}

} // namespace
