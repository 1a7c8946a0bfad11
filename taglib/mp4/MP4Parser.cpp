// Reading the atom tree. Only the containers on the way to the chunk-offset tables and to the
// ilst items are descended into, and each only where it stands in a well-formed file; anything
// else inside moov is kept whole as bytes, anything outside moov is skipped.
#include "MP4File.h"

#include "util/File.h"

#include <algorithm>

namespace kestrabel::mp4 {

namespace {

constexpr size_t kMinHeaderLength = 8;

// Where each descended-into type must stand; a type found anywhere else is an ordinary atom.
struct Container {
    uint32_t type;
    std::string_view ancestry;
};
constexpr Container kContainers[] = {
    {kTrak, ".moov."},
    {kUdta, ".moov."},
    {kMdia, ".trak.moov."},
    {kMinf, ".mdia.trak.moov."},
    {kStbl, ".minf.mdia.trak.moov."},
};
constexpr std::string_view kMetaAncestry = ".udta.moov.";
constexpr std::string_view kIlstAncestry = ".meta.udta.moov.";
constexpr std::string_view kItemAncestry = ".ilst.meta.udta.moov.";
constexpr std::string_view kDataAncestry = "..ilst.meta.udta.moov.";
constexpr std::string_view kStcoAncestry = ".stbl.minf.mdia.trak.moov.";

bool standsAt(const MP4Atom &atom, std::string_view ancestry) { return checkAncestry(atom, ancestry) == kMediaFileNoErr; }

class Parser {
public:
    Parser(const util::File &file, MP4File &mp4) : file_(file, mp4.fileSize), mp4_(mp4) {}

    MediaFileStatus parseLevel(MP4Atom *parent)
    {
        AtomList &list = parent ? parent->children : mp4_.topLevel;
        uint64_t left = parent ? parent->payloadSize - parent->dataLength() : 0;
        for (;;) {
            if (!parent && position_ == mp4_.fileSize)
                return kMediaFileNoErr;
            if (parent && left == 0)
                return kMediaFileNoErr;
            if (parent && left < kMinHeaderLength)
                return kMediaFileErrShortHeader;
            auto atom = std::make_unique<MP4Atom>();
            atom->parent = parent;
            atom->fileOffset = position_;
            if (MediaFileStatus status = readHeader(*atom))
                return status;
            // Checked before the payload is read, so that no buffer is sized by a child that
            // does not fit.
            if (parent && atom->totalSize > left)
                return kMediaFileErrPastEnd;
            MP4Atom &added = *list.emplace_back(std::move(atom));
            if (MediaFileStatus status = parseAtom(added))
                return status;
            if (parent)
                left -= added.totalSize;
        }
    }

private:
    // Size, then the 64-bit size when the size is 1, then the type: this reader takes the
    // large size before the type on purpose.
    MediaFileStatus readHeader(MP4Atom &atom)
    {
        std::vector<uint8_t> bytes;
        if (MediaFileStatus status = file_.readUpTo(position_, kMaxHeaderLength, &bytes))
            return status;
        util::ByteReader reader(bytes);
        uint32_t size32 = 0;
        uint64_t total = 0;
        if (!reader.be32(size32))
            return kMediaFileErrShortRead;
        total = size32;
        const bool afterType = mp4_.rules->largeSizeAfterType;
        if (size32 == 1 && !afterType && !reader.be64(total))
            return kMediaFileErrShortRead;
        if (!reader.be32(atom.type))
            return kMediaFileErrShortRead;
        if (size32 == 1 && afterType && !reader.be64(total))
            return kMediaFileErrShortRead;
        if (atom.type == kUuid && !reader.skip(16))
            return kMediaFileErrShortRead;
        atom.headerLength = reader.position();
        std::copy_n(bytes.begin(), atom.headerLength, atom.header.begin());
        if (size32 == 0)
            total = mp4_.fileSize - atom.fileOffset;
        if (total > kMaxAtomSize)
            return kMediaFileErrTell;
        if (total < atom.headerLength)
            return kMediaFileErrShortHeader;
        atom.totalSize = total;
        atom.payloadSize = total - atom.headerLength;
        position_ += atom.headerLength;
        return kMediaFileNoErr;
    }

    MediaFileStatus parseAtom(MP4Atom &atom)
    {
        if (atom.type == kMoov && !atom.parent) {
            insideMoov_ = true;
            MediaFileStatus status = parseLevel(&atom);
            insideMoov_ = false;
            mp4_.moov = &atom;
            return status;
        }
        for (const Container &container : kContainers)
            if (atom.type == container.type && standsAt(atom, container.ancestry))
                return parseLevel(&atom);
        if (atom.type == kMeta && standsAt(atom, kMetaAncestry))
            return parseMeta(atom);
        if (atom.type == kIlst && standsAt(atom, kIlstAncestry)) {
            mp4_.ilst = &atom;
            return parseLevel(&atom);
        }
        int slot = itemSlotForType(atom.type);
        if (slot >= 0 && standsAt(atom, kItemAncestry)) {
            currentItemSlot_ = slot;
            MediaFileStatus status = parseLevel(&atom);
            currentItemSlot_ = -1;
            return status;
        }
        if (atom.type == kData && standsAt(atom, kDataAncestry))
            return parseData(atom);
        if (atom.type == kStco && standsAt(atom, kStcoAncestry))
            mp4_.chunkOffsetTables.push_back(&atom);
        if (atom.type == kCo64 && mp4_.rules->fixCo64 && standsAt(atom, kStcoAncestry))
            mp4_.chunkOffsetTables64.push_back(&atom);
        if ((atom.type == kMoof || atom.type == kMfra || atom.type == kSidx) && !atom.parent && mp4_.rules->checkFragments)
            mp4_.fragmentAtoms.push_back(&atom);
        return readPayload(atom);
    }

    MediaFileStatus parseMeta(MP4Atom &atom)
    {
        if (atom.payloadSize < kMetaPrefixLength)
            return kMediaFileErrShortHeader;
        atom.data.resize(kMetaPrefixLength);
        if (MediaFileStatus status = file_.readAt(position_, atom.data))
            return status;
        position_ += kMetaPrefixLength;
        if (util::getBigEndian(atom.data.data(), 4) != 0)
            return kMediaFileErrUnsupported;
        return parseLevel(&atom);
    }

    MediaFileStatus parseData(MP4Atom &atom)
    {
        if (atom.payloadSize < kDataPrefixLength)
            return kMediaFileErrShortHeader;
        if (MediaFileStatus status = readPayload(atom))
            return status;
        if (atom.data[0] != 0 || util::getBigEndian(atom.data.data() + 4, 4) != 0)
            return kMediaFileErrUnsupported;
        if (currentItemSlot_ >= 0) {
            MP4Atom *&slot = mp4_.itemSlots[static_cast<size_t>(currentItemSlot_)];
            if (!slot || !mp4_.rules->firstDataWins)
                slot = &atom;
        }
        return kMediaFileNoErr;
    }

    // Inside moov the payload is kept; outside it is only stepped over.
    MediaFileStatus readPayload(MP4Atom &atom)
    {
        uint64_t end = atom.fileOffset + atom.totalSize;
        if (end > position_ && insideMoov_) {
            if (end > mp4_.fileSize)
                return kMediaFileErrShortRead;
            atom.data.resize(static_cast<size_t>(atom.payloadSize));
            if (MediaFileStatus status = file_.readAt(position_, atom.data))
                return status;
        }
        position_ = end;
        return kMediaFileNoErr;
    }

    util::CachedReader file_;
    MP4File &mp4_;
    uint64_t position_ = 0;
    bool insideMoov_ = false;
    int currentItemSlot_ = -1;
};

} // namespace

MediaFileStatus MP4FileOpen(const std::string &path, std::unique_ptr<MP4File> *out, MediaFileFlags flags)
{
    util::File file;
    if (util::File::openRead(path, &file) != kMediaFileNoErr)
        return kMediaFileErrCantOpen;
    auto mp4 = std::make_unique<MP4File>();
    mp4->rules = &mp4RulesFor(flags);
    if (MediaFileStatus status = util::fileSize(file, &mp4->fileSize))
        return status;
    if (mp4->fileSize > kMaxAtomSize)
        return kMediaFileErrShortHeader;
    Parser parser(file, *mp4);
    if (MediaFileStatus status = parser.parseLevel(nullptr))
        return status;
    *out = std::move(mp4);
    return kMediaFileNoErr;
}

} // namespace kestrabel::mp4
