// The format-string packer: "b" byte, "h" 16-bit, "w" 32-bit (both big-endian), "i" a width
// and a value, "s" a NUL-terminated text, "n" a counted run of bytes, " " nothing. The
// arguments are typed values instead of a C variable argument list, so a wrong argument is a
// compile error or a clean status rather than undefined behaviour.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kestrabel::util {

// One argument of pack: an integer (b, h, w, and the width and value of i), a text (s), or a
// run of bytes (n: the span carries length and pointer together).
using PackArg = std::variant<int64_t, std::string_view, std::span<const uint8_t>>;

MediaFileStatus packedSize(std::string_view format, std::initializer_list<PackArg> args, size_t *outSize);
MediaFileStatus pack(std::span<uint8_t> buffer, std::string_view format, std::initializer_list<PackArg> args);
// Convenience: pack into a new vector of exactly the packed size.
MediaFileStatus pack(std::vector<uint8_t> *out, std::string_view format, std::initializer_list<PackArg> args);

// One target of unpack. For "i" an int is consumed first as the width (pass WidthArg), then a
// uint32_t target. For "n" the target is a vector whose current size is the count to read.
struct WidthArg {
    int width;
};
using UnpackTarget = std::variant<uint8_t *, uint16_t *, uint32_t *, WidthArg, std::string *, std::vector<uint8_t> *>;

MediaFileStatus unpack(std::span<const uint8_t> buffer, std::string_view format, std::initializer_list<UnpackTarget> targets);

} // namespace kestrabel::util
