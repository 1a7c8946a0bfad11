// The bext and "ID3 " chunks of AIFF and WAVE files: where each bext field is stored, and how a
// save appends, grows or keeps the chunks around the audio, through a new file and in place.
#include "IffTestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sys/stat.h>

using namespace kestrabel::test;

namespace {

constexpr size_t kHistoryOffset = 602;
constexpr uint32_t kNewBextSize = 604;

std::string bytesAt(const std::vector<uint8_t> &b, size_t offset, size_t width)
{
    return offset + width <= b.size() ? std::string(b.begin() + long(offset), b.begin() + long(offset + width)) : "<short>";
}

struct Edit {
    MediaFileDataID id;
    std::string value;
};

MediaFileStatus apply(const std::string &path, const std::vector<Edit> &edits, MediaFileFlags flags = 0)
{
    OpenFile file(path);
    for (const Edit &e : edits)
        if (MediaFileStatus status = MediaFileSetString(file.ref(), e.id, e.value.c_str()))
            return status;
    return file.status() ? file.status() : MediaFileUpdate(file.ref(), flags);
}

ino_t inodeOf(const std::string &path)
{
    struct stat st {};
    stat(path.c_str(), &st);
    return st.st_ino;
}

// What every save must keep: the container size matches the file, the chunks tile it in their old
// order with new ones behind, pad bytes are zero, and every chunk but the edited ones (the audio
// among them) holds the bytes it held before.
void expectKept(const ChunkLayout &before, const ChunkLayout &after, const std::vector<std::string> &edited)
{
    EXPECT_TRUE(after.tilesFile);
    EXPECT_EQ(uint64_t(after.containerSize), after.fileSize - 8);
    ASSERT_GE(after.chunks.size(), before.chunks.size());
    for (size_t i = 0; i < before.chunks.size(); ++i) {
        const std::string &id = before.chunks[i].id;
        EXPECT_EQ(after.chunks[i].id, id);
        if (std::find(edited.begin(), edited.end(), id) == edited.end()) {
            EXPECT_EQ(after.data(id), before.data(id)) << id;
        }
    }
    for (const ChunkInfo &chunk : after.chunks) {
        if (chunk.size & 1) {
            EXPECT_EQ(after.bytes.at(chunk.offset + 8 + chunk.size), 0) << chunk.id << " pad byte";
        }
    }
}

struct FieldCase {
    MediaFileDataID id;
    std::string value;
    size_t offset, width;
    std::string stored; // zero-filled to the width; a cut value has no terminator
};

const FieldCase kFieldCases[] = {
    {kMediaFileDataIDBWFDescription, "Rehearsal take 4", 0, 256, "Rehearsal take 4"},
    {kMediaFileDataIDBWFDescription, "ab", 0, 256, "ab"},
    {kMediaFileDataIDBWFOriginator, "Field recorder", 256, 32, "Field recorder"},
    {kMediaFileDataIDBWFOriginator, "", 256, 32, ""},
    {kMediaFileDataIDBWFOriginator, "0123456789abcdefghijklmnopqrstuvwxyzABCD", 256, 32, "0123456789abcdefghijklmnopqrstuv"},
    {kMediaFileDataIDBWFDescription, std::string(300, 'd'), 0, 256, std::string(256, 'd')},
    {kMediaFileDataIDBWFOriginatorReference, "REF-42", 288, 32, "REF-42"},
    {kMediaFileDataIDBWFOriginatorReference, "0123456789abcdefghijklmnopqrstuv", 288, 32, "0123456789abcdefghijklmnopqrstuv"},
    // 31 ASCII bytes and a two-byte character: the character does not fit and is left out.
    {kMediaFileDataIDBWFOriginatorReference, "0123456789012345678901234567890\xC3\xA9", 288, 32,
     "0123456789012345678901234567890"},
    {kMediaFileDataIDBWFOriginatorDate, "2023-01-02", 320, 10, "2023-01-02"},
    {kMediaFileDataIDBWFOriginatorDate, "2024-05-17T10:00", 320, 10, "2024-05-17"},
    {kMediaFileDataIDBWFOriginatorTime, "23:59:58", 330, 8, "23:59:58"},
    // Coding history lines end in CR LF; the buffer never shrinks, the rest of it is cleared.
    {kMediaFileDataIDBWFCodingHistory, "a\nb", kHistoryOffset, 34, "a\r\nb\r\n"},
    {kMediaFileDataIDBWFCodingHistory, "a\rb\r\n", kHistoryOffset, 34, "a\r\nb\r\n"},
    {kMediaFileDataIDBWFCodingHistory, "a\r\n\nb", kHistoryOffset, 34, "a\r\n\r\nb\r\n"},
    {kMediaFileDataIDBWFCodingHistory, "", kHistoryOffset, 34, "\r\n"},
    {kMediaFileDataIDBWFCodingHistory, "A=PCM,F=48000\r\n", kHistoryOffset, 34, "A=PCM,F=48000\r\n"},
};

// A field that fits keeps the chunk its size; time reference, version, UMID and the reserved bytes are
// written back as read.
TEST(IffChunks, EveryBextFieldIsStoredAtItsPlace)
{
    TempDir dir;
    for (const FieldCase &c : kFieldCases) {
        SCOPED_TRACE(c.value.substr(0, 40));
        std::string path = dir.copyFixture("bext.wav");
        ChunkLayout before = readLayout(path);
        ASSERT_EQ(apply(path, {{c.id, c.value}}), kMediaFileNoErr);
        ChunkLayout after = readLayout(path);
        expectKept(before, after, {"bext"});
        std::vector<uint8_t> bext = after.data("bext"), old = before.data("bext");
        ASSERT_EQ(bext.size(), old.size());
        EXPECT_EQ(bytesAt(bext, c.offset, c.width), c.stored + std::string(c.width - c.stored.size(), '\0'));
        for (size_t i = 0; i < bext.size(); ++i)
            if (i < c.offset || i >= c.offset + c.width) {
                ASSERT_EQ(bext[i], old[i]) << "byte " << i;
            }
        EXPECT_EQ(OpenFile(path).string(c.id), c.stored);
    }
}

struct SaveCase {
    const char *name;
    const char *fixture;
    std::vector<Edit> edits;
    std::vector<std::string> appended; // new chunks behind the old end, in this order
    std::vector<std::string> edited;   // chunks that change in place
    uint32_t bextSize;                 // the bext size afterwards; 0: not checked
};

const std::string kHistory = "A=PCM,F=8000,W=16,M=mono,T=ffmpeg\r\nA=PCM,F=8000,W=16,M=mono,T=Kestrabel edit\r\n";

const SaveCase kSaveCases[] = {
    {"NewBextWave", "no-tags.wav", {{kMediaFileDataIDBWFOriginator, "Kestrabel"}}, {"bext"}, {}, kNewBextSize},
    {"NewBextAiff", "no-tags.aiff", {{kMediaFileDataIDBWFOriginator, "Kestrabel"}}, {"bext"}, {}, kNewBextSize},
    {"NewBextAifc", "no-tags.aifc", {{kMediaFileDataIDBWFOriginator, "Kestrabel"}}, {"bext"}, {}, kNewBextSize},
    {"NewTagWave", "no-tags.wav", {{kMediaFileDataIDTitle, "Odd"}}, {"ID3 "}, {}, 0},
    {"NewTagAiff", "no-tags.aiff", {{kMediaFileDataIDTitle, "Odd"}}, {"ID3 "}, {}, 0},
    {"NewTagAifc", "no-tags.aifc", {{kMediaFileDataIDTitle, "Even"}}, {"ID3 "}, {}, 0},
    // bext is written before the tag, so two new chunks land in that order.
    {"NewBoth", "no-tags.aiff", {{kMediaFileDataIDArtist, "A"}, {kMediaFileDataIDBWFDescription, "D"}}, {"bext", "ID3 "}, {},
     kNewBextSize},
    // In bext.wav the bext chunk comes before the audio, so a longer history moves the audio.
    {"LongerHistory", "bext.wav", {{kMediaFileDataIDBWFCodingHistory, kHistory}}, {}, {"bext"},
     uint32_t(kHistoryOffset + kHistory.size())},
    {"GrowingTagInTheMiddle", "id3-middle.aiff", {{kMediaFileDataIDTitle, "Middle0123456789"}}, {}, {"ID3 "}, 0},
    {"TagAndBextTogether", "bext.wav", {{kMediaFileDataIDTitle, "T"}, {kMediaFileDataIDBWFOriginator, "Both"}}, {"ID3 "},
     {"bext"}, 0},
    // A lower-case "id3 " chunk stays as it is beside the new tag.
    {"LowerCaseChunkKept", "id3-lowercase.wav", {{kMediaFileDataIDTitle, "upper case chunk"}}, {"ID3 "}, {}, 0},
};

class IffSave : public ::testing::TestWithParam<SaveCase> {};

} // namespace

// Both save paths (a new file renamed over the old one, and the in-place move) give the same bytes.
TEST_P(IffSave, KeepsEverythingItDoesNotEdit)
{
    const SaveCase &c = GetParam();
    TempDir dir;
    std::vector<std::vector<uint8_t>> results;
    for (MediaFileFlags flags : {MediaFileFlags(0), MediaFileFlags(kMediaFileFlagInPlace)}) {
        SCOPED_TRACE(flags);
        std::string path = dir.copyFixture(c.fixture, flags ? "in-place" : "renamed");
        ChunkLayout before = readLayout(path);
        ino_t inode = inodeOf(path);
        ASSERT_EQ(apply(path, c.edits, flags), kMediaFileNoErr);
        ChunkLayout after = readLayout(path);
        expectKept(before, after, c.edited);
        bool moved = false;
        for (size_t i = 0; i < before.chunks.size(); ++i)
            moved = moved || after.chunks.at(i).offset != before.chunks[i].offset;
        EXPECT_EQ(inodeOf(path) == inode, flags != 0 || !moved) << "only a move of the audio needs a new file";
        ASSERT_EQ(after.chunks.size(), before.chunks.size() + c.appended.size());
        for (size_t i = 0; i < c.appended.size(); ++i) {
            EXPECT_EQ(after.chunks[before.chunks.size() + i].id, c.appended[i]);
        }
        if (!c.appended.empty()) {
            EXPECT_EQ(after.chunks[before.chunks.size()].offset, before.fileSize);
        }
        std::vector<uint8_t> bext = after.data("bext");
        if (c.bextSize) {
            EXPECT_EQ(bext.size(), c.bextSize);
        }
        if (!before.find("bext") && after.find("bext")) {
            // Version 1 in the file's byte order and an empty coding history line.
            bool little = after.containerID == "RIFF";
            EXPECT_EQ(bytesAt(bext, 346, 2), little ? std::string("\1\0", 2) : std::string("\0\1", 2));
            EXPECT_EQ(bytesAt(bext, kHistoryOffset, 2), "\r\n");
        }
        if (after.find("ID3 ")) {
            EXPECT_EQ(bytesAt(after.data("ID3 "), 0, 4), std::string("ID3\2", 4)) << "written back as ID3v2.2";
        }
        OpenFile again(path);
        ASSERT_EQ(again.status(), kMediaFileNoErr);
        for (const Edit &e : c.edits) {
            EXPECT_EQ(again.string(e.id), e.value) << e.id;
        }
        results.push_back(after.bytes);
    }
    EXPECT_EQ(results[0], results[1]);
}

INSTANTIATE_TEST_SUITE_P(AiffAndWave, IffSave, ::testing::ValuesIn(kSaveCases),
                         [](const auto &info) { return std::string(info.param.name); });

// One handle saved several times: each save must start from where the previous one left the chunks,
// or the next one would write over the audio.
TEST(IffChunks, LaterSavesFindTheMovedChunks)
{
    TempDir dir;
    std::string path = dir.copyFixture("id3-middle.aiff");
    ChunkLayout before = readLayout(path);
    OpenFile file(path);
    const Edit rounds[] = {{kMediaFileDataIDBWFOriginator, "first"},
                           {kMediaFileDataIDComment, std::string(300, 'c')},
                           {kMediaFileDataIDBWFCodingHistory, std::string(101, 'h') + "\r\n"},
                           {kMediaFileDataIDComment, "short again"}};
    for (const Edit &e : rounds) {
        ASSERT_EQ(MediaFileSetString(file.ref(), e.id, e.value.c_str()), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), e.value.size() == 300 ? kMediaFileFlagInPlace : 0), kMediaFileNoErr);
        expectKept(before, readLayout(path), {"ID3 "});
    }
    ASSERT_EQ(file.close(), kMediaFileNoErr);
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDBWFOriginator), "first");
    EXPECT_EQ(again.string(kMediaFileDataIDBWFCodingHistory), rounds[2].value);
    EXPECT_EQ(again.string(kMediaFileDataIDComment), "short again");
}

// A set the tag refuses must not leave an empty tag behind to be written as a new chunk; a
// streaming writer's "to the end" container size must not wrap when the file grows.
TEST(IffChunks, RefusedSetsAndStreamingSizesChangeNothingElse)
{
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.wav");
    std::vector<uint8_t> before = readFile(path);
    {
        OpenFile file(path);
        EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDParent0, "x"), kMediaFileErrUnsupported);
        EXPECT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDVolume, "short", 5), kMediaFileErrShortHeader);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    EXPECT_EQ(readFile(path), before);
    std::fill(before.begin() + 4, before.begin() + 8, 0xFF);
    writeFile(path, before);
    ASSERT_EQ(apply(path, {{kMediaFileDataIDTitle, "streamed"}}), kMediaFileNoErr);
    ChunkLayout after = readLayout(path);
    EXPECT_EQ(after.containerSize, 0xFFFFFFFFu);
    EXPECT_EQ(after.chunks.back().id, "ID3 ");
}
