#include "ChunkFile.h"

#include <algorithm>

namespace kestrabel::iff {

namespace {

void appendChunk(const Container &container, uint32_t id, std::span<const uint8_t> data, std::vector<uint8_t> *out)
{
    util::ByteWriter writer(*out);
    writer.be32(id);
    size_t sizeAt = writer.position();
    writer.zeros(4);
    container.writeSize(out->data() + sizeAt, static_cast<uint32_t>(data.size()));
    writer.bytes(data);
    if (data.size() & 1)
        writer.u8(0);
}

} // namespace

MediaFileStatus planChunkWrites(Container &container, std::span<const ChunkWrite> writes, uint64_t fileSize,
                                std::vector<util::Replacement> *edits, uint64_t chunksEnd)
{
    // Only the tolerant rules hand over an end other than the file's: one byte past it when the
    // last chunk lacks its pad byte (which a save puts back), before it when stray bytes follow.
    const uint64_t end = chunksEnd == UINT64_MAX ? fileSize : chunksEnd;
    const bool padMissing = end == fileSize + 1;
    for (const ChunkWrite &write : writes) {
        if (write.data.size() > UINT32_MAX - 1)
            return kMediaFileErrWrite;
        if (write.record->inFile() && write.record->headerOffset + kChunkHeaderSize + padded(write.record->size) > std::max(fileSize, end))
            return kMediaFileErrPastEnd;
    }

    std::vector<util::Replacement> planned;
    // The missing pad byte comes back with the last chunk when that is rewritten, else in front
    // of the first appended one.
    bool lastRewritten = false;
    for (const ChunkWrite &write : writes)
        lastRewritten = lastRewritten || (write.record->inFile() &&
                                          write.record->headerOffset + kChunkHeaderSize + padded(write.record->size) == end);
    util::Replacement appended{std::min(end, fileSize), 0, {}};
    if (padMissing && !lastRewritten)
        appended.bytes.push_back(0);
    const size_t appendedPad = appended.bytes.size();
    // Growth of the file in front of each original offset, for moving the records afterwards.
    struct Shift {
        uint64_t at;
        int64_t by;
    };
    std::vector<Shift> shifts;
    int64_t containerGrowth = 0;
    for (const ChunkWrite &write : writes) {
        const ChunkRecord &record = *write.record;
        int64_t newPadded = static_cast<int64_t>(padded(write.data.size()));
        if (record.inFile()) {
            int64_t oldPadded = static_cast<int64_t>(padded(record.size));
            util::Replacement edit{record.headerOffset,
                                   std::min(kChunkHeaderSize + static_cast<uint64_t>(oldPadded), fileSize - record.headerOffset), {}};
            appendChunk(container, record.id, write.data, &edit.bytes);
            planned.push_back(std::move(edit));
            shifts.push_back({record.headerOffset, newPadded - oldPadded});
            containerGrowth += newPadded - oldPadded;
        } else {
            appendChunk(container, record.id, write.data, &appended.bytes);
            containerGrowth += newPadded + static_cast<int64_t>(kChunkHeaderSize);
        }
    }

    // A size that would wrap (streaming writers leave 0xFFFFFFFF) stays at the largest value,
    // which readers take as "to the end of the file".
    const bool padFilled = padMissing && (lastRewritten || appended.bytes.size() > appendedPad);
    if (padFilled)
        containerGrowth += 1;
    int64_t grown = static_cast<int64_t>(container.size) + containerGrowth;
    uint32_t newContainerSize = static_cast<uint32_t>(std::clamp<int64_t>(grown, 0, UINT32_MAX));
    if (newContainerSize != container.size) {
        util::Replacement edit{4, 4, std::vector<uint8_t>(4)};
        container.writeSize(edit.bytes.data(), newContainerSize);
        planned.push_back(std::move(edit));
    }

    // Appended chunks follow each other at the new end of the file, in the order given.
    int64_t inFileGrowth = 0;
    for (const Shift &shift : shifts)
        inFileGrowth += shift.by;
    uint64_t appendAt = static_cast<uint64_t>(static_cast<int64_t>(end) + inFileGrowth);
    for (const ChunkWrite &write : writes) {
        ChunkRecord &record = *write.record;
        if (record.inFile()) {
            int64_t before = 0;
            for (const Shift &shift : shifts)
                if (shift.at < record.headerOffset)
                    before += shift.by;
            record.headerOffset = static_cast<uint64_t>(static_cast<int64_t>(record.headerOffset) + before);
        } else {
            record.headerOffset = appendAt;
            appendAt += kChunkHeaderSize + padded(write.data.size());
        }
        record.size = static_cast<uint32_t>(write.data.size());
    }

    if (appended.bytes.size() > appendedPad)
        planned.push_back(std::move(appended));
    container.size = newContainerSize;
    edits->insert(edits->end(), std::make_move_iterator(planned.begin()), std::make_move_iterator(planned.end()));
    return kMediaFileNoErr;
}

} // namespace kestrabel::iff
