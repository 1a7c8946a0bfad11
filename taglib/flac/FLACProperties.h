#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <span>

namespace kestrabel::flac {

// From STREAMINFO, read straight from the file; the bit rate counts the bytes behind the last
// metadata block.
MediaFileStatus flacAudioProperties(const char *path, MediaFileAudioProperties *out);
// The same from the bytes of the whole file, read earlier.
MediaFileStatus flacAudioPropertiesOfBytes(std::span<const uint8_t> wholeFile, MediaFileAudioProperties *out);
// STREAMINFO's 34-byte body alone.
MediaFileStatus propertiesFromStreamInfo(std::span<const uint8_t> body, uint64_t audioBytes, MediaFileAudioProperties *out);

} // namespace kestrabel::flac
