// The genre list shared by the ID3 tags, the MP4 genre number and the genre box of the window.
#pragma once

#include <string_view>

namespace kestrabel {

inline constexpr int kID3GenreCount = 148;
// MP4's `gnre` item only knows the first 126 names of the list.
inline constexpr int kMP4GenreCount = 126;

extern const char *const ID3GenreNames[kID3GenreCount];

// nullptr outside 0 to 147.
const char *genreName(int index);

// The first name, in index order, equal to the text ignoring letter case; -1 when none is.
// The text is compared whole: no white space is skipped.
int genreIndexByName(std::string_view text);

// The same answer found by binary search over the first `count` names (at most 148) sorted
// with the byte-wise case-insensitive comparison; -1 when none matches.
int genreIndexSorted(std::string_view text, int count);

} // namespace kestrabel
