// Rules about data IDs that the dispatch and the chunk-file handler share.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace kestrabel {

// The integer IDs that the text accessors also carry: the getter prints them with "%d", the
// setter scans them with "%d".
constexpr bool isIntegerTextID(MediaFileDataID id)
{
    switch (id) {
    case kMediaFileDataIDBPM:
    case kMediaFileDataIDCompilation:
    case kMediaFileDataIDDiskNumber:
    case kMediaFileDataIDTotalDisks:
    case kMediaFileDataIDTotalTracks:
    case kMediaFileDataIDTrackNumber:
    case kMediaFileDataIDYear:
        return true;
    default:
        return false;
    }
}

inline std::string formatIntegerText(int32_t value) { return std::to_string(value); }

// sscanf("%d") semantics: leading white space, a sign and digits; "7/12" gives 7.
// kMediaFileErrBadFormat when no number starts the text.
MediaFileStatus scanIntegerText(std::string_view text, int32_t *out);

// strtol(…, 10) semantics: leading digits, 0 when there are none.
int32_t leadingInteger(std::string_view text);

} // namespace kestrabel
