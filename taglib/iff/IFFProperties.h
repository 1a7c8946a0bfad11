#pragma once

#include <kestrabel/MediaFile.h>
#include "util/ByteCursor.h"

#include <cstdint>
#include <span>

namespace kestrabel::iff {

struct Codec {
    uint32_t id;
    const char *name;
    bool pcm; // one sample frame is channels x bits, so the length follows from the sizes
};

// AIFF-C compression types.
inline constexpr Codec kAifcCodecs[] = {
    {util::fourCC("NONE"), "PCM", true}, {util::fourCC("twos"), "PCM", true}, {util::fourCC("sowt"), "PCM", true},
    {util::fourCC("raw "), "PCM", true}, {util::fourCC("in24"), "PCM", true}, {util::fourCC("in32"), "PCM", true},
    {util::fourCC("fl32"), "PCM", true}, {util::fourCC("FL32"), "PCM", true}, {util::fourCC("fl64"), "PCM", true},
    {util::fourCC("ulaw"), "mu-law", false}, {util::fourCC("alaw"), "A-law", false}, {util::fourCC("ima4"), "IMA ADPCM", false},
};
// WAVE format tags; an extensible file names its own in the first two bytes of its sub-format.
inline constexpr Codec kWaveCodecs[] = {
    {0x0001, "PCM", true}, {0x0003, "PCM", true}, {0x0006, "A-law", false}, {0x0007, "mu-law", false},
    {0x0002, "MS ADPCM", false}, {0x0011, "IMA ADPCM", false}, {0x0055, "MP3", false}, {0x0050, "MP2", false},
};

// AIFF and AIFF-C from COMM (and SSND's size for the bit rate of compressed data); WAVE from
// `fmt ` and the size of `data`, WAVE_FORMAT_EXTENSIBLE included.
MediaFileStatus iffAudioProperties(const char *path, MediaFileAudioProperties *out);

// The same from the chunks' bodies alone, for tests and fuzzing: comm is COMM's or `fmt `'s
// body; dataBytes the size of SSND's or `data`'s body.
MediaFileStatus aiffPropertiesFromComm(std::span<const uint8_t> comm, bool aifc, uint64_t dataBytes, MediaFileAudioProperties *out);
MediaFileStatus wavePropertiesFromFmt(std::span<const uint8_t> fmt, uint64_t dataBytes, MediaFileAudioProperties *out);

} // namespace kestrabel::iff
