// The first MPEG audio frame behind the tag, its Xing header, and the figures derived from them.
#pragma once

#include "ID3Frames.h"

#include "util/File.h"

#include <cstdint>
#include <span>

namespace kestrabel::id3 {

// Searches from start byte by byte; kMediaFileErrTooSmall when no frame header is found.
// tag.audioByteCount must already hold the size of the audio part.
MediaFileStatus ID3ScanAudio(util::CachedReader &reader, uint64_t start, ID3Tag &tag);

// Whether four bytes are an acceptable frame header.
bool isFrameHeader(const uint8_t *bytes);
// Decodes the header and the Xing data that follow it (up to 128 bytes from the frame start).
void decodeFrame(std::span<const uint8_t> frame, uint64_t audioByteCount, MPEGInfo *info);

// Play time in whole seconds: audio bytes / (kbit/s * 128), 0 when the bit rate is 0.
uint32_t playTimeSeconds(const ID3Tag &tag);

} // namespace kestrabel::id3
