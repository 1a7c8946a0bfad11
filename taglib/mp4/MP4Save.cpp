// Writing moov back. The new moov replaces the old one at its own offset; when its size
// changes and no free atom after ilst can take up the difference, everything after it moves
// and the chunk offsets that point past moov's start are corrected to match.
#include "MP4File.h"

#include "MP4Fragments.h"

#include "util/Saver.h"

#include <algorithm>

namespace kestrabel::mp4 {

namespace {

// Where an atom lands in the new moov, kept so that a successful save can bring the tree's
// offsets and sizes up to date (a second save then compares against the file as it now is).
struct Placed {
    MP4Atom *atom;
    uint64_t offset; // from moov's first byte
    uint64_t size;
};

// The classic rules put the 32-bit size into the first four bytes of every header. A 64-bit
// header as the format defines it (size 1, type, large size) keeps its 1 and gets the large size.
void putSize(uint8_t *header, uint64_t headerLength, uint64_t size, const MP4Rules &rules)
{
    if (rules.largeSizeAfterType && headerLength >= 16 && util::getBigEndian(header, 4) == 1) {
        util::putBigEndian(header + 8, 4, static_cast<uint32_t>(size >> 32));
        util::putBigEndian(header + 12, 4, static_cast<uint32_t>(size));
        return;
    }
    util::putBigEndian(header, 4, static_cast<uint32_t>(size));
}

// Depth first: header (with its first four bytes set to the new 32-bit size), the atom's own
// bytes, its children. A 64-bit header keeps its large size as read.
MediaFileStatus render(MP4Atom &atom, const MP4Rules &rules, std::vector<uint8_t> &out, std::vector<Placed> &placed)
{
    size_t start = out.size();
    out.insert(out.end(), atom.header.begin(), atom.header.begin() + static_cast<ptrdiff_t>(atom.headerLength));
    out.insert(out.end(), atom.data.begin(), atom.data.end());
    for (auto &child : atom.children)
        if (MediaFileStatus status = render(*child, rules, out, placed))
            return status;
    uint64_t size = out.size() - start;
    if (size > kMaxAtomSize)
        return kMediaFileErrTell;
    putSize(out.data() + start, atom.headerLength, size, rules);
    placed.push_back({&atom, start, size});
    return kMediaFileNoErr;
}

// The atom that directly follows ilst inside meta, when it is a free atom.
MP4Atom *freeAfterIlst(const MP4File &file)
{
    if (!file.ilst || !file.ilst->parent)
        return nullptr;
    auto &siblings = file.ilst->parent->children;
    for (size_t i = 0; i + 1 < siblings.size(); ++i)
        if (siblings[i].get() == file.ilst)
            return siblings[i + 1]->type == kFree ? siblings[i + 1].get() : nullptr;
    return nullptr;
}

// Lets the free atom's payload take up the change in moov's size. Only growth that fits in
// the payload is absorbed; shrinkage always is.
bool absorbInFree(MP4Atom &free, int64_t difference)
{
    if (difference > 0) {
        if (free.dataLength() < static_cast<uint64_t>(difference))
            return false;
        free.data.resize(free.data.size() - static_cast<size_t>(difference));
        return true;
    }
    free.data.resize(free.data.size() + static_cast<size_t>(-difference), 0);
    return true;
}

MediaFileStatus checkChunkOffsetTables(const MP4File &file)
{
    for (const auto &[tables, width] : {std::pair{&file.chunkOffsetTables, 4}, std::pair{&file.chunkOffsetTables64, 8}}) {
        for (const MP4Atom *table : *tables) {
            if (table->dataLength() < 8)
                return kMediaFileErrTooSmall;
            uint64_t count = util::getBigEndian(table->data.data() + 4, 4);
            if (table->dataLength() != 8 + width * count)
                return kMediaFileErrShortHeader;
        }
    }
    return kMediaFileNoErr;
}

void correctChunkOffsets64(MP4File &file, int64_t difference)
{
    const uint64_t moovOffset = file.moov->fileOffset;
    for (MP4Atom *table : file.chunkOffsetTables64) {
        for (size_t at = 8; at + 8 <= table->data.size(); at += 8) {
            uint8_t *entry = table->data.data() + at;
            const uint64_t offset = uint64_t(util::getBigEndian(entry, 4)) << 32 | util::getBigEndian(entry + 4, 4);
            if (offset > moovOffset) {
                const uint64_t moved = static_cast<uint64_t>(static_cast<int64_t>(offset) + difference);
                util::putBigEndian(entry, 4, static_cast<uint32_t>(moved >> 32));
                util::putBigEndian(entry + 4, 4, static_cast<uint32_t>(moved));
            }
        }
    }
}

// Every offset past moov's start moves with the tail. co64 tables are not looked at: files
// large enough to need them are left as they are, deliberately.
void correctChunkOffsets(MP4File &file, int64_t difference)
{
    int64_t moovOffset = static_cast<int64_t>(file.moov->fileOffset);
    for (MP4Atom *table : file.chunkOffsetTables) {
        uint8_t *entry = table->data.data() + 8;
        uint8_t *end = table->data.data() + table->data.size();
        for (; entry < end; entry += 4) {
            int32_t offset = static_cast<int32_t>(util::getBigEndian(entry, 4));
            if (offset > moovOffset)
                util::putBigEndian(entry, 4, static_cast<uint32_t>(offset + difference));
        }
    }
}

// Puts the payloads the save changed back as they were when the save fails, and takes out an
// atom it added.
class Rollback {
public:
    void keep(MP4Atom *atom) { saved_.emplace_back(atom, atom->data); }
    void added(MP4Atom *atom) { added_ = atom; }
    void commit()
    {
        saved_.clear();
        added_ = nullptr;
    }
    ~Rollback()
    {
        for (auto &[atom, data] : saved_)
            atom->data = std::move(data);
        if (added_) {
            auto &siblings = added_->parent->children;
            siblings.erase(std::find_if(siblings.begin(), siblings.end(), [this](const auto &atom) { return atom.get() == added_; }));
        }
    }

private:
    std::vector<std::pair<MP4Atom *, std::vector<uint8_t>>> saved_;
    MP4Atom *added_ = nullptr;
};

// The free atom after ilst, made there when there is none, as other taggers place theirs.
MP4Atom *freeAtomForRoom(MP4File &file, Rollback &rollback)
{
    if (MP4Atom *free = freeAfterIlst(file)) {
        rollback.keep(free);
        return free;
    }
    auto &siblings = file.ilst->parent->children;
    auto ilst = std::find_if(siblings.begin(), siblings.end(), [&](const auto &atom) { return atom.get() == file.ilst; });
    std::unique_ptr<MP4Atom> made = MP4Atom::make(kFree);
    made->parent = file.ilst->parent;
    MP4Atom *free = made.get();
    siblings.insert(ilst + 1, std::move(made));
    rollback.added(free);
    return free;
}

void refreshPlacement(MP4File &file, const std::vector<Placed> &placed, int64_t difference)
{
    uint64_t moovOffset = file.moov->fileOffset;
    uint64_t oldEnd = moovOffset + file.moov->totalSize;
    for (auto &atom : file.topLevel)
        if (atom->fileOffset >= oldEnd)
            atom->fileOffset = static_cast<uint64_t>(static_cast<int64_t>(atom->fileOffset) + difference);
    for (const Placed &p : placed) {
        putSize(p.atom->header.data(), p.atom->headerLength, p.size, *file.rules);
        p.atom->fileOffset = moovOffset + p.offset;
        p.atom->totalSize = p.size;
        p.atom->payloadSize = p.size - p.atom->headerLength;
    }
    file.fileSize = static_cast<uint64_t>(static_cast<int64_t>(file.fileSize) + difference);
}

} // namespace

MediaFileStatus MP4FileSave(MP4File &file, const std::string &path, MediaFileFlags flags)
{
    if (!file.moov || !file.ilst)
        return kMediaFileErrNotFound;
    MP4Atom &moov = *file.moov;
    Rollback rollback;
    std::vector<uint8_t> bytes;
    std::vector<Placed> placed;
    auto renderMoov = [&] {
        bytes.clear();
        placed.clear();
        return render(moov, *file.rules, bytes, placed);
    };
    if (MediaFileStatus status = renderMoov())
        return status;
    int64_t difference = static_cast<int64_t>(bytes.size()) - static_cast<int64_t>(moov.totalSize);
    if (difference != 0) {
        if (MP4Atom *free = freeAfterIlst(file)) {
            rollback.keep(free);
            if (absorbInFree(*free, difference)) {
                if (MediaFileStatus status = renderMoov())
                    return status;
                difference = 0;
            }
        }
    }
    // Room for the next edit, so that it fits in place; where media data follows moov, enough
    // more that it moves by whole blocks and the new file can share them with the old one.
    if (difference > 0 && file.rules->roomToGrow) {
        MP4Atom *free = freeAtomForRoom(file, rollback);
        free->data.assign(static_cast<size_t>(util::roomForNextEdit(file.fileSize)), 0);
        if (MediaFileStatus status = renderMoov())
            return status;
        difference = static_cast<int64_t>(bytes.size()) - static_cast<int64_t>(moov.totalSize);
        const uint64_t partBlock = static_cast<uint64_t>(difference) % util::kShareableShift;
        if (moov.fileOffset + moov.totalSize < file.fileSize && partBlock != 0) {
            free->data.resize(free->data.size() + static_cast<size_t>(util::kShareableShift - partBlock), 0);
            if (MediaFileStatus status = renderMoov())
                return status;
            difference = static_cast<int64_t>(bytes.size()) - static_cast<int64_t>(moov.totalSize);
        }
    }
    if (difference != 0) {
        if (MediaFileStatus status = checkChunkOffsetTables(file))
            return status;
        for (MP4Atom *table : file.chunkOffsetTables)
            rollback.keep(table);
        for (MP4Atom *table : file.chunkOffsetTables64)
            rollback.keep(table);
        correctChunkOffsets(file, difference);
        correctChunkOffsets64(file, difference);
        if (MediaFileStatus status = renderMoov())
            return status;
    }
    std::vector<util::Replacement> edits;
    // The fragments' offsets move with the tail; what cannot be corrected refuses the save.
    if (difference != 0 && !file.fragmentAtoms.empty()) {
        if (MediaFileStatus status = planFragmentCorrections(file, path, difference, &edits))
            return status;
    }
    edits.push_back({moov.fileOffset, moov.totalSize, std::move(bytes)});
    if (MediaFileStatus status = util::saveReplacements(path, std::move(edits), flags))
        return status;
    rollback.commit();
    refreshPlacement(file, placed, difference);
    return kMediaFileNoErr;
}

} // namespace kestrabel::mp4
