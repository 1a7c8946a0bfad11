#include "OpusHeaders.h"
#include "VorbisCommentPacket.h"

#include <cstring>

namespace kestrabel::ogg {
namespace {

constexpr size_t kMagicSize = 8;
constexpr size_t kHeadMinimum = 19;

} // namespace

bool isOpusHead(std::span<const uint8_t> packet)
{
    return packet.size() >= kMagicSize && std::memcmp(packet.data(), "OpusHead", kMagicSize) == 0;
}

bool parseOpusHead(std::span<const uint8_t> p, OpusHead *out)
{
    // A new major version (the high four bits) would be a format we cannot read.
    if (!isOpusHead(p) || p.size() < kHeadMinimum || (p[8] >> 4) != 0 || p[9] == 0)
        return false;
    out->channels = p[9];
    out->preSkip = static_cast<uint16_t>(p[10] | p[11] << 8);
    out->inputRate = uint32_t(p[12]) | uint32_t(p[13]) << 8 | uint32_t(p[14]) << 16 | uint32_t(p[15]) << 24;
    return true;
}

bool readOpusTags(std::span<const uint8_t> packet, vorbis_comment *comment, std::vector<uint8_t> *tail)
{
    if (packet.size() < kMagicSize || std::memcmp(packet.data(), "OpusTags", kMagicSize) != 0)
        return false;
    size_t end = 0;
    if (!readCommentList(packet, kMagicSize, comment, &end))
        return false;
    tail->assign(packet.begin() + static_cast<std::ptrdiff_t>(end), packet.end());
    return true;
}

std::vector<uint8_t> renderOpusTags(const vorbis_comment &comment, const std::vector<uint8_t> &tail)
{
    std::vector<uint8_t> out(reinterpret_cast<const uint8_t *>("OpusTags"), reinterpret_cast<const uint8_t *>("OpusTags") + kMagicSize);
    writeCommentList(comment, &out);
    out.insert(out.end(), tail.begin(), tail.end());
    return out;
}

} // namespace kestrabel::ogg
