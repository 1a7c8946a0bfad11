#include "ChunkFile.h"

namespace kestrabel::iff {

namespace {

struct AcceptedForm {
    uint32_t containerID;
    uint32_t formType;
    bool isRIFF;
};

constexpr AcceptedForm kAcceptedForms[] = {
    {kRIFF, kWAVE, true},
    {kFORM, kAIFF, false},
    {kFORM, kAIFC, false},
};

MediaFileStatus readContainer(const util::File &file, uint64_t fileSize, Container *out)
{
    if (fileSize < kContainerHeaderSize)
        return kMediaFileErrShortHeader;
    uint8_t header[kContainerHeaderSize];
    if (MediaFileStatus status = file.readAt(0, header))
        return status == kMediaFileErrShortRead ? kMediaFileErrShortHeader : status;
    uint32_t id = util::getBigEndian(header, 4);
    uint32_t formType = util::getBigEndian(header + 8, 4);
    for (const AcceptedForm &form : kAcceptedForms) {
        if (form.containerID == id && form.formType == formType) {
            out->id = id;
            out->formType = formType;
            out->isRIFF = form.isRIFF;
            out->size = out->readSize(header + 4);
            return kMediaFileNoErr;
        }
    }
    return kMediaFileErrUnsupported;
}

MediaFileStatus readChunkData(const util::File &file, uint64_t headerOffset, uint32_t size, std::vector<uint8_t> *out)
{
    std::vector<uint8_t> data(size);
    if (MediaFileStatus status = file.readAt(headerOffset + kChunkHeaderSize, data))
        return status;
    *out = std::move(data);
    return kMediaFileNoErr;
}

} // namespace

MediaFileStatus scanChunkFile(const util::File &file, const IFFRules &rules, ScanResult *out)
{
    ScanResult result;
    if (MediaFileStatus status = file.size(&result.fileSize))
        return status;
    if (MediaFileStatus status = readContainer(file, result.fileSize, &result.container))
        return status;
    // The container size is not consulted: the chunks run to the end of the file.
    uint64_t offset = kContainerHeaderSize;
    while (offset < result.fileSize) {
        if (result.fileSize - offset < kChunkHeaderSize) {
            if (rules.tolerantEnd)
                break;
            return kMediaFileErrShortHeader;
        }
        uint8_t header[kChunkHeaderSize];
        if (MediaFileStatus status = file.readAt(offset, header))
            return status == kMediaFileErrShortRead ? kMediaFileErrShortHeader : status;
        uint32_t id = util::getBigEndian(header, 4);
        uint32_t size = result.container.readSize(header + 4);
        uint64_t next = offset + kChunkHeaderSize + padded(size);
        if (next > result.fileSize) {
            // A data part that ends exactly at the end of the file only lacks its pad byte.
            const bool padMissing = next == result.fileSize + 1;
            // Bytes past the end the container declares are not a chunk.
            const bool stray = offset >= kChunkHeaderSize + uint64_t(result.container.size);
            if (!rules.tolerantEnd || !(padMissing || stray))
                return kMediaFileErrPastEnd;
            if (stray)
                break;
        }
        if (rules.lowercaseID3Chunk && id == kLowercaseID3ID)
            id = kID3ID;
        if (id == kBextID) {
            if (result.bextRecord.inFile())
                return kMediaFileErrDuplicate;
            if (size < rules.minimumBextSize)
                return kMediaFileErrTooSmall;
            if (MediaFileStatus status = readChunkData(file, offset, size, &result.bext))
                return status;
            result.bextRecord.headerOffset = offset;
            result.bextRecord.size = size;
        } else if (id == kID3ID) {
            if (result.id3Record.inFile())
                return kMediaFileErrDuplicate;
            if (size == 0)
                return kMediaFileErrTooSmall;
            if (MediaFileStatus status = readChunkData(file, offset, size, &result.id3))
                return status;
            result.id3Record.id = util::getBigEndian(header, 4);
            result.id3Record.headerOffset = offset;
            result.id3Record.size = size;
        }
        offset = next;
    }
    result.chunksEnd = std::min(offset, result.fileSize + 1);
    *out = std::move(result);
    return kMediaFileNoErr;
}

} // namespace kestrabel::iff
