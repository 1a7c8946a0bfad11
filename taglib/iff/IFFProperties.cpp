#include "IFFProperties.h"
#include "ChunkFile.h"

#include "core/AudioFigures.h"

#include <cmath>
#include <vector>

namespace kestrabel::iff {
namespace {

constexpr uint16_t kExtensible = 0xFFFE;
constexpr uint32_t kComm = util::fourCC("COMM");
constexpr uint32_t kSsnd = util::fourCC("SSND");
constexpr uint32_t kFmt = util::fourCC("fmt ");
constexpr uint32_t kData = util::fourCC("data");

const Codec *findCodec(std::span<const Codec> table, uint32_t id)
{
    for (const Codec &c : table)
        if (c.id == id)
            return &c;
    return nullptr;
}

// The 80-bit extended-precision sample rate of COMM.
double extendedToDouble(const uint8_t *p)
{
    const int exponent = ((p[0] & 0x7F) << 8 | p[1]) - 16383 - 63;
    uint64_t mantissa = 0;
    for (int i = 0; i < 8; ++i)
        mantissa = mantissa << 8 | p[2 + i];
    if (mantissa == 0 || exponent > 64)
        return 0;
    const double value = std::ldexp(static_cast<double>(mantissa), exponent);
    return (p[0] & 0x80) ? -value : value;
}

} // namespace

MediaFileStatus aiffPropertiesFromComm(std::span<const uint8_t> comm, bool aifc, uint64_t dataBytes, MediaFileAudioProperties *out)
{
    util::ByteReader r(comm);
    uint16_t channels = 0, bits = 0;
    uint32_t frames = 0;
    if (!r.be16(channels) || !r.be32(frames) || !r.be16(bits) || r.remaining() < 10)
        return kMediaFileErrNotFound;
    const double rate = extendedToDouble(comm.data() + r.position());
    r.skip(10);
    if (!(rate >= 1 && rate < 1e9) || channels == 0)
        return kMediaFileErrNotFound;
    const Codec *codec = &kAifcCodecs[0];
    uint32_t compression = 0;
    if (aifc && r.be32(compression))
        codec = findCodec(kAifcCodecs, compression);
    MediaFileAudioProperties props{};
    props.codec = codec ? codec->name : "?";
    props.channels = channels;
    props.sampleRate = static_cast<uint32_t>(std::lround(rate));
    props.bitsPerSample = codec && codec->pcm ? bits : 0;
    // COMM counts sample frames whatever the compression.
    props.durationMs = samplesToMs(frames, props.sampleRate);
    props.bitRate = codec && codec->pcm ? static_cast<uint32_t>((uint64_t(props.sampleRate) * channels * bits + 500) / 1000)
                                        : averageKbps(dataBytes, props.durationMs);
    *out = props;
    return kMediaFileNoErr;
}

MediaFileStatus wavePropertiesFromFmt(std::span<const uint8_t> fmt, uint64_t dataBytes, MediaFileAudioProperties *out)
{
    util::ByteReader r(fmt);
    uint16_t tag = 0, channels = 0, blockAlign = 0, bits = 0;
    uint32_t rate = 0, byteRate = 0;
    if (!r.le16(tag) || !r.le16(channels) || !r.le32(rate) || !r.le32(byteRate) || !r.le16(blockAlign) || !r.le16(bits))
        return kMediaFileErrNotFound;
    if (channels == 0 || rate == 0)
        return kMediaFileErrNotFound;
    uint16_t extension = 0, validBits = 0, subFormat = 0;
    if (tag == kExtensible && r.le16(extension) && extension >= 22 && r.le16(validBits) && r.skip(4) && r.le16(subFormat))
        tag = subFormat;
    const Codec *codec = findCodec(kWaveCodecs, tag);
    MediaFileAudioProperties props{};
    props.codec = codec ? codec->name : "?";
    props.channels = channels;
    props.sampleRate = rate;
    props.bitsPerSample = codec && codec->pcm ? bits : 0;
    if (codec && codec->pcm && blockAlign)
        props.durationMs = samplesToMs(dataBytes / blockAlign, rate);
    else if (byteRate)
        props.durationMs = (dataBytes * 1000 + byteRate / 2) / byteRate;
    props.bitRate = byteRate ? (uint64_t(byteRate) * 8 + 500) / 1000 : averageKbps(dataBytes, props.durationMs);
    *out = props;
    return kMediaFileNoErr;
}

MediaFileStatus iffAudioProperties(const char *path, MediaFileAudioProperties *out)
{
    util::File file;
    if (MediaFileStatus status = util::File::openRead(path, &file))
        return status;
    uint64_t fileSize = 0;
    if (MediaFileStatus status = file.size(&fileSize))
        return status;
    std::vector<uint8_t> head;
    if (MediaFileStatus status = file.readUpTo(0, kContainerHeaderSize, &head))
        return status;
    if (head.size() < kContainerHeaderSize)
        return kMediaFileErrNotFound;
    Container container;
    container.id = util::getBigEndian(head.data(), 4);
    container.formType = util::getBigEndian(head.data() + 8, 4);
    container.isRIFF = container.id == kRIFF;
    const uint32_t formatID = container.isRIFF ? kFmt : kComm;
    const uint32_t dataID = container.isRIFF ? kData : kSsnd;
    std::vector<uint8_t> format;
    uint64_t dataBytes = 0;
    bool haveFormat = false, haveData = false;
    for (uint64_t at = kContainerHeaderSize; at + kChunkHeaderSize <= fileSize && !(haveFormat && haveData);) {
        if (MediaFileStatus status = file.readUpTo(at, kChunkHeaderSize, &head))
            return status;
        if (head.size() < kChunkHeaderSize)
            break;
        const uint32_t id = util::getBigEndian(head.data(), 4);
        const uint64_t size = container.readSize(head.data() + 4);
        if (id == formatID && !haveFormat) {
            if (MediaFileStatus status = file.readUpTo(at + kChunkHeaderSize, static_cast<size_t>(std::min<uint64_t>(size, 4096)), &format))
                return status;
            haveFormat = true;
        } else if (id == dataID && !haveData) {
            // A data chunk cut short by a truncated copy counts what is there.
            dataBytes = std::min(size, fileSize - at - kChunkHeaderSize);
            haveData = true;
        }
        at += kChunkHeaderSize + padded(size);
    }
    if (!haveFormat)
        return kMediaFileErrNotFound;
    if (container.isRIFF)
        return wavePropertiesFromFmt(format, dataBytes, out);
    return aiffPropertiesFromComm(format, container.formType == kAIFC, dataBytes, out);
}

} // namespace kestrabel::iff
