// The save plan on its own: which byte ranges a save replaces, and where the chunks end up.
#include "iff/ChunkFile.h"

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::iff;

namespace {

Container riff(uint32_t size) { return Container{kRIFF, size, kWAVE, true}; }
Container form(uint32_t size) { return Container{kFORM, size, kAIFF, false}; }

std::vector<uint8_t> bytesOf(size_t n, uint8_t fill) { return std::vector<uint8_t>(n, fill); }

// An odd size keeps its odd value in the size field and gains a zero pad byte; the padded
// lengths decide how much the container grows.
TEST(ChunkPlan, OddSizesArePaddedAndThePaddedLengthsCount)
{
    Container container = form(2000 - 8);
    ChunkRecord id3{kID3ID, 100, 113}; // takes 8 + 114
    std::vector<uint8_t> tag = bytesOf(123, 't'); // takes 8 + 124: ten more
    ChunkWrite writes[] = {{&id3, tag}};
    std::vector<util::Replacement> edits;
    ASSERT_EQ(planChunkWrites(container, writes, 2000, &edits), kMediaFileNoErr);
    ASSERT_EQ(edits.size(), 2u);
    const util::Replacement &chunk = edits[0].offset == 100 ? edits[0] : edits[1];
    const util::Replacement &size = edits[0].offset == 100 ? edits[1] : edits[0];
    EXPECT_EQ(chunk.length, 8u + 114u);
    ASSERT_EQ(chunk.bytes.size(), 8u + 124u);
    EXPECT_EQ(chunk.bytes[7], 123); // big-endian size, odd as it is
    EXPECT_EQ(chunk.bytes.back(), 0);
    EXPECT_EQ(size.offset, 4u);
    EXPECT_EQ(size.bytes, (std::vector<uint8_t>{0, 0, 0x07, 0xD0 + 10 - 8}));
    EXPECT_EQ(container.size, 2000u - 8 + 10);
    EXPECT_EQ(id3.headerOffset, 100u);
    EXPECT_EQ(id3.size, 123u);
}

// A tag in front of bext shrinks while bext grows: bext moves back by the shrink alone.
TEST(ChunkPlan, BothChunksMoveEachOther)
{
    Container container = riff(4000 - 8);
    ChunkRecord id3{kID3ID, 100, 200};
    ChunkRecord bext{kBextID, 1000, 604};
    std::vector<uint8_t> longerBext = bytesOf(640, 'b');
    std::vector<uint8_t> shorterTag = bytesOf(150, 't');
    ChunkWrite writes[] = {{&bext, longerBext}, {&id3, shorterTag}};
    std::vector<util::Replacement> edits;
    ASSERT_EQ(planChunkWrites(container, writes, 4000, &edits), kMediaFileNoErr);
    EXPECT_EQ(id3.headerOffset, 100u);
    EXPECT_EQ(bext.headerOffset, 1000u - 50);
    EXPECT_EQ(container.size, 4000u - 8 + 36 - 50);
    EXPECT_EQ(bext.size, 640u);
    EXPECT_EQ(id3.size, 150u);
}

TEST(ChunkPlan, NewChunksAreAppendedInOrderAfterTheGrowth)
{
    Container container = riff(1000 - 8);
    ChunkRecord bext{kBextID, 36, 604};
    ChunkRecord id3{kID3ID};
    std::vector<uint8_t> longerBext = bytesOf(620, 'b');
    std::vector<uint8_t> tag = bytesOf(31, 't');
    ChunkWrite writes[] = {{&bext, longerBext}, {&id3, tag}};
    std::vector<util::Replacement> edits;
    ASSERT_EQ(planChunkWrites(container, writes, 1000, &edits), kMediaFileNoErr);
    const util::Replacement *append = nullptr;
    for (const util::Replacement &edit : edits)
        if (edit.offset == 1000)
            append = &edit;
    ASSERT_NE(append, nullptr);
    EXPECT_EQ(append->length, 0u);
    ASSERT_EQ(append->bytes.size(), 8u + 32u);
    EXPECT_EQ(std::string(append->bytes.begin(), append->bytes.begin() + 4), "ID3 ");
    EXPECT_EQ(append->bytes[4], 31);
    EXPECT_EQ(id3.headerOffset, 1000u + 16);
    EXPECT_EQ(container.size, 1000u - 8 + 16 + 40);
}

// Streaming writers leave 0xFFFFFFFF ("to the end"); growing it must not wrap to a tiny size
// that would cut the file short for readers that trust it.
TEST(ChunkPlan, ContainerSizeDoesNotWrap)
{
    Container container = riff(0xFFFFFFFFu);
    ChunkRecord id3{kID3ID};
    std::vector<uint8_t> tag = bytesOf(10, 't');
    ChunkWrite writes[] = {{&id3, tag}};
    std::vector<util::Replacement> edits;
    ASSERT_EQ(planChunkWrites(container, writes, 100, &edits), kMediaFileNoErr);
    EXPECT_EQ(container.size, 0xFFFFFFFFu);
    EXPECT_EQ(edits.size(), 1u); // the appended chunk; the size field keeps its value
}

} // namespace
