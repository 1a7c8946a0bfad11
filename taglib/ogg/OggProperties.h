#pragma once

#include "OggVorbisFile.h"

namespace kestrabel::ogg {

// Rate and channels from the identification header read at open; the length from the granule
// position of the stream's last page, found by reading the file backwards from its end.
MediaFileStatus oggAudioProperties(const OggVorbisFile &file, MediaFileAudioProperties *out);

// The granule position of the last page of the stream serial within tail (the file's last
// bytes); false when tail holds no such page with a position.
bool lastGranule(std::span<const uint8_t> tail, int serial, int64_t *out);

} // namespace kestrabel::ogg
