#include "FrameContents.h"

#include "core/DataIDRules.h"
#include "util/ByteCursor.h"
#include "util/Pack.h"
#include "util/Text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace kestrabel::id3 {
namespace {

constexpr uint32_t kTPE1 = frameCode("TPE1");
constexpr uint32_t kTPE2 = frameCode("TPE2");
constexpr uint32_t kTDRC = frameCode("TDRC");
constexpr uint32_t kTYER = frameCode("TYER");
constexpr uint32_t kUSLT = frameCode("USLT");
constexpr uint32_t kAPIC = frameCode("APIC");
constexpr uint32_t kRVAD = frameCode("RVAD");
constexpr uint32_t kIPLS = frameCode("IPLS");
constexpr uint32_t kTIPL = frameCode("TIPL");

// Lyrics are stored and handed out with single line breaks.
constexpr int kLineEndingsCRLFToLF = 3;

std::span<const uint8_t> asBytes(std::string_view text) { return {reinterpret_cast<const uint8_t *>(text.data()), text.size()}; }

// sscanf "%d" and "%d/%d" on the frame text.
MediaFileStatus scanPair(std::string_view text, int32_t *number, int32_t *total)
{
    std::string copy(text);
    int first = 0;
    int second = 0;
    int matched = copy.find('/') != std::string::npos ? std::sscanf(copy.c_str(), "%d/%d", &first, &second)
                                                      : std::sscanf(copy.c_str(), "%d", &first);
    if (matched < 1)
        return kMediaFileErrBadFormat;
    *number = first;
    *total = matched == 2 ? second : 0;
    return kMediaFileNoErr;
}

} // namespace

MediaFileStatus getNumberPair(const ID3Tag &tag, uint32_t frameID, int32_t *number, int32_t *total)
{
    std::string text;
    if (MediaFileStatus status = ID3CopyFrameText(tag, frameID, &text))
        return status;
    return scanPair(text, number, total);
}

MediaFileStatus setNumberPair(ID3Tag &tag, uint32_t frameID, int32_t number, int32_t total)
{
    int32_t oldNumber = 0;
    int32_t oldTotal = 0;
    getNumberPair(tag, frameID, &oldNumber, &oldTotal);
    if (number < 0)
        number = oldNumber;
    if (total < 0)
        total = oldTotal;
    std::string text = total >= 1 ? std::to_string(number) + "/" + std::to_string(total) : std::to_string(number);
    return ID3SetTextFrame(tag, frameID, text);
}

MediaFileStatus getYear(const ID3Tag &tag, int32_t *year)
{
    std::string text;
    MediaFileStatus status = ID3CopyFrameText(tag, kTDRC, &text);
    if (status == kMediaFileErrNotFound)
        status = ID3CopyFrameText(tag, kTYER, &text);
    if (status)
        return status;
    *year = leadingInteger(text);
    return kMediaFileNoErr;
}

MediaFileStatus setYear(ID3Tag &tag, int32_t year)
{
    const std::string text = std::to_string(year);
    if (MediaFileStatus status = ID3SetTextFrame(tag, kTDRC, text))
        return status;
    return ID3SetTextFrame(tag, kTYER, text);
}

MediaFileStatus getArtist(const ID3Tag &tag, std::string *out)
{
    std::string text;
    if (ID3CopyFrameText(tag, kTPE1, &text) == kMediaFileNoErr && !isBlank(text)) {
        *out = std::move(text);
        return kMediaFileNoErr;
    }
    return ID3CopyFrameText(tag, kTPE2, out);
}

namespace {

MediaFileStatus splitComment(const std::vector<uint8_t> &body, std::string *descriptor, std::string *text)
{
    if (body.size() < 5)
        return kMediaFileErrShortHeader;
    const uint8_t encoding = body[0];
    std::span<const uint8_t> rest = std::span<const uint8_t>(body).subspan(4);
    size_t consumed = 0;
    if (MediaFileStatus status = decodeString(encoding, rest, true, descriptor, &consumed))
        return status;
    return text ? decodeString(encoding, rest.subspan(consumed), false, text, nullptr) : kMediaFileNoErr;
}

// The frame a comment get shows and a set replaces: the first one, or under the interop rules
// the first without a description (iTunNORM and the like are records, not the comment), else
// the first. With appendable, null when no frame lacks a description, so a set adds one.
ID3Frame *shownCommentFrame(ID3Tag &tag, uint32_t frameID, bool appendable)
{
    ID3Frame *first = findFrame(tag, frameID);
    if (!first || !tag.rules->plainComment || frameID != frameCode("COMM"))
        return first;
    for (ID3Frame &frame : tag.frames) {
        std::string descriptor;
        if (frame.frameID == frameID && splitComment(frame.data, &descriptor, nullptr) == kMediaFileNoErr &&
            descriptor.empty())
            return &frame;
    }
    return appendable ? nullptr : first;
}

} // namespace

MediaFileStatus getCommentText(const ID3Tag &tag, uint32_t frameID, std::string *out)
{
    const ID3Frame *frame = shownCommentFrame(const_cast<ID3Tag &>(tag), frameID, false);
    if (!frame)
        return kMediaFileErrNotFound;
    std::string descriptor;
    return splitComment(frame->data, &descriptor, out);
}

MediaFileStatus setCommentText(ID3Tag &tag, uint32_t frameID, std::string_view text)
{
    if (text.empty()) {
        if (ID3Frame *shown = shownCommentFrame(tag, frameID, false))
            tag.frames.erase(tag.frames.begin() + (shown - tag.frames.data()));
        return kMediaFileNoErr;
    }
    uint8_t encoding = 0;
    std::vector<uint8_t> encoded;
    if (MediaFileStatus status = encodeText(text, &encoding, &encoded))
        return status;
    // The empty descriptor repeats the text's byte-order mark.
    std::vector<uint8_t> descriptor{0};
    if (encoding == 1)
        descriptor = {encoded[0], encoded[1], 0, 0};
    std::vector<uint8_t> body;
    if (MediaFileStatus status = util::pack(&body, "bnnn", {int64_t(encoding), asBytes("eng"), std::span<const uint8_t>(descriptor), std::span<const uint8_t>(encoded)}))
        return status;
    if (tag.rules->plainComment && findFrame(tag, frameID)) {
        if (ID3Frame *shown = shownCommentFrame(tag, frameID, true))
            shown->data = std::move(body);
        else {
            // Appended beside the records rather than over the first of them.
            ID3PutFrame(tag, kOriginFile, 0, frameID, {}, {}, 0, body);
            tag.frames.back().origin = kOriginCaller;
        }
        return kMediaFileNoErr;
    }
    ID3PutFrame(tag, kOriginCaller, 0, frameID, {}, {}, 0, body);
    return kMediaFileNoErr;
}

MediaFileStatus getLyrics(const ID3Tag &tag, std::string *out)
{
    std::string text;
    if (MediaFileStatus status = getCommentText(tag, kUSLT, &text))
        return status;
    *out = util::convertLineEndings(text, kLineEndingsCRLFToLF);
    return kMediaFileNoErr;
}

MediaFileStatus setLyrics(ID3Tag &tag, std::string_view text)
{
    return setCommentText(tag, kUSLT, util::convertLineEndings(text, kLineEndingsCRLFToLF));
}

namespace {

// The picture frame's head: encoding, then the MIME type (MIME form) or a 3-character image
// format (2.2 form), then the picture type. *typeAt is the offset of the picture type.
bool pictureHead(const ID3Tag &tag, const std::vector<uint8_t> &body, std::string *mime, size_t *typeAt)
{
    if (body.empty())
        return false;
    if (tag.fourCharIDs || tag.picturesInMIMEForm) {
        auto end = std::find(body.begin() + 1, body.end(), uint8_t(0));
        if (end == body.end())
            return false;
        mime->assign(body.begin() + 1, end);
        *typeAt = static_cast<size_t>(end - body.begin()) + 1;
    } else {
        mime->clear();
        *typeAt = 4;
    }
    return *typeAt < body.size();
}

} // namespace

MediaFileStatus ID3GetPicture(const ID3Tag &tag, uint8_t pictureType, Picture *out)
{
    const uint8_t wanted = pictureType & 0x7F;
    const ID3Frame *chosen = nullptr;
    for (const ID3Frame &frame : tag.frames) {
        if (frame.frameID != kAPIC)
            continue;
        std::string mime;
        size_t typeAt = 0;
        if (pictureHead(tag, frame.data, &mime, &typeAt) && frame.data[typeAt] == wanted) {
            chosen = &frame;
            break;
        }
    }
    if (!chosen && (pictureType & kPictureFallback))
        chosen = findFrame(tag, kAPIC);
    if (!chosen)
        return kMediaFileErrNotFound;

    const std::vector<uint8_t> &body = chosen->data;
    if (body.size() < 2)
        return kMediaFileErrShortHeader;
    Picture picture;
    size_t typeAt = 0;
    if (tag.fourCharIDs || tag.picturesInMIMEForm) {
        auto end = std::find(body.begin() + 1, body.end(), uint8_t(0));
        if (end == body.end())
            return kMediaFileErrPastEnd;
        picture.mime.assign(body.begin() + 1, end);
        typeAt = static_cast<size_t>(end - body.begin()) + 1;
    } else {
        typeAt = 4;
    }
    if (typeAt > body.size() || body.size() - typeAt < 2)
        return kMediaFileErrShortHeader;
    picture.type = body[typeAt];
    std::string description;
    size_t consumed = 0;
    std::span<const uint8_t> rest = std::span<const uint8_t>(body).subspan(typeAt + 1);
    if (MediaFileStatus status = decodeString(body[0], rest, true, &description, &consumed))
        return status;
    rest = rest.subspan(consumed);
    picture.data.assign(rest.begin(), rest.end());
    *out = std::move(picture);
    return kMediaFileNoErr;
}

MediaFileStatus ID3SetPicture(ID3Tag &tag, uint8_t pictureType, std::string_view mime, std::span<const uint8_t> data)
{
    if (data.empty()) {
        ID3RemoveFrame(tag, kAPIC);
        return kMediaFileNoErr;
    }
    const std::string terminatedMime = std::string(mime) + '\0';
    std::vector<uint8_t> body;
    if (MediaFileStatus status = util::pack(&body, "bnbbn", {int64_t(0), asBytes(terminatedMime), int64_t(pictureType), int64_t(0), data}))
        return status;
    ID3PutFrame(tag, kOriginCaller, 0, kAPIC, {}, {}, 0, body);
    tag.picturesInMIMEForm = true;
    return kMediaFileNoErr;
}

void ID3RemovePictures(ID3Tag &tag, uint8_t pictureType)
{
    const bool every = pictureType & kPictureFallback;
    std::erase_if(tag.frames, [&](const ID3Frame &frame) {
        if (frame.frameID != kAPIC)
            return false;
        std::string mime;
        size_t typeAt = 0;
        return every || (pictureHead(tag, frame.data, &mime, &typeAt) && frame.data[typeAt] == pictureType);
    });
}

MediaFileStatus ID3GetVolume(const ID3Tag &tag, VolumeRecord *out)
{
    const ID3Frame *frame = findFrame(tag, kRVAD);
    if (!frame)
        return kMediaFileErrNotFound;
    const std::vector<uint8_t> &body = frame->data;
    if (body.size() < 2)
        return kMediaFileErrNotImage;
    const uint8_t signs = body[0];
    const size_t width = (size_t(body[1]) + 7) / 8;
    const size_t available = body.size() - 2;
    if (available < 4 * width)
        return kMediaFileErrNotImage;
    // The largest value of the width, at most 0x7FFFFFFF; values wider than 4 bytes read as 0.
    const uint64_t largest = width == 0 ? 0 : std::min<uint64_t>((width >= 8 ? UINT64_MAX : (uint64_t(1) << (8 * width)) - 1), 0x7FFFFFFF);
    auto value = [&](size_t index) -> int32_t {
        const uint32_t raw = util::getBigEndian(body.data() + 2 + index * width, static_cast<int>(width));
        return largest ? static_cast<int32_t>(uint64_t(raw) * 65535 / largest) : 0;
    };
    auto signedValue = [&](size_t index, int bit) { return (signs >> bit & 1) ? value(index) : -value(index); };
    VolumeRecord r;
    r.parts = VolumeRecord::kMain;
    r.rightChange = signedValue(0, 0);
    r.leftChange = signedValue(1, 1);
    r.rightPeak = value(2);
    r.leftPeak = value(3);
    if (available >= 8 * width) {
        r.parts |= VolumeRecord::kBack;
        r.rightBackChange = signedValue(4, 2);
        r.leftBackChange = signedValue(5, 3);
        r.rightBackPeak = value(6);
        r.leftBackPeak = value(7);
    }
    if (available >= 10 * width) {
        r.parts |= VolumeRecord::kCentre;
        r.centreChange = signedValue(8, 4);
        r.centrePeak = value(9);
    }
    if (available >= 12 * width) {
        r.parts |= VolumeRecord::kBass;
        r.bassChange = signedValue(10, 5);
        r.bassPeak = value(11);
    }
    *out = r;
    return kMediaFileNoErr;
}

MediaFileStatus ID3SetVolume(ID3Tag &tag, const VolumeRecord &r)
{
    if (!(r.parts & (VolumeRecord::kMain | VolumeRecord::kBack | VolumeRecord::kCentre | VolumeRecord::kBass))) {
        ID3RemoveFrame(tag, kRVAD);
        return kMediaFileNoErr;
    }
    auto magnitude = [](int32_t change) -> int64_t { return std::min<int64_t>(change < 0 ? -int64_t(change) : change, 65535); };
    const int64_t signs = (r.rightChange > 0 ? 0x01 : 0) | (r.leftChange > 0 ? 0x02 : 0) | (r.rightBackChange > 0 ? 0x04 : 0) |
                          (r.leftBackChange > 0 ? 0x08 : 0) | (r.centreChange > 0 ? 0x10 : 0) | (r.bassChange > 0 ? 0x20 : 0);
    std::vector<uint8_t> body;
    std::vector<uint8_t> part;
    auto append = [&](MediaFileStatus status) {
        body.insert(body.end(), part.begin(), part.end());
        return status;
    };
    if (MediaFileStatus status = append(util::pack(&part, "bb", {signs, int64_t(16)})))
        return status;
    if (MediaFileStatus status = append(util::pack(&part, "hhhh", {magnitude(r.rightChange), magnitude(r.leftChange), int64_t(r.rightPeak), int64_t(r.leftPeak)})))
        return status;
    if (r.parts & VolumeRecord::kBack) {
        if (MediaFileStatus status = append(util::pack(&part, "hhhh", {magnitude(r.rightBackChange), magnitude(r.leftBackChange), int64_t(r.rightBackPeak), int64_t(r.leftBackPeak)})))
            return status;
    }
    if (r.parts & VolumeRecord::kCentre) {
        if (MediaFileStatus status = append(util::pack(&part, "hh", {magnitude(r.centreChange), int64_t(r.centrePeak)})))
            return status;
    }
    // The bass peak is never written: the change goes in twice, as it always has.
    if (r.parts & VolumeRecord::kBass) {
        if (MediaFileStatus status = append(util::pack(&part, "hh", {magnitude(r.bassChange), magnitude(r.bassChange)})))
            return status;
    }
    ID3PutFrame(tag, kOriginCaller, 0, kRVAD, {}, {}, 0, body);
    return kMediaFileNoErr;
}

MediaFileStatus getInvolvedPeople(const ID3Tag &tag, InvolvedPeople *out)
{
    const ID3Frame *frame = findFrame(tag, kTIPL);
    if (!frame)
        frame = findFrame(tag, kIPLS);
    if (!frame)
        return kMediaFileErrNotFound;
    InvolvedPeople people;
    if (frame->data.empty()) {
        *out = std::move(people);
        return kMediaFileNoErr;
    }
    const uint8_t encoding = frame->data[0];
    std::span<const uint8_t> rest = std::span<const uint8_t>(frame->data).subspan(1);
    while (!rest.empty()) {
        std::string role;
        std::string person;
        size_t consumed = 0;
        if (MediaFileStatus status = decodeString(encoding, rest, false, &role, &consumed))
            return status;
        rest = rest.subspan(consumed);
        if (!rest.empty()) {
            if (MediaFileStatus status = decodeString(encoding, rest, false, &person, &consumed))
                return status;
            rest = rest.subspan(consumed);
        }
        people.emplace_back(std::move(role), std::move(person));
        if (consumed == 0)
            break;
    }
    *out = std::move(people);
    return kMediaFileNoErr;
}

MediaFileStatus setInvolvedPeople(ID3Tag &tag, const InvolvedPeople &people)
{
    const bool empty = std::all_of(people.begin(), people.end(), [](const auto &p) { return p.first.empty() && p.second.empty(); });
    if (empty) {
        ID3RemoveFrame(tag, kIPLS);
        ID3RemoveFrame(tag, kTIPL);
        return kMediaFileNoErr;
    }
    bool needsUtf16 = false;
    for (const auto &[role, person] : people) {
        for (const std::string *text : {&role, &person}) {
            std::string latin1;
            MediaFileStatus status = util::utf8ToLatin1(*text, 0, &latin1);
            if (status == kMediaFileErrTooSmall)
                needsUtf16 = true;
            else if (status)
                return status;
        }
    }
    std::vector<uint8_t> body{uint8_t(needsUtf16 ? 1 : 0)};
    for (const auto &[role, person] : people) {
        for (const std::string *text : {&role, &person}) {
            if (needsUtf16) {
                std::vector<uint8_t> units;
                if (MediaFileStatus status = util::utf8ToUtf16(*text, util::kUtf16WithBOM, &units))
                    return status;
                body.insert(body.end(), units.begin(), units.end());
            } else {
                std::string latin1;
                util::utf8ToLatin1(*text, 0, &latin1);
                body.insert(body.end(), latin1.begin(), latin1.end());
                body.push_back(0);
            }
        }
    }
    ID3PutFrame(tag, kOriginCaller, 0, kIPLS, {}, {}, 0, body);
    ID3PutFrame(tag, kOriginCaller, 0, kTIPL, {}, {}, 0, body);
    return kMediaFileNoErr;
}

std::string formatInvolvedPeople(const InvolvedPeople &people)
{
    std::string text;
    for (const auto &[role, person] : people) {
        if (!text.empty())
            text += '\n';
        text += role;
        text += ": ";
        text += person;
    }
    return text;
}

InvolvedPeople parseInvolvedPeople(std::string_view text)
{
    auto trim = [](std::string_view s) {
        while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
            s.remove_prefix(1);
        while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r'))
            s.remove_suffix(1);
        return std::string(s);
    };
    InvolvedPeople people;
    while (!text.empty()) {
        size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
        if (trim(line).empty())
            continue;
        size_t colon = line.find(':');
        if (colon == std::string_view::npos)
            people.emplace_back(std::string(), trim(line));
        else
            people.emplace_back(trim(line.substr(0, colon)), trim(line.substr(colon + 1)));
    }
    return people;
}

} // namespace kestrabel::id3
