// Saves that fail part-way, through a preloaded shim that fails the Nth call of one file
// operation, and a file-size limit standing in for a full disk. After each, every file is exactly
// the original or exactly the finished save, no temporary file is left, and the errors name the
// files left as they were and no others: a file whose flush failed is not put in place.
#include "KindTable.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace kestrabel::test;

namespace {

const char kEdit[] = " set -t 'Title=A new and much longer title for the fault run' -t Comment=changed ";

std::string extensionOf(const std::string &name) { return name.substr(name.rfind('.')); }

// (kind, operation): one set run over a file of the kind, or over a file of every kind in one
// folder ("All"), whose growing saves are flushed together at the end.
class Faults : public ::testing::TestWithParam<std::tuple<std::string, std::string>> {};

} // namespace

TEST_P(Faults, EveryFailingCallLeavesEachFileOldOrNewAndEveryOldOneNamed)
{
    if (std::getenv("KESTRABEL_SANITIZED"))
        GTEST_SKIP() << "the shim cannot be preloaded ahead of the sanitizer runtime";
    const auto &[only, operation] = GetParam();
    TempDir dir, scratch;
    std::vector<std::string> paths;
    std::vector<std::vector<uint8_t>> originals, finished;
    std::string arguments;
    for (const KindCase &kind : writableKinds()) {
        if (only != "All" && kind.name != only)
            continue;
        const std::string name = "song-" + kind.name + extensionOf(kind.fixture);
        paths.push_back(dir.file(name));
        originals.push_back(readFile(fixturePath(kind.fixture)));
        const std::string reference = scratch.copyFixture(kind.fixture, name);
        ASSERT_EQ(runCommand(shellQuote(cliPath()) + kEdit + shellQuote(reference)), 0);
        finished.push_back(readFile(reference));
        ASSERT_NE(originals.back(), finished.back());
        arguments += " " + shellQuote(paths.back());
    }
    const std::string counts = dir.path().string() + ".count";
    bool completed = false;
    int failures = 0;
    for (int n = 0; n < 600 && !completed; ++n) {
        for (size_t i = 0; i < paths.size(); ++i)
            writeFile(paths[i], originals[i]);
        std::string output;
        const int status = runCommand("KESTRABEL_FAULT_OP=" + operation + " KESTRABEL_FAULT_AT=" + std::to_string(n) + " KESTRABEL_FAULT_COUNT_FILE=" +
                                          shellQuote(counts) + " LD_PRELOAD=" + shellQuote(KESTRABEL_FAULT_SHIM) + " " + shellQuote(cliPath()) + kEdit + arguments,
                                      &output, true);
        long calls = 0;
        std::ifstream(counts) >> calls;
        failures += status != 0;
        EXPECT_TRUE(status == 0 || status == 1) << output;
        for (size_t i = 0; i < paths.size(); ++i) {
            const std::vector<uint8_t> now = readFile(paths[i]);
            EXPECT_TRUE(now == originals[i] || now == finished[i]) << "call " << n << " of " << operation << ": " << paths[i] << " is partly written";
            if (status == 0) {
                EXPECT_TRUE(now == finished[i]) << "call " << n << ": success reported but " << paths[i] << " is not saved";
            } else {
                EXPECT_EQ(output.find(paths[i]) != std::string::npos, now == originals[i])
                    << "call " << n << ": " << paths[i] << " is named in the errors exactly when it is left as it was: " << output;
            }
        }
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), long(paths.size())) << "call " << n << " left a temporary file";
        completed = status == 0 && n >= calls;
    }
    std::filesystem::remove(counts);
    EXPECT_TRUE(completed) << "the save never got past its failure points";
    // A batch flushes every new file with its one syncfs; its only fsync is the folder's, after
    // the renames, whose failure fails no save.
    EXPECT_TRUE(failures > 0 || only != "All" || operation == "fsync") << "no call of " << operation << " was made";
}

// The file system is flushed as a whole (syncfs) only at the end of a batch.
INSTANTIATE_TEST_SUITE_P(EveryWritableKind, Faults,
                         ::testing::Combine(::testing::Values("MP3", "MP4", "AIFF", "WAVE", "Ogg", "FLAC"),
                                            ::testing::Values("write", "fsync", "rename", "copy_file_range")),
                         [](const auto &info) { return std::get<0>(info.param) + "_" + std::get<1>(info.param); });
INSTANTIATE_TEST_SUITE_P(OneSetRun, Faults, ::testing::Combine(::testing::Values("All"), ::testing::Values("write", "fsync", "syncfs", "rename")),
                         [](const auto &info) { return std::get<0>(info.param) + "_" + std::get<1>(info.param); });

// A file-size limit below the file's size: the new file cannot be written whole.
TEST(Faults, FullDiskLeavesTheOriginal)
{
    for (const KindCase &kind : writableKinds()) {
        SCOPED_TRACE(kind.name);
        TempDir dir;
        const std::string path = dir.copyFixture(kind.fixture, "song" + extensionOf(kind.fixture));
        const std::vector<uint8_t> original = readFile(path);
        std::string output;
        const int status = runCommand("trap '' XFSZ; ulimit -f " + std::to_string(std::max<size_t>(1, original.size() / 2048)) + "; " +
                                          shellQuote(cliPath()) + kEdit + " -t 'Composer=" + std::string(3000, 'l') + "' " + shellQuote(path),
                                      &output, true);
        EXPECT_EQ(status, 1) << output;
        EXPECT_NE(output.find(path), std::string::npos) << output;
        // The Ogg handler reports its own code (-1) when a write fails; every other kind passes the errno on.
        EXPECT_TRUE(output.find(MediaFileGetStatusName(EFBIG)) != std::string::npos ||
                    (kind.kind == kMediaFileTypeOgg && output.find("(-1)") != std::string::npos)) << output;
        EXPECT_EQ(readFile(path), original);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
    }
}
