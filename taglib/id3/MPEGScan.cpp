#include "MPEGScan.h"

#include "util/ByteCursor.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace kestrabel::id3 {
namespace {

using RateRow = std::array<uint32_t, 16>;
constexpr RateRow kMPEG1Layer1 = {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 255};
constexpr RateRow kMPEG1Layer2 = {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 255};
constexpr RateRow kMPEG1Layer3 = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 255};
constexpr RateRow kMPEG2Layer1 = {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 255};
constexpr RateRow kMPEG2Layer23 = {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 255};

using SampleRow = std::array<uint32_t, 4>;
constexpr SampleRow kSampleMPEG1 = {44100, 48000, 32000, 0xFFFFFFFF};
constexpr SampleRow kSampleMPEG2 = {22050, 24000, 16000, 0xFFFFFFFF};
// MPEG-2.5 repeats the MPEG-1 rates; the figures it yields are kept as they are.
constexpr SampleRow kSampleMPEG25 = {44100, 48000, 32000, 0xFFFFFFFF};

constexpr uint32_t kVersionMPEG1 = 3;
constexpr uint32_t kVersionMPEG2 = 2;
constexpr uint32_t kVersionMPEG25 = 0;
constexpr uint32_t kLayer1 = 3;
constexpr uint32_t kChannelMono = 3;
constexpr size_t kXingWindow = 128;
constexpr size_t kScanBlock = 64 * 1024;

const RateRow *bitRateRow(uint32_t version, uint32_t layer)
{
    if (layer == 0 || version == 1)
        return nullptr;
    if (version == kVersionMPEG1)
        return layer == 3 ? &kMPEG1Layer1 : layer == 2 ? &kMPEG1Layer2 : &kMPEG1Layer3;
    return layer == 3 ? &kMPEG2Layer1 : &kMPEG2Layer23;
}

const SampleRow *sampleRateRow(uint32_t version)
{
    switch (version) {
    case kVersionMPEG1:
        return &kSampleMPEG1;
    case kVersionMPEG2:
        return &kSampleMPEG2;
    case kVersionMPEG25:
        return &kSampleMPEG25;
    default:
        return nullptr;
    }
}

} // namespace

bool isFrameHeader(const uint8_t *b)
{
    if (b[0] != 0xFF || (b[1] & 0xE0) != 0xE0)
        return false;
    const uint32_t version = (b[1] >> 3) & 3;
    const uint32_t layer = (b[1] >> 1) & 3;
    const uint32_t bitRateIndex = b[2] >> 4;
    const uint32_t sampleRateIndex = (b[2] >> 2) & 3;
    const uint32_t emphasis = b[3] & 3;
    return version != 1 && layer != 0 && bitRateIndex >= 1 && bitRateIndex <= 14 && sampleRateIndex < 3 && emphasis != 2;
}

void decodeFrame(std::span<const uint8_t> frame, uint64_t audioByteCount, MPEGInfo *info)
{
    const uint32_t header = util::getBigEndian(frame.data(), 4);
    MPEGInfo m;
    m.header = header;
    m.versionBits = (header >> 19) & 3;
    m.layerBits = (header >> 17) & 3;
    m.channelMode = (header >> 6) & 3;
    m.copyright = (header >> 3) & 1;
    m.original = (header >> 2) & 1;
    m.emphasis = header & 3;
    const uint32_t bitRateIndex = (header >> 12) & 15;
    const uint32_t sampleRateIndex = (header >> 10) & 3;

    const bool mpeg1 = (header >> 19) & 1;
    const bool mono = m.channelMode == kChannelMono;
    const size_t xingOffset = mpeg1 ? (mono ? 21 : 36) : (mono ? 13 : 21);
    if (frame.size() >= xingOffset + 4 && std::memcmp(frame.data() + xingOffset, "Xing", 4) == 0) {
        util::ByteReader reader(frame.subspan(xingOffset + 4));
        if (reader.be32(m.xingFlags)) {
            m.xingPresent = true;
            if (m.xingFlags & 1)
                reader.be32(m.xingFrameCount);
            if (m.xingFlags & 2)
                reader.be32(m.xingByteCount);
            const uint32_t rate = kSampleMPEG1[sampleRateIndex];
            m.xingSampleRate = rate == 0xFFFFFFFF || mpeg1 ? rate : rate / 2;
        }
    }

    const RateRow *rates = bitRateRow(m.versionBits, m.layerBits);
    m.bitRate = rates ? (*rates)[bitRateIndex] : 0;
    const SampleRow *samples = sampleRateRow(m.versionBits);
    m.sampleRate = samples ? (*samples)[sampleRateIndex] : 0;

    if (m.xingPresent) {
        if (m.xingSampleRate != 0xFFFFFFFF)
            m.sampleRate = m.xingSampleRate;
        if ((m.xingFlags & 1) && m.xingFrameCount != 0) {
            // Layer II and III use 144 also for MPEG-2 and 2.5, which halves their estimate;
            // the formula is kept as it is.
            const float divisor = m.layerBits == kLayer1 ? 12.0f : 144.0f;
            float rate = static_cast<float>(audioByteCount) / static_cast<float>(m.xingFrameCount) *
                         static_cast<float>(m.sampleRate) / 1000.0f / divisor;
            rate = std::max(rate, 0.0f);
            m.bitRate = rate >= 4294967040.0f ? 0xFFFFFFFF : static_cast<uint32_t>(rate);
        }
    }
    m.valid = true;
    *info = m;
}

MediaFileStatus ID3ScanAudio(util::CachedReader &reader, uint64_t start, ID3Tag &tag)
{
    tag.mpeg = MPEGInfo{};
    uint64_t offset = start;
    std::vector<uint8_t> block;
    for (;;) {
        if (MediaFileStatus status = reader.readUpTo(offset, kScanBlock, &block))
            return status;
        if (block.size() < 4)
            return kMediaFileErrTooSmall;
        const size_t candidates = block.size() - 3;
        for (size_t i = 0; i < candidates; ++i) {
            if (!isFrameHeader(block.data() + i))
                continue;
            std::vector<uint8_t> frame;
            if (MediaFileStatus status = reader.readUpTo(offset + i, kXingWindow, &frame))
                return status;
            decodeFrame(frame, tag.audioByteCount, &tag.mpeg);
            return kMediaFileNoErr;
        }
        offset += candidates;
    }
}

uint32_t playTimeSeconds(const ID3Tag &tag)
{
    const uint64_t divisor = uint64_t(tag.mpeg.bitRate) * 128;
    return divisor ? static_cast<uint32_t>(tag.audioByteCount / divisor) : 0;
}

} // namespace kestrabel::id3
