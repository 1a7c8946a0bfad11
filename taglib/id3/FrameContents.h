// The bodies of the frames that are more than one plain text: number pairs, year, comments and
// lyrics, pictures, relative volume and involved people; and the ID3v1 tag with the genre
// conventions.
#pragma once

#include "ID3Frames.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrabel::id3 {

// TRCK and TPOS: "number/total" or "number". A negative argument keeps that half.
MediaFileStatus getNumberPair(const ID3Tag &tag, uint32_t frameID, int32_t *number, int32_t *total);
MediaFileStatus setNumberPair(ID3Tag &tag, uint32_t frameID, int32_t number, int32_t total);

// TDRC, else TYER; writes go to both.
MediaFileStatus getYear(const ID3Tag &tag, int32_t *year);
MediaFileStatus setYear(ID3Tag &tag, int32_t year);

// TPE1 unless it is blank, else TPE2.
MediaFileStatus getArtist(const ID3Tag &tag, std::string *out);

// COMM and USLT share one body layout: encoding, language, descriptor, text.
MediaFileStatus getCommentText(const ID3Tag &tag, uint32_t frameID, std::string *out);
MediaFileStatus setCommentText(ID3Tag &tag, uint32_t frameID, std::string_view text);
MediaFileStatus getLyrics(const ID3Tag &tag, std::string *out);
MediaFileStatus setLyrics(ID3Tag &tag, std::string_view text);

// Picture types with this bit set fall back to the first picture when none has the type.
inline constexpr uint8_t kPictureFallback = 0x80;
inline constexpr uint8_t kPictureFrontCover = 3;
inline constexpr uint8_t kPictureBackCover = 4;
inline constexpr uint8_t kPictureArtistLogo = 19;

struct Picture {
    std::string mime; // only when the frame is in MIME form
    uint8_t type = 0;
    std::vector<uint8_t> data;
};
MediaFileStatus ID3GetPicture(const ID3Tag &tag, uint8_t pictureType, Picture *out);
// No data removes the first picture; otherwise the first picture, whatever its type, is replaced.
MediaFileStatus ID3SetPicture(ID3Tag &tag, uint8_t pictureType, std::string_view mime, std::span<const uint8_t> data);

// Every picture of the type (with kPictureFallback: every picture) goes.
void ID3RemovePictures(ID3Tag &tag, uint8_t pictureType);

// The 52-byte record of kMediaFileDataIDVolume: 13 signed 32-bit words in host byte order.
struct VolumeRecord {
    enum : int32_t { kMain = 1, kBack = 2, kCentre = 4, kBass = 8 };
    int32_t parts = 0;
    int32_t rightChange = 0, leftChange = 0, rightPeak = 0, leftPeak = 0;
    int32_t rightBackChange = 0, leftBackChange = 0, rightBackPeak = 0, leftBackPeak = 0;
    int32_t centreChange = 0, centrePeak = 0;
    int32_t bassChange = 0, bassPeak = 0;
};
static_assert(sizeof(VolumeRecord) == 52);
MediaFileStatus ID3GetVolume(const ID3Tag &tag, VolumeRecord *out);
MediaFileStatus ID3SetVolume(ID3Tag &tag, const VolumeRecord &record);

using InvolvedPeople = std::vector<std::pair<std::string, std::string>>; // (role, person)
MediaFileStatus getInvolvedPeople(const ID3Tag &tag, InvolvedPeople *out);
MediaFileStatus setInvolvedPeople(ID3Tag &tag, const InvolvedPeople &people);
// The text form of the list: one "role: person" pair per line.
std::string formatInvolvedPeople(const InvolvedPeople &people);
InvolvedPeople parseInvolvedPeople(std::string_view text);

// Genre index of a TCON text: 0-147, -1 for empty text, -2 for text that names no genre.
int ID3ParseGenre(std::string_view text);
inline constexpr uint32_t kGenreKeepText = 0x02; // ID3GetGenre: give TCON as stored
inline constexpr uint32_t kGenreStoreText = 0x01; // ID3SetGenre: store text, not "(n)"
MediaFileStatus ID3GetGenre(const ID3Tag &tag, uint32_t flags, int *index, std::string *name);
// index -1 removes TCON; -2 stores text (required) as a reference when it names a genre.
MediaFileStatus ID3SetGenre(ID3Tag &tag, uint32_t flags, int index, const std::string_view *text);

// The 128-byte ID3v1 tag: merged into the frames, or built from them.
MediaFileStatus ID3ReadV1(std::span<const uint8_t> bytes, bool overwrite, ID3Tag &tag);
std::array<uint8_t, 128> renderV1(const ID3Tag &tag, MediaFileFlags options);

} // namespace kestrabel::id3
