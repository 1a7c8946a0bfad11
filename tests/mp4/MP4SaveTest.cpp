// Saving: a free atom after ilst takes up size changes, otherwise the tail moves and the stco chunk
// offsets follow it; the audio decodes exactly as before, through a new file and in place alike.
#include "MP4TestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <climits>
#include <sys/stat.h>

using namespace kestrabel::test;
using namespace kestrabel::test::mp4;

namespace {

const std::string kStco = ".moov.trak.mdia.minf.stbl.stco", kCo64 = ".moov.trak.mdia.minf.stbl.co64";
constexpr int64_t kUnchecked = INT64_MIN;

ino_t inodeOf(const std::string &path)
{
    struct stat st {};
    stat(path.c_str(), &st);
    return st.st_ino;
}


struct SaveCase {
    const char *name, *fixture;
    std::vector<std::pair<MediaFileDataID, std::string>> edits;
    MediaFileStatus status;
    int64_t growth;     // of the file
    bool tailMoves;     // mdat moves by the growth, and the stco offsets with it
    int64_t freeChange; // of the free atom after ilst
    bool audioSame;     // false: the stale co64 offsets no longer reach the moved audio
};

const SaveCase kSaveCases[] = {
    {"FreeAbsorbsGrowth", "ilst-then-free.m4a", {{kMediaFileDataIDTitle, std::string(36, '+')}}, 0, 0, false, -30, true},
    {"FreeTakesShrinkage", "ilst-then-free.m4a", {{kMediaFileDataIDTitle, ""}}, 0, 0, false, 6, true},
    {"GrowthBeyondFree", "ilst-then-free.m4a", {{kMediaFileDataIDTitle, std::string(4000, '+')}}, 0, 3994, true, 0, true},
    {"MoovBeforeMdat", "tagged-faststart.m4a", {{kMediaFileDataIDComment, std::string(300, 'c')}, {kMediaFileDataIDTitle, "T"}},
     0, 300 - 9 + 1 - 9, true, kUnchecked, true},
    {"SameLengthInPlace", "tagged-faststart.m4a", {{kMediaFileDataIDTitle, "Tiny Tune"}}, 0, 0, false, kUnchecked, true},
    {"MoovAtTheEnd", "tagged.m4a", {{kMediaFileDataIDTitle, std::string(200, 't')}}, 0, 200 - 9, false, kUnchecked, true},
    {"MoovAtTheEndShrinks", "tagged.m4a", {{kMediaFileDataIDTitle, "t"}}, 0, -8, false, kUnchecked, true},
    // co64 tables are not corrected when the tail moves; an edit absorbed in place moves nothing.
    {"Co64Absorbed", "co64-faststart.m4a", {{kMediaFileDataIDTitle, "Tiny Tune"}}, 0, 0, false, kUnchecked, true},
    {"Co64Moves", "co64-faststart.m4a", {{kMediaFileDataIDTitle, "A title that makes moov grow"}}, 0, 28 - 9, true, kUnchecked,
     false},
    {"BadStcoTable", "stco-count-mismatch.m4a", {{kMediaFileDataIDTitle, std::string(40, 'x')}}, kMediaFileErrShortHeader, 0,
     false, kUnchecked, true},
    {"BadStcoTableUnused", "stco-count-mismatch.m4a", {{kMediaFileDataIDTitle, "Tiny Tune"}}, 0, 0, false, kUnchecked, true},
};

class Mp4Save : public ::testing::TestWithParam<SaveCase> {};

} // namespace

TEST_P(Mp4Save, MovesOnlyWhatMustMove)
{
    const SaveCase &c = GetParam();
    TempDir dir;
    std::vector<std::vector<uint8_t>> results;
    for (MediaFileFlags flags : {MediaFileFlags(0), MediaFileFlags(kMediaFileFlagInPlace)}) {
        SCOPED_TRACE(flags);
        std::string path = dir.copyFixture(c.fixture, flags ? "in-place.m4a" : "renamed.m4a");
        std::vector<uint8_t> before = readFile(path);
        ino_t inode = inodeOf(path);
        {
            OpenFile file(path);
            for (const auto &[id, text] : c.edits)
                ASSERT_EQ(MediaFileSetString(file.ref(), id, text.c_str()), kMediaFileNoErr);
            ASSERT_EQ(MediaFileUpdate(file.ref(), flags), c.status);
        }
        const std::vector<uint8_t> after = results.emplace_back(readFile(path));
        if (c.status != kMediaFileNoErr) {
            EXPECT_EQ(after, before);
            continue;
        }
        EXPECT_EQ(int64_t(after.size()) - int64_t(before.size()), c.growth);
        EXPECT_EQ(inodeOf(path) == inode, flags != 0 || c.growth == 0) << "an edit of the same length never replaces the file";
        AtomSpan mdat = findAtom(before, ".mdat");
        int64_t shift = c.tailMoves ? c.growth : 0;
        EXPECT_EQ(int64_t(findAtom(after, ".mdat").offset), int64_t(mdat.offset) + shift);
        EXPECT_EQ(payload(after, findAtom(after, ".mdat")), payload(before, mdat));
        std::vector<uint64_t> offsets = chunkOffsets(before, kStco);
        for (uint64_t &offset : offsets)
            offset = uint64_t(int64_t(offset) + (mdat.offset > findAtom(before, ".moov").offset ? shift : 0));
        EXPECT_EQ(chunkOffsets(after, kStco), offsets);
        EXPECT_EQ(chunkOffsets(after, kCo64), chunkOffsets(before, kCo64));
        if (c.freeChange != kUnchecked) {
            const std::vector<uint8_t> freeBefore = payload(before, findAtom(before, ".moov.udta.meta.free")),
                                       freeAfter = payload(after, findAtom(after, ".moov.udta.meta.free"));
            EXPECT_EQ(int64_t(freeAfter.size()) - int64_t(freeBefore.size()), c.freeChange);
            EXPECT_EQ(std::count(freeAfter.begin(), freeAfter.end(), 0), long(freeAfter.size()));
        }
        if (haveTool("ffmpeg")) {
            EXPECT_EQ(decodedAudio(path) == decodedAudio(fixturePath(c.fixture)), c.audioSame);
        }
        OpenFile again(path);
        for (const auto &[id, text] : c.edits)
            EXPECT_EQ(again.string(id), text);
    }
    EXPECT_EQ(results[0], results[1]);
    if (!haveTool("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not installed: the audio was not decoded";
}

INSTANTIATE_TEST_SUITE_P(Rows, Mp4Save, ::testing::ValuesIn(kSaveCases),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(Mp4SaveTree, AnUnchangedTreeIsWrittenBackByteForByte)
{
    for (const char *name : {"no-tags.m4a", "tagged.m4a", "tagged-faststart.m4a", "cover.m4a", "ilst-then-free.m4a",
                             "uuid-atoms.m4a", "co64-faststart.m4a"}) {
        TempDir dir;
        std::string path = dir.copyFixture(name);
        std::vector<uint8_t> before = readFile(path);
        OpenFile file(path);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr) << name;
        EXPECT_EQ(readFile(path), before) << name;
    }
}

// A large size is read before the type; a save rewrites only the 32-bit size of such a header.
TEST(Mp4SaveTree, LargeSizeHeaderGetsItsThirtyTwoBitSizeWritten)
{
    TempDir dir;
    std::string path = dir.copyFixture("large-size-header.m4a");
    OpenFile file(path);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "T"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    std::vector<uint8_t> after = readFile(path);
    AtomSpan moov = findAtom(after, ".moov");
    std::string header(after.begin() + long(moov.offset + moov.size - 24), after.begin() + long(moov.offset + moov.size));
    EXPECT_EQ(header, std::string("\0\0\0\x18\0\0\0\0\0\0\0\x18kbtx12345678", 24));
    EXPECT_EQ(OpenFile(path).string(kMediaFileDataIDTitle), "T") << "now an ordinary 24-byte atom of type 0";
}

// After a save that moved the tail, the handle's chunk offset tables must hold the new offsets.
TEST(Mp4SaveTree, LaterSavesAfterATailMoveStayConsistent)
{
    TempDir dir;
    std::string path = dir.copyFixture("tagged-faststart.m4a");
    OpenFile file(path);
    for (auto [text, flags] : {std::pair{std::string(100, 'a'), 0}, {std::string(50, 'b'), int(kMediaFileFlagInPlace)}, {"c", 0}}) {
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, text.c_str()), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), flags), kMediaFileNoErr);
    }
    ASSERT_EQ(file.close(), kMediaFileNoErr);
    if (!haveTool("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not installed";
    EXPECT_EQ(decodedAudio(path), decodedAudio(fixturePath("tagged-faststart.m4a")));
}
