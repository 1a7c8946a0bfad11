#include "KindTable.h"

namespace kestrabel::test {

const std::vector<KindCase> &writableKinds()
{
    static const std::vector<KindCase> kinds = {
        {"MP3", "KIND_MP3_FIXTURE", kMediaFileTypeMP3},
        {"MP4", "tagged.m4a", kMediaFileTypeMP4},
        {"AIFF", "id3-middle.aiff", kMediaFileTypeAIFF},
        {"WAVE", "bext.wav", kMediaFileTypeWAVE},
        {"Ogg", "KIND_OGG_FIXTURE", kMediaFileTypeOgg},
        {"FLAC", "KIND_FLAC_FIXTURE", kMediaFileTypeFLAC},
    };
    return kinds;
}

} // namespace kestrabel::test
