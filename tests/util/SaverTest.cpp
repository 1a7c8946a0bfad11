#include "TestSupport.h"
#include "util/FileOps.h"
#include "util/Saver.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <numeric>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace kestrabel;
using namespace kestrabel::util;

namespace {

std::vector<uint8_t> sequence(size_t n)
{
    std::vector<uint8_t> bytes(n);
    for (size_t i = 0; i < n; ++i)
        bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
    return bytes;
}

// What the saver must produce, computed the obvious way.
std::vector<uint8_t> expectedAfter(const std::vector<uint8_t> &original, std::vector<Replacement> edits)
{
    std::sort(edits.begin(), edits.end(), [](auto &a, auto &b) { return a.offset < b.offset; });
    std::vector<uint8_t> out;
    uint64_t at = 0;
    for (const auto &edit : edits) {
        out.insert(out.end(), original.begin() + at, original.begin() + edit.offset);
        out.insert(out.end(), edit.bytes.begin(), edit.bytes.end());
        at = edit.offset + edit.length;
    }
    out.insert(out.end(), original.begin() + at, original.end());
    return out;
}

ino_t inodeOf(const std::string &path)
{
    struct stat st {};
    stat(path.c_str(), &st);
    return st.st_ino;
}

size_t entriesIn(const std::filesystem::path &folder)
{
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

class SaverTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        path = dir.file("song.bin");
        original = sequence(300000);
        test::writeFile(path, original);
    }
    void TearDown() override { resetFileOps(); }

    test::TempDir dir;
    std::string path;
    std::vector<uint8_t> original;
};

} // namespace

TEST_F(SaverTest, SameLengthIsWrittenInPlace)
{
    ino_t before = inodeOf(path);
    std::vector<Replacement> edits = {{10, 3, {1, 2, 3}}, {200000, 2, {9, 9}}};
    ASSERT_EQ(saveReplacements(path, edits, 0), 0);
    EXPECT_EQ(inodeOf(path), before) << "a same-length save must not replace the file";
    EXPECT_EQ(test::readFile(path), expectedAfter(original, edits));
}

TEST_F(SaverTest, GrowingGoesThroughANewFileAndKeepsModeAndAttributes)
{
    chmod(path.c_str(), 0640);
    bool haveXattr = setxattr(path.c_str(), "user.kestrabel", "v", 1, 0) == 0;
    ino_t before = inodeOf(path);
    std::vector<Replacement> edits = {{0, 10, std::vector<uint8_t>(5000, 0xAA)}, {150000, 0, {7, 7, 7}}, {300000, 0, {1}}};
    ASSERT_EQ(saveReplacements(path, edits, 0), 0);
    EXPECT_NE(inodeOf(path), before);
    EXPECT_EQ(test::readFile(path), expectedAfter(original, edits));
    struct stat st {};
    stat(path.c_str(), &st);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    if (haveXattr) {
        char value[4] = {};
        EXPECT_EQ(getxattr(path.c_str(), "user.kestrabel", value, sizeof value), 1);
        EXPECT_EQ(value[0], 'v');
    }
    EXPECT_EQ(entriesIn(dir.path()), 1u) << "no temporary file left behind";
}

TEST_F(SaverTest, NewFileKeepsOwnerAndGroup)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "changing a file's owner needs root";
    ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
    ASSERT_EQ(saveReplacements(path, {{0, 0, {1, 2, 3}}}, 0), 0);
    struct stat st {};
    stat(path.c_str(), &st);
    EXPECT_EQ(st.st_uid, 65534u);
    EXPECT_EQ(st.st_gid, 65534u);
}

TEST_F(SaverTest, InPlaceMoveOfATailLargerThanOnePiece)
{
    // Larger than the saver's copy buffer, so the tail moves in several pieces each way.
    std::vector<uint8_t> big = sequence(20u << 20);
    test::writeFile(path, big);
    std::vector<Replacement> grow = {{1000, 10, std::vector<uint8_t>(5000, 0xEE)}, {(9u << 20) + 3, 0, {1, 2, 3}}};
    ASSERT_EQ(saveReplacements(path, grow, kMediaFileFlagInPlace), 0);
    auto grown = expectedAfter(big, grow);
    ASSERT_EQ(test::readFile(path), grown);
    std::vector<Replacement> shrink = {{7, 4990, {}}, {(17u << 20) + 1, 100, {4}}};
    ASSERT_EQ(saveReplacements(path, shrink, kMediaFileFlagInPlace), 0);
    EXPECT_EQ(test::readFile(path), expectedAfter(grown, shrink));
}

TEST_F(SaverTest, ShrinkingInPlaceWhenAskedAndWithHardLinks)
{
    std::vector<Replacement> edits = {{1000, 4000, {5, 5}}, {250000, 10, {}}};
    ino_t before = inodeOf(path);
    ASSERT_EQ(saveReplacements(path, edits, kMediaFileFlagInPlace), 0);
    EXPECT_EQ(inodeOf(path), before);
    auto expected = expectedAfter(original, edits);
    EXPECT_EQ(test::readFile(path), expected);

    std::string link = dir.file("link.bin");
    ASSERT_EQ(::link(path.c_str(), link.c_str()), 0);
    std::vector<Replacement> grow = {{0, 0, std::vector<uint8_t>(100, 1)}};
    ASSERT_EQ(saveReplacements(path, grow, 0), 0);
    EXPECT_EQ(inodeOf(path), before) << "a rename would split the hard links";
    EXPECT_EQ(test::readFile(link), expectedAfter(expected, grow));
}

TEST_F(SaverTest, RejectsOverlappingOrOutOfRangeEdits)
{
    EXPECT_EQ(saveReplacements(path, {{10, 10, {}}, {15, 1, {}}}, 0), kMediaFileErrParam);
    EXPECT_EQ(saveReplacements(path, {{299999, 2, {}}}, 0), kMediaFileErrParam);
    EXPECT_EQ(test::readFile(path), original);
    EXPECT_EQ(saveReplacements(dir.file("missing"), {{0, 0, {1}}}, 0), ENOENT);
}

TEST_F(SaverTest, WriteFailingPartWayUnderAFileSizeLimitLeavesTheOriginal)
{
    // The limit applies to the new file, which passes it while the original already exceeds it:
    // the child process must fail cleanly and leave everything as it was.
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {200000, 200000};
        setrlimit(RLIMIT_FSIZE, &limit);
        MediaFileStatus status = saveReplacements(path, {{0, 0, std::vector<uint8_t>(100, 1)}}, 0);
        _exit(status == EFBIG ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "the save must report EFBIG";
    EXPECT_EQ(test::readFile(path), original);
    EXPECT_EQ(entriesIn(dir.path()), 1u);
}

namespace {
int gCallsBeforeFailure = 0;
int gFailErrno = EIO;
bool shouldFail() { return gCallsBeforeFailure-- == 0; }
ssize_t failingPwrite(int fd, const void *b, size_t n, off_t o)
{
    if (shouldFail())
        return errno = gFailErrno, -1;
    return ::pwrite(fd, b, n, o);
}
int failingFsync(int fd)
{
    if (shouldFail())
        return errno = gFailErrno, -1;
    return ::fsync(fd);
}
int failingRename(const char *a, const char *b)
{
    if (shouldFail())
        return errno = gFailErrno, -1;
    return ::rename(a, b);
}
ssize_t failingCopy(int in, off_t *io, int out, off_t *oo, size_t n, unsigned f)
{
    if (shouldFail())
        return errno = gFailErrno, -1;
    return ::copy_file_range(in, io, out, oo, n, f);
}
} // namespace

TEST_F(SaverTest, EveryFailingStepOfANewFileSaveLeavesTheOriginalUntouched)
{
    std::vector<Replacement> edits = {{100, 0, std::vector<uint8_t>(64, 3)}, {200000, 5, {}}};
    auto expected = expectedAfter(original, edits);
    bool sawSuccess = false;
    for (int n = 0; n < 64 && !sawSuccess; ++n) {
        test::writeFile(path, original);
        fileOps().pwrite = failingPwrite;
        fileOps().fsync = failingFsync;
        fileOps().rename = failingRename;
        fileOps().copyFileRange = failingCopy;
        gCallsBeforeFailure = n;
        MediaFileStatus status = saveReplacements(path, edits, 0);
        resetFileOps();
        auto now = test::readFile(path);
        if (status == 0) {
            EXPECT_EQ(now, expected);
            sawSuccess = true;
        } else {
            EXPECT_EQ(status, EIO) << "call " << n;
            EXPECT_EQ(now, original) << "call " << n << " failed but the file changed";
        }
        EXPECT_EQ(entriesIn(dir.path()), 1u) << "call " << n << " left a temporary file";
    }
    EXPECT_TRUE(sawSuccess);
}

namespace {
// A torn write: the Nth call writes the first half of its bytes, then fails.
ssize_t tornPwrite(int fd, const void *b, size_t n, off_t o)
{
    if (shouldFail()) {
        (void)!::pwrite(fd, b, n / 2, o);
        return errno = gFailErrno, -1;
    }
    return ::pwrite(fd, b, n, o);
}
} // namespace

TEST_F(SaverTest, AppendsAndSameLengthEditsStayInTheFileAndAreUndoneWhenAWriteFails)
{
    // A header field, a chunk rewritten at its own length and two chunks appended (in the order
    // given, although they share an offset): nothing moves, so the file is not copied.
    std::vector<Replacement> edits = {{300000, 0, std::vector<uint8_t>(5000, 0xA1)},
                                      {4, 4, {9, 9, 9, 9}},
                                      {300000, 0, {0xB2, 0xB2}},
                                      {1000, 600, std::vector<uint8_t>(600, 0xC3)}};
    std::vector<uint8_t> expected = original;
    std::fill(expected.begin() + 4, expected.begin() + 8, 9);
    std::fill(expected.begin() + 1000, expected.begin() + 1600, 0xC3);
    expected.insert(expected.end(), 5000, 0xA1);
    expected.insert(expected.end(), 2, 0xB2);
    ino_t inode = inodeOf(path);
    bool sawSuccess = false;
    for (int n = 0; n < 16 && !sawSuccess; ++n) {
        test::writeFile(path, original);
        inode = inodeOf(path);
        fileOps().pwrite = tornPwrite;
        gCallsBeforeFailure = n;
        MediaFileStatus status = saveReplacements(path, edits, 0);
        resetFileOps();
        EXPECT_EQ(inodeOf(path), inode) << "call " << n << ": the file was replaced";
        if (status == 0) {
            EXPECT_EQ(test::readFile(path), expected);
            sawSuccess = true;
        } else {
            EXPECT_EQ(status, EIO) << "call " << n;
            EXPECT_EQ(test::readFile(path), original) << "call " << n << " failed and was not undone";
        }
        EXPECT_EQ(entriesIn(dir.path()), 1u);
    }
    EXPECT_TRUE(sawSuccess);
}

TEST_F(SaverTest, WholeFileReplacement)
{
    std::vector<uint8_t> fresh = {1, 2, 3};
    ASSERT_EQ(saveWholeFile(path, fresh), 0);
    EXPECT_EQ(test::readFile(path), fresh);
}
