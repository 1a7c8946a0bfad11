#include "ChunkFile.h"

namespace kestrabel::iff {

namespace {

// bext's fixed part is 602 bytes; anything under 604 is refused on purpose, so that every
// chunk we accept has room for at least an empty coding history line.
constexpr uint32_t kMinimumBextSize = 604;

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

MediaFileStatus scanChunkFile(const util::File &file, ScanResult *out)
{
    ScanResult result;
    if (MediaFileStatus status = file.size(&result.fileSize))
        return status;
    if (MediaFileStatus status = readContainer(file, result.fileSize, &result.container))
        return status;
    // The container size is not consulted: the chunks run to the end of the file.
    for (uint64_t offset = kContainerHeaderSize; offset < result.fileSize;) {
        if (result.fileSize - offset < kChunkHeaderSize)
            return kMediaFileErrShortHeader;
        uint8_t header[kChunkHeaderSize];
        if (MediaFileStatus status = file.readAt(offset, header))
            return status == kMediaFileErrShortRead ? kMediaFileErrShortHeader : status;
        uint32_t id = util::getBigEndian(header, 4);
        uint32_t size = result.container.readSize(header + 4);
        uint64_t next = offset + kChunkHeaderSize + padded(size);
        if (next > result.fileSize)
            return kMediaFileErrPastEnd;
        if (id == kBextID) {
            if (result.bextRecord.inFile())
                return kMediaFileErrDuplicate;
            if (size < kMinimumBextSize)
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
            result.id3Record.headerOffset = offset;
            result.id3Record.size = size;
        }
        offset = next;
    }
    *out = std::move(result);
    return kMediaFileNoErr;
}

} // namespace kestrabel::iff
