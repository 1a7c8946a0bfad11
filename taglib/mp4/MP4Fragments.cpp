#include "MP4Fragments.h"

#include "util/File.h"

namespace kestrabel::mp4 {

namespace {

constexpr uint32_t kTraf = fourCC("traf");
constexpr uint32_t kTfhd = fourCC("tfhd");
constexpr uint32_t kTfra = fourCC("tfra");
constexpr uint32_t kBaseDataOffsetPresent = 0x000001;

struct Box {
    uint32_t type;
    size_t payload; // offset of the payload in the buffer
    size_t end;
};

// The boxes directly inside bytes[begin, end), or false when one does not fit.
bool children(std::span<const uint8_t> bytes, size_t begin, size_t end, std::vector<Box> *out)
{
    while (begin < end) {
        if (end - begin < 8)
            return false;
        uint64_t size = util::getBigEndian(bytes.data() + begin, 4);
        const uint32_t type = util::getBigEndian(bytes.data() + begin + 4, 4);
        size_t header = 8;
        if (size == 1) {
            if (end - begin < 16)
                return false;
            size = uint64_t(util::getBigEndian(bytes.data() + begin + 8, 4)) << 32 | util::getBigEndian(bytes.data() + begin + 12, 4);
            header = 16;
        } else if (size == 0) {
            size = end - begin;
        }
        if (size < header || size > end - begin)
            return false;
        out->push_back({type, begin + header, begin + static_cast<size_t>(size)});
        begin += static_cast<size_t>(size);
    }
    return true;
}

uint64_t getUnsigned(const uint8_t *p, size_t width)
{
    return width == 8 ? uint64_t(util::getBigEndian(p, 4)) << 32 | util::getBigEndian(p + 4, 4) : util::getBigEndian(p, 4);
}

void putUnsigned(uint8_t *p, size_t width, uint64_t value)
{
    if (width == 8) {
        util::putBigEndian(p, 4, static_cast<uint32_t>(value >> 32));
        util::putBigEndian(p + 4, 4, static_cast<uint32_t>(value));
    } else {
        util::putBigEndian(p, 4, static_cast<uint32_t>(value));
    }
}

// Moves one stored offset when it points past moov's start; false when it would not fit.
bool correct(uint8_t *p, size_t width, uint64_t moovOffset, int64_t difference)
{
    const uint64_t value = getUnsigned(p, width);
    if (value <= moovOffset)
        return true;
    const int64_t moved = static_cast<int64_t>(value) + difference;
    if (moved < 0 || (width == 4 && moved > int64_t(UINT32_MAX)))
        return false;
    putUnsigned(p, width, static_cast<uint64_t>(moved));
    return true;
}

bool correctMoof(std::vector<uint8_t> &bytes, size_t begin, uint64_t moovOffset, int64_t difference)
{
    std::vector<Box> boxes;
    if (!children(bytes, begin, bytes.size(), &boxes))
        return false;
    for (const Box &traf : boxes) {
        if (traf.type != kTraf)
            continue;
        std::vector<Box> inner;
        if (!children(bytes, traf.payload, traf.end, &inner))
            return false;
        for (const Box &box : inner) {
            if (box.type != kTfhd)
                continue;
            if (box.end - box.payload < 8)
                return false;
            const uint32_t flags = util::getBigEndian(bytes.data() + box.payload + 1, 3);
            if (!(flags & kBaseDataOffsetPresent))
                continue; // relative to the moof, which moves with its data
            if (box.end - box.payload < 16 || !correct(bytes.data() + box.payload + 8, 8, moovOffset, difference))
                return false;
        }
    }
    return true;
}

bool correctMfra(std::vector<uint8_t> &bytes, size_t begin, uint64_t moovOffset, int64_t difference)
{
    std::vector<Box> boxes;
    if (!children(bytes, begin, bytes.size(), &boxes))
        return false;
    for (const Box &box : boxes) {
        if (box.type != kTfra)
            continue;
        if (box.end - box.payload < 16)
            return false;
        const uint8_t *p = bytes.data() + box.payload;
        const size_t width = p[0] == 1 ? 8 : 4;
        const uint32_t lengths = util::getBigEndian(p + 8, 4);
        const size_t entryLength = 2 * width + ((lengths >> 4) & 3) + ((lengths >> 2) & 3) + (lengths & 3) + 3;
        const uint64_t count = util::getBigEndian(p + 12, 4);
        if (count > (box.end - box.payload - 16) / entryLength)
            return false;
        for (uint64_t i = 0; i < count; ++i) {
            uint8_t *entry = bytes.data() + box.payload + 16 + i * entryLength;
            if (!correct(entry + width, width, moovOffset, difference))
                return false;
        }
    }
    return true;
}

} // namespace

MediaFileStatus planFragmentCorrections(const MP4File &file, const std::string &path, int64_t difference,
                                        std::vector<util::Replacement> *edits)
{
    const uint64_t moovOffset = file.moov->fileOffset;
    util::File stream;
    if (util::File::openRead(path, &stream) != kMediaFileNoErr)
        return kMediaFileErrCantOpen;
    std::vector<util::Replacement> planned;
    for (const MP4Atom *atom : file.fragmentAtoms) {
        // A segment index counts from its own end: behind moov it moves with what it indexes.
        if (atom->type == kSidx) {
            if (atom->fileOffset < moovOffset)
                return kMediaFileErrMP4FragmentOffsets;
            continue;
        }
        if (atom->totalSize > kMaxAtomSize)
            return kMediaFileErrMP4FragmentOffsets;
        std::vector<uint8_t> bytes(static_cast<size_t>(atom->totalSize));
        if (MediaFileStatus status = stream.readAt(atom->fileOffset, bytes))
            return status;
        const std::vector<uint8_t> original = bytes;
        const bool corrected = atom->type == kMoof ? correctMoof(bytes, atom->headerLength, moovOffset, difference)
                                                   : correctMfra(bytes, atom->headerLength, moovOffset, difference);
        if (!corrected)
            return kMediaFileErrMP4FragmentOffsets;
        if (bytes != original)
            planned.push_back({atom->fileOffset, atom->totalSize, std::move(bytes)});
    }
    edits->insert(edits->end(), std::make_move_iterator(planned.begin()), std::make_move_iterator(planned.end()));
    return kMediaFileNoErr;
}

} // namespace kestrabel::mp4
