#include "KindTable.h"

namespace kestrabel::test {

const std::vector<KindCase> &writableKinds()
{
    static const std::vector<KindCase> kinds = {
        {"MP3", "id3v23-full.mp3", kMediaFileTypeMP3},
        {"MP4", "tagged.m4a", kMediaFileTypeMP4},
        {"AIFF", "id3-middle.aiff", kMediaFileTypeAIFF},
        {"WAVE", "bext.wav", kMediaFileTypeWAVE},
        {"Ogg", "vorbis-tagged.ogg", kMediaFileTypeOgg},
        {"FLAC", "flac-tagged.flac", kMediaFileTypeFLAC},
    };
    return kinds;
}

} // namespace kestrabel::test
