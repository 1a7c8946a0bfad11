#pragma once

#include <kestrabel/MediaFile.h>

#include <ostream>
#include <string>
#include <vector>

namespace kestrabel::test {

// One writable kind (its name used in test names) with a small tagged fixture of it.
struct KindCase {
    std::string name, fixture;
    MediaFileType kind;
};

inline const std::vector<KindCase> &writableKinds()
{
    static const std::vector<KindCase> kinds = {
        {"MP3", "id3v23-full.mp3", kMediaFileTypeMP3}, {"MP4", "tagged.m4a", kMediaFileTypeMP4},          {"AIFF", "id3-middle.aiff", kMediaFileTypeAIFF},
        {"WAVE", "bext.wav", kMediaFileTypeWAVE},      {"Ogg", "vorbis-tagged.ogg", kMediaFileTypeOgg}, {"FLAC", "flac-tagged.flac", kMediaFileTypeFLAC},
    };
    return kinds;
}

inline void PrintTo(const KindCase &kind, std::ostream *out) { *out << kind.name << " (" << kind.fixture << ")"; }

} // namespace kestrabel::test
