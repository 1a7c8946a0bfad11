// libFLAC's I/O callbacks over the file: the open and the save read the metadata chain through
// them, so that the chain read at open can be written by the save without reading it again.
#pragma once

#include "util/File.h"

#include <FLAC/callback.h>

#include <cstdint>
#include <limits>
#include <optional>

namespace kestrabel::flac {

// The file, read-only; reads stop at `limit`, so that a rewrite copies no audio. libFLAC asks
// for every field of a block separately, so small reads go through a cache.
struct InputStream {
    const util::File *file = nullptr;
    uint64_t size = 0;
    uint64_t limit = std::numeric_limits<uint64_t>::max();
    uint64_t position = 0;
    std::optional<util::CachedReader> cache;
};

// Enough for the block headers and a usual comment block in one read; a picture, or any
// larger block, is read directly into libFLAC's buffer, and little audio is read.
inline constexpr size_t kCacheBlock = 4 * 1024;
// The open reads a small file whole in one call, picture included, so that its audio
// properties need no second open; a large file's reads stay in blocks of this size.
inline constexpr size_t kOpenCacheBlock = 64 * 1024;

extern const FLAC__IOCallbacks kInputCallbacks;

} // namespace kestrabel::flac
