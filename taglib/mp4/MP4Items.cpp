// The ilst items: reading their `data` atoms and creating or changing them in memory.
#include "MP4File.h"

#include "core/Genres.h"
#include "util/Pack.h"
#include "util/Text.h"

#include <algorithm>

namespace kestrabel::mp4 {

using util::PackArg;

namespace {

constexpr std::string_view kItemPathPrefix = ".moov.udta.meta.ilst.+";
// Line-ending modes: lone LF to CR LF on the way in, CR LF to LF on the way out.
constexpr int kLyricsWriteMode = 1;
constexpr int kLyricsReadMode = 3;

std::string itemPath(MP4ItemSlot slot)
{
    std::string path(kItemPathPrefix);
    return path + typeName(itemType(slot));
}

// The setter may create only the containers on the way to an item, the item and its data.
bool creatable(uint32_t type) { return type == kUdta || type == kMeta || type == kIlst || itemSlotForType(type) >= 0; }

// The handler iTunes writes first in meta; without it ffprobe (and so players built on FFmpeg)
// see no items at all.
void addMetadataHandler(MP4Atom &meta)
{
    static constexpr uint8_t kPayload[] = {0, 0, 0, 0, 0, 0, 0, 0, 'm', 'd', 'i', 'r', 'a', 'p', 'p', 'l', 0, 0, 0, 0, 0, 0, 0, 0, 0};
    auto hdlr = MP4Atom::make(kHdlr);
    hdlr->parent = &meta;
    hdlr->data.assign(std::begin(kPayload), std::end(kPayload));
    meta.children.push_back(std::move(hdlr));
}

// Walks a path such as ".moov.udta.meta.ilst.+©nam" from the top level, creating what is
// missing at the end of its parent. The "+" only marks the item component.
MediaFileStatus findOrCreate(MP4File &file, std::string_view path, MP4Atom **out)
{
    AtomList *list = &file.topLevel;
    MP4Atom *parent = nullptr;
    size_t i = 0;
    while (i < path.size()) {
        if (path[i] == '.' || path[i] == '+') {
            ++i;
            continue;
        }
        size_t end = std::min(path.find('.', i), path.size());
        std::string_view component = path.substr(i, end - i);
        if (component.size() != 4)
            return kMediaFileErrShortHeader;
        uint32_t type = util::getBigEndian(reinterpret_cast<const uint8_t *>(component.data()), 4);
        auto found = std::find_if(list->begin(), list->end(), [&](const auto &atom) { return atom->type == type; });
        MP4Atom *next = found != list->end() ? found->get() : nullptr;
        if (!next) {
            if (!creatable(type))
                return kMediaFileErrUnsupported;
            auto atom = MP4Atom::make(type);
            atom->parent = parent;
            if (type == kMeta) {
                atom->data.assign(kMetaPrefixLength, 0);
                if (file.rules->createHdlr)
                    addMetadataHandler(*atom);
            }
            if (type == kIlst)
                file.ilst = atom.get();
            next = list->emplace_back(std::move(atom)).get();
        }
        parent = next;
        list = &next->children;
        i = end;
    }
    *out = parent;
    return kMediaFileNoErr;
}

// The one routine behind every setter: packs the value after the 8-byte prefix of a `data`
// atom, creating the item (and what leads to it) when the slot is empty.
MediaFileStatus setItem(MP4File &file, MP4ItemSlot slot, uint32_t typeFlags, std::string_view format,
                        std::initializer_list<PackArg> values)
{
    size_t length = 0;
    if (MediaFileStatus status = util::packedSize(format, values, &length))
        return status;
    std::vector<uint8_t> bytes(kDataPrefixLength + length, 0);
    util::putBigEndian(bytes.data() + 1, 3, typeFlags);
    if (MediaFileStatus status = util::pack(std::span<uint8_t>(bytes).subspan(kDataPrefixLength), format, values))
        return status;
    if (MP4Atom *existing = file.slot(slot)) {
        existing->data = std::move(bytes);
        // Values a reader would show beside or instead of the new one go.
        if (file.rules->firstDataWins && existing->parent)
            std::erase_if(existing->parent->children,
                          [existing](const auto &atom) { return atom->type == kData && atom.get() != existing; });
        return kMediaFileNoErr;
    }
    MP4Atom *item = nullptr;
    if (MediaFileStatus status = findOrCreate(file, itemPath(slot), &item))
        return status;
    auto data = MP4Atom::make(kData);
    data->parent = item;
    data->data = std::move(bytes);
    file.itemSlots[static_cast<size_t>(slot)] = item->children.emplace_back(std::move(data)).get();
    return kMediaFileNoErr;
}

// Removes every item of the slot's type from the ilst that holds it (a second one would come
// back as the value on the next open).
void removeItem(MP4File &file, MP4ItemSlot slot)
{
    MP4Atom *data = file.slot(slot);
    MP4Atom *ilst = data && data->parent ? data->parent->parent : file.ilst;
    file.itemSlots[static_cast<size_t>(slot)] = nullptr;
    if (!ilst)
        return;
    uint32_t type = itemType(slot);
    std::erase_if(ilst->children, [type](const auto &atom) { return atom->type == type; });
}

// Unpacks the value behind the 8-byte prefix; the targets follow the skipped prefix.
template <typename... Targets>
MediaFileStatus readItem(const MP4File &file, MP4ItemSlot slot, std::string_view format, Targets... targets)
{
    const MP4Atom *data = file.slot(slot);
    if (!data)
        return kMediaFileErrNotFound;
    std::vector<uint8_t> prefix(kDataPrefixLength);
    return util::unpack(data->data, format, {&prefix, targets...});
}

// The stored value of a number pair, or 0 for a half that cannot be read.
uint16_t keptHalf(MediaFileStatus status, uint16_t stored) { return status == kMediaFileNoErr ? stored : 0; }

} // namespace

int itemSlotForType(uint32_t type)
{
    auto found = std::find(kMP4ItemTypes.begin(), kMP4ItemTypes.end(), type);
    return found == kMP4ItemTypes.end() ? -1 : static_cast<int>(found - kMP4ItemTypes.begin());
}

uint32_t itemType(MP4ItemSlot slot) { return kMP4ItemTypes[static_cast<size_t>(slot)]; }

MediaFileStatus MP4GetText(const MP4File &file, MP4ItemSlot slot, std::string *out)
{
    const MP4Atom *data = file.slot(slot);
    if (!data)
        return kMediaFileErrNotFound;
    std::vector<uint8_t> text(data->data.size() - kDataPrefixLength);
    if (MediaFileStatus status = readItem(file, slot, "nn", &text))
        return status;
    *out = util::sanitizeUtf8(std::string_view(reinterpret_cast<const char *>(text.data()), text.size()));
    return kMediaFileNoErr;
}

MediaFileStatus MP4SetText(MP4File &file, MP4ItemSlot slot, std::string_view text)
{
    auto bytes = std::span(reinterpret_cast<const uint8_t *>(text.data()), text.size());
    return setItem(file, slot, kTypeUtf8, "n", {bytes});
}

MediaFileStatus MP4GetTrack(const MP4File &file, uint16_t *track, uint16_t *total)
{
    uint16_t pad = 0, pad2 = 0;
    return readItem(file, MP4ItemSlot::Track, "nhhhh", &pad, track, total, &pad2);
}

MediaFileStatus MP4SetTrack(MP4File &file, int32_t track, int32_t total)
{
    uint16_t storedTrack = 0, storedTotal = 0;
    MediaFileStatus read = MP4GetTrack(file, &storedTrack, &storedTotal);
    int64_t newTrack = track < 0 ? keptHalf(read, storedTrack) : track;
    int64_t newTotal = total < 0 ? keptHalf(read, storedTotal) : total;
    return setItem(file, MP4ItemSlot::Track, kTypeBinary, "hhhh", {int64_t{0}, newTrack, newTotal, int64_t{0}});
}

MediaFileStatus MP4GetDisk(const MP4File &file, uint16_t *disc, uint16_t *total)
{
    uint16_t pad = 0;
    return readItem(file, MP4ItemSlot::Disk, "nhhh", &pad, disc, total);
}

MediaFileStatus MP4SetDisk(MP4File &file, int32_t disc, int32_t total)
{
    uint16_t storedDisc = 0, storedTotal = 0;
    MediaFileStatus read = MP4GetDisk(file, &storedDisc, &storedTotal);
    int64_t newDisc = disc < 0 ? keptHalf(read, storedDisc) : disc;
    int64_t newTotal = total < 0 ? keptHalf(read, storedTotal) : total;
    return setItem(file, MP4ItemSlot::Disk, kTypeBinary, "hhh", {int64_t{0}, newDisc, newTotal});
}

MediaFileStatus MP4GetBPM(const MP4File &file, uint16_t *bpm) { return readItem(file, MP4ItemSlot::BPM, "nh", bpm); }

MediaFileStatus MP4SetBPM(MP4File &file, uint16_t bpm)
{
    return setItem(file, MP4ItemSlot::BPM, kTypeSignedInteger, "h", {int64_t{bpm}});
}

MediaFileStatus MP4GetCompilation(const MP4File &file, bool *compilation)
{
    uint8_t value = 0;
    if (MediaFileStatus status = readItem(file, MP4ItemSlot::Compilation, "nb", &value))
        return status;
    *compilation = value != 0;
    return kMediaFileNoErr;
}

MediaFileStatus MP4SetCompilation(MP4File &file, bool compilation)
{
    return setItem(file, MP4ItemSlot::Compilation, kTypeSignedInteger, "b", {int64_t{compilation ? 1 : 0}});
}

MediaFileStatus MP4GetSeason(const MP4File &file, uint32_t *season)
{
    return readItem(file, MP4ItemSlot::Season, "nw", season);
}

MediaFileStatus MP4SetSeason(MP4File &file, uint32_t season)
{
    return setItem(file, MP4ItemSlot::Season, kTypeBinary, "w", {int64_t{season}});
}

MediaFileStatus MP4GetMediaKind(const MP4File &file, uint8_t *kind)
{
    return readItem(file, MP4ItemSlot::MediaKind, "nb", kind);
}

MediaFileStatus MP4SetMediaKind(MP4File &file, uint8_t kind)
{
    return setItem(file, MP4ItemSlot::MediaKind, kTypeSignedInteger, "b", {int64_t{kind}});
}

// The free text wins when both are there; a standard genre is kept as its number + 1.
MediaFileStatus MP4GetGenre(const MP4File &file, std::string *out)
{
    if (file.slot(MP4ItemSlot::Genre))
        return MP4GetText(file, MP4ItemSlot::Genre, out);
    uint16_t number = 0;
    if (MediaFileStatus status = readItem(file, MP4ItemSlot::StandardGenre, "nh", &number))
        return status;
    if (number < 1 || number > kMP4GenreCount)
        return kMediaFileErrTell;
    *out = genreName(number - 1);
    return kMediaFileNoErr;
}

MediaFileStatus MP4SetGenre(MP4File &file, std::string_view text)
{
    int index = genreIndexSorted(text, kMP4GenreCount);
    if (index >= 0) {
        if (MediaFileStatus status = setItem(file, MP4ItemSlot::StandardGenre, kTypeBinary, "h", {int64_t{index + 1}}))
            return status;
        removeItem(file, MP4ItemSlot::Genre);
        return kMediaFileNoErr;
    }
    if (MediaFileStatus status = MP4SetText(file, MP4ItemSlot::Genre, text))
        return status;
    removeItem(file, MP4ItemSlot::StandardGenre);
    return kMediaFileNoErr;
}

MediaFileStatus MP4GetLyrics(const MP4File &file, std::string *out)
{
    std::string stored;
    if (MediaFileStatus status = MP4GetText(file, MP4ItemSlot::Lyrics, &stored))
        return status;
    *out = util::convertLineEndings(stored, kLyricsReadMode);
    return kMediaFileNoErr;
}

MediaFileStatus MP4SetLyrics(MP4File &file, std::string_view text)
{
    return MP4SetText(file, MP4ItemSlot::Lyrics, util::convertLineEndings(text, kLyricsWriteMode));
}

MediaFileStatus MP4GetCoverArt(const MP4File &file, std::vector<uint8_t> *out)
{
    const MP4Atom *data = file.slot(MP4ItemSlot::CoverArt);
    if (!data)
        return kMediaFileErrNotFound;
    if (data->data.size() <= kDataPrefixLength)
        return kMediaFileErrShortHeader;
    std::vector<uint8_t> image(data->data.size() - kDataPrefixLength);
    if (MediaFileStatus status = readItem(file, MP4ItemSlot::CoverArt, "nn", &image))
        return status;
    *out = std::move(image);
    return kMediaFileNoErr;
}

// Always written as JPEG (13), whatever the image is: deliberate.
MediaFileStatus MP4SetCoverArt(MP4File &file, std::span<const uint8_t> bytes)
{
    return setItem(file, MP4ItemSlot::CoverArt, kTypeJpeg, "n", {bytes});
}

void MP4RemoveItem(MP4File &file, MP4ItemSlot slot) { removeItem(file, slot); }

} // namespace kestrabel::mp4
