#include "Report.h"

#include <cstring>

namespace kestrabel::cli {

std::string describeBytes(const uint8_t *bytes, size_t length)
{
    auto starts = [&](const char *magic, size_t n, size_t at = 0) { return length >= at + n && std::memcmp(bytes + at, magic, n) == 0; };
    const char *kind = "binary data";
    if (starts("\xFF\xD8\xFF", 3))
        kind = "JPEG image";
    else if (starts("\x89PNG\r\n\x1A\n", 8))
        kind = "PNG image";
    else if (starts("GIF8", 4))
        kind = "GIF image";
    else if (starts("BM", 2))
        kind = "BMP image";
    else if (starts("II*\0", 4) || starts("MM\0*", 4))
        kind = "TIFF image";
    else if (starts("RIFF", 4) && starts("WEBP", 4, 8))
        kind = "WebP image";
    return std::string(kind) + ", " + groupDigits(length) + (length == 1 ? " byte" : " bytes");
}

std::string groupDigits(uint64_t value)
{
    std::string digits = std::to_string(value);
    std::string out;
    for (size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0)
            out += ' ';
        out += digits[i];
    }
    return out;
}

std::string statusText(MediaFileStatus status)
{
    return std::string(MediaFileGetStatusName(status)) + " (" + std::to_string(status) + "): " + MediaFileGetStatusMessage(status);
}

} // namespace kestrabel::cli
