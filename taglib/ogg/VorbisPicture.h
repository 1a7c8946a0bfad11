// The picture structure of FLAC's PICTURE block, which Ogg files carry base64-encoded in
// METADATA_BLOCK_PICTURE comments; and which picture each artwork data ID stands for.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrabel::vorbis {

constexpr const char kPictureComment[] = "METADATA_BLOCK_PICTURE";

struct PictureSlot {
    MediaFileDataID id;
    uint32_t type; // the picture type of the ID3 APIC list, which FLAC shares
    bool firstWhenAbsent; // no picture of the type: the file's first picture stands in
};

constexpr PictureSlot kPictureSlots[] = {
    {kMediaFileDataIDArtwork, 3, true}, // front cover
    {kMediaFileDataIDArtworkBack, 4, false}, // back cover
    {kMediaFileDataIDArtworkMisc, 19, false}, // band or artist logotype
};

constexpr const PictureSlot *pictureSlot(MediaFileDataID id)
{
    for (const PictureSlot &slot : kPictureSlots)
        if (slot.id == id)
            return &slot;
    return nullptr;
}

struct Picture {
    uint32_t type = 0;
    std::string mime;
    std::string description;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t depth = 0;
    uint32_t colors = 0;
    std::vector<uint8_t> data;
};

// Null when a length runs past the end.
std::optional<Picture> parsePicture(std::span<const uint8_t> bytes);
std::vector<uint8_t> renderPicture(const Picture &picture);

// A picture of the type holding image, with the MIME type and size read from the image
// (JPEG, PNG and GIF; other images get "image/jpeg", what the setters of every kind assume,
// and no size).
Picture pictureFromImage(uint32_t type, std::span<const uint8_t> image);

std::string base64Encode(std::span<const uint8_t> bytes);
// Null for text that is not base64 (white space is passed over).
std::optional<std::vector<uint8_t>> base64Decode(std::string_view text);

} // namespace kestrabel::vorbis
