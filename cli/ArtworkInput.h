// The bytes that set --artwork stores for an image file.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kestrabel::cli {

// With the object layer built in: a JPEG as it is, any other image Qt reads converted to JPEG,
// kMediaFileErrNotImage for anything else. Without it (the tag-library-only build): the
// file's bytes as they are.
MediaFileStatus readArtworkImage(const std::string &path, std::vector<uint8_t> *out);
// 0 when the bytes are an image (kMediaFileErrNotImage, or kMediaFileErrMemory for one too large
// to decode). Without the object layer only the JPEG and PNG signatures are looked at.
MediaFileStatus checkArtworkBytes(const std::string &bytes);

} // namespace kestrabel::cli
