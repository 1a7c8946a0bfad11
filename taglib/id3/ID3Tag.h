// The ID3 engine's interface to its two users: the MP3 handler of this folder and the
// AIFF/WAVE chunk handler, which keeps an ID3 tag in a chunk and parses and renders it in memory.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrabel::id3 {

struct ID3Tag;

struct ID3TagDeleter {
    void operator()(ID3Tag *tag) const;
};
using ID3TagPtr = std::unique_ptr<ID3Tag, ID3TagDeleter>;

// A tag parsed from a memory image (the contents of an "ID3 " chunk).
MediaFileStatus ID3ParseBuffer(std::span<const uint8_t> bytes, MediaFileFlags readOptions, ID3TagPtr *out);
// An empty tag, for a chunk file that has no ID3 chunk yet.
MediaFileStatus ID3NewTag(ID3TagPtr *out, MediaFileFlags flags = 0);
// The ID3 version the tag was read in (2, 3, 4), or 0 for a tag made in memory.
int ID3MajorVersion(const ID3Tag &tag);
// Renders the tag into a new buffer (the chunk handler passes 0x4004: version 2.2, no padding).
// With padding, a tag that fits in minimumLength bytes is padded to them, and one that does not
// gets the room for the next edit that its tag rules give a file of fileSize bytes.
MediaFileStatus ID3RenderToBuffer(ID3Tag &tag, MediaFileFlags writeOptions, std::vector<uint8_t> *out, uint64_t minimumLength = 0,
                                  uint64_t fileSize = 0);

// Data-ID access, the same that MP3 files get. Integer IDs printed with "%d" and scanned with
// "%d" on the text accessors are included, so a caller needs nothing else.
MediaFileStatus ID3GetInteger(ID3Tag &tag, MediaFileDataID id, int32_t *out);
MediaFileStatus ID3GetString(ID3Tag &tag, MediaFileDataID id, std::string *out);
MediaFileStatus ID3SetInteger(ID3Tag &tag, MediaFileDataID id, int32_t value);
MediaFileStatus ID3SetString(ID3Tag &tag, MediaFileDataID id, std::string_view text);
MediaFileStatus ID3GetData(ID3Tag &tag, MediaFileDataID id, std::vector<uint8_t> *out);
MediaFileStatus ID3SetData(ID3Tag &tag, MediaFileDataID id, std::span<const uint8_t> bytes);
// Every frame that answers the ID goes. A total keeps its number ("3/9" becomes "3"); a number
// takes its total with it, since the pair is one frame.
MediaFileStatus ID3RemoveValue(ID3Tag &tag, MediaFileDataID id);
// The first error of the ID3v2 tag that a lenient open passed over, or 0.
MediaFileStatus ID3IgnoredError(const ID3Tag &tag);

} // namespace kestrabel::id3
