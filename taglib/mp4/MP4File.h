// One open MP4 file: the atoms inside moov held in memory, the 23 known ilst items and the
// chunk-offset tables that a save has to correct.
#pragma once

#include "MP4Atom.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrabel::mp4 {

// The order of the item table below.
enum class MP4ItemSlot : uint8_t {
    Title,
    Artist,
    Composer,
    Album,
    AlbumArtist,
    Year,
    Encoder,
    Comment,
    Genre,
    Grouping,
    Lyrics,
    Track,
    Disk,
    StandardGenre,
    Compilation,
    BPM,
    CoverArt,
    Description,
    Network,
    Show,
    Episode,
    Season,
    MediaKind,
};

inline constexpr size_t kMP4ItemCount = 23;

// The iTunes item types that begin with the copyright sign, byte 0xA9.
constexpr uint32_t copyrightType(const char (&code)[4])
{
    return 0xA9000000u | uint32_t(uint8_t(code[0])) << 16 | uint32_t(uint8_t(code[1])) << 8 | uint8_t(code[2]);
}

// The item atom of each slot, in slot order.
inline constexpr std::array<uint32_t, kMP4ItemCount> kMP4ItemTypes = {
    copyrightType("nam"), copyrightType("ART"), copyrightType("wrt"), copyrightType("alb"),
    fourCC("aART"),       copyrightType("day"), copyrightType("too"), copyrightType("cmt"),
    copyrightType("gen"), copyrightType("grp"), copyrightType("lyr"), fourCC("trkn"),
    fourCC("disk"),       fourCC("gnre"),       fourCC("cpil"),       fourCC("tmpo"),
    fourCC("covr"),       fourCC("desc"),       fourCC("tvnn"),       fourCC("tvsh"),
    fourCC("tven"),       fourCC("tvsn"),       fourCC("stik"),
};

// The `data` type flags the setters write.
inline constexpr uint32_t kTypeBinary = 0;
inline constexpr uint32_t kTypeUtf8 = 1;
inline constexpr uint32_t kTypeJpeg = 13;
inline constexpr uint32_t kTypeSignedInteger = 21;

// The slot of an item type, or -1.
int itemSlotForType(uint32_t type);
uint32_t itemType(MP4ItemSlot slot);

// Where the classic rules and today's writers differ; a file picks its row once, at open.
struct MP4Rules {
    bool largeSizeAfterType; // a 64-bit size follows the type, as the format defines it
    bool fixCo64;            // co64 tables are corrected like stco when the tail moves
    bool checkFragments;     // moof/mfra offsets corrected when the tail moves, or the save refused
    bool createHdlr;         // a created meta gets the hdlr (mdir/appl) readers look for
    bool firstDataWins;      // an item reads its first data atom, and a set replaces them all
    bool roomToGrow;         // a moov that grows gets a free atom after ilst for the next edit
};

inline constexpr MP4Rules kMP4Rules[] = {
    // classic
    {false, false, false, false, false, false},
    // interop
    {true, true, true, true, true, true},
};

constexpr const MP4Rules &mp4RulesFor(MediaFileFlags flags) { return kMP4Rules[(flags & kMediaFileFlagInterop) ? 1 : 0]; }

struct MP4File {
    const MP4Rules *rules = &kMP4Rules[0];
    uint64_t fileSize = 0;
    AtomList topLevel;
    MP4Atom *moov = nullptr;
    MP4Atom *ilst = nullptr;
    // Every stco found, in file order.
    std::vector<MP4Atom *> chunkOffsetTables;
    // Every co64 found (only under the interop rules).
    std::vector<MP4Atom *> chunkOffsetTables64;
    // Top-level atoms of a fragmented file that hold absolute offsets: moof, mfra, sidx.
    std::vector<MP4Atom *> fragmentAtoms;
    // The `data` atom of each known item (the last one seen when an item has several).
    std::array<MP4Atom *, kMP4ItemCount> itemSlots{};

    MP4Atom *slot(MP4ItemSlot s) const { return itemSlots[static_cast<size_t>(s)]; }
};

// Reads the file once; the descriptor is closed again before this returns.
MediaFileStatus MP4FileOpen(const std::string &path, std::unique_ptr<MP4File> *out, MediaFileFlags flags = 0);
// Writes moov back: in place when its size is unchanged (or a free atom after ilst absorbs
// the difference), otherwise with the rest of the file moved and every stco corrected.
MediaFileStatus MP4FileSave(MP4File &file, const std::string &path, MediaFileFlags flags);

MediaFileStatus MP4GetText(const MP4File &file, MP4ItemSlot slot, std::string *out);
MediaFileStatus MP4SetText(MP4File &file, MP4ItemSlot slot, std::string_view text);
// On set, a negative argument keeps what is stored (0 when there is nothing).
MediaFileStatus MP4GetTrack(const MP4File &file, uint16_t *track, uint16_t *total);
MediaFileStatus MP4SetTrack(MP4File &file, int32_t track, int32_t total);
MediaFileStatus MP4GetDisk(const MP4File &file, uint16_t *disc, uint16_t *total);
MediaFileStatus MP4SetDisk(MP4File &file, int32_t disc, int32_t total);
MediaFileStatus MP4GetBPM(const MP4File &file, uint16_t *bpm);
MediaFileStatus MP4SetBPM(MP4File &file, uint16_t bpm);
MediaFileStatus MP4GetCompilation(const MP4File &file, bool *compilation);
MediaFileStatus MP4SetCompilation(MP4File &file, bool compilation);
MediaFileStatus MP4GetSeason(const MP4File &file, uint32_t *season);
MediaFileStatus MP4SetSeason(MP4File &file, uint32_t season);
MediaFileStatus MP4GetMediaKind(const MP4File &file, uint8_t *kind);
MediaFileStatus MP4SetMediaKind(MP4File &file, uint8_t kind);
MediaFileStatus MP4GetGenre(const MP4File &file, std::string *out);
MediaFileStatus MP4SetGenre(MP4File &file, std::string_view text);
MediaFileStatus MP4GetLyrics(const MP4File &file, std::string *out);
MediaFileStatus MP4SetLyrics(MP4File &file, std::string_view text);
MediaFileStatus MP4GetCoverArt(const MP4File &file, std::vector<uint8_t> *out);
MediaFileStatus MP4SetCoverArt(MP4File &file, std::span<const uint8_t> bytes);
// Takes every item of the slot's type out of ilst.
void MP4RemoveItem(MP4File &file, MP4ItemSlot slot);

} // namespace kestrabel::mp4
