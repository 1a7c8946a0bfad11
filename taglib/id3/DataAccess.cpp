#include "FrameContents.h"
#include "ID3Engine.h"
#include "MPEGScan.h"

#include "core/DataIDRules.h"

#include <array>
#include <cstring>
#include <new>

namespace kestrabel::id3 {
namespace {

struct TextFrameID {
    MediaFileDataID dataID;
    uint32_t frameID;
};

// Data IDs that are one plain text frame each, read and written alike.
constexpr std::array<TextFrameID, 11> kTextFrames{{
    {kMediaFileDataIDAlbum, frameCode("TALB")},
    {kMediaFileDataIDArtist, frameCode("TPE1")},
    {kMediaFileDataIDComposer, frameCode("TCOM")},
    {kMediaFileDataIDEncodedBy, frameCode("TENC")},
    {kMediaFileDataIDSortOrder, frameCode("TSOP")},
    {kMediaFileDataIDTitle, frameCode("TIT2")},
    {kMediaFileDataIDGrouping, frameCode("TIT1")},
    {kMediaFileDataIDPublisher, frameCode("TPUB")},
    {kMediaFileDataIDBandOrOrchestra, frameCode("TPE2")},
    {kMediaFileDataIDISRC, frameCode("TSRC")},
    {kMediaFileDataIDDescription, frameCode("TIT3")},
}};

constexpr uint32_t kTBPM = frameCode("TBPM");
constexpr uint32_t kTCMP = frameCode("TCMP");
constexpr uint32_t kTPOS = frameCode("TPOS");
constexpr uint32_t kTRCK = frameCode("TRCK");
constexpr uint32_t kCOMM = frameCode("COMM");

struct RemovedFrames {
    MediaFileDataID dataID;
    std::array<uint32_t, 2> frameIDs;
};

// The frames a removal takes beyond the plain text ones; pictures and totals have their own
// rules. Every frame listed answers the ID, the second one as the getter's fallback.
constexpr std::array<RemovedFrames, 10> kRemovedFrames{{
    {kMediaFileDataIDComment, {frameCode("COMM"), 0}},
    {kMediaFileDataIDLyrics, {frameCode("USLT"), 0}},
    {kMediaFileDataIDGenre, {frameCode("TCON"), 0}},
    {kMediaFileDataIDInvolvedPeople, {frameCode("IPLS"), frameCode("TIPL")}},
    {kMediaFileDataIDYear, {frameCode("TDRC"), frameCode("TYER")}},
    {kMediaFileDataIDBPM, {frameCode("TBPM"), 0}},
    {kMediaFileDataIDCompilation, {frameCode("TCMP"), 0}},
    {kMediaFileDataIDTrackNumber, {frameCode("TRCK"), 0}},
    {kMediaFileDataIDDiskNumber, {frameCode("TPOS"), 0}},
    {kMediaFileDataIDVolume, {frameCode("RVAD"), 0}},
}};

const TextFrameID *textFrameFor(MediaFileDataID id)
{
    for (const TextFrameID &row : kTextFrames) {
        if (row.dataID == id)
            return &row;
    }
    return nullptr;
}

// The integer IDs the text accessors carry, beyond the ones the core prints itself.
bool isIntegerID(MediaFileDataID id)
{
    switch (id) {
    case kMediaFileDataIDBitRate:
    case kMediaFileDataIDChannels:
    case kMediaFileDataIDSampleRate:
    case kMediaFileDataIDPlayTime:
        return true;
    default:
        return isIntegerTextID(id);
    }
}

MediaFileStatus mpegValue(const ID3Tag &tag, uint32_t value, int32_t *out)
{
    if (!tag.mpeg.valid)
        return kMediaFileErrNotFound;
    *out = static_cast<int32_t>(value);
    return kMediaFileNoErr;
}

uint8_t pictureTypeFor(MediaFileDataID id)
{
    switch (id) {
    case kMediaFileDataIDArtwork:
        return kPictureFrontCover | kPictureFallback;
    case kMediaFileDataIDArtworkBack:
        return kPictureBackCover;
    case kMediaFileDataIDArtworkMisc:
        return kPictureArtistLogo;
    default:
        return 0;
    }
}

template <typename F> MediaFileStatus guarded(F &&f)
{
    try {
        return f();
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
}

} // namespace

void ID3TagDeleter::operator()(ID3Tag *tag) const { delete tag; }

int ID3MajorVersion(const ID3Tag &tag) { return tag.majorVersion; }

MediaFileStatus ID3NewTag(ID3TagPtr *out, MediaFileFlags flags)
{
    ID3TagPtr tag(new (std::nothrow) ID3Tag);
    if (!tag)
        return kMediaFileErrMemory;
    tag->rules = &id3RulesFor(flags);
    tag->fourCharIDs = true;
    tag->picturesInMIMEForm = true;
    *out = std::move(tag);
    return kMediaFileNoErr;
}

MediaFileStatus ID3ParseBuffer(std::span<const uint8_t> bytes, MediaFileFlags readOptions, ID3TagPtr *out)
{
    return guarded([&]() -> MediaFileStatus {
        ID3TagPtr tag(new ID3Tag);
        tag->rules = &id3RulesFor(readOptions);
        MediaFileStatus status = ID3ReadTags(TagSource(bytes), readOptions, *tag);
        if (status && !(readOptions & (kMediaFileFlagStrict | kMediaFileFlagIgnoreTagErrors)))
            return status;
        *out = std::move(tag);
        return kMediaFileNoErr;
    });
}

MediaFileStatus ID3GetInteger(ID3Tag &tag, MediaFileDataID id, int32_t *out)
{
    return guarded([&]() -> MediaFileStatus {
        int32_t number = 0;
        int32_t total = 0;
        std::string text;
        MediaFileStatus status = kMediaFileNoErr;
        switch (id) {
        case kMediaFileDataIDBitRate:
            return mpegValue(tag, tag.mpeg.bitRate, out);
        case kMediaFileDataIDChannels:
            return mpegValue(tag, tag.mpeg.channelMode, out);
        case kMediaFileDataIDSampleRate:
            return mpegValue(tag, tag.mpeg.sampleRate, out);
        case kMediaFileDataIDPlayTime:
            return mpegValue(tag, playTimeSeconds(tag), out);
        case kMediaFileDataIDBPM:
            if ((status = ID3CopyFrameText(tag, kTBPM, &text)))
                return status;
            return scanIntegerText(text, out);
        case kMediaFileDataIDCompilation:
            if ((status = ID3CopyFrameText(tag, kTCMP, &text)))
                return status;
            *out = !text.empty() && text[0] == '1' ? 1 : 0;
            return kMediaFileNoErr;
        case kMediaFileDataIDDiskNumber:
        case kMediaFileDataIDTotalDisks:
        case kMediaFileDataIDTrackNumber:
        case kMediaFileDataIDTotalTracks: {
            const bool disc = id == kMediaFileDataIDDiskNumber || id == kMediaFileDataIDTotalDisks;
            if ((status = getNumberPair(tag, disc ? kTPOS : kTRCK, &number, &total)))
                return status;
            *out = id == kMediaFileDataIDDiskNumber || id == kMediaFileDataIDTrackNumber ? number : total;
            return kMediaFileNoErr;
        }
        case kMediaFileDataIDYear:
            return getYear(tag, out);
        default:
            return kMediaFileErrNotFound;
        }
    });
}

MediaFileStatus ID3SetInteger(ID3Tag &tag, MediaFileDataID id, int32_t value)
{
    return guarded([&]() -> MediaFileStatus {
        switch (id) {
        case kMediaFileDataIDBPM:
            return ID3SetTextFrame(tag, kTBPM, std::to_string(value));
        case kMediaFileDataIDCompilation:
            if (value != 0)
                return ID3SetTextFrame(tag, kTCMP, "1");
            ID3RemoveFrame(tag, kTCMP);
            return kMediaFileNoErr;
        case kMediaFileDataIDDiskNumber:
            return setNumberPair(tag, kTPOS, value, -1);
        case kMediaFileDataIDTotalDisks:
            return setNumberPair(tag, kTPOS, -1, value);
        case kMediaFileDataIDTrackNumber:
            return setNumberPair(tag, kTRCK, value, -1);
        case kMediaFileDataIDTotalTracks:
            return setNumberPair(tag, kTRCK, -1, value);
        case kMediaFileDataIDYear:
            return setYear(tag, value);
        default:
            return kMediaFileErrNotFound;
        }
    });
}

MediaFileStatus ID3GetString(ID3Tag &tag, MediaFileDataID id, std::string *out)
{
    return guarded([&]() -> MediaFileStatus {
        if (isIntegerID(id)) {
            int32_t value = 0;
            if (MediaFileStatus status = ID3GetInteger(tag, id, &value))
                return status;
            *out = formatIntegerText(value);
            return kMediaFileNoErr;
        }
        switch (id) {
        case kMediaFileDataIDArtist:
            return getArtist(tag, out);
        case kMediaFileDataIDComment:
            return getCommentText(tag, kCOMM, out);
        case kMediaFileDataIDLyrics:
            return getLyrics(tag, out);
        case kMediaFileDataIDGenre:
            return ID3GetGenre(tag, 0, nullptr, out);
        case kMediaFileDataIDInvolvedPeople: {
            InvolvedPeople people;
            if (MediaFileStatus status = getInvolvedPeople(tag, &people))
                return status;
            *out = formatInvolvedPeople(people);
            return kMediaFileNoErr;
        }
        default:
            break;
        }
        if (const TextFrameID *row = textFrameFor(id))
            return ID3CopyFrameText(tag, row->frameID, out);
        return kMediaFileErrNotFound;
    });
}

MediaFileStatus ID3SetString(ID3Tag &tag, MediaFileDataID id, std::string_view text)
{
    return guarded([&]() -> MediaFileStatus {
        if (isIntegerID(id)) {
            int32_t value = 0;
            if (MediaFileStatus status = scanIntegerText(text, &value))
                return status;
            return ID3SetInteger(tag, id, value);
        }
        switch (id) {
        case kMediaFileDataIDComment:
            return setCommentText(tag, kCOMM, text);
        case kMediaFileDataIDLyrics:
            return setLyrics(tag, text);
        case kMediaFileDataIDGenre:
            return ID3SetGenre(tag, 0, -2, &text);
        case kMediaFileDataIDInvolvedPeople:
            return setInvolvedPeople(tag, parseInvolvedPeople(text));
        default:
            break;
        }
        if (const TextFrameID *row = textFrameFor(id))
            return ID3SetTextFrame(tag, row->frameID, text);
        return kMediaFileErrNotFound;
    });
}

MediaFileStatus ID3GetData(ID3Tag &tag, MediaFileDataID id, std::vector<uint8_t> *out)
{
    return guarded([&]() -> MediaFileStatus {
        if (id == kMediaFileDataIDVolume) {
            VolumeRecord record;
            if (MediaFileStatus status = ID3GetVolume(tag, &record))
                return status;
            out->resize(sizeof record);
            std::memcpy(out->data(), &record, sizeof record);
            return kMediaFileNoErr;
        }
        const uint8_t type = pictureTypeFor(id);
        if (!type)
            return kMediaFileErrNotFound;
        Picture picture;
        if (MediaFileStatus status = ID3GetPicture(tag, type, &picture))
            return status;
        *out = std::move(picture.data);
        return kMediaFileNoErr;
    });
}

MediaFileStatus ID3SetData(ID3Tag &tag, MediaFileDataID id, std::span<const uint8_t> bytes)
{
    return guarded([&]() -> MediaFileStatus {
        if (id == kMediaFileDataIDVolume) {
            VolumeRecord record;
            if (bytes.size() != sizeof record)
                return kMediaFileErrShortHeader;
            std::memcpy(&record, bytes.data(), sizeof record);
            return ID3SetVolume(tag, record);
        }
        const uint8_t type = pictureTypeFor(id);
        if (!type)
            return kMediaFileErrNotFound;
        return ID3SetPicture(tag, type & ~kPictureFallback, "image/jpeg", bytes);
    });
}

MediaFileStatus ID3RemoveValue(ID3Tag &tag, MediaFileDataID id)
{
    return guarded([&]() -> MediaFileStatus {
        if (id == kMediaFileDataIDTotalTracks || id == kMediaFileDataIDTotalDisks) {
            const uint32_t frameID = id == kMediaFileDataIDTotalTracks ? kTRCK : kTPOS;
            int32_t number = 0;
            int32_t total = 0;
            if (getNumberPair(tag, frameID, &number, &total) != kMediaFileNoErr || number < 1) {
                ID3RemoveFrames(tag, frameID);
                return kMediaFileNoErr;
            }
            return setNumberPair(tag, frameID, number, 0);
        }
        if (const uint8_t type = pictureTypeFor(id)) {
            ID3RemovePictures(tag, type);
            return kMediaFileNoErr;
        }
        if (const TextFrameID *row = textFrameFor(id)) {
            ID3RemoveFrames(tag, row->frameID);
            return kMediaFileNoErr;
        }
        for (const RemovedFrames &row : kRemovedFrames) {
            if (row.dataID != id)
                continue;
            for (uint32_t frameID : row.frameIDs)
                if (frameID)
                    ID3RemoveFrames(tag, frameID);
            return kMediaFileNoErr;
        }
        return kMediaFileErrUnsupported;
    });
}

MediaFileStatus ID3IgnoredError(const ID3Tag &tag) { return tag.ignoredError; }

} // namespace kestrabel::id3
