// Saving: a free atom after ilst takes up size changes, otherwise the tail moves and the
// chunk offsets follow it; the audio must decode exactly as before either way.
#include "MP4TestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace kestrabel::test;
using namespace kestrabel::test::mp4;

namespace {

const std::string kStco = ".moov.trak.mdia.minf.stbl.stco";
const std::string kFreeAfterIlst = ".moov.udta.meta.free";

ino_t inodeOf(const std::string &path)
{
    struct stat st {};
    stat(path.c_str(), &st);
    return st.st_ino;
}

MediaFileStatus setTitleAndSave(const std::string &path, const std::string &title, MediaFileFlags flags = 0)
{
    OpenFile file(path);
    if (file.status())
        return file.status();
    if (MediaFileStatus status = MediaFileSetString(file.ref(), kMediaFileDataIDTitle, title.c_str()))
        return status;
    return MediaFileUpdate(file.ref(), flags);
}

std::vector<uint8_t> mdatOf(const std::vector<uint8_t> &bytes) { return payload(bytes, findAtom(bytes, ".mdat")); }

// The peers' verdict on a saved file: decodes cleanly, to the same audio, same duration.
void expectSameAudio(const std::string &original, const std::string &saved)
{
    if (!haveFfmpeg())
        return;
    EXPECT_EQ(decodeErrors(saved), "");
    EXPECT_EQ(decodedAudio(saved), decodedAudio(original));
    EXPECT_EQ(probedDuration(saved), probedDuration(original));
}

} // namespace

TEST(Mp4Save, FreeAfterIlstAbsorbsGrowthInPlace)
{
    TempDir dir;
    std::string original = fixturePath("ilst-then-free.m4a");
    std::string path = dir.copyFixture("ilst-then-free.m4a");
    std::vector<uint8_t> before = readFile(path);
    uint64_t freeBefore = payload(before, findAtom(before, kFreeAfterIlst)).size();
    ASSERT_GT(freeBefore, 100u);
    ino_t inode = inodeOf(path);

    ASSERT_EQ(setTitleAndSave(path, "Padded" + std::string(30, '+')), kMediaFileNoErr);
    std::vector<uint8_t> after = readFile(path);
    EXPECT_EQ(after.size(), before.size());
    EXPECT_EQ(payload(after, findAtom(after, kFreeAfterIlst)).size(), freeBefore - 30);
    EXPECT_EQ(findAtom(after, ".moov").size, findAtom(before, ".moov").size);
    EXPECT_EQ(inodeOf(path), inode) << "same length: written in place";
    EXPECT_EQ(chunkOffsets(after, findAtom(after, kStco)), chunkOffsets(before, findAtom(before, kStco)));
    expectSameAudio(original, path);

    ASSERT_EQ(setTitleAndSave(path, ""), kMediaFileNoErr);
    after = readFile(path);
    EXPECT_EQ(after.size(), before.size());
    EXPECT_EQ(payload(after, findAtom(after, kFreeAfterIlst)).size(), freeBefore + 6) << "shrinkage goes to free";
    std::vector<uint8_t> freeBytes = payload(after, findAtom(after, kFreeAfterIlst));
    EXPECT_TRUE(std::all_of(freeBytes.begin(), freeBytes.end(), [](uint8_t b) { return b == 0; }));
    expectSameAudio(original, path);
}

TEST(Mp4Save, GrowthBeyondFreeMovesTheTail)
{
    TempDir dir;
    std::string original = fixturePath("ilst-then-free.m4a");
    std::string path = dir.copyFixture("ilst-then-free.m4a");
    std::vector<uint8_t> before = readFile(path);
    uint64_t freeBefore = payload(before, findAtom(before, kFreeAfterIlst)).size();
    uint64_t growth = freeBefore + 1;

    ASSERT_EQ(setTitleAndSave(path, "Padded" + std::string(growth, '+')), kMediaFileNoErr);
    std::vector<uint8_t> after = readFile(path);
    EXPECT_EQ(after.size(), before.size() + growth);
    EXPECT_EQ(payload(after, findAtom(after, kFreeAfterIlst)).size(), freeBefore) << "free is left as it was";
    EXPECT_EQ(findAtom(after, ".mdat").offset, findAtom(before, ".mdat").offset + growth);
    EXPECT_EQ(mdatOf(after), mdatOf(before));
    for (size_t track = 0; track < 2; ++track) {
        std::vector<uint64_t> offsets = chunkOffsets(before, findAtom(before, kStco, track));
        for (uint64_t &offset : offsets)
            offset += growth;
        EXPECT_EQ(chunkOffsets(after, findAtom(after, kStco, track)), offsets) << "track " << track;
    }
    expectSameAudio(original, path);
}

TEST(Mp4Save, MoovBeforeMdatCorrectsEveryChunkOffset)
{
    TempDir dir;
    std::string original = fixturePath("tagged-faststart.m4a");
    for (MediaFileFlags flags : {MediaFileFlags{0}, MediaFileFlags{kMediaFileFlagInPlace}}) {
        std::string path = dir.copyFixture("tagged-faststart.m4a");
        std::vector<uint8_t> before = readFile(path);
        {
            OpenFile file(path);
            ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDComment, std::string(300, 'c').c_str()), 0);
            ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "T"), 0);
            ASSERT_EQ(MediaFileUpdate(file.ref(), flags), kMediaFileNoErr);
        }
        std::vector<uint8_t> after = readFile(path);
        int64_t growth = static_cast<int64_t>(after.size()) - static_cast<int64_t>(before.size());
        EXPECT_EQ(growth, 300 - 9 + 1 - 9);
        EXPECT_EQ(mdatOf(after), mdatOf(before));
        for (size_t track = 0; track < 2; ++track) {
            std::vector<uint64_t> was = chunkOffsets(before, findAtom(before, kStco, track));
            std::vector<uint64_t> now = chunkOffsets(after, findAtom(after, kStco, track));
            ASSERT_EQ(now.size(), was.size());
            for (size_t i = 0; i < was.size(); ++i)
                EXPECT_EQ(static_cast<int64_t>(now[i]), static_cast<int64_t>(was[i]) + growth);
        }
        expectSameAudio(original, path);
        OpenFile reopened(path);
        EXPECT_EQ(reopened.string(kMediaFileDataIDTitle), "T");
        EXPECT_EQ(reopened.string(kMediaFileDataIDArtist), "Test Artist");
    }
}

TEST(Mp4Save, MoovAtTheEndLeavesTheAudioWhereItIs)
{
    TempDir dir;
    std::string original = fixturePath("tagged.m4a");
    std::string path = dir.copyFixture("tagged.m4a");
    std::vector<uint8_t> before = readFile(path);
    ASSERT_EQ(setTitleAndSave(path, std::string(200, 't')), kMediaFileNoErr);
    std::vector<uint8_t> after = readFile(path);
    EXPECT_EQ(after.size(), before.size() + 200 - 9);
    EXPECT_EQ(findAtom(after, ".mdat").offset, findAtom(before, ".mdat").offset);
    EXPECT_EQ(std::vector<uint8_t>(after.begin(), after.begin() + static_cast<long>(findAtom(before, ".moov").offset)),
              std::vector<uint8_t>(before.begin(), before.begin() + static_cast<long>(findAtom(before, ".moov").offset)));
    EXPECT_EQ(chunkOffsets(after, findAtom(after, kStco)), chunkOffsets(before, findAtom(before, kStco)));
    expectSameAudio(original, path);

    ASSERT_EQ(setTitleAndSave(path, "t"), kMediaFileNoErr);
    EXPECT_EQ(readFile(path).size(), before.size() - 8);
    expectSameAudio(original, path);
}

TEST(Mp4Save, NewFileByDefaultAndInPlaceMoveOnRequest)
{
    TempDir dir;
    std::string byRename = dir.copyFixture("tagged-faststart.m4a", "rename.m4a");
    std::string inPlace = dir.copyFixture("tagged-faststart.m4a", "in-place.m4a");
    ino_t renameInode = inodeOf(byRename), inPlaceInode = inodeOf(inPlace);
    ASSERT_EQ(setTitleAndSave(byRename, "A longer title than before"), kMediaFileNoErr);
    ASSERT_EQ(setTitleAndSave(inPlace, "A longer title than before", kMediaFileFlagInPlace), kMediaFileNoErr);
    EXPECT_NE(inodeOf(byRename), renameInode);
    EXPECT_EQ(inodeOf(inPlace), inPlaceInode);
    EXPECT_EQ(readFile(byRename), readFile(inPlace));

    std::string sameLength = dir.copyFixture("tagged-faststart.m4a", "same.m4a");
    ino_t sameInode = inodeOf(sameLength);
    ASSERT_EQ(setTitleAndSave(sameLength, "Tiny Tune"), kMediaFileNoErr);
    EXPECT_EQ(inodeOf(sameLength), sameInode) << "an edit of the same length never replaces the file";
}

TEST(Mp4Save, AnUnchangedTreeIsWrittenBackByteForByte)
{
    for (const char *name : {"no-tags.m4a", "tagged.m4a", "tagged-faststart.m4a", "cover.m4a", "ilst-then-free.m4a",
                             "uuid-atoms.m4a", "co64-faststart.m4a"}) {
        TempDir dir;
        std::string path = dir.copyFixture(name);
        std::vector<uint8_t> before = readFile(path);
        OpenFile file(path);
        ASSERT_EQ(file.status(), kMediaFileNoErr) << name;
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr) << name;
        EXPECT_EQ(readFile(path), before) << name;
    }
}

TEST(Mp4Save, SavingTwiceAfterATailMoveStaysConsistent)
{
    TempDir dir;
    std::string original = fixturePath("tagged-faststart.m4a");
    std::string path = dir.copyFixture("tagged-faststart.m4a");
    OpenFile file(path);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, std::string(100, 'a').c_str()), 0);
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDAlbum, std::string(50, 'b').c_str()), 0);
    ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagInPlace), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDArtist, "c"), 0);
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    ASSERT_EQ(file.close(), kMediaFileNoErr);
    expectSameAudio(original, path);
    OpenFile reopened(path);
    EXPECT_EQ(reopened.string(kMediaFileDataIDTitle), std::string(100, 'a'));
    EXPECT_EQ(reopened.string(kMediaFileDataIDAlbum), std::string(50, 'b'));
    EXPECT_EQ(reopened.string(kMediaFileDataIDArtist), "c");
}

TEST(Mp4Save, BadChunkOffsetTableFailsTheSaveAndLeavesTheFile)
{
    TempDir dir;
    std::string path = dir.copyFixture("stco-count-mismatch.m4a");
    std::vector<uint8_t> before = readFile(path);
    EXPECT_EQ(setTitleAndSave(path, "A title long enough to move the tail"), kMediaFileErrShortHeader);
    EXPECT_EQ(readFile(path), before);
    // An edit that keeps moov's size needs no table and goes through.
    EXPECT_EQ(setTitleAndSave(path, "Tiny Tune"), kMediaFileNoErr);
    EXPECT_EQ(readFile(path).size(), before.size());
}

// The large size of such a header is read before the type; on save only the first four bytes
// of the header (the 32-bit size) are rewritten and the rest of the header stays as read.
TEST(Mp4Save, LargeSizeHeaderGetsItsThirtyTwoBitSizeWritten)
{
    TempDir dir;
    std::string path = dir.copyFixture("large-size-header.m4a");
    std::vector<uint8_t> before = readFile(path);
    AtomSpan moov = findAtom(before, ".moov");
    uint64_t atomOffset = moov.offset + moov.size - 24;
    ASSERT_EQ(std::vector<uint8_t>(before.begin() + static_cast<long>(atomOffset),
                                   before.begin() + static_cast<long>(atomOffset + 4)),
              (std::vector<uint8_t>{0, 0, 0, 1}));
    ASSERT_EQ(setTitleAndSave(path, "T"), kMediaFileNoErr);
    std::vector<uint8_t> after = readFile(path);
    AtomSpan newMoov = findAtom(after, ".moov");
    uint64_t newOffset = newMoov.offset + newMoov.size - 24;
    std::vector<uint8_t> header(after.begin() + static_cast<long>(newOffset), after.begin() + static_cast<long>(newOffset + 24));
    std::vector<uint8_t> expected = {0, 0, 0, 24, 0, 0, 0, 0, 0, 0, 0, 24, 'k', 'b', 't', 'x'};
    expected.insert(expected.end(), {'1', '2', '3', '4', '5', '6', '7', '8'});
    EXPECT_EQ(header, expected);
    OpenFile reopened(path);
    EXPECT_EQ(reopened.status(), kMediaFileNoErr) << "now an ordinary 24-byte atom of type 0";
    EXPECT_EQ(reopened.string(kMediaFileDataIDTitle), "T");
}

// co64 tables are not corrected when the tail moves. With moov in front of the audio their
// offsets then point short of the moved chunks by the growth of moov.
TEST(Mp4Save, Co64TablesAreLeftAsTheyWere)
{
    TempDir dir;
    std::string path = dir.copyFixture("co64-faststart.m4a");
    std::vector<uint8_t> before = readFile(path);
    const std::string co64 = ".moov.trak.mdia.minf.stbl.co64";
    ASSERT_EQ(countAtoms(before, co64), 2u);
    ASSERT_EQ(setTitleAndSave(path, "A title that makes moov grow"), kMediaFileNoErr);
    std::vector<uint8_t> after = readFile(path);
    uint64_t growth = after.size() - before.size();
    EXPECT_EQ(growth, 28u - 9);
    EXPECT_EQ(findAtom(after, ".mdat").offset, findAtom(before, ".mdat").offset + growth);
    for (size_t track = 0; track < 2; ++track)
        EXPECT_EQ(payload(after, findAtom(after, co64, track)), payload(before, findAtom(before, co64, track)));
    if (haveFfmpeg()) {
        EXPECT_NE(decodedAudio(path), decodedAudio(fixturePath("co64-faststart.m4a")))
            << "the stale offsets no longer reach the audio";
    }

    // With the change absorbed in place nothing moves and the file stays sound.
    std::string same = dir.copyFixture("co64-faststart.m4a", "same.m4a");
    ASSERT_EQ(setTitleAndSave(same, "Tiny Tune"), kMediaFileNoErr);
    expectSameAudio(fixturePath("co64-faststart.m4a"), same);
}
