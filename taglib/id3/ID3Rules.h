// Where the classic rules of the ID3 engine and today's taggers differ. A tag picks its row once,
// when it is opened, parsed or made; the two rows side by side are what the interop profile
// changes.
#pragma once

#include <kestrabel/MediaFile.h>

namespace kestrabel::id3 {

struct ID3Rules {
    bool synchsafeV24Sizes;     // 2.4 frame sizes written synchsafe, as the standard says
    bool skipV24ExtendedHeader; // a 2.4 extended header is stepped over, not read as frames
    bool canonicalIsLongID;     // TSSE stays the encoder settings instead of standing for TSRC
    bool bareNumberGenre;       // a TCON of "13" names genre 13, as "(13)" does
    bool plainComment;          // the comment is the first COMM without a description
    bool roomToGrow;            // a tag that grows gets room for the next edit and moves the audio by whole blocks
};

inline constexpr ID3Rules kID3Rules[] = {
    // classic
    {false, false, false, false, false, false},
    // interop
    {true, true, true, true, true, true},
};

constexpr const ID3Rules &id3RulesFor(MediaFileFlags flags)
{
    return kID3Rules[(flags & kMediaFileFlagInterop) ? 1 : 0];
}

} // namespace kestrabel::id3
