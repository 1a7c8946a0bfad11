// Audio properties of an MP4 file from the atoms held in memory: the first sound track's edit
// list (or, without one, its `mdhd`) for the length, its sample entry (with `esds` or `alac`) for codec, rate and channels,
// and `stsz` for the average bit rate when the entry does not carry one.
#include "MP4Properties.h"

#include "core/AudioFigures.h"
#include "util/ByteCursor.h"

namespace kestrabel::mp4 {
namespace {

struct CodecName {
    uint32_t entryType;
    const char *name;
};

// Sample-entry types and what they are called; mp4a is refined by the esds object type.
constexpr CodecName kCodecs[] = {
    {fourCC("mp4a"), "AAC"}, {fourCC("alac"), "ALAC"}, {fourCC("ac-3"), "AC-3"}, {fourCC("ec-3"), "E-AC-3"},
    {fourCC("Opus"), "Opus"}, {fourCC("fLaC"), "FLAC"}, {fourCC(".mp3"), "MP3"}, {fourCC("samr"), "AMR"},
    {fourCC("lpcm"), "PCM"}, {fourCC("sowt"), "PCM"}, {fourCC("twos"), "PCM"},
};
// esds object types that are not AAC inside an mp4a entry.
constexpr CodecName kObjectTypes[] = {{0x69, "MP3"}, {0x6B, "MP3"}, {0xA9, "DTS"}, {0xDD, "Vorbis"}};
constexpr uint32_t kAudioSpecificRates[13] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                              22050, 16000, 12000, 11025, 8000,  7350};

constexpr uint32_t kSoun = fourCC("soun");
constexpr uint32_t kEsds = fourCC("esds");
constexpr uint32_t kAlac = fourCC("alac");
constexpr size_t kSampleEntryHeader = 8 + 6 + 2; // size, type, reserved, data reference index
constexpr size_t kSoundEntryV0 = 20;             // version .. sample rate
constexpr size_t kSoundEntryV1Extra = 16;

const MP4Atom *child(const MP4Atom *atom, uint32_t type)
{
    if (!atom)
        return nullptr;
    for (const auto &c : atom->children)
        if (c->type == type)
            return c.get();
    return nullptr;
}

// Version 0 and 1 `mvhd` and `mdhd` share the place of timescale and duration.
bool readTimes(const MP4Atom *atom, uint32_t *timescale, uint64_t *duration)
{
    if (!atom)
        return false;
    util::ByteReader r(atom->data);
    uint8_t version = 0;
    if (!r.u8(version) || !r.skip(3))
        return false;
    if (version == 1) {
        return r.skip(16) && r.be32(*timescale) && r.be64(*duration);
    }
    uint32_t d32 = 0;
    if (!r.skip(8) || !r.be32(*timescale) || !r.be32(d32))
        return false;
    *duration = d32 == 0xFFFFFFFF ? 0 : d32;
    return true;
}

// The presented length by the edit list in the movie's timescale: what players play once the
// encoder's priming samples are skipped. False when the track has no usable list.
bool editedDuration(const MP4Atom *trak, uint64_t *duration)
{
    const MP4Atom *edts = child(trak, fourCC("edts"));
    if (!edts)
        return false;
    util::ByteReader r(edts->data);
    uint32_t size = 0, type = 0, count = 0;
    uint8_t version = 0;
    if (!r.be32(size) || !r.be32(type) || type != fourCC("elst") || !r.u8(version) || !r.skip(3) || !r.be32(count))
        return false;
    uint64_t total = 0;
    bool any = false;
    for (uint32_t i = 0; i < count; ++i) {
        uint64_t segment = 0;
        int64_t mediaTime = 0;
        if (version == 1) {
            uint64_t time = 0;
            if (!r.be64(segment) || !r.be64(time) || !r.skip(4))
                return false;
            mediaTime = static_cast<int64_t>(time);
        } else {
            uint32_t segment32 = 0, time = 0;
            if (!r.be32(segment32) || !r.be32(time) || !r.skip(4))
                return false;
            segment = segment32;
            mediaTime = static_cast<int32_t>(time);
        }
        // An empty edit (media time -1) is a pause before the track starts, not its audio.
        if (mediaTime != -1) {
            total += segment;
            any = true;
        }
    }
    if (!any || total == 0)
        return false;
    *duration = total;
    return true;
}

bool isSoundTrack(const MP4Atom *mdia)
{
    const MP4Atom *hdlr = child(mdia, fourCC("hdlr"));
    if (!hdlr)
        return false;
    util::ByteReader r(hdlr->data);
    uint32_t handler = 0;
    return r.skip(8) && r.be32(handler) && handler == kSoun;
}

// A descriptor's variable-length size: up to four bytes of seven bits each.
bool descriptorLength(util::ByteReader &r, uint32_t *out)
{
    uint32_t length = 0;
    for (int i = 0; i < 4; ++i) {
        uint8_t b = 0;
        if (!r.u8(b))
            return false;
        length = length << 7 | (b & 0x7F);
        if (!(b & 0x80)) {
            *out = length;
            return true;
        }
    }
    return false;
}

void readEsds(std::span<const uint8_t> body, MediaFileAudioProperties *props, uint32_t *averageBits)
{
    util::ByteReader r(body);
    if (!r.skip(4)) // version and flags
        return;
    uint8_t tag = 0;
    uint32_t length = 0;
    if (!r.u8(tag) || tag != 3 || !descriptorLength(r, &length))
        return;
    uint8_t esFlags = 0;
    if (!r.skip(2) || !r.u8(esFlags))
        return;
    if (esFlags & 0x80)
        r.skip(2);
    if (esFlags & 0x40) {
        uint8_t urlLength = 0;
        if (!r.u8(urlLength) || !r.skip(urlLength))
            return;
    }
    if (esFlags & 0x20)
        r.skip(2);
    uint8_t objectType = 0;
    uint32_t maxBits = 0;
    if (!r.u8(tag) || tag != 4 || !descriptorLength(r, &length) || !r.u8(objectType) || !r.skip(4) ||
        !r.be32(maxBits) || !r.be32(*averageBits))
        return;
    for (const CodecName &c : kObjectTypes)
        if (c.entryType == objectType)
            props->codec = c.name;
    if (!r.u8(tag) || tag != 5 || !descriptorLength(r, &length) || objectType != 0x40)
        return;
    uint8_t b0 = 0, b1 = 0, b2 = 0, b3 = 0, b4 = 0;
    if (!r.u8(b0) || !r.u8(b1))
        return;
    // Five bits of object type, four of rate index (15: 24 explicit bits), four of channels.
    const uint32_t rateIndex = (b0 & 0x07) << 1 | b1 >> 7;
    uint32_t channelConfig = (b1 >> 3) & 0x0F;
    if (rateIndex < 13) {
        props->sampleRate = kAudioSpecificRates[rateIndex];
    } else if (rateIndex == 15 && r.u8(b2) && r.u8(b3) && r.u8(b4)) {
        props->sampleRate = (uint32_t(b1 & 0x7F) << 17) | uint32_t(b2) << 9 | uint32_t(b3) << 1 | b4 >> 7;
        channelConfig = (b4 >> 3) & 0x0F;
    }
    // Configuration 7 is eight channels (7.1); 0 leaves the sample entry's count.
    if (channelConfig >= 1 && channelConfig <= 6)
        props->channels = channelConfig;
    else if (channelConfig == 7)
        props->channels = 8;
}

void readAlac(std::span<const uint8_t> body, MediaFileAudioProperties *props, uint32_t *averageBits)
{
    util::ByteReader r(body);
    uint8_t bitDepth = 0, channels = 0;
    uint32_t rate = 0;
    if (r.skip(4 + 4 + 1) && r.u8(bitDepth) && r.skip(3) && r.u8(channels) && r.skip(2 + 4) && r.be32(*averageBits) &&
        r.be32(rate)) {
        props->bitsPerSample = bitDepth;
        props->channels = channels;
        props->sampleRate = rate;
    }
}

// The first sample entry of an `stsd`; the boxes inside it follow the sound fields.
bool readSampleEntry(std::span<const uint8_t> stsd, MediaFileAudioProperties *props, uint32_t *averageBits)
{
    util::ByteReader r(stsd);
    uint32_t count = 0, size = 0, type = 0;
    if (!r.skip(4) || !r.be32(count) || count == 0 || !r.be32(size) || !r.be32(type))
        return false;
    if (size < kSampleEntryHeader + kSoundEntryV0 || size - 8 > r.remaining())
        return false;
    std::span<const uint8_t> entry = stsd.subspan(r.position() - 8, size);
    util::ByteReader e(entry.subspan(kSampleEntryHeader));
    uint16_t version = 0, channels = 0, bits = 0;
    uint32_t rate = 0;
    if (!e.be16(version) || !e.skip(6) || !e.be16(channels) || !e.be16(bits) || !e.skip(4) || !e.be32(rate))
        return false;
    props->codec = "?";
    for (const CodecName &c : kCodecs)
        if (c.entryType == type)
            props->codec = c.name;
    props->channels = channels;
    props->sampleRate = rate >> 16;
    if (type != fourCC("mp4a"))
        props->bitsPerSample = bits;
    if (version == 1)
        e.skip(kSoundEntryV1Extra);
    while (e.remaining() >= 8) {
        uint32_t boxSize = 0, boxType = 0;
        e.be32(boxSize);
        e.be32(boxType);
        if (boxSize < 8 || boxSize - 8 > e.remaining())
            break;
        std::span<const uint8_t> body = e.rest().first(boxSize - 8);
        if (boxType == kEsds)
            readEsds(body, props, averageBits);
        else if (boxType == kAlac && type == kAlac)
            readAlac(body, props, averageBits);
        e.skip(boxSize - 8);
    }
    return true;
}

// Bytes of all samples by the sample-size table, for a bit rate the entry does not state.
uint64_t sampleBytes(const MP4Atom *stsz)
{
    if (!stsz)
        return 0;
    util::ByteReader r(stsz->data);
    uint32_t uniform = 0, count = 0;
    if (!r.skip(4) || !r.be32(uniform) || !r.be32(count))
        return 0;
    if (uniform)
        return uint64_t(uniform) * count;
    uint64_t total = 0;
    for (uint32_t i = 0, size = 0; i < count && r.be32(size); ++i)
        total += size;
    return total;
}

} // namespace

MediaFileStatus mp4AudioProperties(const MP4File &file, MediaFileAudioProperties *out)
{
    if (!file.moov)
        return kMediaFileErrNotFound;
    for (const auto &trak : file.moov->children) {
        if (trak->type != kTrak)
            continue;
        const MP4Atom *mdia = child(trak.get(), kMdia);
        if (!isSoundTrack(mdia))
            continue;
        const MP4Atom *stbl = child(child(mdia, kMinf), kStbl);
        const MP4Atom *stsd = child(stbl, fourCC("stsd"));
        MediaFileAudioProperties props{};
        uint32_t averageBits = 0;
        if (!stsd || !readSampleEntry(stsd->data, &props, &averageBits))
            continue;
        uint32_t timescale = 0, movieScale = 0;
        uint64_t duration = 0, movieDuration = 0, edited = 0;
        const bool movieTimes = readTimes(child(file.moov, fourCC("mvhd")), &movieScale, &movieDuration);
        if (movieTimes && movieScale && editedDuration(trak.get(), &edited)) {
            timescale = movieScale;
            duration = edited;
        } else if (!readTimes(child(mdia, fourCC("mdhd")), &timescale, &duration)) {
            timescale = movieScale;
            duration = movieDuration;
        }
        props.durationMs = samplesToMs(duration, timescale);
        props.bitRate = averageBits ? (averageBits + 500) / 1000 : averageKbps(sampleBytes(child(stbl, fourCC("stsz"))), props.durationMs);
        *out = props;
        return kMediaFileNoErr;
    }
    return kMediaFileErrNotFound;
}

} // namespace kestrabel::mp4
