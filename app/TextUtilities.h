// The start-up of the tag library's text utilities, the one internal piece the application
// uses; only TextUtilities.cpp sees the library's internal headers.
#pragma once

#include <kestrabel/MediaFile.h>

namespace kestrabel::app {

MediaFileStatus initializeTextUtilities();

} // namespace kestrabel::app
