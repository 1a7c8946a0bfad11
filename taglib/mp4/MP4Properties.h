#pragma once

#include "MP4File.h"

namespace kestrabel::mp4 {

// From the first track whose handler is `soun`; kMediaFileErrNotFound when there is none.
MediaFileStatus mp4AudioProperties(const MP4File &file, MediaFileAudioProperties *out);

} // namespace kestrabel::mp4
