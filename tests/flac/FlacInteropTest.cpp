// What metaflac and mutagen write we read, and what we write they read; kestrabel-tag on FLAC.
#include "FlacTestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

const char kMutagenPython[] = "/usr/bin/python3";

bool haveMutagen() { return runCommand(std::string(kMutagenPython) + " -c 'import mutagen' 2>/dev/null") == 0; }

bool contains(const std::vector<std::string> &lines, const std::string &line)
{
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

} // namespace

TEST(FlacInterop, MetaflacReadsWhatWeWrite)
{
    if (!haveTool("metaflac"))
        GTEST_SKIP() << "metaflac is not installed";
    TempDir dir;
    std::string path = dir.copyFixture("flac-duplicate-artist.flac");
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDArtist, "Ünïcode Artist"), 0);
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDTotalTracks, 11), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDEncodedBy, "our vendor"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    std::vector<std::string> tags = metaflacTags(path);
    EXPECT_EQ(tags, (std::vector<std::string>{"ARTIST=Ünïcode Artist", "TITLE=Two Artists", "TOTALTRACKS=11"}));
    std::string vendor;
    ASSERT_EQ(runCommand("metaflac --show-vendor-tag " + shellQuote(path), &vendor), 0);
    EXPECT_EQ(vendor, "our vendor\n");
    std::string output;
    EXPECT_TRUE(flacTestPasses(path, &output)) << output;
}

TEST(FlacInterop, WeReadWhatMetaflacWrites)
{
    if (!haveTool("metaflac"))
        GTEST_SKIP() << "metaflac is not installed";
    TempDir dir;
    std::string path = dir.copyFixture("flac-no-tags-no-padding.flac");
    ASSERT_EQ(runCommand("metaflac --set-tag='TITLE=From metaflac' --set-tag=TRACKNUMBER=2/9 --set-tag=COMPILATION=1 " +
                         shellQuote(path)),
              0);
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "From metaflac");
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 2);
    EXPECT_EQ(file.integer(kMediaFileDataIDCompilation), 1);
}

TEST(FlacInterop, MutagenReadsWhatWeWriteAndWeReadWhatItWrites)
{
    if (!haveMutagen())
        GTEST_SKIP() << "mutagen is not installed for " << kMutagenPython;
    TempDir dir;
    std::string path = dir.copyFixture("flac-escn-picture.flac");
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDAlbum, "Album für alle"), 0);
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDYear, 1999), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    std::string output;
    ASSERT_EQ(runCommand(std::string(kMutagenPython) + " -c \"import sys; from mutagen.flac import FLAC; f = FLAC(sys.argv[1]); "
                                                        "print(f['album'][0]); print(f['year'][0]); print(f['title'][0]); "
                                                        "print(f.info.sample_rate)\" " +
                             shellQuote(path),
                         &output, true),
              0)
        << output;
    EXPECT_EQ(output, "Album für alle\n1999\nWith Picture\n8000\n");

    ASSERT_EQ(runCommand(std::string(kMutagenPython) + " -c \"import sys; from mutagen.flac import FLAC; f = FLAC(sys.argv[1]); "
                                                        "f['title'] = 'Set by mutagen'; f['discc'] = '3'; f.save()\" " +
                             shellQuote(path),
                         &output, true),
              0)
        << output;
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Set by mutagen");
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalDisks), 3);
    EXPECT_EQ(file.data(kMediaFileDataIDArtwork).size(), readFile(fixturePath("escn-cover.jpg")).size() + 8)
        << "mutagen kept the application block";
}

TEST(FlacInterop, CliShowsAndSetsFlac)
{
    TempDir dir;
    std::string path = dir.copyFixture("flac-escn-picture.flac");
    std::string image = fixturePath("no-exif.jpg");
    std::string output;
    ASSERT_EQ(runCommand(shellQuote(cliPath()) + " set -t Title=Shown -t 'Total Tracks=10' --artwork " + shellQuote(image) + " " +
                             shellQuote(path),
                         &output, true),
              0)
        << output;
    ASSERT_EQ(runCommand(shellQuote(cliPath()) + " show " + shellQuote(path), &output, true), 0) << output;
    EXPECT_NE(output.find("(FLAC)"), std::string::npos) << output;
    EXPECT_NE(output.find("Title          : Shown"), std::string::npos) << output;
    EXPECT_NE(output.find("Total Tracks   : 10"), std::string::npos) << output;
    EXPECT_NE(output.find("Bit Rate       : 125"), std::string::npos) << output;
    std::vector<std::string> tags = metaflacTags(path);
    if (haveTool("metaflac")) {
        EXPECT_TRUE(contains(tags, "TOTALTRACKS=10"));
    }
    OpenFile file(path);
    std::vector<uint8_t> expected = readFile(image);
    std::vector<uint8_t> data = file.data(kMediaFileDataIDArtwork);
    ASSERT_EQ(data.size(), expected.size() + 8);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), data.begin()));
}
