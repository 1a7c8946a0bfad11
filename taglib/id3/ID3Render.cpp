#include "FrameContents.h"
#include "ID3Engine.h"

#include "util/ByteCursor.h"
#include "util/Saver.h"
#include "util/Strings.h"
#include "util/Zlib.h"

#include <algorithm>
#include <cstring>

namespace kestrabel::id3 {
namespace {

constexpr size_t kHeaderSize = 10;
constexpr uint64_t kPadUnit = 512;
// A tag that shrank by more than this gives the room back instead of keeping it as padding.
constexpr uint64_t kMaxReusedPadding = 1 << 20;
constexpr uint32_t kLargestSynchsafe = (1u << 28) - 1;
constexpr uint32_t kLargestShortSize = (1u << 24) - 1;
constexpr uint32_t kAPIC = frameCode("APIC");
constexpr uint32_t kTPE2 = frameCode("TPE2");

// Picture bodies differ between 2.2 (a 3-character image format) and 2.3/2.4 (a MIME type).
MediaFileStatus pictureToShortForm(const std::vector<uint8_t> &body, std::vector<uint8_t> *out)
{
    if (body.size() < 2)
        return kMediaFileErrShortHeader;
    auto end = std::find(body.begin() + 1, body.end(), uint8_t(0));
    if (end == body.end())
        return kMediaFileErrTooSmall;
    const std::string mime(body.begin() + 1, end);
    const char *format = mime == "image/png" ? "PNG" : mime == "image/jpeg" ? "JPG" : "???";
    out->clear();
    out->push_back(body[0]);
    out->insert(out->end(), format, format + 3);
    out->insert(out->end(), end + 1, body.end());
    return kMediaFileNoErr;
}

MediaFileStatus pictureToMIMEForm(const std::vector<uint8_t> &body, std::vector<uint8_t> *out)
{
    if (body.size() < 5)
        return kMediaFileErrShortHeader;
    if (body.size() >= 8 && std::memcmp(body.data() + 1, "image/", 6) == 0) {
        *out = body;
        return kMediaFileNoErr;
    }
    const std::string_view format(reinterpret_cast<const char *>(body.data() + 1), 3);
    const std::string mime = util::compareCaseless(format, "PNG") == 0   ? "image/png"
                             : util::compareCaseless(format, "JPG") == 0 ? "image/jpeg"
                                                                          : "";
    out->clear();
    out->push_back(body[0]);
    out->insert(out->end(), mime.begin(), mime.end());
    out->push_back(0);
    out->insert(out->end(), body.begin() + 4, body.end());
    return kMediaFileNoErr;
}

MediaFileStatus renderFrame(const ID3Tag &tag, const ID3Frame &frame, int version, util::ByteWriter &writer)
{
    const bool longForm = version >= 3;
    const std::string &id = longForm ? frame.longID : frame.shortID;
    if (id.empty())
        return kMediaFileNoErr;
    const std::vector<uint8_t> *body = &frame.data;
    std::vector<uint8_t> converted;
    if (frame.frameID == kAPIC && tag.picturesInMIMEForm != longForm) {
        MediaFileStatus status = longForm ? pictureToMIMEForm(frame.data, &converted) : pictureToShortForm(frame.data, &converted);
        if (status)
            return status;
        body = &converted;
    }
    if (!longForm) {
        if (body->size() > kLargestShortSize)
            return kMediaFileErrParam;
        writer.text(std::string_view(id).substr(0, 3));
        writer.be24(static_cast<uint32_t>(body->size()));
        writer.bytes(*body);
        return kMediaFileNoErr;
    }
    writer.text(std::string_view(id).substr(0, 4));
    if (frame.flags & 0x80) {
        std::vector<uint8_t> deflated;
        if (MediaFileStatus status = util::deflateBytes(*body, &deflated))
            return status;
        if (deflated.size() + 4 > UINT32_MAX || body->size() > UINT32_MAX)
            return kMediaFileErrParam;
        // Compressed frames carry a plain size in 2.4 too.
        writer.be32(static_cast<uint32_t>(deflated.size() + 4));
        writer.u8(frame.flags >> 8);
        writer.u8(frame.flags);
        writer.be32(static_cast<uint32_t>(body->size()));
        writer.bytes(deflated);
        return kMediaFileNoErr;
    }
    const bool synchsafe = version == 4 && ((ID3Options & kID3OptionSynchsafeFrameSizes) || tag.rules->synchsafeV24Sizes);
    if (body->size() > (synchsafe ? kLargestSynchsafe : UINT32_MAX))
        return kMediaFileErrParam;
    if (synchsafe)
        writer.synchsafe32(static_cast<uint32_t>(body->size()));
    else
        writer.be32(static_cast<uint32_t>(body->size()));
    writer.u8(frame.flags >> 8);
    writer.u8(frame.flags);
    writer.bytes(*body);
    return kMediaFileNoErr;
}

std::vector<uint8_t> unsynchronise(std::span<const uint8_t> bytes)
{
    std::vector<uint8_t> out;
    out.reserve(bytes.size() + bytes.size() / 64);
    for (size_t i = 0; i < bytes.size(); ++i) {
        out.push_back(bytes[i]);
        if (bytes[i] == 0xFF && (i + 1 == bytes.size() || bytes[i + 1] == 0x00 || (bytes[i + 1] & 0xE0) == 0xE0))
            out.push_back(0x00);
    }
    return out;
}

// The size of the ID3v2 tag at the start of the file, from its header; 0 when there is none.
uint64_t tagSizeInFile(const util::File &file)
{
    uint8_t header[kHeaderSize];
    if (file.readAt(0, header) || std::memcmp(header, "ID3", 3) != 0)
        return 0;
    const uint8_t *p = header + 6;
    const uint32_t size = ((p[0] | p[1] | p[2] | p[3]) & 0x80) ? util::getBigEndian(p, 4)
                                                              : uint32_t(p[0]) << 21 | uint32_t(p[1]) << 14 | uint32_t(p[2]) << 7 | p[3];
    return uint64_t(size) + kHeaderSize;
}

bool endsWithV1Tag(const util::File &file, uint64_t fileSize, uint64_t notBefore)
{
    if (fileSize < 128 || fileSize - 128 < notBefore)
        return false;
    uint8_t magic[3];
    return file.readAt(fileSize - 128, magic) == kMediaFileNoErr && std::memcmp(magic, "TAG", 3) == 0;
}

void removeBlankAlbumArtist(ID3Tag &tag)
{
    std::string text;
    if (ID3CopyFrameText(tag, kTPE2, &text) == kMediaFileNoErr && isBlank(text))
        ID3RemoveFrame(tag, kTPE2);
}

} // namespace

int resolveWriteVersion(const ID3Tag &tag, MediaFileFlags *options)
{
    MediaFileFlags o = *options;
    if (o & kMediaFileFlagKeepTagVersion) {
        if (tag.majorVersion == 4)
            o |= kMediaFileFlagID3v24;
        else if (tag.majorVersion == 3)
            o |= kMediaFileFlagID3v23;
        else if (tag.majorVersion == 2)
            o |= kMediaFileFlagID3v22;
        if (tag.v1Version == 0x11)
            o |= kMediaFileFlagID3v11;
        else if (tag.v1Version == 0x10)
            o |= kMediaFileFlagID3v1;
    }
    *options = o;
    if (o & kMediaFileFlagID3v24)
        return 4;
    if (o & kMediaFileFlagID3v23)
        return 3;
    if (o & kMediaFileFlagID3v22)
        return 2;
    return 0;
}

// A tag that outgrows its room: padding for the next edit, the length in whole 512-byte units,
// and where the old length was in such units too, a growth in whole blocks, so that the audio
// stays at its place in a block and the new file can share it.
uint64_t grownLength(uint64_t length, uint64_t room, uint64_t fileSize)
{
    length = (length + util::roomForNextEdit(fileSize) + kPadUnit - 1) / kPadUnit * kPadUnit;
    if (room % kPadUnit != 0)
        return length;
    return room + (length - room + util::kShareableShift - 1) / util::kShareableShift * util::kShareableShift;
}

MediaFileStatus renderV2(ID3Tag &tag, int version, MediaFileFlags options, uint64_t minimumLength, uint64_t fileSize,
                         std::vector<uint8_t> *out)
{
    std::vector<uint8_t> frames;
    util::ByteWriter writer(frames);
    for (const ID3Frame &frame : tag.frames) {
        if (MediaFileStatus status = renderFrame(tag, frame, version, writer))
            return status;
    }
    // Two bits that 2.2 does not define survive into 2.2 tags, as they always have.
    const uint8_t flags = version == 2 ? (tag.tagFlags & 0x0C) : tag.tagFlags;
    if (flags & 0x80)
        frames = unsynchronise(frames);

    uint64_t length = kHeaderSize + frames.size();
    if ((ID3Options & kID3OptionPad) && !(options & kMediaFileFlagID3NoPadding)) {
        if (minimumLength >= length && minimumLength - length <= kMaxReusedPadding)
            length = minimumLength;
        else if (tag.rules->roomToGrow && fileSize > 0)
            length = grownLength(length, minimumLength, fileSize);
        else
            length = (length + kPadUnit - 1) / kPadUnit * kPadUnit;
    }
    if (length - kHeaderSize > kLargestSynchsafe)
        return kMediaFileErrParam;

    std::vector<uint8_t> bytes;
    bytes.reserve(length);
    util::ByteWriter header(bytes);
    header.text("ID3");
    header.u8(version);
    header.u8(0);
    header.u8(flags);
    header.synchsafe32(static_cast<uint32_t>(length - kHeaderSize));
    header.bytes(frames);
    header.zeros(length - bytes.size());
    tag.renderFourCharIDs = version >= 3;
    *out = std::move(bytes);
    return kMediaFileNoErr;
}

MediaFileStatus ID3WriteFile(const char *path, MediaFileFlags writeOptions, ID3Tag &tag)
{
    removeBlankAlbumArtist(tag);
    MediaFileFlags options = writeOptions;
    const int version = resolveWriteVersion(tag, &options);
    const bool writeV1 = options & (kMediaFileFlagID3v1 | kMediaFileFlagID3v11);
    const bool stripOther = options & kMediaFileFlagID3StripOther;

    std::vector<util::Replacement> edits;
    uint64_t oldTagSize = 0;
    uint64_t newTagSize = 0;
    {
        util::File file;
        if (util::File::openRead(path, &file))
            return kMediaFileErrCantOpen;
        uint64_t fileSize = 0;
        if (MediaFileStatus status = util::fileSize(file, &fileSize))
            return status;
        oldTagSize = tagSizeInFile(file);
        const bool touchV2 = version != 0 || (stripOther && oldTagSize > 0);
        if (touchV2 && oldTagSize > fileSize)
            return kMediaFileErrPastEnd; // the old tag runs past the end of the file
        if (version != 0) {
            std::vector<uint8_t> bytes;
            // The room of the tag already in the file is used when the new tag fits in it, so
            // that the audio stays where it is and the file is rewritten in place.
            const uint64_t room = oldTagSize >= kHeaderSize && oldTagSize - kHeaderSize <= kLargestSynchsafe ? oldTagSize : 0;
            if (MediaFileStatus status = renderV2(tag, version, options, room, fileSize, &bytes))
                return status;
            newTagSize = bytes.size();
            edits.push_back({0, oldTagSize, std::move(bytes)});
        } else if (touchV2) {
            edits.push_back({0, oldTagSize, {}});
        } else {
            newTagSize = oldTagSize;
        }
        const uint64_t v2End = touchV2 ? oldTagSize : 0;
        const bool hasV1 = endsWithV1Tag(file, fileSize, v2End);
        if (writeV1) {
            const std::array<uint8_t, 128> record = renderV1(tag, options);
            if (hasV1)
                edits.push_back({fileSize - 128, 128, {record.begin(), record.end()}});
            else
                edits.push_back({fileSize, 0, {record.begin(), record.end()}});
        } else if (stripOther && hasV1) {
            edits.push_back({fileSize - 128, 128, {}});
        }
    }
    if (edits.empty())
        return kMediaFileNoErr;
    if (MediaFileStatus status = util::saveReplacements(path, std::move(edits), writeOptions))
        return status;

    if (version != 0) {
        tag.majorVersion = static_cast<uint8_t>(version);
        tag.revision = 0;
    } else if (stripOther) {
        tag.majorVersion = 0;
    }
    tag.v2Size = tag.parsedTagEnd = newTagSize;
    if (writeV1) {
        int32_t track = 0;
        int32_t total = 0;
        const bool hasTrack = (options & kMediaFileFlagID3v11) && getNumberPair(tag, frameCode("TRCK"), &track, &total) == 0 &&
                              (track & 0xFF) != 0;
        tag.v1Version = hasTrack ? 0x11 : 0x10;
    } else if (stripOther) {
        tag.v1Version = 0;
    }
    return kMediaFileNoErr;
}

MediaFileStatus ID3RenderToBuffer(ID3Tag &tag, MediaFileFlags writeOptions, std::vector<uint8_t> *out, uint64_t minimumLength,
                                  uint64_t fileSize)
{
    try {
        removeBlankAlbumArtist(tag);
        MediaFileFlags options = writeOptions;
        const int version = resolveWriteVersion(tag, &options);
        std::vector<uint8_t> bytes;
        if (version != 0) {
            if (MediaFileStatus status = renderV2(tag, version, options, minimumLength, fileSize, &bytes))
                return status;
        }
        // A memory image carries its ID3v1 record behind the ID3v2 tag, where a parse of the
        // image looks for it.
        if (options & (kMediaFileFlagID3v1 | kMediaFileFlagID3v11)) {
            const std::array<uint8_t, 128> record = renderV1(tag, options);
            bytes.insert(bytes.end(), record.begin(), record.end());
        }
        *out = std::move(bytes);
        return kMediaFileNoErr;
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
}

} // namespace kestrabel::id3
