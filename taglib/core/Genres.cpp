#include "Genres.h"

#include "Boundary.h"

#include <kestrabel/MediaFile.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <numeric>

namespace kestrabel {

// The spellings are deliberate ("Psychadelic", "Bebob", "Acapella", "Contemporary C").
const char *const ID3GenreNames[kID3GenreCount] = {
    "Blues", "Classic Rock", "Country", "Dance",
    "Disco", "Funk", "Grunge", "Hip-Hop",
    "Jazz", "Metal", "New Age", "Oldies",
    "Other", "Pop", "R&B", "Rap",
    "Reggae", "Rock", "Techno", "Industrial",
    "Alternative", "Ska", "Death Metal", "Pranks",
    "Soundtrack", "Euro-Techno", "Ambient", "Trip-Hop",
    "Vocal", "Jazz+Funk", "Fusion", "Trance",
    "Classical", "Instrumental", "Acid", "House",
    "Game", "Sound Clip", "Gospel", "Noise",
    "AlternRock", "Bass", "Soul", "Punk",
    "Space", "Meditative", "Instrumental Pop", "Instrumental Rock",
    "Ethnic", "Gothic", "Darkwave", "Techno-Industrial",
    "Electronic", "Pop-Folk", "Eurodance", "Dream",
    "Southern Rock", "Comedy", "Cult", "Gangsta",
    "Top 40", "Christian Rap", "Pop/Funk", "Jungle",
    "Native American", "Cabaret", "New Wave", "Psychadelic",
    "Rave", "Showtunes", "Trailer", "Lo-Fi",
    "Tribal", "Acid Punk", "Acid Jazz", "Polka",
    "Retro", "Musical", "Rock & Roll", "Hard Rock",
    "Folk", "Folk-Rock", "National Folk", "Swing",
    "Fast Fusion", "Bebob", "Latin", "Revival",
    "Celtic", "Bluegrass", "Avantgarde", "Gothic Rock",
    "Progressive Rock", "Psychedelic Rock", "Symphonic Rock", "Slow Rock",
    "Big Band", "Chorus", "Easy Listening", "Acoustic",
    "Humour", "Speech", "Chanson", "Opera",
    "Chamber Music", "Sonata", "Symphony", "Booty Bass",
    "Primus", "Porn Groove", "Satire", "Slow Jam",
    "Club", "Tango", "Samba", "Folklore",
    "Ballad", "Power Ballad", "Rhythmic Soul", "Freestyle",
    "Duet", "Punk Rock", "Drum Solo", "Acapella",
    "Euro-House", "Dance Hall", "Goa", "Drum & Bass",
    "Club-House", "Hardcore", "Terror", "Indie",
    "BritPop", "Negerpunk", "Polsk Punk", "Beat",
    "Christian Gangsta", "Heavy Metal", "Black Metal", "Crossover",
    "Contemporary C", "Christian Rock", "Merengue", "Salsa",
    "Thrash Metal", "Anime", "JPop", "SynthPop",
};

namespace {

// Byte-wise with tolower, as the rest of the library compares names; the vocabulary does not
// link the utility library, so it keeps its own copy.
int compareCaseless(std::string_view a, std::string_view b)
{
    const size_t n = std::min(a.size(), b.size());
    for (size_t i = 0; i < n; ++i) {
        const int ca = std::tolower(static_cast<unsigned char>(a[i]));
        const int cb = std::tolower(static_cast<unsigned char>(b[i]));
        if (ca != cb)
            return ca < cb ? -1 : 1;
    }
    if (a.size() == b.size())
        return 0;
    return a.size() < b.size() ? -1 : 1;
}

using SortedIndexes = std::array<unsigned char, kID3GenreCount>;

SortedIndexes sortedPrefix(int count)
{
    SortedIndexes order{};
    std::iota(order.begin(), order.begin() + count, 0);
    std::stable_sort(order.begin(), order.begin() + count, [](unsigned char a, unsigned char b) {
        return compareCaseless(ID3GenreNames[a], ID3GenreNames[b]) < 0;
    });
    return order;
}

} // namespace

} // namespace kestrabel

extern "C" int32_t MediaFileGetGenreCount(void)
try {
    return kestrabel::kID3GenreCount;
}
KESTRABEL_BOUNDARY

extern "C" const char *MediaFileGetGenreName(int32_t index)
try {
    return kestrabel::genreName(index);
}
KESTRABEL_BOUNDARY

namespace kestrabel {

const char *genreName(int index)
{
    if (index < 0 || index >= kID3GenreCount)
        return nullptr;
    return ID3GenreNames[index];
}

int genreIndexByName(std::string_view text)
{
    for (int i = 0; i < kID3GenreCount; ++i) {
        if (compareCaseless(text, ID3GenreNames[i]) == 0)
            return i;
    }
    return -1;
}

int genreIndexSorted(std::string_view text, int count)
{
    count = std::clamp(count, 0, kID3GenreCount);
    // The two prefixes in use get their own sorted view, built once.
    static const SortedIndexes mp4Order = sortedPrefix(kMP4GenreCount);
    static const SortedIndexes id3Order = sortedPrefix(kID3GenreCount);
    const SortedIndexes order = count == kMP4GenreCount ? mp4Order
                                : count == kID3GenreCount ? id3Order
                                                          : sortedPrefix(count);
    int low = 0;
    int high = count - 1;
    while (low <= high) {
        const int mid = low + (high - low) / 2;
        const int c = compareCaseless(text, ID3GenreNames[order[mid]]);
        if (c == 0)
            return order[mid];
        if (c < 0)
            high = mid - 1;
        else
            low = mid + 1;
    }
    return -1;
}

} // namespace kestrabel
