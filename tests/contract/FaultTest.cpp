// Saves that fail part-way, through a preloaded shim that fails the Nth call of one file
// operation, a file-size limit standing in for a full disk, and files or folders we may not
// write. After each, the file must be exactly the original or exactly the finished save.
#include "KindTable.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

using namespace kestrabel::test;

namespace {

const char kEdit[] = " set -t 'Title=A new and much longer title for the fault run' -t Comment=changed ";

std::string extensionOf(const std::string &name) { return name.substr(name.rfind('.')); }

bool onlyEntryIs(const std::filesystem::path &folder, const std::string &name)
{
    int count = 0;
    bool found = false;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        ++count;
        found |= entry.path().filename() == name;
    }
    return count == 1 && found;
}

class Faults : public ::testing::TestWithParam<std::tuple<KindCase, std::string>> {
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(fixturePath(kind().fixture)))
            GTEST_SKIP() << "no fixture " << kind().fixture;
    }
    const KindCase &kind() const { return std::get<0>(GetParam()); }
    const std::string &operation() const { return std::get<1>(GetParam()); }

    // The bytes a save without faults produces.
    std::vector<uint8_t> reference()
    {
        TempDir scratch;
        std::string path = scratch.copyFixture(kind().fixture, "ref" + extensionOf(kind().fixture));
        EXPECT_EQ(runCommand(shellQuote(cliPath()) + kEdit + shellQuote(path)), 0);
        return readFile(path);
    }
};

} // namespace

TEST_P(Faults, EveryFailingCallLeavesTheOriginalOrTheFinishedSave)
{
    if (std::getenv("KESTRABEL_SANITIZED"))
        GTEST_SKIP() << "the shim cannot be preloaded ahead of the sanitizer runtime";
    std::vector<uint8_t> original = readFile(fixturePath(kind().fixture));
    std::vector<uint8_t> finished = reference();
    ASSERT_NE(original, finished);
    TempDir dir;
    std::string name = "song" + extensionOf(kind().fixture);
    std::string path = dir.file(name);
    std::string counts = dir.path().string() + ".count";
    int failures = 0;
    bool completed = false;
    for (int n = 0; n < 400 && !completed; ++n) {
        writeFile(path, original);
        std::string output;
        int status = runCommand("KESTRABEL_FAULT_OP=" + operation() + " KESTRABEL_FAULT_AT=" + std::to_string(n) +
                                    " KESTRABEL_FAULT_COUNT_FILE=" + shellQuote(counts) + " LD_PRELOAD=" + shellQuote(KESTRABEL_FAULT_SHIM) +
                                    " " + shellQuote(cliPath()) + kEdit + shellQuote(path),
                                &output, true);
        std::vector<uint8_t> now = readFile(path);
        long calls = 0;
        std::ifstream(counts) >> calls;
        if (status == 0) {
            EXPECT_EQ(now, finished) << "call " << n << ": reported success but the file is not the finished save";
            completed = n >= calls;
        } else {
            ++failures;
            EXPECT_EQ(status, 1) << output;
            EXPECT_NE(output.find(path), std::string::npos) << "the error names the file: " << output;
            EXPECT_TRUE(now == original || now == finished) << "call " << n << " of " << operation() << " left a partly written file";
        }
        EXPECT_TRUE(onlyEntryIs(dir.path(), name)) << "call " << n << " left a temporary file";
    }
    std::filesystem::remove(counts);
    EXPECT_TRUE(completed) << "the save never got past its failure points";
    RecordProperty("failure_points", failures);
}

namespace {

// One set run over a file of every writable kind in one folder, whose growing saves are
// flushed together at the end.
class BatchFaults : public ::testing::TestWithParam<std::string> {};

} // namespace

// A fault at the Nth write, flush, file-system flush or rename of a batch: each file is left
// old or new, none lost, no temporary file left, and every file left old is named.
TEST_P(BatchFaults, EveryFileIsOldOrNewAndEveryOldOneNamed)
{
    if (std::getenv("KESTRABEL_SANITIZED"))
        GTEST_SKIP() << "the shim cannot be preloaded ahead of the sanitizer runtime";
    TempDir dir, scratch;
    std::vector<std::string> paths, names;
    std::vector<std::vector<uint8_t>> originals, finished;
    std::string arguments;
    for (const KindCase &kind : writableKinds()) {
        names.push_back("song-" + kind.name + extensionOf(kind.fixture));
        paths.push_back(dir.file(names.back()));
        originals.push_back(readFile(fixturePath(kind.fixture)));
        std::string reference = scratch.copyFixture(kind.fixture, names.back());
        ASSERT_EQ(runCommand(shellQuote(cliPath()) + kEdit + shellQuote(reference)), 0);
        finished.push_back(readFile(reference));
        arguments += " " + shellQuote(paths.back());
    }
    std::string counts = dir.path().string() + ".count";
    bool completed = false;
    int failures = 0;
    for (int n = 0; n < 600 && !completed; ++n) {
        for (size_t i = 0; i < paths.size(); ++i)
            writeFile(paths[i], originals[i]);
        std::string output;
        int status = runCommand("KESTRABEL_FAULT_OP=" + GetParam() + " KESTRABEL_FAULT_AT=" + std::to_string(n) +
                                    " KESTRABEL_FAULT_COUNT_FILE=" + shellQuote(counts) + " LD_PRELOAD=" + shellQuote(KESTRABEL_FAULT_SHIM) +
                                    " " + shellQuote(cliPath()) + kEdit + arguments,
                                &output, true);
        long calls = 0;
        std::ifstream(counts) >> calls;
        failures += status != 0;
        EXPECT_TRUE(status == 0 || status == 1) << output;
        for (size_t i = 0; i < paths.size(); ++i) {
            std::vector<uint8_t> now = readFile(paths[i]);
            if (status == 0) {
                EXPECT_EQ(now, finished[i]) << "call " << n << ": success reported but " << names[i] << " is not saved";
            }
            EXPECT_TRUE(now == originals[i] || now == finished[i]) << "call " << n << ": " << names[i] << " is partly written";
            if (now == originals[i] && status != 0) {
                EXPECT_NE(output.find(paths[i]), std::string::npos) << "call " << n << ": " << names[i] << " not named: " << output;
            }
        }
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), static_cast<long>(paths.size()))
            << "call " << n << " left a temporary file";
        completed = status == 0 && n >= calls;
    }
    std::filesystem::remove(counts);
    EXPECT_TRUE(completed) << "the batch never got past its failure points";
    EXPECT_GT(failures, 0) << "no call of " << GetParam() << " was made";
}

INSTANTIATE_TEST_SUITE_P(OneSetRun, BatchFaults, ::testing::Values("write", "fsync", "syncfs", "rename"),
                         [](const auto &info) { return info.param; });

namespace {

class DiskFaults : public ::testing::TestWithParam<KindCase> {
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(fixturePath(kind().fixture)))
            GTEST_SKIP() << "no fixture " << kind().fixture;
    }
    const KindCase &kind() const { return GetParam(); }
    // The Ogg handler reports its own codes: 2002 when it cannot create its temporary file,
    // -1 when a write fails. Every other kind passes the system's errno on.
    bool namesError(const std::string &output, int error) const
    {
        if (output.find(MediaFileGetStatusName(error)) != std::string::npos)
            return true;
        return kind().kind == kMediaFileTypeOgg && output.find(error == EACCES ? "(2002)" : "(-1)") != std::string::npos;
    }
    std::vector<uint8_t> reference()
    {
        TempDir scratch;
        std::string path = scratch.copyFixture(kind().fixture, "ref" + extensionOf(kind().fixture));
        EXPECT_EQ(runCommand(shellQuote(cliPath()) + kEdit + shellQuote(path)), 0);
        return readFile(path);
    }
};

} // namespace

TEST_P(DiskFaults, FullDiskLeavesTheOriginal)
{
    TempDir dir;
    std::string path = dir.copyFixture(kind().fixture, "song" + extensionOf(kind().fixture));
    std::vector<uint8_t> original = readFile(path);
    // A file-size limit below the file's size: the new file cannot be written whole.
    long blocks = static_cast<long>(original.size() / 1024 / 2);
    std::string output;
    int status = runCommand("trap '' XFSZ; ulimit -f " + std::to_string(std::max(1L, blocks)) + "; " + shellQuote(cliPath()) + kEdit +
                                std::string(" -t 'Composer=") + std::string(3000, 'l') + "' " + shellQuote(path),
                            &output, true);
    EXPECT_EQ(status, 1) << output;
    EXPECT_NE(output.find(path), std::string::npos) << output;
    EXPECT_TRUE(namesError(output, EFBIG)) << output;
    EXPECT_EQ(readFile(path), original);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST_P(DiskFaults, ReadOnlyFileAndReadOnlyFolderAreReportedAndUntouched)
{
    // Root writes anywhere; run the tool as an unprivileged user when we are root.
    std::string asUser;
    if (geteuid() == 0) {
        if (!haveTool("setpriv"))
            GTEST_SKIP() << "needs setpriv to drop root";
        asUser = "setpriv --reuid=65534 --regid=65534 --clear-groups ";
    }
    TempDir dir;
    chmod(dir.path().c_str(), 0755);
    std::string path = dir.copyFixture(kind().fixture, "song" + extensionOf(kind().fixture));
    std::vector<uint8_t> original = readFile(path);
    std::string output;

    chmod(path.c_str(), 0444);
    if (geteuid() == 0)
        chown(path.c_str(), 0, 0);
    EXPECT_EQ(runCommand(asUser + shellQuote(cliPath()) + kEdit + shellQuote(path), &output, true), 1) << output;
    EXPECT_TRUE(namesError(output, EACCES)) << "read-only file: " << output;
    EXPECT_EQ(readFile(path), original);

    // In a folder we may not write, a save that must go through a new file fails; one that the
    // format can absorb in place (padding) may still succeed, and then it must be complete.
    chmod(path.c_str(), 0666);
    chmod(dir.path().c_str(), 0555);
    int status = runCommand(asUser + shellQuote(cliPath()) + kEdit + shellQuote(path), &output, true);
    chmod(dir.path().c_str(), 0755);
    if (status == 0) {
        EXPECT_EQ(readFile(path), reference());
    } else {
        EXPECT_EQ(status, 1) << output;
        EXPECT_TRUE(namesError(output, EACCES)) << "read-only folder: " << output;
        EXPECT_EQ(readFile(path), original);
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

INSTANTIATE_TEST_SUITE_P(EveryWritableKind, DiskFaults, ::testing::ValuesIn(writableKinds()),
                         [](const auto &info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(EveryWritableKind, Faults,
                         ::testing::Combine(::testing::ValuesIn(writableKinds()),
                                            ::testing::Values("write", "fsync", "rename", "copy_file_range")),
                         [](const auto &info) { return std::get<0>(info.param).name + "_" + std::get<1>(info.param); });
