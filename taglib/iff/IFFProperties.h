#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <span>

namespace kestrabel::iff {

// AIFF and AIFF-C from COMM (and SSND's size for the bit rate of compressed data); WAVE from
// `fmt ` and the size of `data`, WAVE_FORMAT_EXTENSIBLE included.
MediaFileStatus iffAudioProperties(const char *path, MediaFileAudioProperties *out);

// The same from the chunks' bodies alone, for tests and fuzzing: comm is COMM's or `fmt `'s
// body; dataBytes the size of SSND's or `data`'s body.
MediaFileStatus aiffPropertiesFromComm(std::span<const uint8_t> comm, bool aifc, uint64_t dataBytes, MediaFileAudioProperties *out);
MediaFileStatus wavePropertiesFromFmt(std::span<const uint8_t> fmt, uint64_t dataBytes, MediaFileAudioProperties *out);

} // namespace kestrabel::iff
