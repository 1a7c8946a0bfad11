// Fragmented files keep absolute file offsets outside moov: the base data offset of each track
// fragment (tfhd) and the moof offsets of the random-access index (tfra). When a save moves the
// tail of the file, these are corrected with it, or the save is refused.
#pragma once

#include "MP4File.h"

#include "util/Saver.h"

namespace kestrabel::mp4 {

// Adds same-length edits of every moof and mfra whose offsets move by difference. Anything it
// cannot vouch for (a sidx in front of moov, a box it cannot walk) gives kMediaFileErrUnsupported,
// so that no save leaves the audio unreachable.
MediaFileStatus planFragmentCorrections(const MP4File &file, const std::string &path, int64_t difference,
                                        std::vector<util::Replacement> *edits);

} // namespace kestrabel::mp4
