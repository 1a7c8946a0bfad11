#include "IffTestSupport.h"

#include "TestSupport.h"

namespace kestrabel::test {

const ChunkInfo *ChunkLayout::find(const std::string &id) const
{
    for (const ChunkInfo &chunk : chunks)
        if (chunk.id == id)
            return &chunk;
    return nullptr;
}

std::vector<uint8_t> ChunkLayout::data(const std::string &id) const
{
    const ChunkInfo *chunk = find(id);
    return chunk ? std::vector<uint8_t>(bytes.begin() + long(chunk->offset + 8), bytes.begin() + long(chunk->offset + 8 + chunk->size))
                 : std::vector<uint8_t>{};
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
    bool little = layout.containerID == "RIFF";
    auto sizeAt = [&](uint64_t at) {
        uint32_t size = 0;
        for (int i = 0; i < 4; ++i)
            size |= uint32_t(b[at + uint64_t(little ? i : 3 - i)]) << (8 * i);
        return size;
    };
    layout.containerSize = sizeAt(4);
    uint64_t offset = 12;
    while (offset + 8 <= b.size()) {
        ChunkInfo chunk{std::string(b.begin() + long(offset), b.begin() + long(offset + 4)), offset, sizeAt(offset + 4)};
        layout.chunks.push_back(chunk);
        offset += 8 + uint64_t(chunk.size) + (chunk.size & 1);
    }
    layout.tilesFile = offset == b.size();
    return layout;
}

} // namespace kestrabel::test
