// The two header packets of an Ogg Opus stream: OpusHead (identification) and OpusTags (a
// Vorbis-comment list behind its own magic, with no framing bit, and optionally binary data
// of other tools behind the list, which is kept).
#pragma once

#include <vorbis/codec.h>

#include <cstdint>
#include <span>
#include <vector>

namespace kestrabel::ogg {

// Opus decodes at this rate whatever rate the source had; granule positions count it.
inline constexpr uint32_t kOpusRate = 48000;

struct OpusHead {
    uint8_t channels = 0;
    uint16_t preSkip = 0;
    uint32_t inputRate = 0;
};

bool isOpusHead(std::span<const uint8_t> packet);
// False for anything but a version-0 (major) head with at least one channel.
bool parseOpusHead(std::span<const uint8_t> packet, OpusHead *out);
// On success comment holds the list and tail whatever followed it; false leaves both alone.
bool readOpusTags(std::span<const uint8_t> packet, vorbis_comment *comment, std::vector<uint8_t> *tail);
std::vector<uint8_t> renderOpusTags(const vorbis_comment &comment, const std::vector<uint8_t> &tail);

} // namespace kestrabel::ogg
