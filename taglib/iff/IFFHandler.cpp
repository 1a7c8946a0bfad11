// The handler of AIFF, AIFF-C and WAVE files: the bext chunk answers the Broadcast Wave IDs, the
// "ID3 " chunk's tag answers everything else, exactly as an MP3 file's tag would.
#include "Bext.h"
#include "ChunkFile.h"
#include "IFFProperties.h"

#include "core/FormatHandler.h"
#include "id3/ID3Tag.h"

namespace kestrabel {

namespace {

// Version 2.2 without padding: what the chunk has always held, and no bytes wasted. The
// interop rules keep the version the chunk was read in instead (2.2 has no year, compilation or
// sort-order frames), and give a new chunk 2.3.
MediaFileFlags id3ChunkRenderOptions(const iff::IFFRules &rules, const id3::ID3Tag &tag)
{
    const MediaFileFlags padding = rules.id3Room ? 0 : kMediaFileFlagID3NoPadding;
    if (!rules.keepID3Version)
        return padding | kMediaFileFlagID3v22;
    switch (id3::ID3MajorVersion(tag)) {
    case 2:
        return padding | kMediaFileFlagID3v22;
    case 4:
        return padding | kMediaFileFlagID3v24;
    default:
        return padding | kMediaFileFlagID3v23;
    }
}

class IFFHandler final : public FormatHandler {
public:
    IFFHandler(iff::ScanResult scan, id3::ID3TagPtr tag, MediaFileFlags openFlags)
        : container_(scan.container), bext_(std::move(scan.bext)), bextRecord_(scan.bextRecord), id3_(std::move(tag)),
          id3Record_(scan.id3Record), openFlags_(openFlags), rules_(iff::iffRulesFor(openFlags)),
          chunksEnd_(rules_.tolerantEnd ? scan.chunksEnd : UINT64_MAX)
    {
    }

    MediaFileStatus update(const char *path, MediaFileFlags flags) override;

    MediaFileStatus getString(MediaFileDataID id, std::string *out) override
    {
        if (iff::isBextDataID(id))
            return bext_.empty() ? kMediaFileErrNotFound : iff::getBextField(bext_, id, out);
        return read(id, [&](id3::ID3Tag &tag) { return id3::ID3GetString(tag, id, out); });
    }
    MediaFileStatus setString(MediaFileDataID id, std::string_view text) override
    {
        if (iff::isBextDataID(id))
            return iff::setBextField(bext_, container_.isRIFF, id, text);
        return write(id, [&](id3::ID3Tag &tag) { return id3::ID3SetString(tag, id, text); });
    }
    MediaFileStatus getInteger(MediaFileDataID id, int32_t *out) override
    {
        return read(id, [&](id3::ID3Tag &tag) { return id3::ID3GetInteger(tag, id, out); });
    }
    MediaFileStatus setInteger(MediaFileDataID id, int32_t value) override
    {
        return write(id, [&](id3::ID3Tag &tag) { return id3::ID3SetInteger(tag, id, value); });
    }
    MediaFileStatus getData(MediaFileDataID id, std::vector<uint8_t> *out) override
    {
        return read(id, [&](id3::ID3Tag &tag) { return id3::ID3GetData(tag, id, out); });
    }
    MediaFileStatus setData(MediaFileDataID id, std::span<const uint8_t> bytes) override
    {
        return write(id, [&](id3::ID3Tag &tag) { return id3::ID3SetData(tag, id, bytes); });
    }

    MediaFileStatus getAudioProperties(const char *path, MediaFileAudioProperties *out) override
    {
        return iff::iffAudioProperties(path, out);
    }

    // A Broadcast Wave field has a fixed place in its chunk: emptied, since it cannot go (the
    // coding history keeps the line break every reader of the chunk expects).
    MediaFileStatus remove(MediaFileDataID id) override
    {
        if (iff::isBextDataID(id))
            return bext_.empty() ? kMediaFileNoErr : iff::setBextField(bext_, container_.isRIFF, id, {});
        if (!tagMayCarry(id))
            return kMediaFileErrUnsupported;
        return id3_ ? id3::ID3RemoveValue(*id3_, id) : kMediaFileNoErr;
    }

private:
    // Name-only and path-derived IDs mean nothing to a tag: unsupported here as on every kind,
    // rather than the tag's "absent".
    static bool tagMayCarry(MediaFileDataID id)
    {
        const MediaFileDataIDInfo *info = MediaFileGetDataIDInfo(id);
        return info && info->valueType != '-' && info->valueType != 'P';
    }

    template <typename Access> MediaFileStatus read(MediaFileDataID id, Access access)
    {
        if (!tagMayCarry(id))
            return kMediaFileErrUnsupported;
        return id3_ ? access(*id3_) : kMediaFileErrNotFound;
    }

    // The first successful write creates the tag; a refused one leaves the file without it.
    template <typename Access> MediaFileStatus write(MediaFileDataID id, Access access)
    {
        if (!tagMayCarry(id))
            return kMediaFileErrUnsupported;
        if (id3_)
            return access(*id3_);
        id3::ID3TagPtr fresh;
        if (MediaFileStatus status = id3::ID3NewTag(&fresh, openFlags_))
            return status;
        if (MediaFileStatus status = access(*fresh))
            return status;
        id3_ = std::move(fresh);
        return kMediaFileNoErr;
    }

    iff::Container container_;
    std::vector<uint8_t> bext_;
    iff::ChunkRecord bextRecord_;
    id3::ID3TagPtr id3_;
    iff::ChunkRecord id3Record_;
    MediaFileFlags openFlags_;
    const iff::IFFRules &rules_;
    uint64_t chunksEnd_;
};

MediaFileStatus IFFHandler::update(const char *path, MediaFileFlags flags)
{
    iff::Container container = container_;
    iff::ChunkRecord bextRecord = bextRecord_;
    iff::ChunkRecord id3Record = id3Record_;
    std::vector<uint8_t> rendered;
    std::vector<iff::ChunkWrite> writes;
    if (!bext_.empty())
        writes.push_back({&bextRecord, bext_});
    if (!id3_ && writes.empty())
        return kMediaFileNoErr;

    uint64_t fileSize = 0;
    {
        util::File file;
        if (util::File::openRead(path, &file) != kMediaFileNoErr)
            return kMediaFileErrCantOpen;
        if (MediaFileStatus status = file.size(&fileSize))
            return status;
    }
    if (id3_) {
        // With padding, the tag fills the chunk it has when it fits there, so that the chunk is
        // written in place.
        const uint64_t room = id3Record.inFile() ? id3Record.size : 0;
        if (MediaFileStatus status = id3::ID3RenderToBuffer(*id3_, id3ChunkRenderOptions(rules_, *id3_), &rendered, room, fileSize))
            return status;
        // An empty chunk would make the file unreadable to us the next time.
        if (rendered.empty())
            return kMediaFileErrTooSmall;
        writes.push_back({&id3Record, rendered});
    }
    std::vector<util::Replacement> edits;
    if (MediaFileStatus status = iff::planChunkWrites(container, writes, fileSize, &edits, chunksEnd_))
        return status;
    if (MediaFileStatus status = util::saveReplacements(path, std::move(edits), flags))
        return status;
    container_ = container;
    bextRecord_ = bextRecord;
    id3Record_ = id3Record;
    if (chunksEnd_ != UINT64_MAX) {
        util::File file;
        iff::ScanResult scan;
        if (util::File::openRead(path, &file) == kMediaFileNoErr && iff::scanChunkFile(file, rules_, &scan) == kMediaFileNoErr)
            chunksEnd_ = scan.chunksEnd;
    }
    return kMediaFileNoErr;
}

} // namespace

MediaFileStatus IFFOpen(const char *path, MediaFileFlags flags, HandlerPtr *out)
{
    iff::ScanResult scan;
    {
        util::File file;
        if (util::File::openRead(path, &file) != kMediaFileNoErr)
            return kMediaFileErrCantOpen;
        if (MediaFileStatus status = iff::scanChunkFile(file, iff::iffRulesFor(flags), &scan))
            return status;
    }
    id3::ID3TagPtr tag;
    if (scan.id3Record.inFile()) {
        if (MediaFileStatus status = id3::ID3ParseBuffer(scan.id3, flags & kMediaFileFlagInterop, &tag))
            return status;
        scan.id3 = {};
    }
    *out = std::make_unique<IFFHandler>(std::move(scan), std::move(tag), flags);
    return kMediaFileNoErr;
}

} // namespace kestrabel
