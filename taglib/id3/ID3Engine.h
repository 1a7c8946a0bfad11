// Reading a whole tag from a file or a memory image, and rendering it back.
#pragma once

#include "ID3Frames.h"

#include "util/File.h"

#include <cstdint>
#include <span>
#include <vector>

namespace kestrabel::id3 {

// Where a tag is read from: an open file, through a reader that serves the small reads of an
// open (header, tag, ID3v1 record, first frame) from one system call where they are near, or a
// memory image.
class TagSource {
public:
    TagSource(util::CachedReader &reader, uint64_t fileSize) : reader_(&reader), fileSize_(fileSize) {}
    explicit TagSource(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    MediaFileStatus size(uint64_t *out) const;
    // Exactly out.size() bytes at offset; kMediaFileErrShortRead when the source ends first.
    MediaFileStatus readAt(uint64_t offset, std::span<uint8_t> out) const;
    // Exactly count bytes at offset, seen where the source already holds them or else copied
    // into *copy; valid until the next read.
    MediaFileStatus bytesAt(uint64_t offset, size_t count, std::vector<uint8_t> *copy, std::span<const uint8_t> *out) const;

private:
    util::CachedReader *reader_ = nullptr;
    uint64_t fileSize_ = 0;
    std::span<const uint8_t> bytes_;
};

// The ID3v2 tag at the start of the source, then the ID3v1 tag at its end merged in.
MediaFileStatus ID3ReadTags(const TagSource &source, MediaFileFlags readOptions, ID3Tag &tag);
MediaFileStatus ID3ParseV2(const TagSource &source, ID3Tag &tag);

// Opens the file read-only, reads its tags and scans its audio. wholeFile, when given, receives
// the file's bytes if the open happened to read all of them, or stays empty.
MediaFileStatus ID3OpenFile(const char *path, MediaFileFlags readOptions, ID3TagPtr *out,
                            std::vector<uint8_t> *wholeFile = nullptr);

// The ID3v2 version (2, 3, 4) the write options ask for after the kept versions are added,
// or 0 for none; *options receives the completed option word.
int resolveWriteVersion(const ID3Tag &tag, MediaFileFlags *options);

// The ID3v2 tag alone. A minimumLength the frames fit in (with at most a megabyte to spare) is
// padded up to instead of the next multiple of 512: the caller re-uses the room of the tag
// already in the file.
MediaFileStatus renderV2(ID3Tag &tag, int version, MediaFileFlags options, uint64_t minimumLength,
                         std::vector<uint8_t> *out);

MediaFileStatus ID3WriteFile(const char *path, MediaFileFlags writeOptions, ID3Tag &tag);

} // namespace kestrabel::id3
