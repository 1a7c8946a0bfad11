#include "VorbisCommentPacket.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace kestrabel::ogg {

namespace {

constexpr uint8_t kCommentPacketType = 3;
constexpr size_t kPacketHeaderSize = 7; // the type byte and "vorbis"

// A little-endian 32-bit length that fits an int, as libvorbis needs it to.
bool readLength(std::span<const uint8_t> bytes, size_t *at, uint32_t *out)
{
    if (bytes.size() - *at < 4)
        return false;
    const uint8_t *p = bytes.data() + *at;
    *out = uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
    *at += 4;
    return *out <= static_cast<uint32_t>(INT_MAX);
}

// A NUL-terminated copy in memory that vorbis_comment_clear will free.
char *copyText(const uint8_t *text, size_t length)
{
    char *copy = static_cast<char *>(std::malloc(length + 1));
    if (copy) {
        std::memcpy(copy, text, length);
        copy[length] = '\0';
    }
    return copy;
}

} // namespace

bool readCommentList(std::span<const uint8_t> bytes, size_t at, vorbis_comment *comment, size_t *end)
{
    uint32_t vendorLength = 0, count = 0;
    if (at > bytes.size() || !readLength(bytes, &at, &vendorLength) || vendorLength > bytes.size() - at)
        return false;
    size_t vendorAt = at;
    at += vendorLength;
    // Every entry needs at least its 4-byte length: a larger count is a damaged packet.
    if (!readLength(bytes, &at, &count) || count > (bytes.size() - at) / 4)
        return false;
    std::vector<std::pair<size_t, uint32_t>> entries;
    entries.reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t length = 0;
        if (!readLength(bytes, &at, &length) || length > bytes.size() - at)
            return false;
        entries.emplace_back(at, length);
        at += length;
    }

    vorbis_comment filled;
    vorbis_comment_init(&filled);
    filled.vendor = copyText(bytes.data() + vendorAt, vendorLength);
    filled.user_comments = static_cast<char **>(std::calloc(count + 1, sizeof *filled.user_comments));
    filled.comment_lengths = static_cast<int *>(std::calloc(count + 1, sizeof *filled.comment_lengths));
    bool complete = filled.vendor && filled.user_comments && filled.comment_lengths;
    for (uint32_t i = 0; complete && i < count; ++i) {
        filled.user_comments[i] = copyText(bytes.data() + entries[i].first, entries[i].second);
        filled.comment_lengths[i] = static_cast<int>(entries[i].second);
        filled.comments = static_cast<int>(i + 1);
        complete = filled.user_comments[i] != nullptr;
    }
    if (!complete) {
        vorbis_comment_clear(&filled);
        return false;
    }
    vorbis_comment_clear(comment);
    *comment = filled;
    *end = at;
    return true;
}

void writeCommentList(const vorbis_comment &comment, std::vector<uint8_t> *out, const std::string *vendor)
{
    // Appended as bytes, not as chars, so that each text is one memcpy rather than a loop.
    auto putText = [out](const char *text, size_t length) {
        const auto *bytes = reinterpret_cast<const uint8_t *>(text);
        out->insert(out->end(), bytes, bytes + length);
    };
    auto put32 = [out](size_t value) {
        for (int i = 0; i < 4; ++i)
            out->push_back(static_cast<uint8_t>(value >> (8 * i)));
    };
    size_t total = 8 + (vendor ? vendor->size() : comment.vendor ? std::strlen(comment.vendor) : 0);
    for (int i = 0; i < comment.comments; ++i)
        total += 4 + static_cast<size_t>(comment.comment_lengths[i]);
    out->reserve(out->size() + total + 1);
    if (vendor) {
        put32(vendor->size());
        putText(vendor->data(), vendor->size());
    } else {
        const size_t vendorLength = comment.vendor ? std::strlen(comment.vendor) : 0;
        put32(vendorLength);
        putText(comment.vendor, vendorLength);
    }
    put32(static_cast<size_t>(comment.comments));
    for (int i = 0; i < comment.comments; ++i) {
        const size_t length = comment.user_comments[i] ? static_cast<size_t>(comment.comment_lengths[i]) : 0;
        put32(length);
        putText(comment.user_comments[i], length);
    }
}

bool renderCommentPacket(const vorbis_comment &comment, bool keepVendor, std::vector<uint8_t> *out)
{
    // libvorbis writes its own vendor string, one bit at a time; the bytes are the same when
    // the list is copied whole behind that string, which is taken once from an empty header.
    static const std::optional<std::string> libvorbisVendor = []() -> std::optional<std::string> {
        vorbis_comment empty;
        vorbis_comment_init(&empty);
        ogg_packet packet{};
        std::optional<std::string> vendor;
        if (vorbis_commentheader_out(&empty, &packet) == 0) {
            std::span<const uint8_t> bytes(packet.packet, static_cast<size_t>(packet.bytes));
            size_t at = kPacketHeaderSize;
            uint32_t length = 0;
            if (bytes.size() >= kPacketHeaderSize && readLength(bytes, &at, &length) && length <= bytes.size() - at)
                vendor.emplace(reinterpret_cast<const char *>(bytes.data() + at), length);
            ogg_packet_clear(&packet);
        }
        vorbis_comment_clear(&empty);
        return vendor;
    }();
    if (!keepVendor && !libvorbisVendor)
        return false;
    out->assign({kCommentPacketType, 'v', 'o', 'r', 'b', 'i', 's'});
    writeCommentList(comment, out, keepVendor ? nullptr : &*libvorbisVendor);
    out->push_back(1); // the framing bit
    return true;
}

bool readCommentPacket(const vorbis_info &info, vorbis_comment *comment, const ogg_packet &packet)
{
    // The states in which libvorbis refuses a comment header, or may: no identification header
    // yet, a comment header already read, a packet marked as the stream's first.
    if (info.rate == 0 || comment->vendor || packet.b_o_s || !packet.packet || packet.bytes < 0)
        return false;
    std::span<const uint8_t> bytes(packet.packet, static_cast<size_t>(packet.bytes));
    if (bytes.size() < kPacketHeaderSize || bytes[0] != kCommentPacketType || std::memcmp(bytes.data() + 1, "vorbis", 6) != 0)
        return false;
    // Parsed into a scratch list first: a packet without its framing bit leaves comment as it was.
    vorbis_comment scratch;
    vorbis_comment_init(&scratch);
    size_t end = 0;
    // The framing bit ends the packet.
    if (!readCommentList(bytes, kPacketHeaderSize, &scratch, &end) || end >= bytes.size() || !(bytes[end] & 1)) {
        vorbis_comment_clear(&scratch);
        return false;
    }
    vorbis_comment_clear(comment);
    *comment = scratch;
    return true;
}

int readHeaderPacket(vorbis_info *info, vorbis_comment *comment, ogg_packet *packet)
{
    if (readCommentPacket(*info, comment, *packet))
        return 0;
    return vorbis_synthesis_headerin(info, comment, packet);
}

} // namespace kestrabel::ogg
