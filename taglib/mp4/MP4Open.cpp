// Placeholder until this kind's handler lands: the kind is recognised but does not open.
#include "core/FormatHandler.h"

namespace kestrabel {

MediaFileStatus MP4Open(const char *, MediaFileFlags, HandlerPtr *) { return kMediaFileErrUnsupported; }

} // namespace kestrabel
