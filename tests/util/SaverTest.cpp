// The one saver under every handler: edits land in place when nothing moves, when asked, or
// when a rename would split hard links; otherwise through a new file that keeps the original's
// mode, owner and attributes. What a failing step leaves is the contract suite's fault table.
#include "TestSupport.h"
#include "util/FileOps.h"
#include "util/Saver.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace kestrabel;
using namespace kestrabel::util;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes sequence(size_t n)
{
    Bytes bytes(n);
    for (size_t i = 0; i < n; ++i) // no period that a misplaced copy could match
        bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
    return bytes;
}

// What the saver must produce, computed the obvious way (edits at one offset in the order given).
Bytes expectedAfter(const Bytes &original, std::vector<Replacement> edits)
{
    std::stable_sort(edits.begin(), edits.end(), [](auto &a, auto &b) { return a.offset < b.offset; });
    Bytes out;
    uint64_t at = 0;
    for (const auto &edit : edits) {
        out.insert(out.end(), original.begin() + long(at), original.begin() + long(edit.offset));
        out.insert(out.end(), edit.bytes.begin(), edit.bytes.end());
        at = edit.offset + edit.length;
    }
    out.insert(out.end(), original.begin() + long(at), original.end());
    return out;
}

// The file's own bytes at [offset, offset + length) but for three in the middle: a handler that
// renders its whole metadata to change one value.
Bytes changedInTheMiddle(size_t size, size_t offset, size_t length)
{
    Bytes original = sequence(size), bytes(original.begin() + long(offset), original.begin() + long(offset + length));
    for (size_t i = length / 2; i < length / 2 + 3; ++i)
        bytes[i] = static_cast<uint8_t>(~bytes[i]);
    return bytes;
}

struct stat statOf(const std::string &path) { struct stat st {}; return stat(path.c_str(), &st), st; }

size_t entriesIn(const std::filesystem::path &folder) { return size_t(std::distance(std::filesystem::directory_iterator(folder), {})); }

struct SaveRow { size_t size; std::vector<Replacement> edits; MediaFileFlags flags; bool hardLink, sameFile; /* the inode stays */ };

// Same length; growing; shrinking; shrinking when asked in place; growing with a hard link;
// appends and same-length chunks (nothing moves: nothing copied); tails larger than the copy
// buffer moved in several pieces each way; and a same-length range that differs in three bytes.
const SaveRow kSaves[] = {
    {300000, {{10, 3, {1, 2, 3}}, {200000, 2, {9, 9}}}, 0, false, true},
    {300000, {{0, 10, Bytes(5000, 0xAA)}, {150000, 0, {7, 7, 7}}, {300000, 0, {1}}}, 0, false, false},
    {300000, {{1000, 4000, {5, 5}}, {250000, 10, {}}}, 0, false, false},
    {300000, {{1000, 4000, {5, 5}}, {250000, 10, {}}}, kMediaFileFlagInPlace, false, true},
    {300000, {{0, 0, Bytes(100, 1)}}, 0, true, true},
    {300000, {{300000, 0, Bytes(5000, 0xA1)}, {4, 4, {9, 9, 9, 9}}, {300000, 0, {0xB2, 0xB2}}}, 0, false, true},
    {20u << 20, {{1000, 10, Bytes(5000, 0xEE)}, {(9u << 20) + 3, 0, {1, 2, 3}}}, kMediaFileFlagInPlace, false, true},
    {20u << 20, {{7, 4990, {}}, {(17u << 20) + 1, 100, {4}}}, kMediaFileFlagInPlace, false, true},
    {300000, {{1000, 30000, changedInTheMiddle(300000, 1000, 30000)}}, 0, false, true},
};

int gFilesSynced = 0;
int countingFsync(int fd) { struct stat st {}; return gFilesSynced += fstat(fd, &st) == 0 && S_ISREG(st.st_mode), ::fsync(fd); }

} // namespace

TEST(Saver, EveryRowGivesTheEditedBytesKeepingTheFilesAttributes)
{
    for (size_t index = 0; index < std::size(kSaves); ++index) {
        const SaveRow &row = kSaves[index];
        SCOPED_TRACE("row " + std::to_string(index));
        test::TempDir dir;
        std::string path = dir.file("song.bin"), link = dir.file("link.bin");
        Bytes original = sequence(row.size);
        test::writeFile(path, original);
        ASSERT_EQ(chmod(path.c_str(), 0640), 0);
        bool xattr = setxattr(path.c_str(), "user.kestrabel", "v", 1, 0) == 0;
        bool root = geteuid() == 0 && chown(path.c_str(), 65534, 65534) == 0;
        ASSERT_TRUE(!row.hardLink || ::link(path.c_str(), link.c_str()) == 0);
        ino_t inode = statOf(path).st_ino;
        gFilesSynced = 0;
        fileOps().fsync = countingFsync;
        ASSERT_EQ(saveReplacements(path, row.edits, row.flags), 0);
        resetFileOps();
        struct stat st = statOf(path);
        EXPECT_EQ(st.st_ino == inode, row.sameFile);
        EXPECT_TRUE(row.sameFile || gFilesSynced > 0) << "the new file reaches the disk before it takes the old one's place";
        EXPECT_EQ(test::readFile(path), expectedAfter(original, row.edits));
        EXPECT_TRUE(!row.hardLink || test::readFile(link) == test::readFile(path)) << "a rename would split the hard links";
        EXPECT_EQ(st.st_mode & 07777, 0640u);
        EXPECT_TRUE(!root || (st.st_uid == 65534u && st.st_gid == 65534u)) << "owner and group";
        char value[4] = {};
        EXPECT_TRUE(!xattr || getxattr(path.c_str(), "user.kestrabel", value, sizeof value) == 1) << "extended attributes";
        EXPECT_EQ(entriesIn(dir.path()), row.hardLink ? 2u : 1u) << "no temporary file left behind";
    }
}

TEST(Saver, RefusesBadEdits)
{
    test::TempDir dir;
    std::string path = dir.file("song.bin");
    test::writeFile(path, sequence(300000));
    EXPECT_EQ(saveReplacements(path, {{10, 10, {}}, {15, 1, {}}}, 0), kMediaFileErrParam) << "overlapping";
    EXPECT_EQ(saveReplacements(path, {{299999, 2, {}}}, 0), kMediaFileErrParam) << "past the end";
    EXPECT_EQ(test::readFile(path), sequence(300000));
    EXPECT_EQ(saveReplacements(dir.file("missing"), {{0, 0, {1}}}, 0), ENOENT);
}
