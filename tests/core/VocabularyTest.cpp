// The fixed names: kinds, data IDs, statuses and genres. The expected names come from the public
// header, the reference page and the ID3v1 genre list, never from the library's own tables.
#include "TestSupport.h"
#include "core/Genres.h"

#include <kestrabel/MediaFile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

namespace {

std::string slurp(const char *path)
{
    std::ifstream in(path);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The ID3v1 list with the Winamp extensions, as the classic library spells it: "Psychadelic",
// "Bebob", "Acapella", and the two names cut short ("Christian Gangsta", "Contemporary C").
constexpr const char *kGenres =
    "Blues|Classic Rock|Country|Dance|Disco|Funk|Grunge|Hip-Hop|Jazz|Metal|New Age|Oldies|Other|Pop|R&B|Rap|"
    "Reggae|Rock|Techno|Industrial|Alternative|Ska|Death Metal|Pranks|Soundtrack|Euro-Techno|Ambient|Trip-Hop|"
    "Vocal|Jazz+Funk|Fusion|Trance|Classical|Instrumental|Acid|House|Game|Sound Clip|Gospel|Noise|AlternRock|"
    "Bass|Soul|Punk|Space|Meditative|Instrumental Pop|Instrumental Rock|Ethnic|Gothic|Darkwave|"
    "Techno-Industrial|Electronic|Pop-Folk|Eurodance|Dream|Southern Rock|Comedy|Cult|Gangsta|Top 40|"
    "Christian Rap|Pop/Funk|Jungle|Native American|Cabaret|New Wave|Psychadelic|Rave|Showtunes|Trailer|Lo-Fi|"
    "Tribal|Acid Punk|Acid Jazz|Polka|Retro|Musical|Rock & Roll|Hard Rock|Folk|Folk-Rock|National Folk|Swing|"
    "Fast Fusion|Bebob|Latin|Revival|Celtic|Bluegrass|Avantgarde|Gothic Rock|Progressive Rock|"
    "Psychedelic Rock|Symphonic Rock|Slow Rock|Big Band|Chorus|Easy Listening|Acoustic|Humour|Speech|Chanson|"
    "Opera|Chamber Music|Sonata|Symphony|Booty Bass|Primus|Porn Groove|Satire|Slow Jam|Club|Tango|Samba|"
    "Folklore|Ballad|Power Ballad|Rhythmic Soul|Freestyle|Duet|Punk Rock|Drum Solo|Acapella|Euro-House|"
    "Dance Hall|Goa|Drum & Bass|Club-House|Hardcore|Terror|Indie|BritPop|Negerpunk|Polsk Punk|Beat|"
    "Christian Gangsta|Heavy Metal|Black Metal|Crossover|Contemporary C|Christian Rock|Merengue|Salsa|"
    "Thrash Metal|Anime|JPop|SynthPop";

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return char(std::toupper(c)); });
    return text;
}

} // namespace

TEST(Vocabulary, KindNames)
{
    const char *names[] = {"Unsupported", "MP3", "MP4", "AIFF", "Ogg", "WMA", "EXIF", "FLAC", "WAVE", "QuickTime"};
    for (int kind = -1; kind <= 10; ++kind)
        EXPECT_STREQ(MediaFileGetTypeName(kind), kind < 0 || kind > 9 ? "?" : names[kind]);
}

TEST(Vocabulary, DataIDNamesKeepTheirSpellingsAndGapsAreNotIDs)
{
    for (auto [id, name] : {std::pair{kMediaFileDataIDCopyright, "Copoyright"}, {kMediaFileDataIDBWFOriginatorReference, "BWF Originater Reference"},
                            {kMediaFileDataIDBandOrOrchestra, "Album Artist"}, {kMediaFileDataIDArtwork, "Cover Art"}})
        EXPECT_STREQ(MediaFileGetDataIDName(id), name);
    for (int gap : {43, 99, 107, 149, 156, 199, 213, 299, 307, 399, 401, 500, 503, -1})
        EXPECT_EQ(MediaFileGetDataIDName(gap), nullptr) << gap;
    // A tagged file's values fit their IDs' types: no integer ID reads as other text.
    kestrabel::test::OpenFile file(kestrabel::test::fixturePath("vorbis-tagged.ogg"));
    for (size_t i = 0, previous = 0; i < MediaFileGetDataIDCount(); previous = size_t(MediaFileGetDataIDInfoAt(i++)->dataID)) {
        const MediaFileDataIDInfo *info = MediaFileGetDataIDInfoAt(i);
        EXPECT_TRUE(i == 0 || size_t(info->dataID) > previous) << "the table is in ID order, each ID once";
        const std::string text = file.string(info->dataID);
        EXPECT_TRUE(info->valueType != 'I' || text.find_first_not_of("-0123456789") == std::string::npos) << info->constantName << ": " << text;
    }
    EXPECT_EQ(MediaFileGetDataIDInfoAt(MediaFileGetDataIDCount()), nullptr);
    // Every ID the public header declares, under its constant name, and no other.
    const std::string header = slurp(KESTRABEL_PUBLIC_HEADER);
    const std::regex declared(R"(\b(kMediaFileDataID\w+) = (\d+))");
    size_t count = 0;
    for (std::sregex_iterator it(header.begin(), header.end(), declared), end; it != end; ++it, ++count) {
        const MediaFileDataIDInfo *info = MediaFileGetDataIDInfo(std::stoi((*it)[2]));
        EXPECT_STREQ(info ? info->constantName : "(none)", std::string((*it)[1]).c_str());
    }
    EXPECT_EQ(count, MediaFileGetDataIDCount());
}

TEST(Vocabulary, FindByAnyOfTheThreeNames)
{
    for (auto [name, id] : {std::pair<const char *, int>{"kMediaFileDataIDTitle", kMediaFileDataIDTitle}, {"title", kMediaFileDataIDTitle},
                            {"TRACK NUMBER", kMediaFileDataIDTrackNumber}, {"BandOrOrchestra", kMediaFileDataIDBandOrOrchestra},
                            {"album artist", kMediaFileDataIDBandOrOrchestra}, {"nonsense", -1}, {"", -1}, {nullptr, -1}})
        EXPECT_EQ(MediaFileFindDataID(name) ? MediaFileFindDataID(name)->dataID : -1, id) << (name ? name : "(null)");
}

// Every row of the reference page's status table: name and text. A status declared in the
// public header without a row there, or a number the library names without a row, fails.
TEST(Vocabulary, EveryStatusHasTheNameAndTextOfTheReferencePage)
{
    const std::string reference = slurp(KESTRABEL_API_REFERENCE);
    const std::regex row(R"(^\| (-?\d+) \| `(\w+)` \| (.*?) \|\s*$)", std::regex::multiline);
    std::map<int, std::string> documented;
    for (std::sregex_iterator it(reference.begin(), reference.end(), row), end; it != end; ++it) {
        const int value = std::stoi((*it)[1]);
        documented[value] = (*it)[2];
        EXPECT_STREQ(MediaFileGetStatusName(value), std::string((*it)[2]).c_str()) << value;
        EXPECT_STREQ(MediaFileGetStatusMessage(value), std::string((*it)[3]).c_str()) << value;
    }
    EXPECT_GE(documented.size(), 48u);
    const std::string header = slurp(KESTRABEL_PUBLIC_HEADER);
    const std::regex declared(R"(\b(k(?:MediaFile|OggVorbis)(?:Err\w*|NoErr)) = (-?\d+))");
    for (std::sregex_iterator it(header.begin(), header.end(), declared), end; it != end; ++it)
        EXPECT_TRUE(std::string((*it)[1]).ends_with("Base") || documented[std::stoi((*it)[2])] == (*it)[1])
            << (*it)[1] << " is declared but not on the reference page";
    for (int value = -10000; value <= 10000; ++value)
        EXPECT_TRUE(MediaFileGetStatusName(value)[0] != 'k' || documented.count(value)) << MediaFileGetStatusName(value) << " has no row";
    EXPECT_STREQ(MediaFileGetStatusName(2), "ENOENT");
    EXPECT_STREQ(MediaFileGetStatusName(-2), "?");
    EXPECT_STREQ(MediaFileGetStatusMessage(-2), "unknown status");
}

// Every genre by its number, and found again by its name in any case (MP4's short list too).
TEST(Vocabulary, GenreList)
{
    std::istringstream list(kGenres);
    std::string name;
    int index = 0;
    for (; std::getline(list, name, '|'); ++index) {
        EXPECT_STREQ(MediaFileGetGenreName(index), name.c_str()) << index;
        EXPECT_EQ(kestrabel::genreIndexByName(upper(name)), index) << name;
        EXPECT_EQ(kestrabel::genreIndexSorted(upper(name), kestrabel::kID3GenreCount), index) << name;
        EXPECT_EQ(kestrabel::genreIndexSorted(name, kestrabel::kMP4GenreCount), index < 126 ? index : -1) << name;
    }
    EXPECT_EQ(MediaFileGetGenreCount(), index) << "a genre of the library has no case here";
    EXPECT_TRUE(!MediaFileGetGenreName(index) && !MediaFileGetGenreName(-1));
}
