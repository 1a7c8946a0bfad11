#include "VorbisPicture.h"

#include "util/ByteCursor.h"

#include <algorithm>
#include <array>
#include <string>

namespace kestrabel::vorbis {

namespace {

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Every byte's six-bit value, or what else it is. A table rather than a search of the alphabet
// per character: a 30 KB cover is looked at by each of the three picture getters.
constexpr uint8_t kBase64Space = 0xFD, kBase64Pad = 0xFE, kBase64Invalid = 0xFF;
constexpr std::array<uint8_t, 256> kBase64Values = [] {
    std::array<uint8_t, 256> values{};
    values.fill(kBase64Invalid);
    for (uint8_t i = 0; i < 64; ++i)
        values[static_cast<uint8_t>(kBase64Alphabet[i])] = i;
    for (char c : {' ', '\n', '\r', '\t'})
        values[static_cast<uint8_t>(c)] = kBase64Space;
    values['='] = kBase64Pad;
    return values;
}();

bool readCounted(util::ByteReader &reader, std::string &out)
{
    uint32_t length = 0;
    std::span<const uint8_t> bytes;
    if (!reader.be32(length) || !reader.bytes(length, bytes))
        return false;
    out.assign(bytes.begin(), bytes.end());
    return true;
}

// Width, height and bits per pixel from the image's own header; false when it is not an image
// this knows.
bool describeJPEG(std::span<const uint8_t> image, Picture &picture)
{
    util::ByteReader reader(image);
    uint16_t marker = 0;
    if (!reader.be16(marker) || marker != 0xFFD8)
        return false;
    picture.mime = "image/jpeg";
    // Segments up to the frame header (SOF0 to SOF15, leaving out DHT, JPG and DAC).
    while (reader.be16(marker) && (marker >> 8) == 0xFF) {
        uint16_t length = 0;
        if (!reader.be16(length) || length < 2)
            return true;
        uint8_t kind = marker & 0xFF;
        if (kind >= 0xC0 && kind <= 0xCF && kind != 0xC4 && kind != 0xC8 && kind != 0xCC) {
            uint8_t precision = 0, components = 0;
            uint16_t height = 0, width = 0;
            if (reader.u8(precision) && reader.be16(height) && reader.be16(width) && reader.u8(components)) {
                picture.width = width;
                picture.height = height;
                picture.depth = uint32_t(precision) * components;
            }
            return true;
        }
        if (!reader.skip(length - 2u))
            return true;
    }
    return true;
}

bool describePNG(std::span<const uint8_t> image, Picture &picture)
{
    constexpr std::array<uint8_t, 8> kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (image.size() < 8 || !std::equal(kSignature.begin(), kSignature.end(), image.begin()))
        return false;
    picture.mime = "image/png";
    util::ByteReader reader(image.subspan(8));
    uint32_t length = 0, chunk = 0, width = 0, height = 0;
    uint8_t bitDepth = 0, colourType = 0;
    if (!reader.be32(length) || !reader.be32(chunk) || chunk != util::fourCC("IHDR") || !reader.be32(width) ||
        !reader.be32(height) || !reader.u8(bitDepth) || !reader.u8(colourType))
        return true;
    // Samples per pixel by colour type: grey, -, RGB, palette, grey+alpha, -, RGBA.
    constexpr uint8_t kSamples[] = {1, 0, 3, 1, 2, 0, 4};
    picture.width = width;
    picture.height = height;
    picture.depth = colourType < sizeof kSamples ? uint32_t(bitDepth) * kSamples[colourType] : 0;
    return true;
}

bool describeGIF(std::span<const uint8_t> image, Picture &picture)
{
    util::ByteReader reader(image);
    if (!reader.matches("GIF8"))
        return false;
    picture.mime = "image/gif";
    uint16_t width = 0, height = 0;
    if (reader.skip(6) && reader.le16(width) && reader.le16(height)) {
        picture.width = width;
        picture.height = height;
    }
    return true;
}

} // namespace

std::optional<Picture> parsePicture(std::span<const uint8_t> bytes)
{
    util::ByteReader reader(bytes);
    Picture picture;
    uint32_t dataLength = 0;
    std::span<const uint8_t> data;
    if (!reader.be32(picture.type) || !readCounted(reader, picture.mime) || !readCounted(reader, picture.description) ||
        !reader.be32(picture.width) || !reader.be32(picture.height) || !reader.be32(picture.depth) ||
        !reader.be32(picture.colors) || !reader.be32(dataLength) || !reader.bytes(dataLength, data))
        return std::nullopt;
    picture.data.assign(data.begin(), data.end());
    return picture;
}

std::vector<uint8_t> renderPicture(const Picture &picture)
{
    std::vector<uint8_t> out;
    util::ByteWriter writer(out);
    writer.be32(picture.type);
    writer.be32(static_cast<uint32_t>(picture.mime.size()));
    writer.text(picture.mime);
    writer.be32(static_cast<uint32_t>(picture.description.size()));
    writer.text(picture.description);
    writer.be32(picture.width);
    writer.be32(picture.height);
    writer.be32(picture.depth);
    writer.be32(picture.colors);
    writer.be32(static_cast<uint32_t>(picture.data.size()));
    writer.bytes(picture.data);
    return out;
}

Picture pictureFromImage(uint32_t type, std::span<const uint8_t> image)
{
    Picture picture;
    picture.type = type;
    if (!describeJPEG(image, picture) && !describePNG(image, picture) && !describeGIF(image, picture))
        picture.mime = "image/jpeg";
    picture.data.assign(image.begin(), image.end());
    return picture;
}

std::string base64Encode(std::span<const uint8_t> bytes)
{
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t group = uint32_t(bytes[i]) << 16;
        if (i + 1 < bytes.size())
            group |= uint32_t(bytes[i + 1]) << 8;
        if (i + 2 < bytes.size())
            group |= bytes[i + 2];
        out += kBase64Alphabet[group >> 18 & 63];
        out += kBase64Alphabet[group >> 12 & 63];
        out += i + 1 < bytes.size() ? kBase64Alphabet[group >> 6 & 63] : '=';
        out += i + 2 < bytes.size() ? kBase64Alphabet[group & 63] : '=';
    }
    return out;
}

std::optional<std::vector<uint8_t>> base64Decode(std::string_view text)
{
    // Sized for the most the text can hold (three bytes per four characters) and cut at the end.
    std::vector<uint8_t> out(text.size() / 4 * 3 + 3);
    size_t written = 0;
    uint32_t group = 0;
    int bits = 0;
    bool padding = false;
    for (size_t i = 0; i < text.size();) {
        // Four letters of the alphabet at a group boundary, as nearly all of a picture is, at once.
        if (bits == 0 && !padding && text.size() - i >= 4) {
            const uint8_t a = kBase64Values[static_cast<uint8_t>(text[i])], b = kBase64Values[static_cast<uint8_t>(text[i + 1])],
                          c = kBase64Values[static_cast<uint8_t>(text[i + 2])], d = kBase64Values[static_cast<uint8_t>(text[i + 3])];
            if ((a | b | c | d) < 64) {
                const uint32_t four = uint32_t(a) << 18 | uint32_t(b) << 12 | uint32_t(c) << 6 | d;
                out[written++] = static_cast<uint8_t>(four >> 16);
                out[written++] = static_cast<uint8_t>(four >> 8);
                out[written++] = static_cast<uint8_t>(four);
                i += 4;
                continue;
            }
        }
        const uint8_t value = kBase64Values[static_cast<uint8_t>(text[i++])];
        if (value == kBase64Space)
            continue;
        if (value == kBase64Pad) {
            padding = true;
            continue;
        }
        if (value == kBase64Invalid || padding)
            return std::nullopt;
        group = group << 6 | value;
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out[written++] = static_cast<uint8_t>(group >> bits);
        }
    }
    out.resize(written);
    return out;
}

} // namespace kestrabel::vorbis
