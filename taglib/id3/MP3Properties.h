// Audio properties of an MPEG audio file, from its first frame and the Xing, Info (LAME's name
// for it in constant-rate files) or VBRI header that encoders put in that frame. Independent of the classic MPEG scan, whose
// figures keep their own formulas.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <span>

namespace kestrabel::id3 {

// head: the bytes from the first frame candidate on (a few kilobytes are plenty); audioBytes:
// the length of the audio part from that candidate to its end, trailing tags excluded.
MediaFileStatus mpegPropertiesFromFrame(std::span<const uint8_t> head, uint64_t audioBytes, MediaFileAudioProperties *out);

// Reads the file at path: skips a leading ID3v2 tag, finds the first frame that a second frame
// follows, and leaves out a trailing ID3v1 tag.
MediaFileStatus mpegPropertiesOfFile(const char *path, MediaFileAudioProperties *out);
// The same from the bytes of the whole file, read earlier.
MediaFileStatus mpegPropertiesOfBytes(std::span<const uint8_t> wholeFile, MediaFileAudioProperties *out);

} // namespace kestrabel::id3
