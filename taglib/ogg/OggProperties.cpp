#include "OggProperties.h"
#include "OpusHeaders.h"

#include "core/AudioFigures.h"

#include <cstring>

namespace kestrabel::ogg {
namespace {

constexpr size_t kPageHeaderSize = 27;
// A page is at most 65,307 bytes; twice that from the end always holds a whole last page,
// and each step back reads that much more.
constexpr uint64_t kTailStep = 128 * 1024;
constexpr uint64_t kMaxTail = 4 * 1024 * 1024;
// Most last pages are a few kilobytes: a small file is not read whole for its last page.
constexpr uint64_t kFirstTail = 16 * 1024;

uint32_t le32(const uint8_t *p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24; }

} // namespace

bool lastGranule(std::span<const uint8_t> tail, int serial, int64_t *out)
{
    // From the end backwards, so that only the last page's checksum is computed, not that of
    // every page the tail holds.
    for (size_t at = tail.size() < kPageHeaderSize ? 0 : tail.size() - kPageHeaderSize + 1; at-- > 0;) {
        const uint8_t *p = tail.data() + at;
        if (std::memcmp(p, "OggS", 4) != 0 || p[4] != 0)
            continue;
        const int64_t granule = static_cast<int64_t>(uint64_t(le32(p + 6)) | uint64_t(le32(p + 10)) << 32);
        if (static_cast<int>(le32(p + 14)) != serial || granule == -1)
            continue;
        const size_t segments = p[26];
        if (at + kPageHeaderSize + segments > tail.size())
            continue;
        size_t body = 0;
        for (size_t i = 0; i < segments; ++i)
            body += p[kPageHeaderSize + i];
        if (at + kPageHeaderSize + segments + body > tail.size())
            continue;
        // The checksum tells a page from bytes that only look like one inside audio data.
        uint8_t header[kPageHeaderSize + 255];
        std::memcpy(header, p, kPageHeaderSize + segments);
        ogg_page page{};
        page.header = header;
        page.header_len = static_cast<long>(kPageHeaderSize + segments);
        page.body = const_cast<uint8_t *>(p + page.header_len);
        page.body_len = static_cast<long>(body);
        ogg_page_checksum_set(&page);
        if (std::memcmp(header + 22, p + 22, 4) != 0)
            continue;
        *out = granule;
        return true;
    }
    return false;
}

MediaFileStatus oggAudioProperties(const OggVorbisFile &file, MediaFileAudioProperties *out)
{
    util::File input;
    if (MediaFileStatus status = util::File::openRead(file.path, &input))
        return status;
    uint64_t size = 0;
    if (MediaFileStatus status = input.size(&size))
        return status;
    const vorbis_info *info = file.info.get();
    MediaFileAudioProperties props{};
    props.codec = file.codec == OggCodec::Opus ? "Opus" : "Vorbis";
    props.channels = static_cast<uint32_t>(info->channels);
    props.sampleRate = static_cast<uint32_t>(info->rate);
    int64_t granule = -1;
    std::vector<uint8_t> tail;
    for (uint64_t span = kFirstTail; granule < 0; span = span == kFirstTail ? kTailStep : span + kTailStep) {
        const uint64_t from = size > span ? size - span : 0;
        if (MediaFileStatus status = input.readUpTo(from, static_cast<size_t>(size - from), &tail))
            return status;
        if (!lastGranule(tail, file.serial, &granule))
            granule = -1;
        if (from == 0 || span >= kMaxTail)
            break;
    }
    if (granule > 0) {
        const uint64_t samples = static_cast<uint64_t>(granule);
        const uint64_t skipped = file.codec == OggCodec::Opus ? file.preSkip : 0;
        props.durationMs = samplesToMs(samples > skipped ? samples - skipped : 0, props.sampleRate);
    }
    props.bitRate = averageKbps(size > file.headerBytes ? size - file.headerBytes : 0, props.durationMs);
    *out = props;
    return kMediaFileNoErr;
}

} // namespace kestrabel::ogg
