// The layout of IFF (AIFF, AIFF-C) and RIFF (WAVE) files as far as the tag chunks need it: the
// 12-byte container header, the two chunks this handler owns, and how a save rewrites them.
#pragma once

#include <kestrabel/MediaFile.h>
#include "util/ByteCursor.h"
#include "util/File.h"
#include "util/Saver.h"

#include <cstdint>
#include <span>
#include <vector>

namespace kestrabel::iff {

constexpr uint32_t kRIFF = util::fourCC("RIFF");
constexpr uint32_t kFORM = util::fourCC("FORM");
constexpr uint32_t kWAVE = util::fourCC("WAVE");
constexpr uint32_t kAIFF = util::fourCC("AIFF");
constexpr uint32_t kAIFC = util::fourCC("AIFC");
constexpr uint32_t kBextID = util::fourCC("bext");
constexpr uint32_t kID3ID = util::fourCC("ID3 ");
constexpr uint32_t kLowercaseID3ID = util::fourCC("id3 ");

// Where the classic rules and today's writers differ; a handler picks its row once, at open.
struct IFFRules {
    bool lowercaseID3Chunk; // mutagen's "id3 " chunk is the tag chunk, read and saved in place
    uint32_t minimumBextSize; // 602: the fixed part alone, as ffmpeg writes it
    bool tolerantEnd;       // a last chunk without its pad byte, or stray bytes after the last chunk
    bool keepID3Version;    // the chunk's tag is saved in the version it was read in; a new one as 2.3
    bool id3Room;           // the chunk's tag keeps its padding, and one that grows gets room for the next edit
};

inline constexpr IFFRules kIFFRules[] = {
    // classic: 604 on purpose, so that every chunk accepted has room for an empty coding history
    {false, 604, false, false, false},
    // interop
    {true, 602, true, true, true},
};

constexpr const IFFRules &iffRulesFor(MediaFileFlags flags) { return kIFFRules[(flags & kMediaFileFlagInterop) ? 1 : 0]; }

constexpr uint64_t kContainerHeaderSize = 12;
constexpr uint64_t kChunkHeaderSize = 8;

constexpr uint64_t padded(uint64_t size) { return size + (size & 1); }

struct Container {
    uint32_t id = 0;
    uint32_t size = 0; // as recorded in the file, which need not match the file's length
    uint32_t formType = 0;
    bool isRIFF = false; // little-endian size fields

    uint32_t readSize(const uint8_t *p) const
    {
        return isRIFF ? uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0]
                      : util::getBigEndian(p, 4);
    }
    void writeSize(uint8_t *p, uint32_t value) const
    {
        for (int i = 0; i < 4; ++i)
            p[isRIFF ? i : 3 - i] = static_cast<uint8_t>(value >> (8 * i));
    }
};

// Where one of our chunks sits. headerOffset 0 means it is not in the file yet (no chunk can
// start before the container header ends).
struct ChunkRecord {
    uint32_t id = 0;
    uint64_t headerOffset = 0;
    uint32_t size = 0; // data size now in the file, without the pad byte

    bool inFile() const { return headerOffset != 0; }
};

struct ScanResult {
    Container container;
    uint64_t fileSize = 0;
    // Where a chunk appended after the last one starts: the file's size, one more when the last
    // chunk lacks its pad byte, less when stray bytes follow it (tolerant rules only).
    uint64_t chunksEnd = 0;
    std::vector<uint8_t> bext; // empty when the file has no bext chunk
    ChunkRecord bextRecord{kBextID};
    std::vector<uint8_t> id3;
    ChunkRecord id3Record{kID3ID};
};

// Reads the container header and walks the chunks, keeping the data of bext and "ID3 ".
MediaFileStatus scanChunkFile(const util::File &file, const IFFRules &rules, ScanResult *out);

struct ChunkWrite {
    ChunkRecord *record;
    std::span<const uint8_t> data;
};

// Turns chunk writes into the saver's edits on a file of fileSize bytes: a chunk in the file is
// replaced where it stands, new ones are appended in the given order, and the container size is
// corrected. On success the records and container describe the file as it will be after the
// save, so the caller should work on copies until the save succeeds.
MediaFileStatus planChunkWrites(Container &container, std::span<const ChunkWrite> writes, uint64_t fileSize,
                                std::vector<util::Replacement> *edits, uint64_t chunksEnd = UINT64_MAX);

} // namespace kestrabel::iff
