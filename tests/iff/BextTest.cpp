// The Broadcast Wave fields: reading what ffmpeg wrote, writing every field back, creating the
// chunk, and the coding history's line endings and growth.
#include "IffTestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace kestrabel::test;

namespace {

constexpr size_t kVersionOffset = 346;
constexpr size_t kHistoryOffset = 602;

std::string fieldBytes(const std::vector<uint8_t> &bext, size_t offset, size_t width)
{
    return std::string(bext.begin() + static_cast<ptrdiff_t>(offset), bext.begin() + static_cast<ptrdiff_t>(offset + width));
}

// What every save must keep: the container size matches the file, the chunks tile it, and the
// audio is the same bytes that sox still reads.
void expectSoundFile(const std::string &path, const std::vector<uint8_t> &audioBefore, const std::string &audioChunk)
{
    ChunkLayout layout = readLayout(path);
    EXPECT_TRUE(layout.tilesFile);
    EXPECT_EQ(uint64_t(layout.containerSize), layout.fileSize - 8);
    EXPECT_EQ(layout.data(audioChunk), audioBefore);
    if (haveTool("sox")) {
        EXPECT_EQ(soxSampleCount(path), 400);
    }
}

TEST(Bext, ReadsTheFieldsFfmpegWrote)
{
    OpenFile file(fixturePath("bext.wav"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDBWFDescription), "A short test tone");
    EXPECT_EQ(file.string(kMediaFileDataIDBWFOriginator), "Kestrabel tests");
    EXPECT_EQ(file.string(kMediaFileDataIDBWFOriginatorReference), "KESTRABEL0001");
    EXPECT_EQ(file.string(kMediaFileDataIDBWFOriginatorDate), "2024-05-17");
    EXPECT_EQ(file.string(kMediaFileDataIDBWFOriginatorTime), "12:34:56");
    EXPECT_EQ(file.string(kMediaFileDataIDBWFCodingHistory), "A=PCM,F=8000,W=16,M=mono,T=ffmpeg");
    EXPECT_EQ(MediaFileGetString(file.ref(), kMediaFileDataIDBWFDescription, nullptr), kMediaFileNoErr);
    // The UMID is not a bext field here: it belongs to the ID3 tag, which this file lacks.
    EXPECT_NE(MediaFileGetString(file.ref(), kMediaFileDataIDBWFUMID, nullptr), kMediaFileNoErr);
}

struct FieldCase {
    MediaFileDataID id;
    const char *value;
    size_t offset;
    size_t width;
};

// Same-length edits: the chunk keeps its size, so the file keeps its length and its layout.
TEST(Bext, EveryFixedFieldRoundTrips)
{
    const FieldCase cases[] = {
        {kMediaFileDataIDBWFDescription, "Rehearsal take 4, second violins", 0, 256},
        {kMediaFileDataIDBWFOriginator, "Field recorder", 256, 32},
        {kMediaFileDataIDBWFOriginatorReference, "REF-42", 288, 32},
        {kMediaFileDataIDBWFOriginatorDate, "2023-01-02", 320, 10},
        {kMediaFileDataIDBWFOriginatorTime, "23:59:58", 330, 8},
    };
    TempDir dir;
    std::string path = dir.copyFixture("bext.wav");
    ChunkLayout before = readLayout(path);
    std::vector<uint8_t> audio = before.data("data");
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), kMediaFileNoErr);
        for (const FieldCase &c : cases)
            ASSERT_EQ(MediaFileSetString(file.ref(), c.id, c.value), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    OpenFile again(path);
    ASSERT_EQ(again.status(), kMediaFileNoErr);
    for (const FieldCase &c : cases)
        EXPECT_EQ(again.string(c.id), c.value);
    EXPECT_EQ(again.string(kMediaFileDataIDBWFCodingHistory), "A=PCM,F=8000,W=16,M=mono,T=ffmpeg");

    ChunkLayout after = readLayout(path);
    EXPECT_EQ(after.fileSize, before.fileSize);
    std::vector<uint8_t> bext = after.data("bext");
    std::vector<uint8_t> original = before.data("bext");
    for (const FieldCase &c : cases) {
        std::string stored = fieldBytes(bext, c.offset, c.width);
        std::string expected = c.value;
        expected.resize(c.width, '\0');
        EXPECT_EQ(stored, expected) << "field at " << c.offset;
    }
    // Time reference, version, UMID and the reserved bytes are written back as read.
    EXPECT_EQ(fieldBytes(bext, 338, 602 - 338), fieldBytes(original, 338, 602 - 338));
    expectSoundFile(path, audio, "data");
}

TEST(Bext, LongTextIsCutToTheFieldWidthWithoutTerminator)
{
    TempDir dir;
    std::string path = dir.copyFixture("bext.wav");
    const std::string forty = "0123456789abcdefghijklmnopqrstuvwxyzABCD";
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFOriginator, forty.c_str()), kMediaFileNoErr);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFOriginatorDate, "2024-05-17T10:00"), kMediaFileNoErr);
        // 31 ASCII bytes and a two-byte character: the character does not fit and is left out.
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFOriginatorReference,
                                     "0123456789012345678901234567890\xC3\xA9"),
                  kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDBWFOriginator), forty.substr(0, 32));
    EXPECT_EQ(again.string(kMediaFileDataIDBWFOriginatorDate), "2024-05-17");
    EXPECT_EQ(again.string(kMediaFileDataIDBWFOriginatorReference), "0123456789012345678901234567890");
    // The full originator runs right into the reference field: no terminator in between.
    std::vector<uint8_t> bext = readLayout(path).data("bext");
    EXPECT_EQ(fieldBytes(bext, 256, 32), forty.substr(0, 32));
    EXPECT_EQ(bext[288], '0');
}

TEST(Bext, ShorterTextClearsTheRestOfTheField)
{
    TempDir dir;
    std::string path = dir.copyFixture("bext.wav");
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFDescription, "ab"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFOriginator, ""), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::vector<uint8_t> bext = readLayout(path).data("bext");
    EXPECT_EQ(fieldBytes(bext, 0, 256), std::string("ab") + std::string(254, '\0'));
    EXPECT_EQ(fieldBytes(bext, 256, 32), std::string(32, '\0'));
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDBWFDescription), "ab");
    MediaFileStatus status = -1;
    EXPECT_EQ(again.string(kMediaFileDataIDBWFOriginator, &status), "");
    EXPECT_EQ(status, kMediaFileNoErr);
}

TEST(Bext, NonUtf8FieldBytesReadAsLatin1)
{
    TempDir dir;
    std::string path = dir.copyFixture("bext.wav");
    std::vector<uint8_t> bytes = readFile(path);
    size_t description = readLayout(path).find("bext")->offset + 8;
    const uint8_t cafe[] = {'C', 'a', 'f', 0xE9, 0};
    std::copy(std::begin(cafe), std::end(cafe), bytes.begin() + static_cast<ptrdiff_t>(description));
    writeFile(path, bytes);
    OpenFile file(path);
    EXPECT_EQ(file.string(kMediaFileDataIDBWFDescription), "Caf\xC3\xA9");
}

struct HistoryCase {
    const char *text;
    const char *stored;
};

TEST(Bext, CodingHistoryLinesEndInCrLf)
{
    const HistoryCase cases[] = {
        {"a\nb", "a\r\nb\r\n"},
        {"a\rb\r\n", "a\r\nb\r\n"},
        {"a\r\n\nb", "a\r\n\r\nb\r\n"},
        {"", "\r\n"},
        {"A=PCM,F=48000\r\n", "A=PCM,F=48000\r\n"},
    };
    TempDir dir;
    for (const HistoryCase &c : cases) {
        SCOPED_TRACE(c.text);
        std::string path = dir.copyFixture("no-tags.wav");
        {
            OpenFile file(path);
            ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFCodingHistory, c.text), kMediaFileNoErr);
            ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
        }
        std::vector<uint8_t> bext = readLayout(path).data("bext");
        std::string stored = c.stored;
        ASSERT_GE(bext.size(), kHistoryOffset + stored.size());
        EXPECT_EQ(fieldBytes(bext, kHistoryOffset, stored.size()), stored);
        size_t needed = kHistoryOffset + stored.size();
        EXPECT_EQ(bext.size(), std::max<size_t>(604, needed + (needed & 1)));
        OpenFile again(path);
        EXPECT_EQ(again.string(kMediaFileDataIDBWFCodingHistory), stored);
    }
}

struct NewChunkCase {
    const char *fixture;
    const char *audioChunk;
    uint8_t versionLow;
    uint8_t versionHigh;
};

// A file without bext gets a 604-byte chunk at its end: Version 1 in the file's byte order, an
// empty coding history line, and the container size raised by the whole chunk.
TEST(Bext, FirstFieldCreatesTheChunkAtTheEnd)
{
    const NewChunkCase cases[] = {
        {"no-tags.wav", "data", 1, 0},
        {"no-tags.aiff", "SSND", 0, 1},
        {"no-tags.aifc", "SSND", 0, 1},
    };
    TempDir dir;
    for (const NewChunkCase &c : cases) {
        SCOPED_TRACE(c.fixture);
        std::string path = dir.copyFixture(c.fixture);
        ChunkLayout before = readLayout(path);
        {
            OpenFile file(path);
            ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFOriginator, "Kestrabel"), kMediaFileNoErr);
            ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
        }
        ChunkLayout after = readLayout(path);
        ASSERT_EQ(after.chunks.size(), before.chunks.size() + 1);
        EXPECT_EQ(after.chunks.back().id, "bext");
        EXPECT_EQ(after.chunks.back().offset, before.fileSize);
        EXPECT_EQ(after.chunks.back().size, 604u);
        EXPECT_EQ(after.containerSize, before.containerSize + 612);
        std::vector<uint8_t> bext = after.data("bext");
        EXPECT_EQ(bext[kVersionOffset], c.versionLow);
        EXPECT_EQ(bext[kVersionOffset + 1], c.versionHigh);
        EXPECT_EQ(fieldBytes(bext, kHistoryOffset, 2), "\r\n");
        EXPECT_EQ(fieldBytes(bext, 256, 9), "Kestrabel");
        EXPECT_EQ(std::count(bext.begin(), bext.end(), 0), 604 - 9 - 1 - 2);
        expectSoundFile(path, before.data(c.audioChunk), c.audioChunk);
        OpenFile again(path);
        EXPECT_EQ(again.string(kMediaFileDataIDBWFOriginator), "Kestrabel");
        EXPECT_EQ(again.string(kMediaFileDataIDBWFDescription), "");
    }
}

ino_t inodeOf(const std::string &path)
{
    struct stat st {};
    stat(path.c_str(), &st);
    return st.st_ino;
}

// In bext.wav the bext chunk comes before the audio, so a longer history moves the audio. Both
// save paths (a new file renamed over the old one, and the in-place move) give the same bytes.
TEST(Bext, LongerHistoryMovesTheFollowingChunks)
{
    TempDir dir;
    const std::string history = "A=PCM,F=8000,W=16,M=mono,T=ffmpeg\nA=PCM,F=8000,W=16,M=mono,T=Kestrabel edit";
    std::vector<std::vector<uint8_t>> results;
    for (MediaFileFlags flags : {MediaFileFlags(0), MediaFileFlags(kMediaFileFlagInPlace)}) {
        SCOPED_TRACE(flags);
        std::string path = dir.copyFixture("bext.wav", flags ? "in-place.wav" : "renamed.wav");
        ChunkLayout before = readLayout(path);
        ino_t inode = inodeOf(path);
        {
            OpenFile file(path);
            ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFCodingHistory, history.c_str()), kMediaFileNoErr);
            ASSERT_EQ(MediaFileUpdate(file.ref(), flags), kMediaFileNoErr);
        }
        EXPECT_EQ(inodeOf(path) == inode, flags != 0);
        ChunkLayout after = readLayout(path);
        std::string stored = "A=PCM,F=8000,W=16,M=mono,T=ffmpeg\r\nA=PCM,F=8000,W=16,M=mono,T=Kestrabel edit\r\n";
        uint32_t grownSize = static_cast<uint32_t>(kHistoryOffset + stored.size() + (stored.size() & 1));
        EXPECT_EQ(after.find("bext")->size, grownSize);
        EXPECT_EQ(after.find("data")->offset, before.find("data")->offset + grownSize - before.find("bext")->size);
        expectSoundFile(path, before.data("data"), "data");
        OpenFile again(path);
        EXPECT_EQ(again.string(kMediaFileDataIDBWFCodingHistory), stored);
        EXPECT_EQ(again.string(kMediaFileDataIDBWFDescription), "A short test tone");
        results.push_back(readFile(path));
    }
    EXPECT_EQ(results[0], results[1]);
}

// The buffer never shrinks: a shorter history leaves the chunk its size, zero-filled behind.
TEST(Bext, ShorterHistoryKeepsTheChunkSize)
{
    TempDir dir;
    std::string path = dir.copyFixture("bext.wav");
    uint32_t originalSize = readLayout(path).find("bext")->size;
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFCodingHistory, "x"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::vector<uint8_t> bext = readLayout(path).data("bext");
    ASSERT_EQ(bext.size(), originalSize);
    EXPECT_EQ(fieldBytes(bext, kHistoryOffset, bext.size() - kHistoryOffset),
              "x\r\n" + std::string(bext.size() - kHistoryOffset - 3, '\0'));
}

// One handle saved several times: each save must start from where the previous one left the
// chunks, or the second save would write over the audio.
TEST(Bext, RepeatedSavesOnOneHandle)
{
    TempDir dir;
    std::string path = dir.copyFixture("bext.wav");
    std::vector<uint8_t> audio = readLayout(path).data("data");
    OpenFile file(path);
    std::string history;
    for (int round = 0; round < 4; ++round) {
        SCOPED_TRACE(round);
        history += "A=PCM,T=round " + std::to_string(round) + "\r\n";
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFCodingHistory, history.c_str()), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), round % 2 ? kMediaFileFlagInPlace : 0), kMediaFileNoErr);
        expectSoundFile(path, audio, "data");
        OpenFile again(path);
        EXPECT_EQ(again.string(kMediaFileDataIDBWFCodingHistory), history);
    }
}

} // namespace
