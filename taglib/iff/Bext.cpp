#include "Bext.h"

#include "util/Text.h"

#include <algorithm>

namespace kestrabel::iff {

namespace {

struct BextField {
    MediaFileDataID id;
    size_t offset;
    size_t width; // 0: runs to the end of the data
};

constexpr BextField kBextFields[] = {
    {kMediaFileDataIDBWFDescription, 0, 256},
    {kMediaFileDataIDBWFOriginator, 256, 32},
    {kMediaFileDataIDBWFOriginatorReference, 288, 32},
    {kMediaFileDataIDBWFOriginatorDate, 320, 10},
    {kMediaFileDataIDBWFOriginatorTime, 330, 8},
    {kMediaFileDataIDBWFCodingHistory, 602, 0},
};

constexpr size_t kVersionOffset = 346;
constexpr size_t kCodingHistoryOffset = 602;
constexpr size_t kNewChunkSize = 604;

const BextField *fieldFor(MediaFileDataID id)
{
    for (const BextField &field : kBextFields)
        if (field.id == id)
            return &field;
    return nullptr;
}

// The fields are meant to hold ASCII; tools that wrote other bytes mostly meant Latin-1.
std::string fieldText(std::string_view bytes)
{
    if (util::isValidUtf8(bytes))
        return std::string(bytes);
    std::string converted;
    if (util::latin1ToUtf8(bytes, &converted) != kMediaFileNoErr)
        return util::sanitizeUtf8(bytes);
    return converted;
}

// At most width bytes, cut before a UTF-8 sequence that would not fit whole.
std::string_view truncated(std::string_view text, size_t width)
{
    if (text.size() <= width)
        return text;
    size_t cut = width;
    while (cut > 0 && (static_cast<uint8_t>(text[cut]) & 0xC0) == 0x80)
        --cut;
    return text.substr(0, cut);
}

void growTo(std::vector<uint8_t> &bext, bool littleEndian, size_t needed)
{
    if (bext.empty()) {
        bext.assign(needed, 0);
        bext[kVersionOffset + (littleEndian ? 0 : 1)] = 1;
        bext[kCodingHistoryOffset] = '\r';
        bext[kCodingHistoryOffset + 1] = '\n';
    } else if (needed > bext.size()) {
        bext.resize(needed, 0);
    }
}

} // namespace

bool isBextDataID(MediaFileDataID id) { return fieldFor(id) != nullptr; }

MediaFileStatus getBextField(std::span<const uint8_t> bext, MediaFileDataID id, std::string *out)
{
    const BextField *field = fieldFor(id);
    if (!field)
        return kMediaFileErrUnsupported;
    if (bext.size() <= field->offset)
        return kMediaFileErrNotFound;
    size_t available = bext.size() - field->offset;
    size_t width = field->width ? std::min(field->width, available) : available;
    auto begin = bext.begin() + static_cast<ptrdiff_t>(field->offset);
    auto end = std::find(begin, begin + static_cast<ptrdiff_t>(width), uint8_t(0));
    *out = fieldText(std::string_view(reinterpret_cast<const char *>(&*begin), static_cast<size_t>(end - begin)));
    return kMediaFileNoErr;
}

MediaFileStatus setBextField(std::vector<uint8_t> &bext, bool littleEndian, MediaFileDataID id, std::string_view text)
{
    const BextField *field = fieldFor(id);
    if (!field)
        return kMediaFileErrUnsupported;
    if (id == kMediaFileDataIDBWFCodingHistory) {
        std::string history = util::convertLineEndings(text, 2);
        if (!history.ends_with("\r\n"))
            history += "\r\n";
        size_t needed = kCodingHistoryOffset + history.size();
        growTo(bext, littleEndian, needed + (needed & 1));
        auto at = bext.begin() + kCodingHistoryOffset;
        std::fill(std::copy(history.begin(), history.end(), at), bext.end(), uint8_t(0));
        return kMediaFileNoErr;
    }
    growTo(bext, littleEndian, kNewChunkSize);
    std::string_view value = truncated(text, field->width);
    auto at = bext.begin() + static_cast<ptrdiff_t>(field->offset);
    std::fill(std::copy(value.begin(), value.end(), at), at + static_cast<ptrdiff_t>(field->width), uint8_t(0));
    return kMediaFileNoErr;
}

} // namespace kestrabel::iff
