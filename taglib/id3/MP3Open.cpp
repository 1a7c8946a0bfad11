// Placeholder until this kind's handler lands: the kind is recognised but does not open.
#include "core/FormatHandler.h"

namespace kestrabel {

MediaFileStatus MP3Open(const char *, MediaFileFlags, HandlerPtr *) { return kMediaFileErrUnsupported; }

} // namespace kestrabel
