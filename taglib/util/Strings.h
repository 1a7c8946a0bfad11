// Small text and path helpers behind kind detection and the path-derived data IDs.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kestrabel::util {

// -1, 0 or 1, each byte folded with tolower.
int compareCaseless(std::string_view a, std::string_view b);

// The text behind the last "."; empty when there is none or when the character right after it
// is a digit or a blank (so "Track 1.5" and "Vol. 2" have no extension).
std::string_view extension(std::string_view path);
// Only the last "." counts; no digit or blank rule.
bool hasExtension(std::string_view path, std::string_view ext);

// The last component; one trailing "/" is left out.
std::string_view lastComponent(std::string_view path);
// The folder `level` steps above the last component (1 = the folder holding the file);
// kMediaFileErrNotFound when the path runs out of "/" first.
MediaFileStatus parentComponent(std::string_view path, int level, std::string_view *out);
// The file name without its extension (by the extension rule); the whole name when it has none.
std::string_view cleanFilename(std::string_view path);

} // namespace kestrabel::util
