#include "TextUtilities.h"

#include "util/CFStringUtilities.h"

namespace kestrabel::app {

MediaFileStatus initializeTextUtilities() { return util::CFStringUtilitiesInitialize(); }

} // namespace kestrabel::app
