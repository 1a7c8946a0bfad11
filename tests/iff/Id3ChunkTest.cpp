// The "ID3 " chunk: the tag it holds answers every ID an MP3 offers, and saving rewrites the
// chunk where it stands or appends it.
#include "IffTestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;

namespace {

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

TEST(Id3Chunk, ReadsTheTagFfmpegWrote)
{
    OpenFile file(fixturePath("id3-middle.aiff"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Middle");
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Kestrabel");
    EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "Fixtures");
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Ambient");
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 3);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 9);
    EXPECT_EQ(file.string(kMediaFileDataIDTrackNumber), "3");
    // The bext IDs stay with bext even when a tag is present.
    EXPECT_EQ(MediaFileGetString(file.ref(), kMediaFileDataIDBWFDescription, nullptr), kMediaFileErrNotFound);
}

// A tag that grows by ten bytes moves the chunks behind it by ten and raises the FORM size by
// ten; the chunk is written back as ID3v2.2 without padding.
TEST(Id3Chunk, GrowingTagInTheMiddleMovesTheChunksBehindIt)
{
    TempDir dir;
    std::string path = dir.copyFixture("id3-middle.aiff");
    ChunkLayout before = readLayout(path);
    ASSERT_EQ(before.chunks.back().id, "APPL");
    // Rewrite the title in our own text encoding first, so that the growth below is exactly the
    // ten added characters.
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), kMediaFileNoErr);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Middle"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    ChunkLayout rendered = readLayout(path);
    std::vector<uint8_t> tag = rendered.data("ID3 ");
    ASSERT_GE(tag.size(), 10u);
    EXPECT_EQ(std::string(tag.begin(), tag.begin() + 3), "ID3");
    EXPECT_EQ(tag[3], 2);
    expectSoundFile(path, before.data("SSND"), "SSND");
    EXPECT_EQ(rendered.data("ANNO"), before.data("ANNO"));
    EXPECT_EQ(rendered.data("APPL"), before.data("APPL"));
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Middle0123456789"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    ChunkLayout after = readLayout(path);
    uint32_t oldPadded = rendered.find("ID3 ")->size + (rendered.find("ID3 ")->size & 1);
    uint32_t newPadded = after.find("ID3 ")->size + (after.find("ID3 ")->size & 1);
    EXPECT_EQ(after.find("ID3 ")->size, rendered.find("ID3 ")->size + 10);
    EXPECT_EQ(after.find("ANNO")->offset, rendered.find("ANNO")->offset + newPadded - oldPadded);
    EXPECT_EQ(after.find("APPL")->offset, rendered.find("APPL")->offset + newPadded - oldPadded);
    EXPECT_EQ(after.containerSize, rendered.containerSize + newPadded - oldPadded);
    EXPECT_EQ(after.data("ANNO"), before.data("ANNO"));
    EXPECT_EQ(after.padByte("ANNO"), 0);
    EXPECT_EQ(after.data("APPL"), before.data("APPL"));
    expectSoundFile(path, before.data("SSND"), "SSND");
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDTitle), "Middle0123456789");
    EXPECT_EQ(again.string(kMediaFileDataIDArtist), "Kestrabel");
}

// A file with neither chunk gets an "ID3 " chunk at its end, padded when odd.
TEST(Id3Chunk, FirstSetCreatesTheTagAndSavingAppendsIt)
{
    TempDir dir;
    for (const char *fixture : {"no-tags.wav", "no-tags.aiff", "no-tags.aifc"}) {
        SCOPED_TRACE(fixture);
        std::string path = dir.copyFixture(fixture);
        ChunkLayout before = readLayout(path);
        std::string audioChunk = before.containerID == "RIFF" ? "data" : "SSND";
        {
            OpenFile file(path);
            ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Odd"), kMediaFileNoErr);
            ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
        }
        ChunkLayout after = readLayout(path);
        ASSERT_EQ(after.chunks.size(), before.chunks.size() + 1);
        const ChunkInfo &chunk = after.chunks.back();
        EXPECT_EQ(chunk.id, "ID3 ");
        EXPECT_EQ(chunk.offset, before.fileSize);
        uint32_t paddedSize = chunk.size + (chunk.size & 1);
        EXPECT_EQ(after.containerSize, before.containerSize + 8 + paddedSize);
        if (chunk.size & 1) {
            EXPECT_EQ(after.padByte("ID3 "), 0);
        }
        expectSoundFile(path, before.data(audioChunk), audioChunk);
        OpenFile again(path);
        EXPECT_EQ(again.string(kMediaFileDataIDTitle), "Odd");
    }
}

TEST(Id3Chunk, EveryKindOfValueRoundTrips)
{
    const std::vector<uint8_t> jpeg = readFile(fixturePath("iff-cover.jpg"));
    ASSERT_FALSE(jpeg.empty());
    TempDir dir;
    std::string path = dir.copyFixture("bext.wav");
    std::vector<uint8_t> audio = readLayout(path).data("data");
    const std::pair<MediaFileDataID, const char *> texts[] = {
        {kMediaFileDataIDAlbum, "Album"},       {kMediaFileDataIDArtist, "Artist \xC3\xA9"},
        {kMediaFileDataIDComment, "Comment"},   {kMediaFileDataIDComposer, "Composer"},
        {kMediaFileDataIDGenre, "Jazz"},        {kMediaFileDataIDTitle, "Title \xE2\x82\xAC"},
        {kMediaFileDataIDGrouping, "Grouping"}, {kMediaFileDataIDBandOrOrchestra, "Album Artist"},
        {kMediaFileDataIDPublisher, "Label"},   {kMediaFileDataIDDescription, "Subtitle"},
    };
    {
        OpenFile file(path);
        for (const auto &[id, text] : texts)
            ASSERT_EQ(MediaFileSetString(file.ref(), id, text), kMediaFileNoErr) << id;
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDTrackNumber, 4), kMediaFileNoErr);
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDTotalTracks, 12), kMediaFileNoErr);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDYear, "1999"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, jpeg.data(), jpeg.size()), kMediaFileNoErr);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFOriginator, "Both chunks"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    OpenFile again(path);
    ASSERT_EQ(again.status(), kMediaFileNoErr);
    for (const auto &[id, text] : texts)
        EXPECT_EQ(again.string(id), text) << id;
    EXPECT_EQ(again.integer(kMediaFileDataIDTrackNumber), 4);
    EXPECT_EQ(again.integer(kMediaFileDataIDTotalTracks), 12);
    EXPECT_EQ(again.integer(kMediaFileDataIDYear), 1999);
    EXPECT_EQ(again.string(kMediaFileDataIDYear), "1999");
    EXPECT_EQ(again.data(kMediaFileDataIDArtwork), jpeg);
    EXPECT_EQ(again.string(kMediaFileDataIDBWFOriginator), "Both chunks");
    EXPECT_EQ(again.string(kMediaFileDataIDBWFDescription), "A short test tone");
    expectSoundFile(path, audio, "data");
}

// bext is written before the tag, so two new chunks land in that order.
TEST(Id3Chunk, NewBextAndTagAreAppendedBextFirst)
{
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.aiff");
    ChunkLayout before = readLayout(path);
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDArtist, "A"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFDescription, "D"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    ChunkLayout after = readLayout(path);
    ASSERT_EQ(after.chunks.size(), before.chunks.size() + 2);
    EXPECT_EQ(after.chunks[after.chunks.size() - 2].id, "bext");
    EXPECT_EQ(after.chunks.back().id, "ID3 ");
    expectSoundFile(path, before.data("SSND"), "SSND");
}

// Growing the tag in front of bext on one handle, then growing bext: the second save must find
// bext where the first one moved it.
TEST(Id3Chunk, SecondSaveFindsTheMovedBext)
{
    TempDir dir;
    std::string path = dir.copyFixture("id3-middle.aiff");
    std::vector<uint8_t> audio = readLayout(path).data("SSND");
    OpenFile file(path);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFOriginator, "first"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDComment, std::string(300, 'c').c_str()), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDBWFCodingHistory, std::string(101, 'h').c_str()), kMediaFileNoErr);
    ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagInPlace), kMediaFileNoErr);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDComment, "short again"), kMediaFileNoErr);
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    ChunkLayout layout = readLayout(path);
    EXPECT_EQ(layout.count("bext"), 1u);
    EXPECT_EQ(layout.count("ID3 "), 1u);
    const std::string anno = "made by make-iff.sh";
    EXPECT_EQ(layout.data("ANNO"), std::vector<uint8_t>(anno.begin(), anno.end()));
    expectSoundFile(path, audio, "SSND");
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDComment), "short again");
    EXPECT_EQ(again.string(kMediaFileDataIDBWFOriginator), "first");
    EXPECT_EQ(again.string(kMediaFileDataIDBWFCodingHistory), std::string(101, 'h') + "\r\n");
}

TEST(Id3Chunk, LowerCaseChunkIsKeptBesideTheNewTag)
{
    TempDir dir;
    std::string path = dir.copyFixture("id3-lowercase.wav");
    std::vector<uint8_t> lower = readLayout(path).data("id3 ");
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "upper case chunk"), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    ChunkLayout after = readLayout(path);
    EXPECT_EQ(after.data("id3 "), lower);
    EXPECT_EQ(after.count("ID3 "), 1u);
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDTitle), "upper case chunk");
}

// A set the tag refuses must not leave an empty tag behind to be written as a new chunk.
TEST(Id3Chunk, RefusedSetCreatesNoChunk)
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
}

TEST(Id3Chunk, DamagedTagFailsTheOpen)
{
    TempDir dir;
    std::string path = dir.copyFixture("id3-middle.aiff");
    std::vector<uint8_t> bytes = readFile(path);
    size_t tag = readLayout(path).find("ID3 ")->offset + 8;
    bytes[tag] = 'X'; // no "ID3" magic
    writeFile(path, bytes);
    EXPECT_NE(MediaFileOpen(path.c_str(), nullptr, 0), kMediaFileNoErr);
    EXPECT_EQ(readFile(path), bytes);
}

} // namespace
