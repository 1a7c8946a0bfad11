// The files export and artwork write: named by their bytes, so that names that are not UTF-8
// work, and written whole or not at all.
#pragma once

#include <kestrabel/MediaFile.h>

#include <string>
#include <string_view>

namespace kestrabel::cli {

// "-" as an output name: standard output.
inline bool isStandardOutput(const std::string &path) { return path == "-"; }

// The file beside a media file: the text behind the last "." of the name is replaced by
// extension (a.mp3 -> a.plist); a name without one gets it added.
std::string pathBeside(const std::string &mediaPath, const std::string &extension);

// Writes bytes into a new file beside path and renames it over path (over the file behind
// it, when path is a symbolic link). An existing path that is not a regular file (a folder,
// a device, a FIFO, a socket) is refused with kMediaFileErrBadPath whatever overwrite says,
// and *cause says what it is; an existing regular file needs overwrite (kMediaFileErrExists)
// and keeps its mode. Otherwise 0 or an errno.
MediaFileStatus writeOutputFile(const std::string &path, std::string_view bytes, bool overwrite, std::string *cause);

} // namespace kestrabel::cli
