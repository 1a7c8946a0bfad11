#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <span>
#include <vector>

namespace kestrabel::util {

// One-call zlib compression; a zlib error code is returned as it stands.
MediaFileStatus deflateBytes(std::span<const uint8_t> input, std::vector<uint8_t> *out);
// One-call decompression into at most expectedSize bytes; the out vector holds what was
// produced. The caller checks expectedSize against a sane cap before calling.
MediaFileStatus inflateBytes(std::span<const uint8_t> input, size_t expectedSize, std::vector<uint8_t> *out);

} // namespace kestrabel::util
