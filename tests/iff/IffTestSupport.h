// A chunk walker written apart from the handler's, so that the tests check the files it writes
// against an independent reading of the layout.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrabel::test {

struct ChunkInfo {
    std::string id;
    uint64_t offset = 0; // of the 8-byte header
    uint32_t size = 0;   // data size, without the pad byte
};

struct ChunkLayout {
    std::string containerID;
    uint32_t containerSize = 0;
    uint64_t fileSize = 0;
    std::vector<ChunkInfo> chunks;
    bool tilesFile = false; // every chunk and pad byte inside the file, nothing left over
    std::vector<uint8_t> bytes;

    const ChunkInfo *find(const std::string &id) const;
    std::vector<uint8_t> data(const std::string &id) const;
};

ChunkLayout readLayout(const std::string &path);

} // namespace kestrabel::test
