// Conversions between UTF-8 and the encodings tags use, and line-ending conversion.
// All take and give std::string / std::u16string-free byte vectors; lengths are in bytes.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrabel::util {

constexpr MediaFileFlags kLossyLatin1 = 0x10000;

// Strict by default: a character without a Latin-1 form gives kMediaFileErrTooSmall; with
// kLossyLatin1 it becomes "?". Invalid UTF-8 gives kMediaFileErrTextConversion.
MediaFileStatus utf8ToLatin1(std::string_view utf8, MediaFileFlags flags, std::string *out);
MediaFileStatus latin1ToUtf8(std::string_view latin1, std::string *out);

// The UTF-16 forms: mode 4 is a byte-order mark FF FE with little-endian units, mode 2 is
// big-endian without a mark, anything else little-endian without a mark. Only the low four
// bits of the mode count. The output ends with one zero unit.
enum Utf16Mode : int { kUtf16LittleEndian = 1, kUtf16BigEndian = 2, kUtf16WithBOM = 4 };
MediaFileStatus utf8ToUtf16(std::string_view utf8, int mode, std::vector<uint8_t> *out);
// bytes holds the units (an odd trailing byte is ignored); decoding stops at the first zero
// unit. Mode 4 demands a mark (else kMediaFileErrBadFrame) and follows it.
MediaFileStatus utf16ToUtf8(std::span<const uint8_t> bytes, int mode, std::string *out);

// Whether bytes are well-formed UTF-8 (no overlongs, no surrogates, nothing above U+10FFFF).
bool isValidUtf8(std::string_view text);
// Replaces every invalid sequence with U+FFFD; for texts from files that claim UTF-8.
std::string sanitizeUtf8(std::string_view text);

// Line endings. Mode 1 (lyrics into MP4): a lone LF becomes CR LF. Mode 2 (Broadcast Wave
// coding history): every lone CR or lone LF becomes CR LF. Mode 3 (lyrics read back): every
// CR LF pair becomes a single LF. Any other mode copies the text.
std::string convertLineEndings(std::string_view text, int mode);

} // namespace kestrabel::util
