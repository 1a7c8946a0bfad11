#include "FrameTable.h"
#include "ID3Frames.h"

#include "util/Text.h"

#include <algorithm>
#include <cctype>

namespace kestrabel::id3 {

uint32_t ID3Options = 7;

ID3Frame *findFrame(ID3Tag &tag, uint32_t frameID)
{
    auto it = std::find_if(tag.frames.begin(), tag.frames.end(), [&](const ID3Frame &f) { return f.frameID == frameID; });
    return it == tag.frames.end() ? nullptr : &*it;
}

const ID3Frame *findFrame(const ID3Tag &tag, uint32_t frameID)
{
    return findFrame(const_cast<ID3Tag &>(tag), frameID);
}

void ID3PutFrame(ID3Tag &tag, uint32_t origin, uint32_t contentKind, uint32_t frameID, std::string_view longID,
                 std::string_view shortID, uint32_t flags, std::span<const uint8_t> data)
{
    if (origin != kOriginFile) {
        if (ID3Frame *existing = findFrame(tag, frameID)) {
            existing->data.assign(data.begin(), data.end());
            return;
        }
    }
    ID3Frame frame;
    frame.origin = origin;
    frame.contentKind = contentKind;
    frame.frameID = frameID;
    frame.flags = flags;
    frame.data.assign(data.begin(), data.end());
    if (longID.empty() && shortID.empty()) {
        const FrameTableRow *row = frameRowByID(frameID);
        frame.longID = row ? row->longID : "????";
        frame.shortID = row ? row->shortID : "???";
    } else {
        frame.longID = longID;
        frame.shortID = shortID;
    }
    tag.frames.push_back(std::move(frame));
}

MediaFileStatus ID3RemoveFrame(ID3Tag &tag, uint32_t frameID)
{
    auto it = std::find_if(tag.frames.begin(), tag.frames.end(), [&](const ID3Frame &f) { return f.frameID == frameID; });
    if (it == tag.frames.end())
        return kMediaFileErrNotFound;
    tag.frames.erase(it);
    return kMediaFileNoErr;
}

bool ID3RemoveFrames(ID3Tag &tag, uint32_t frameID)
{
    return std::erase_if(tag.frames, [&](const ID3Frame &f) { return f.frameID == frameID; }) > 0;
}

size_t terminatorLength(uint8_t encoding) { return encoding == 1 || encoding == 2 ? 2 : 1; }

MediaFileStatus decodeString(uint8_t encoding, std::span<const uint8_t> bytes, bool requireTerminator,
                             std::string *out, size_t *consumed)
{
    if (encoding > 3)
        return kMediaFileErrBadFrame;
    const size_t unit = terminatorLength(encoding);
    size_t length = bytes.size() - bytes.size() % unit;
    bool terminated = false;
    for (size_t i = 0; i + unit <= bytes.size(); i += unit) {
        if (bytes[i] == 0 && (unit == 1 || bytes[i + 1] == 0)) {
            length = i;
            terminated = true;
            break;
        }
    }
    if (!terminated && requireTerminator)
        return kMediaFileErrPastEnd;
    std::span<const uint8_t> text = bytes.first(length);
    std::string decoded;
    MediaFileStatus status = kMediaFileNoErr;
    switch (encoding) {
    case 0:
        status = util::latin1ToUtf8({reinterpret_cast<const char *>(text.data()), text.size()}, &decoded);
        break;
    case 1:
        // Writers that forget the byte-order mark almost always write little-endian.
        status = util::utf16ToUtf8(text, util::kUtf16WithBOM, &decoded);
        if (status == kMediaFileErrBadFrame)
            status = util::utf16ToUtf8(text, util::kUtf16LittleEndian, &decoded);
        break;
    case 2:
        status = util::utf16ToUtf8(text, util::kUtf16BigEndian, &decoded);
        break;
    default:
        decoded = util::sanitizeUtf8({reinterpret_cast<const char *>(text.data()), text.size()});
        break;
    }
    if (status)
        return status;
    *out = std::move(decoded);
    if (consumed)
        *consumed = terminated ? length + unit : length;
    return kMediaFileNoErr;
}

MediaFileStatus ID3DecodeText(std::span<const uint8_t> body, std::string *out)
{
    if (body.empty()) {
        out->clear();
        return kMediaFileNoErr;
    }
    return decodeString(body[0], body.subspan(1), false, out, nullptr);
}

MediaFileStatus ID3CopyFrameText(const ID3Tag &tag, uint32_t frameID, std::string *out)
{
    const ID3Frame *frame = findFrame(tag, frameID);
    if (!frame)
        return kMediaFileErrNotFound;
    return ID3DecodeText(frame->data, out);
}

MediaFileStatus encodeText(std::string_view utf8, uint8_t *encoding, std::vector<uint8_t> *out)
{
    std::string latin1;
    MediaFileStatus status = util::utf8ToLatin1(utf8, 0, &latin1);
    if (status == kMediaFileNoErr) {
        *encoding = 0;
        out->assign(latin1.begin(), latin1.end());
        return kMediaFileNoErr;
    }
    if (status != kMediaFileErrTooSmall)
        return status;
    std::vector<uint8_t> units;
    if ((status = util::utf8ToUtf16(utf8, util::kUtf16WithBOM, &units)))
        return status;
    if (units.size() >= 2)
        units.resize(units.size() - 2);
    *encoding = 1;
    *out = std::move(units);
    return kMediaFileNoErr;
}

MediaFileStatus ID3SetTextFrame(ID3Tag &tag, uint32_t frameID, std::string_view utf8)
{
    uint8_t encoding = 0;
    std::vector<uint8_t> text;
    if (MediaFileStatus status = encodeText(utf8, &encoding, &text))
        return status;
    std::vector<uint8_t> body;
    body.reserve(text.size() + 1);
    body.push_back(encoding);
    body.insert(body.end(), text.begin(), text.end());
    ID3PutFrame(tag, kOriginCaller, kContentText, frameID, {}, {}, 0, body);
    return kMediaFileNoErr;
}

bool isBlank(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return std::isspace(static_cast<unsigned char>(c)); });
}

} // namespace kestrabel::id3
