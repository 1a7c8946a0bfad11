#include "FLACProperties.h"

#include "core/AudioFigures.h"
#include "util/File.h"

#include <cstring>
#include <vector>

namespace kestrabel::flac {
namespace {

constexpr size_t kStreamInfoSize = 34;
constexpr size_t kID3HeaderSize = 10;
// Enough blocks for any real file; a longer chain is damage, not metadata.
constexpr int kMaxBlocks = 1024;

} // namespace

MediaFileStatus propertiesFromStreamInfo(std::span<const uint8_t> b, uint64_t audioBytes, MediaFileAudioProperties *out)
{
    if (b.size() < kStreamInfoSize)
        return kMediaFileErrNotFound;
    // After the block and frame size bounds: 20 bits of rate, 3 of channels - 1, 5 of bits - 1,
    // 36 of total samples.
    const uint8_t *p = b.data() + 10;
    const uint32_t rate = uint32_t(p[0]) << 12 | uint32_t(p[1]) << 4 | p[2] >> 4;
    const uint32_t channels = ((p[2] >> 1) & 7) + 1;
    const uint32_t bits = (uint32_t(p[2] & 1) << 4 | p[3] >> 4) + 1;
    const uint64_t samples = uint64_t(p[3] & 0x0F) << 32 | uint64_t(p[4]) << 24 | uint64_t(p[5]) << 16 |
                             uint64_t(p[6]) << 8 | p[7];
    if (rate == 0)
        return kMediaFileErrNotFound;
    MediaFileAudioProperties props{};
    props.codec = "FLAC";
    props.sampleRate = rate;
    props.channels = channels;
    props.bitsPerSample = bits;
    props.durationMs = samplesToMs(samples, rate);
    props.bitRate = averageKbps(audioBytes, props.durationMs);
    *out = props;
    return kMediaFileNoErr;
}

namespace {

MediaFileStatus propertiesThrough(util::CachedReader &reader, uint64_t size, MediaFileAudioProperties *out)
{
    std::vector<uint8_t> head;
    if (MediaFileStatus status = reader.readUpTo(0, kID3HeaderSize, &head))
        return status;
    uint64_t at = 0;
    // An ID3v2 tag some taggers put in front, which libFLAC steps over too.
    if (head.size() == kID3HeaderSize && std::memcmp(head.data(), "ID3", 3) == 0)
        at = kID3HeaderSize + (uint64_t(head[6] & 0x7F) << 21 | uint64_t(head[7] & 0x7F) << 14 |
                               uint64_t(head[8] & 0x7F) << 7 | (head[9] & 0x7F));
    if (MediaFileStatus status = reader.readUpTo(at, 4, &head))
        return status;
    if (head.size() < 4 || std::memcmp(head.data(), "fLaC", 4) != 0)
        return kMediaFileErrNotFound;
    at += 4;
    std::vector<uint8_t> streamInfo;
    for (int blocks = 0; blocks < kMaxBlocks; ++blocks) {
        if (MediaFileStatus status = reader.readUpTo(at, 4, &head))
            return status;
        if (head.size() < 4)
            return kMediaFileErrNotFound;
        const bool last = head[0] & 0x80;
        const uint32_t length = uint32_t(head[1]) << 16 | uint32_t(head[2]) << 8 | head[3];
        if ((head[0] & 0x7F) == 0 && streamInfo.empty())
            if (MediaFileStatus status = reader.readUpTo(at + 4, kStreamInfoSize, &streamInfo))
                return status;
        at += 4 + uint64_t(length);
        if (last)
            break;
    }
    return propertiesFromStreamInfo(streamInfo, size > at ? size - at : 0, out);
}

} // namespace

MediaFileStatus flacAudioProperties(const char *path, MediaFileAudioProperties *out)
{
    return util::readThroughCache(path, [out](util::CachedReader &reader, uint64_t size) { return propertiesThrough(reader, size, out); });
}

MediaFileStatus flacAudioPropertiesOfBytes(std::span<const uint8_t> wholeFile, MediaFileAudioProperties *out)
{
    util::CachedReader reader(wholeFile);
    return propertiesThrough(reader, wholeFile.size(), out);
}

} // namespace kestrabel::flac
