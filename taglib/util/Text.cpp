#include "Text.h"

namespace kestrabel::util {

namespace {

// Decodes one code point; false on any malformed sequence.
bool decodeUtf8(std::string_view text, size_t &i, uint32_t &cp)
{
    auto byte = [&](size_t k) { return static_cast<uint8_t>(text[k]); };
    uint8_t lead = byte(i);
    int extra;
    uint32_t minimum;
    if (lead < 0x80) {
        cp = lead;
        ++i;
        return true;
    } else if ((lead & 0xE0) == 0xC0) {
        extra = 1, cp = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        extra = 2, cp = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        extra = 3, cp = lead & 0x07, minimum = 0x10000;
    } else {
        return false;
    }
    if (i + extra >= text.size())
        return false;
    for (int k = 1; k <= extra; ++k) {
        uint8_t next = byte(i + k);
        if ((next & 0xC0) != 0x80)
            return false;
        cp = cp << 6 | (next & 0x3F);
    }
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
        return false;
    i += extra + 1;
    return true;
}

void appendUtf8(std::string &out, uint32_t cp)
{
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | cp >> 6);
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | cp >> 12);
        out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | cp >> 18);
        out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

} // namespace

bool isValidUtf8(std::string_view text)
{
    for (size_t i = 0; i < text.size();) {
        uint32_t cp;
        if (!decodeUtf8(text, i, cp))
            return false;
    }
    return true;
}

std::string sanitizeUtf8(std::string_view text)
{
    // Valid runs are copied whole, not a code point at a time: nearly all text is valid, and
    // every value read passes through here.
    std::string out;
    out.reserve(text.size());
    size_t run = 0;
    for (size_t i = 0; i < text.size();) {
        if (static_cast<uint8_t>(text[i]) < 0x80) {
            ++i;
            continue;
        }
        uint32_t cp;
        const size_t start = i;
        if (!decodeUtf8(text, i, cp)) {
            out.append(text.substr(run, start - run));
            appendUtf8(out, 0xFFFD);
            i = run = start + 1;
        }
    }
    out.append(text.substr(run));
    return out;
}

MediaFileStatus utf8ToLatin1(std::string_view utf8, MediaFileFlags flags, std::string *out)
{
    std::string result;
    result.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size();) {
        uint32_t cp;
        if (!decodeUtf8(utf8, i, cp))
            return kMediaFileErrTextConversion;
        if (cp > 0xFF) {
            if (!(flags & kLossyLatin1))
                return kMediaFileErrTooSmall;
            cp = '?';
        }
        result += static_cast<char>(cp);
    }
    *out = std::move(result);
    return kMediaFileNoErr;
}

MediaFileStatus latin1ToUtf8(std::string_view latin1, std::string *out)
{
    std::string result;
    result.reserve(latin1.size() * 2);
    for (char c : latin1)
        appendUtf8(result, static_cast<uint8_t>(c));
    *out = std::move(result);
    return kMediaFileNoErr;
}

MediaFileStatus utf8ToUtf16(std::string_view utf8, int mode, std::vector<uint8_t> *out)
{
    int form = mode & 0x0F;
    bool bigEndian = form == kUtf16BigEndian;
    std::vector<uint8_t> result;
    result.reserve(utf8.size() * 2 + 4);
    auto unit = [&](uint32_t u) {
        if (bigEndian) {
            result.push_back(static_cast<uint8_t>(u >> 8));
            result.push_back(static_cast<uint8_t>(u));
        } else {
            result.push_back(static_cast<uint8_t>(u));
            result.push_back(static_cast<uint8_t>(u >> 8));
        }
    };
    if (form == kUtf16WithBOM)
        unit(0xFEFF);
    for (size_t i = 0; i < utf8.size();) {
        uint32_t cp;
        if (!decodeUtf8(utf8, i, cp))
            return kMediaFileErrTextConversion;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            unit(0xD800 | cp >> 10);
            unit(0xDC00 | (cp & 0x3FF));
        } else {
            unit(cp);
        }
    }
    unit(0);
    *out = std::move(result);
    return kMediaFileNoErr;
}

MediaFileStatus utf16ToUtf8(std::span<const uint8_t> bytes, int mode, std::string *out)
{
    int form = mode & 0x0F;
    size_t count = bytes.size() / 2;
    size_t i = 0;
    bool bigEndian = form == kUtf16BigEndian;
    if (form == kUtf16WithBOM) {
        if (count == 0)
            return kMediaFileErrBadFrame;
        uint16_t mark = static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
        if (mark == 0xFEFF)
            bigEndian = true;
        else if (mark == 0xFFFE)
            bigEndian = false;
        else
            return kMediaFileErrBadFrame;
        i = 1;
    }
    auto unitAt = [&](size_t k) -> uint32_t {
        return bigEndian ? uint32_t(bytes[2 * k] << 8 | bytes[2 * k + 1]) : uint32_t(bytes[2 * k + 1] << 8 | bytes[2 * k]);
    };
    std::string result;
    result.reserve(count);
    for (; i < count; ++i) {
        uint32_t u = unitAt(i);
        if (u == 0)
            break;
        if (u >= 0xD800 && u <= 0xDBFF) {
            if (i + 1 >= count)
                return kMediaFileErrTextConversion;
            uint32_t low = unitAt(i + 1);
            if (low < 0xDC00 || low > 0xDFFF)
                return kMediaFileErrTextConversion;
            u = 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
            ++i;
        } else if (u >= 0xDC00 && u <= 0xDFFF) {
            return kMediaFileErrTextConversion;
        }
        appendUtf8(result, u);
    }
    *out = std::move(result);
    return kMediaFileNoErr;
}

std::string convertLineEndings(std::string_view text, int mode)
{
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        bool crlf = c == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
        switch (mode) {
        case 1:
            if (c == '\n')
                out += "\r\n";
            else if (crlf)
                out += "\r\n", ++i;
            else
                out += c;
            break;
        case 2:
            if (crlf)
                out += "\r\n", ++i;
            else if (c == '\r' || c == '\n')
                out += "\r\n";
            else
                out += c;
            break;
        case 3:
            if (crlf)
                out += '\n', ++i;
            else
                out += c;
            break;
        default:
            out += c;
        }
    }
    return out;
}

} // namespace kestrabel::util
