#include "FrameContents.h"

#include "core/Genres.h"
#include "util/Text.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace kestrabel::id3 {
namespace {

constexpr uint32_t kTIT2 = frameCode("TIT2");
constexpr uint32_t kTPE1 = frameCode("TPE1");
constexpr uint32_t kTPE2 = frameCode("TPE2");
constexpr uint32_t kTALB = frameCode("TALB");
constexpr uint32_t kCOMM = frameCode("COMM");
constexpr uint32_t kTRCK = frameCode("TRCK");
constexpr uint32_t kTCON = frameCode("TCON");

// The genre bytes written when TCON does not name a listed genre; three different values on
// purpose, as readers have long seen them.
constexpr uint8_t kGenreByteEmpty = 255;
constexpr uint8_t kGenreByteUnlisted = 254;
constexpr uint8_t kGenreByteMissing = 253;

struct V1Field {
    size_t offset;
    size_t length;
};
constexpr V1Field kTitle{3, 30};
constexpr V1Field kArtist{33, 30};
constexpr V1Field kAlbum{63, 30};
constexpr V1Field kYear{93, 4};
constexpr V1Field kComment{97, 28};
constexpr size_t kV11Marker = 125;
constexpr size_t kTrackByte = 126;
constexpr size_t kGenreByte = 127;

std::string readField(std::span<const uint8_t> record, V1Field field)
{
    std::span<const uint8_t> raw = record.subspan(field.offset, field.length);
    size_t length = std::find(raw.begin(), raw.end(), uint8_t(0)) - raw.begin();
    while (length > 0 && raw[length - 1] == ' ')
        --length;
    std::string text;
    util::latin1ToUtf8({reinterpret_cast<const char *>(raw.data()), length}, &text);
    return text;
}

int32_t readYear(std::span<const uint8_t> record)
{
    std::string digits(reinterpret_cast<const char *>(record.data() + kYear.offset), kYear.length);
    digits = digits.substr(0, digits.find('\0'));
    return static_cast<int32_t>(std::strtol(digits.c_str(), nullptr, 10));
}

// The Latin-1 form of a frame's text for an ID3v1 field, '?' for what Latin-1 lacks; empty
// when the frame is missing or does not convert.
std::string latin1Field(MediaFileStatus status, const std::string &utf8)
{
    std::string latin1;
    if (status || util::utf8ToLatin1(utf8, util::kLossyLatin1, &latin1))
        return {};
    return latin1;
}

std::span<const uint8_t> capped(const std::string &text, size_t limit)
{
    return {reinterpret_cast<const uint8_t *>(text.data()), std::min(text.size(), limit)};
}

} // namespace

int ID3ParseGenre(std::string_view text)
{
    size_t i = 0;
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i])))
        ++i;
    if (i == text.size())
        return -1;
    if (text[i] == '(' && i + 1 < text.size() && std::isdigit(static_cast<unsigned char>(text[i + 1]))) {
        // The closing parenthesis is not checked.
        int index = 0;
        for (size_t k = i + 1; k < text.size() && std::isdigit(static_cast<unsigned char>(text[k])); ++k) {
            index = index * 10 + (text[k] - '0');
            if (index >= kID3GenreCount)
                break;
        }
        if (index < kID3GenreCount)
            return index;
    }
    const int byName = genreIndexByName(text);
    return byName >= 0 ? byName : -2;
}

// A bare number ("13", as taggers write 2.4 genres) names a genre under the interop rules.
static int parseGenre(const ID3Tag &tag, std::string_view text)
{
    if (tag.rules->bareNumberGenre) {
        std::string_view trimmed = text;
        while (!trimmed.empty() && std::isspace(static_cast<unsigned char>(trimmed.front())))
            trimmed.remove_prefix(1);
        while (!trimmed.empty() && std::isspace(static_cast<unsigned char>(trimmed.back())))
            trimmed.remove_suffix(1);
        if (!trimmed.empty() && trimmed.size() <= 3 &&
            std::all_of(trimmed.begin(), trimmed.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            const int index = std::stoi(std::string(trimmed));
            if (index < kID3GenreCount)
                return index;
        }
    }
    return ID3ParseGenre(text);
}

MediaFileStatus ID3GetGenre(const ID3Tag &tag, uint32_t flags, int *index, std::string *name)
{
    std::string text;
    if (MediaFileStatus status = ID3CopyFrameText(tag, kTCON, &text))
        return status;
    const int parsed = parseGenre(tag, text);
    if (index)
        *index = parsed;
    if (name)
        *name = parsed >= 0 && !(flags & kGenreKeepText) ? std::string(ID3GenreNames[parsed]) : text;
    return kMediaFileNoErr;
}

MediaFileStatus ID3SetGenre(ID3Tag &tag, uint32_t flags, int index, const std::string_view *text)
{
    if (index == -1)
        return ID3RemoveFrame(tag, kTCON);
    if (index == -2) {
        if (!text)
            return kMediaFileErrParam;
        const int parsed = parseGenre(tag, *text);
        if (parsed >= 0)
            return ID3SetTextFrame(tag, kTCON, "(" + std::to_string(parsed) + ")");
        return ID3SetTextFrame(tag, kTCON, *text);
    }
    if (index < 0)
        return kMediaFileErrParam;
    if (!(flags & kGenreStoreText)) {
        if (index >= kID3GenreCount)
            return kMediaFileErrParam;
        return ID3SetTextFrame(tag, kTCON, "(" + std::to_string(index) + ")");
    }
    if (text)
        return ID3SetTextFrame(tag, kTCON, *text);
    if (index >= kID3GenreCount)
        return kMediaFileErrTell;
    return ID3SetTextFrame(tag, kTCON, ID3GenreNames[index]);
}

MediaFileStatus ID3ReadV1(std::span<const uint8_t> bytes, bool overwrite, ID3Tag &tag)
{
    if (bytes.size() < 128)
        return kMediaFileErrShortRead;
    std::span<const uint8_t> record = bytes.last(128);
    if (std::memcmp(record.data(), "TAG", 3) != 0)
        return kID3ErrNoMagic;

    const std::string title = readField(record, kTitle);
    const std::string artist = readField(record, kArtist);
    const std::string album = readField(record, kAlbum);
    const std::string comment = readField(record, kComment);
    const int32_t year = readYear(record);
    int32_t track = 0;
    if (record[kV11Marker] == 0)
        track = record[kTrackByte];
    tag.v1Version = track ? 0x11 : 0x10;
    const uint8_t genre = record[kGenreByte];

    auto has = [&](uint32_t id) { return findFrame(tag, id) != nullptr; };
    if (!title.empty() && (overwrite || !has(kTIT2)))
        ID3SetTextFrame(tag, kTIT2, title);
    if (!artist.empty()) {
        std::string current;
        const bool hasArtist = (ID3CopyFrameText(tag, kTPE1, &current) == kMediaFileNoErr && !isBlank(current)) || has(kTPE2);
        if (overwrite || !hasArtist)
            ID3SetTextFrame(tag, kTPE1, artist);
    }
    if (!album.empty() && (overwrite || !has(kTALB)))
        ID3SetTextFrame(tag, kTALB, album);
    if (year != 0) {
        int32_t current = 0;
        if (overwrite || getYear(tag, &current) != kMediaFileNoErr || current == 0)
            setYear(tag, year);
    }
    if (!comment.empty() && (overwrite || !has(kCOMM)))
        setCommentText(tag, kCOMM, comment);
    if (track != 0 && (overwrite || !has(kTRCK)))
        setNumberPair(tag, kTRCK, track, -1);
    if (genre < kID3GenreCount && (overwrite || !has(kTCON)))
        ID3SetTextFrame(tag, kTCON, "(" + std::to_string(genre) + ")");
    return kMediaFileNoErr;
}

std::array<uint8_t, 128> renderV1(const ID3Tag &tag, MediaFileFlags options)
{
    std::string text;
    MediaFileStatus status = ID3CopyFrameText(tag, kTIT2, &text);
    const std::string title = latin1Field(status, text);
    status = getArtist(tag, &text);
    const std::string artist = latin1Field(status, text);
    status = ID3CopyFrameText(tag, kTALB, &text);
    const std::string album = latin1Field(status, text);
    status = getCommentText(tag, kCOMM, &text);
    const std::string comment = latin1Field(status, text);

    // A tag without a year gets "0" and three zero bytes, as it always has.
    int32_t yearValue = 0;
    getYear(tag, &yearValue);
    const std::string year = std::to_string(yearValue);

    int32_t track = 0;
    int32_t total = 0;
    if (!(options & kMediaFileFlagID3v11) || getNumberPair(tag, kTRCK, &track, &total) != kMediaFileNoErr)
        track = 0;

    int genre = kGenreByteMissing;
    if (ID3CopyFrameText(tag, kTCON, &text) == kMediaFileNoErr) {
        const int parsed = parseGenre(tag, text);
        genre = parsed >= 0 ? parsed : parsed == -1 ? kGenreByteEmpty : kGenreByteUnlisted;
    }

    std::array<uint8_t, 128> record{};
    std::memcpy(record.data(), "TAG", 3);
    auto put = [&](V1Field field, const std::string &value) {
        std::span<const uint8_t> bytes = capped(value, field.length);
        std::copy(bytes.begin(), bytes.end(), record.begin() + static_cast<ptrdiff_t>(field.offset));
    };
    put(kTitle, title);
    put(kArtist, artist);
    put(kAlbum, album);
    put(kYear, year);
    put(kComment, comment);
    record[kV11Marker] = 0;
    record[kTrackByte] = static_cast<uint8_t>(track);
    record[kGenreByte] = static_cast<uint8_t>(genre);
    return record;
}

} // namespace kestrabel::id3
