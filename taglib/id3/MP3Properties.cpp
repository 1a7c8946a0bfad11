#include "MP3Properties.h"
#include "MPEGScan.h"

#include "core/AudioFigures.h"
#include "util/ByteCursor.h"
#include "util/File.h"

#include <array>
#include <cstring>
#include <vector>

namespace kestrabel::id3 {
namespace {

// Kilobits per second by version row (0 MPEG-1, 1 MPEG-2 and 2.5), layer (0 = Layer I) and index.
constexpr uint16_t kBitRates[2][3][16] = {
    {{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0},
     {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0},
     {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0}},
    {{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 0},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0}},
};
// The true rates by version bits (0 MPEG-2.5, 2 MPEG-2, 3 MPEG-1); the classic scan's table
// repeats the MPEG-1 rates for MPEG-2.5, which these properties must not.
constexpr uint32_t kSampleRates[4][3] = {{11025, 12000, 8000}, {0, 0, 0}, {22050, 24000, 16000}, {44100, 48000, 32000}};
constexpr const char *kCodecByLayer[3] = {"MP1", "MP2", "MP3"};

constexpr size_t kHeadWindow = 4096;
constexpr size_t kSearchLimit = 256 * 1024;
constexpr size_t kVbriOffset = 36;

struct Frame {
    bool mpeg1 = false;
    int layer = 0; // 1 to 3
    uint32_t bitRate = 0;
    uint32_t sampleRate = 0;
    uint32_t channels = 0;
    uint32_t samplesPerFrame = 0;
    uint32_t length = 0; // bytes, 0 for the free format
};

bool decode(const uint8_t *b, Frame *out)
{
    if (!isFrameHeader(b))
        return false;
    const uint32_t version = (b[1] >> 3) & 3;
    const int layer = 4 - ((b[1] >> 1) & 3);
    Frame f;
    f.mpeg1 = version == 3;
    f.layer = layer;
    f.bitRate = kBitRates[f.mpeg1 ? 0 : 1][layer - 1][b[2] >> 4];
    f.sampleRate = kSampleRates[version][(b[2] >> 2) & 3];
    f.channels = (b[3] >> 6) == 3 ? 1 : 2;
    const uint32_t padding = (b[2] >> 1) & 1;
    f.samplesPerFrame = layer == 1 ? 384 : (layer == 3 && !f.mpeg1) ? 576 : 1152;
    if (f.sampleRate == 0)
        return false;
    if (layer == 1)
        f.length = (12000 * f.bitRate / f.sampleRate + padding) * 4;
    else
        f.length = f.samplesPerFrame / 8 * 1000 * f.bitRate / f.sampleRate + padding;
    *out = f;
    return true;
}

size_t sideInfoEnd(const Frame &f)
{
    if (f.mpeg1)
        return f.channels == 1 ? 21 : 36;
    return f.channels == 1 ? 13 : 21;
}

} // namespace

MediaFileStatus mpegPropertiesFromFrame(std::span<const uint8_t> head, uint64_t audioBytes, MediaFileAudioProperties *out)
{
    Frame f;
    if (head.size() < 4 || !decode(head.data(), &f))
        return kMediaFileErrNotFound;
    uint64_t frames = 0, bytes = 0, samples = 0;
    const size_t xingAt = sideInfoEnd(f);
    if (head.size() >= xingAt + 8 &&
        (std::memcmp(head.data() + xingAt, "Xing", 4) == 0 || std::memcmp(head.data() + xingAt, "Info", 4) == 0)) {
        util::ByteReader reader(head.subspan(xingAt + 4));
        uint32_t flags = 0, count = 0, length = 0;
        reader.be32(flags);
        if ((flags & 1) && reader.be32(count))
            frames = count;
        if ((flags & 2) && reader.be32(length))
            bytes = length;
        if (flags & 4)
            reader.skip(100);
        if (flags & 8)
            reader.skip(4);
        // Whole frames, as decoders and ffprobe count them; the encoder delay and padding
        // that a LAME extension states are not taken off.
        samples = frames * f.samplesPerFrame;
    } else if (head.size() >= kVbriOffset + 18 && std::memcmp(head.data() + kVbriOffset, "VBRI", 4) == 0) {
        util::ByteReader reader(head.subspan(kVbriOffset + 10));
        uint32_t length = 0, count = 0;
        if (reader.be32(length) && reader.be32(count)) {
            bytes = length;
            frames = count;
            samples = frames * f.samplesPerFrame;
        }
    }
    MediaFileAudioProperties props{};
    props.codec = kCodecByLayer[f.layer - 1];
    props.sampleRate = f.sampleRate;
    props.channels = f.channels;
    if (samples) {
        props.durationMs = samplesToMs(samples, f.sampleRate);
        props.bitRate = averageKbps(bytes ? bytes : audioBytes, props.durationMs);
    } else {
        // Constant bit rate: the header's rate holds for every frame.
        props.bitRate = f.bitRate;
        props.durationMs = f.bitRate ? (audioBytes * 8 + f.bitRate / 2) / f.bitRate : 0;
    }
    *out = props;
    return kMediaFileNoErr;
}

namespace {

MediaFileStatus propertiesThrough(util::CachedReader &reader, uint64_t size, MediaFileAudioProperties *out)
{
    uint64_t start = 0;
    std::vector<uint8_t> block;
    if (MediaFileStatus status = reader.readUpTo(0, 10, &block))
        return status;
    if (block.size() == 10 && std::memcmp(block.data(), "ID3", 3) == 0) {
        const uint64_t tagSize = uint64_t(block[6] & 0x7F) << 21 | uint64_t(block[7] & 0x7F) << 14 |
                                 uint64_t(block[8] & 0x7F) << 7 | (block[9] & 0x7F);
        start = 10 + tagSize + ((block[5] & 0x10) ? 10 : 0);
    }
    // A tag that claims to run past the end is damaged; its audio is then looked for right
    // behind its header, as other readers do.
    if (start >= size)
        start = 10;
    uint64_t end = size;
    if (size >= 128 && reader.readUpTo(size - 128, 3, &block) == kMediaFileNoErr && block.size() == 3 &&
        std::memcmp(block.data(), "TAG", 3) == 0)
        end = size - 128;
    // The first header that a second one follows where its length says; a lone candidate
    // is taken only when nothing better turns up.
    uint64_t firstCandidate = UINT64_MAX;
    for (uint64_t offset = start; offset < end && offset - start < kSearchLimit;) {
        if (MediaFileStatus status = reader.readUpTo(offset, 64 * 1024 + 4, &block))
            return status;
        if (block.size() < 4)
            break;
        for (size_t i = 0; i + 4 <= block.size() && offset + i < end; ++i) {
            Frame f;
            if (!decode(block.data() + i, &f))
                continue;
            const uint64_t at = offset + i;
            if (firstCandidate == UINT64_MAX)
                firstCandidate = at;
            std::vector<uint8_t> next;
            if (f.length == 0 || reader.readUpTo(at + f.length, 4, &next) != kMediaFileNoErr || next.size() < 4)
                continue;
            Frame following;
            if (!decode(next.data(), &following) || following.sampleRate != f.sampleRate || following.layer != f.layer)
                continue;
            if (MediaFileStatus status = reader.readUpTo(at, kHeadWindow, &block))
                return status;
            return mpegPropertiesFromFrame(block, end - at, out);
        }
        offset += block.size() - 3;
    }
    if (firstCandidate == UINT64_MAX)
        return kMediaFileErrNotFound;
    if (MediaFileStatus status = reader.readUpTo(firstCandidate, kHeadWindow, &block))
        return status;
    return mpegPropertiesFromFrame(block, end - firstCandidate, out);
}

} // namespace

MediaFileStatus mpegPropertiesOfFile(const char *path, MediaFileAudioProperties *out)
{
    return util::readThroughCache(path, [out](util::CachedReader &reader, uint64_t size) { return propertiesThrough(reader, size, out); });
}

MediaFileStatus mpegPropertiesOfBytes(std::span<const uint8_t> wholeFile, MediaFileAudioProperties *out)
{
    util::CachedReader reader(wholeFile);
    return propertiesThrough(reader, wholeFile.size(), out);
}

} // namespace kestrabel::id3
