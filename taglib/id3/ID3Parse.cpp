#include "FrameContents.h"
#include "FrameTable.h"
#include "ID3Engine.h"
#include "MPEGScan.h"

#include "util/ByteCursor.h"
#include "util/Strings.h"
#include "util/Zlib.h"

#include <cstring>
#include <new>

namespace kestrabel::id3 {
namespace {

constexpr size_t kHeaderSize = 10;
// zlib cannot expand its input by more than about 1032 times; a frame claiming more than that
// is treated as an allocation that could not be made, without making it.
constexpr uint64_t kMaxInflateRatio = 1032;
constexpr uint64_t kInflateSlack = 1024;

bool anyTopBit(const uint8_t *p) { return ((p[0] | p[1] | p[2] | p[3]) & 0x80) != 0; }

// Synchsafe unless a byte has its top bit set; then the plain value is taken, on purpose.
uint32_t tolerantSize(const uint8_t *p)
{
    if (anyTopBit(p))
        return util::getBigEndian(p, 4);
    return uint32_t(p[0]) << 21 | uint32_t(p[1]) << 14 | uint32_t(p[2]) << 7 | p[3];
}

std::vector<uint8_t> undoUnsynchronisation(std::span<const uint8_t> body)
{
    std::vector<uint8_t> out;
    out.reserve(body.size());
    for (size_t i = 0; i < body.size(); ++i) {
        out.push_back(body[i]);
        if (body[i] == 0xFF && i + 1 < body.size() && body[i + 1] == 0x00)
            ++i;
    }
    return out;
}

MediaFileStatus inflateFrame(std::span<const uint8_t> input, uint32_t expectedSize, std::vector<uint8_t> *out)
{
    if (expectedSize > input.size() * kMaxInflateRatio + kInflateSlack)
        return kMediaFileErrMemory;
    return util::inflateBytes(input, expectedSize, out);
}

// The table's canonical ID equals the long ID in every row but TSSE's, which stands for TSRC
// under the classic rules.
uint32_t canonicalID(const ID3Tag &tag, const FrameTableRow &row)
{
    if (!tag.rules->canonicalIsLongID)
        return row.frameID;
    const char *id = row.longID;
    return uint32_t(uint8_t(id[0])) << 24 | uint32_t(uint8_t(id[1])) << 16 | uint32_t(uint8_t(id[2])) << 8 | uint8_t(id[3]);
}

// Frames of 2.3 and 2.4 tags: 4-byte ID, 4-byte size, 2 flag bytes.
MediaFileStatus parseLongFrames(ID3Tag &tag, std::span<const uint8_t> body, size_t pos, size_t *stopAt)
{
    while (body.size() - pos >= kHeaderSize) {
        const uint8_t *p = body.data() + pos;
        if (p[0] == 0xFF) {
            *stopAt = pos;
            return kMediaFileNoErr;
        }
        uint32_t size = util::getBigEndian(p + 4, 4);
        if (tag.majorVersion == 4 && !tag.sizesNotSynchsafe && !anyTopBit(p + 4))
            size = tolerantSize(p + 4);
        const uint32_t flags = uint32_t(p[8]) << 8 | p[9];
        const size_t available = body.size() - pos - kHeaderSize;
        if (size > available)
            return kMediaFileErrShortHeader;
        if (p[0] == 0) {
            pos += kHeaderSize + size;
            continue;
        }
        std::span<const uint8_t> data = body.subspan(pos + kHeaderSize, size);
        std::vector<uint8_t> inflated;
        if (flags & 0x80) {
            if (size < 4)
                return kMediaFileErrShortHeader;
            const uint32_t expected = util::getBigEndian(data.data(), 4);
            // The compressed bytes are taken as long as the whole frame, so they may run 4 bytes
            // into what follows; zlib stops at the end of its stream anyway.
            const size_t start = pos + kHeaderSize + 4;
            std::span<const uint8_t> input = body.subspan(start, std::min<size_t>(size, body.size() - start));
            if (MediaFileStatus status = inflateFrame(input, expected, &inflated))
                return status;
            data = inflated;
        }
        std::string longID(reinterpret_cast<const char *>(p), 4);
        if (const FrameTableRow *row = frameRowByLongID(longID))
            ID3PutFrame(tag, kOriginFile, 0, canonicalID(tag, *row), row->longID, row->shortID, flags, data);
        else
            ID3PutFrame(tag, kOriginFile, 0, kFrameUnknown, longID, "???", flags, data);
        pos += kHeaderSize + size;
    }
    return kMediaFileNoErr;
}

// Frames of 2.2 (and older) tags: 3-byte ID, 3-byte size, no flags.
MediaFileStatus parseShortFrames(ID3Tag &tag, std::span<const uint8_t> body, size_t *stopAt)
{
    constexpr size_t kShortHeader = 6;
    size_t pos = 0;
    while (body.size() - pos >= kShortHeader) {
        const uint8_t *p = body.data() + pos;
        if (p[0] == 0xFF) {
            *stopAt = pos;
            return kMediaFileNoErr;
        }
        const uint32_t size = util::getBigEndian(p + 3, 3);
        if (size > body.size() - pos - kShortHeader)
            return kMediaFileErrShortHeader;
        if (p[0] == 0) {
            pos += kShortHeader + size;
            continue;
        }
        std::span<const uint8_t> data = body.subspan(pos + kShortHeader, size);
        std::string shortID(reinterpret_cast<const char *>(p), 3);
        if (const FrameTableRow *row = frameRowByShortID(shortID))
            ID3PutFrame(tag, kOriginFile, 0, canonicalID(tag, *row), row->longID, row->shortID, 0, data);
        else
            ID3PutFrame(tag, kOriginFile, 0, kFrameUnknown, "????", shortID, 0, data);
        pos += kShortHeader + size;
    }
    return kMediaFileNoErr;
}

uint32_t fileKindForPath(const char *path)
{
    std::string_view ext = util::extension(path);
    if (util::compareCaseless(ext, "mp3") == 0)
        return frameCode("MP3 ");
    if (util::compareCaseless(ext, "aiff") == 0)
        return frameCode("AIFF");
    return frameCode("Unkn");
}

} // namespace

MediaFileStatus TagSource::size(uint64_t *out) const
{
    *out = reader_ ? fileSize_ : bytes_.size();
    return kMediaFileNoErr;
}

MediaFileStatus TagSource::readAt(uint64_t offset, std::span<uint8_t> out) const
{
    if (reader_)
        return reader_->readAt(offset, out);
    if (offset > bytes_.size() || out.size() > bytes_.size() - offset)
        return kMediaFileErrShortRead;
    if (!out.empty())
        std::memcpy(out.data(), bytes_.data() + offset, out.size());
    return kMediaFileNoErr;
}

MediaFileStatus TagSource::bytesAt(uint64_t offset, size_t count, std::vector<uint8_t> *copy, std::span<const uint8_t> *out) const
{
    if (reader_) {
        *out = reader_->view(offset, count);
        if (!out->empty() || count == 0)
            return kMediaFileNoErr;
    } else if (offset <= bytes_.size() && count <= bytes_.size() - offset) {
        *out = bytes_.subspan(static_cast<size_t>(offset), count);
        return kMediaFileNoErr;
    }
    copy->resize(count);
    if (MediaFileStatus status = readAt(offset, *copy))
        return status;
    *out = *copy;
    return kMediaFileNoErr;
}

MediaFileStatus ID3ParseV2(const TagSource &source, ID3Tag &tag)
{
    uint8_t header[kHeaderSize];
    if (MediaFileStatus status = source.readAt(0, header))
        return status;
    if (std::memcmp(header, "ID3", 3) != 0)
        return kID3ErrNoMagic;
    if (header[3] >= 5)
        return kID3ErrBadVersion;
    tag.majorVersion = header[3];
    tag.revision = header[4];
    tag.tagFlags = header[5];
    const uint32_t size = tolerantSize(header + 6);
    tag.v2Size = tag.parsedTagEnd = uint64_t(size) + kHeaderSize;

    uint64_t sourceSize = 0;
    if (MediaFileStatus status = source.size(&sourceSize))
        return status;
    if (sourceSize < kHeaderSize || size > sourceSize - kHeaderSize)
        return kMediaFileErrShortRead;
    // Most tags are parsed where the reader holds them, without a copy.
    std::vector<uint8_t> copy;
    std::span<const uint8_t> body;
    if (MediaFileStatus status = source.bytesAt(kHeaderSize, size, &copy, &body))
        return status;
    if (tag.tagFlags & 0x80) {
        copy = undoUnsynchronisation(body);
        body = copy;
    }

    size_t start = 0;
    if (tag.majorVersion == 3 && (tag.tagFlags & 0x40) && body.size() >= 4) {
        const uint64_t extended = uint64_t(tolerantSize(body.data())) + 4;
        if (body.size() > extended)
            start = static_cast<size_t>(extended);
    }
    // A 2.4 extended header's size counts its own size field, and is always synchsafe.
    if (tag.majorVersion == 4 && (tag.tagFlags & 0x40) && tag.rules->skipV24ExtendedHeader && body.size() >= 4 &&
        !anyTopBit(body.data())) {
        const uint64_t extended = tolerantSize(body.data());
        if (extended >= 6 && extended <= body.size())
            start = static_cast<size_t>(extended);
    }
    tag.tagFlags &= ~0x40;
    tag.fourCharIDs = tag.picturesInMIMEForm = tag.majorVersion >= 3 && tag.majorVersion < 5;

    size_t stopAt = SIZE_MAX;
    MediaFileStatus status = tag.majorVersion >= 3 ? parseLongFrames(tag, body, start, &stopAt)
                                                   : parseShortFrames(tag, body, &stopAt);
    if (status)
        return status;
    if (stopAt != SIZE_MAX)
        tag.v2Size = tag.parsedTagEnd = uint64_t(stopAt) + kHeaderSize;
    return kMediaFileNoErr;
}

MediaFileStatus ID3ReadTags(const TagSource &source, MediaFileFlags, ID3Tag &tag)
{
    MediaFileStatus status = ID3ParseV2(source, tag);
    // Some tools write 2.4 tags with plain frame sizes; a second attempt reads them that way.
    if (status && tag.majorVersion == 4) {
        tag.frames.clear();
        tag.sizesNotSynchsafe = true;
        status = ID3ParseV2(source, tag);
    }
    uint64_t size = 0;
    MediaFileStatus v1Status = source.size(&size);
    if (v1Status == kMediaFileNoErr) {
        if (size < 128) {
            v1Status = kMediaFileErrShortRead;
        } else {
            std::array<uint8_t, 128> record{};
            v1Status = source.readAt(size - 128, record);
            if (v1Status == kMediaFileNoErr)
                v1Status = ID3ReadV1(record, status != kMediaFileNoErr, tag);
        }
    }
    // No ID3v2 tag at all is nothing passed over.
    if (status != kID3ErrNoMagic && !(status == kMediaFileErrShortRead && tag.majorVersion == 0))
        // zlib's own codes (Z_DATA_ERROR and the like) come from a damaged compressed frame.
        tag.ignoredError = status < 0 && status > -10 ? kMediaFileErrBadFrame : status;
    return status ? v1Status : kMediaFileNoErr;
}

MediaFileStatus ID3OpenFile(const char *path, MediaFileFlags readOptions, ID3TagPtr *out, std::vector<uint8_t> *wholeFile)
{
    util::File file;
    struct stat opened {};
    if (util::File::openRead(path, &file, &opened))
        return kMediaFileErrCantOpen;
    ID3TagPtr tag(new (std::nothrow) ID3Tag);
    if (!tag)
        return kMediaFileErrMemory;
    tag->fileKind = fileKindForPath(path);
    tag->rules = &id3RulesFor(readOptions);
    const uint64_t size = static_cast<uint64_t>(opened.st_size);
    util::CachedReader reader(file, size);
    MediaFileStatus status = ID3ReadTags(TagSource(reader, size), readOptions, *tag);
    if (status && !(readOptions & (kMediaFileFlagStrict | kMediaFileFlagIgnoreTagErrors)))
        return status;
    if (!(readOptions & kMediaFileFlagSkipMPEGInfo) || (readOptions & kMediaFileFlagStrict)) {
        tag->audioByteCount = size > tag->parsedTagEnd ? size - tag->parsedTagEnd : 0;
        status = ID3ScanAudio(reader, tag->parsedTagEnd, *tag);
        if (status && (readOptions & kMediaFileFlagStrict))
            return status;
    }
    if (wholeFile)
        *wholeFile = reader.takeWholeFile();
    *out = std::move(tag);
    return kMediaFileNoErr;
}

} // namespace kestrabel::id3
