// One node of an MPEG-4 atom tree, and the test of where an atom stands in it.
#pragma once

#include <kestrabel/MediaFile.h>
#include "util/ByteCursor.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrabel::mp4 {

using util::fourCC;

inline constexpr uint32_t kMoov = fourCC("moov");
inline constexpr uint32_t kTrak = fourCC("trak");
inline constexpr uint32_t kMdia = fourCC("mdia");
inline constexpr uint32_t kMinf = fourCC("minf");
inline constexpr uint32_t kStbl = fourCC("stbl");
inline constexpr uint32_t kUdta = fourCC("udta");
inline constexpr uint32_t kMeta = fourCC("meta");
inline constexpr uint32_t kIlst = fourCC("ilst");
inline constexpr uint32_t kData = fourCC("data");
inline constexpr uint32_t kStco = fourCC("stco");
inline constexpr uint32_t kCo64 = fourCC("co64");
inline constexpr uint32_t kHdlr = fourCC("hdlr");
inline constexpr uint32_t kMoof = fourCC("moof");
inline constexpr uint32_t kMfra = fourCC("mfra");
inline constexpr uint32_t kSidx = fourCC("sidx");
inline constexpr uint32_t kFree = fourCC("free");
inline constexpr uint32_t kUuid = fourCC("uuid");

// An atom whose type is not the one its place requires.
inline constexpr MediaFileStatus kMP4ErrTypeMismatch = kMediaFileErrBadMagic;

// Sizes above this are refused, both when reading and when a save would produce one.
inline constexpr uint64_t kMaxAtomSize = 0x7FFFFFFE;
inline constexpr size_t kMaxHeaderLength = 32;
// Version and flags of `meta`; type flags and reserved bytes in front of an item's value.
inline constexpr size_t kMetaPrefixLength = 4;
inline constexpr size_t kDataPrefixLength = 8;

struct MP4Atom {
    MP4Atom *parent = nullptr;
    std::vector<std::unique_ptr<MP4Atom>> children;
    // The header bytes as read; on save only the first four (the 32-bit size) are rewritten.
    std::array<uint8_t, kMaxHeaderLength> header{};
    uint64_t headerLength = 8;
    // For a container: what precedes the children (the 4 version bytes of `meta`). For any
    // other atom inside moov: the whole payload. Atoms outside moov keep nothing.
    std::vector<uint8_t> data;
    uint32_t type = 0;
    uint64_t totalSize = 0;
    uint64_t payloadSize = 0;
    uint64_t fileOffset = 0;

    uint64_t dataLength() const { return data.size(); }
    // The 16-byte extended type of a `uuid` atom, else empty.
    std::span<const uint8_t> uuid() const;
    // A header-only atom of this type, as the setter creates them.
    static std::unique_ptr<MP4Atom> make(uint32_t type);
};

using AtomList = std::vector<std::unique_ptr<MP4Atom>>;

// Checks where an atom stands, reading the pattern from the atom upward: each "." steps to
// the parent, a four-character name requires the atom reached so far to be of that type, and
// the pattern's final "." must step past the top. ".moov." is "my parent is a top-level moov";
// ".." steps over one level without looking at it.
MediaFileStatus checkAncestry(const MP4Atom &atom, std::string_view pattern);

// The four characters of a type, for messages and tests.
std::string typeName(uint32_t type);

} // namespace kestrabel::mp4
