#include "IffTestSupport.h"

#include "TestSupport.h"

#include <algorithm>

namespace kestrabel::test {

namespace {

uint32_t sizeAt(const std::vector<uint8_t> &b, size_t at, bool little)
{
    if (little)
        return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 | uint32_t(b[at + 3]) << 24;
    return uint32_t(b[at]) << 24 | uint32_t(b[at + 1]) << 16 | uint32_t(b[at + 2]) << 8 | uint32_t(b[at + 3]);
}

} // namespace

const ChunkInfo *ChunkLayout::find(const std::string &id) const
{
    auto it = std::find_if(chunks.begin(), chunks.end(), [&](const ChunkInfo &c) { return c.id == id; });
    return it == chunks.end() ? nullptr : &*it;
}

size_t ChunkLayout::count(const std::string &id) const
{
    return static_cast<size_t>(std::count_if(chunks.begin(), chunks.end(), [&](const ChunkInfo &c) { return c.id == id; }));
}

std::vector<uint8_t> ChunkLayout::data(const std::string &id) const
{
    const ChunkInfo *chunk = find(id);
    if (!chunk)
        return {};
    auto begin = bytes.begin() + static_cast<ptrdiff_t>(chunk->offset + 8);
    return std::vector<uint8_t>(begin, begin + chunk->size);
}

uint8_t ChunkLayout::padByte(const std::string &id) const
{
    const ChunkInfo *chunk = find(id);
    return chunk ? bytes.at(chunk->offset + 8 + chunk->size) : 0xFF;
}

ChunkLayout readLayout(const std::string &path)
{
    ChunkLayout layout;
    layout.bytes = readFile(path);
    const std::vector<uint8_t> &b = layout.bytes;
    layout.fileSize = b.size();
    if (b.size() < 12)
        return layout;
    layout.containerID.assign(b.begin(), b.begin() + 4);
    layout.formType.assign(b.begin() + 8, b.begin() + 12);
    bool little = layout.containerID == "RIFF";
    layout.containerSize = sizeAt(b, 4, little);
    uint64_t offset = 12;
    while (offset + 8 <= b.size()) {
        ChunkInfo chunk;
        chunk.id.assign(b.begin() + static_cast<ptrdiff_t>(offset), b.begin() + static_cast<ptrdiff_t>(offset + 4));
        chunk.offset = offset;
        chunk.size = sizeAt(b, offset + 4, little);
        layout.chunks.push_back(chunk);
        offset += 8 + uint64_t(chunk.size) + (chunk.size & 1);
    }
    layout.tilesFile = offset == b.size();
    return layout;
}

long soxSampleCount(const std::string &path)
{
    std::string output;
    if (runCommand("sox --i -s " + shellQuote(path) + " 2>/dev/null", &output) != 0 || output.empty())
        return -1;
    return std::stol(output);
}

} // namespace kestrabel::test
