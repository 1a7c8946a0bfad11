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

// export and import need the object layer, which only the Qt build has.
TEST(IffCli, ExportThenImportCarriesBextAndTagToAnotherFile)
{
    int status = -1;
    tool("export --help >/dev/null 2>&1", &status);
    if (status != 0)
        GTEST_SKIP() << "this build's kestrabel-tag has no export";
    TempDir dir;
    std::string source = dir.copyFixture("bext.wav");
    tool("set -t Title=Godwit -t 'Track Number=3' " + shellQuote(source), &status);
    ASSERT_EQ(status, 0);
    std::string plist = dir.file("tags.plist");
    tool("export -o " + shellQuote(plist) + " " + shellQuote(source), &status);
    ASSERT_EQ(status, 0);
    std::string target = dir.copyFixture("no-tags.aiff");
    // With --overwrite: without it the coding history would be skipped, because the bext chunk
    // that the first imported field creates already holds an empty history line.
    tool("import --overwrite " + shellQuote(plist) + " " + shellQuote(target), &status);
    ASSERT_EQ(status, 0);

    OpenFile file(target);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Godwit");
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 3);
    EXPECT_EQ(file.string(kMediaFileDataIDBWFDescription), "A short test tone");
    EXPECT_EQ(file.string(kMediaFileDataIDBWFOriginatorReference), "KESTRABEL0001");
    EXPECT_EQ(file.string(kMediaFileDataIDBWFOriginatorTime), "12:34:56");
    // ffmpeg's history line had no line end; stored again, it gets one.
    EXPECT_EQ(file.string(kMediaFileDataIDBWFCodingHistory), "A=PCM,F=8000,W=16,M=mono,T=ffmpeg\r\n");
    ChunkLayout layout = readLayout(target);
    EXPECT_EQ(uint64_t(layout.containerSize), layout.fileSize - 8);
    EXPECT_EQ(layout.data("bext").at(347), 1); // Version 1, big-endian in an AIFF file
}

} // namespace
