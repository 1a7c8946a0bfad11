// A save that has to grow a tag leaves room for the next edit (interop profile): 1 KiB and 1 %
// of the file in 512-byte units, the audio moved by whole 4 KiB blocks; the next edit then
// fits and is written in place. The classic rules keep their own padding.
#include "TestSupport.h"

#include <kestrabel/MediaFile.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace kestrabel::test;

namespace {

struct Row {
    const char *name;
    const char *fixture;
    MediaFileFlags profile;
    bool roomForNextEdit; // the second, slightly longer edit keeps the file's size and inode
    bool wholeBlocks;     // the first edit grows the file by a multiple of 4096 (the old tag was in 512-byte units)
};

void PrintTo(const Row &row, std::ostream *out) { *out << row.name; }

const Row kRows[] = {
    {"Mp3Interop", "id3v24-full.mp3", kMediaFileFlagInterop, true, false}, // its old tag is not in 512-byte units
    {"Mp3InteropWithoutTag", "no-tags.mp3", kMediaFileFlagInterop, true, true},
    {"Mp3Classic", "id3v24-full.mp3", 0, false, false},
};

MediaFileStatus setComment(const std::string &path, MediaFileFlags profile, const std::string &text)
{
    MediaFileRef ref = nullptr;
    if (MediaFileStatus status = MediaFileOpen(path.c_str(), &ref, profile | kMediaFileFlagIgnoreTagErrors))
        return status;
    MediaFileStatus status = MediaFileSetString(ref, kMediaFileDataIDComment, text.c_str());
    if (status == kMediaFileNoErr)
        status = MediaFileUpdate(ref, profile | kMediaFileFlagID3v24);
    MediaFileClose(ref);
    return status;
}

class GrowthRoom : public ::testing::TestWithParam<Row> {};

} // namespace

TEST_P(GrowthRoom, SecondEditIsWrittenInPlace)
{
    const Row &row = GetParam();
    TempDir dir;
    std::string path = dir.copyFixture(row.fixture);
    struct stat before {}, first {}, second {};
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    ASSERT_EQ(setComment(path, row.profile, std::string(3000, 'a')), kMediaFileNoErr);
    ASSERT_EQ(stat(path.c_str(), &first), 0);
    ASSERT_EQ(setComment(path, row.profile, std::string(3600, 'b')), kMediaFileNoErr);
    ASSERT_EQ(stat(path.c_str(), &second), 0);
    EXPECT_EQ(first.st_ino == second.st_ino && first.st_size == second.st_size, row.roomForNextEdit);
    EXPECT_EQ((first.st_size - before.st_size) % 4096 == 0, row.wholeBlocks) << first.st_size - before.st_size;
}

INSTANTIATE_TEST_SUITE_P(Rows, GrowthRoom, ::testing::ValuesIn(kRows), [](const auto &info) { return std::string(info.param.name); });
