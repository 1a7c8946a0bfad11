// The Broadcast Wave bext chunk: fixed-width text fields, a version word and the coding
// history, served as data IDs 300 to 304 and 306.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrabel::iff {

// 305 (UMID) is deliberately not among them: it goes to the ID3 tag like any other ID.
bool isBextDataID(MediaFileDataID id);

// bext is the chunk's data; an empty span means the file has none (kMediaFileErrNotFound).
MediaFileStatus getBextField(std::span<const uint8_t> bext, MediaFileDataID id, std::string *out);

// Creates the chunk data when bext is empty (Version 1 in the container's byte order) and grows
// it when the coding history needs room; it never shrinks.
MediaFileStatus setBextField(std::vector<uint8_t> &bext, bool littleEndian, MediaFileDataID id, std::string_view text);

} // namespace kestrabel::iff
