// The MP3 kind behind the core's dispatch: the ID3 engine over a file opened by path.
#include "ID3Engine.h"
#include "MP3Properties.h"

#include "core/FormatHandler.h"

namespace kestrabel {
namespace {

using id3::ID3Tag;

// What the core's tables give MP3 files, accessor by accessor; every other ID is not carried.
bool carriesInteger(MediaFileDataID id)
{
    switch (id) {
    case kMediaFileDataIDBitRate:
    case kMediaFileDataIDBPM:
    case kMediaFileDataIDChannels:
    case kMediaFileDataIDCompilation:
    case kMediaFileDataIDDiskNumber:
    case kMediaFileDataIDSampleRate:
    case kMediaFileDataIDTotalDisks:
    case kMediaFileDataIDPlayTime:
    case kMediaFileDataIDTotalTracks:
    case kMediaFileDataIDTrackNumber:
    case kMediaFileDataIDYear:
    case kMediaFileDataIDMetaDataSize:
    case kMediaFileDataIDTagFrameCount:
        return true;
    default:
        return false;
    }
}

bool carriesIntegerSet(MediaFileDataID id)
{
    switch (id) {
    case kMediaFileDataIDBPM:
    case kMediaFileDataIDCompilation:
    case kMediaFileDataIDDiskNumber:
    case kMediaFileDataIDTotalDisks:
    case kMediaFileDataIDTotalTracks:
    case kMediaFileDataIDTrackNumber:
    case kMediaFileDataIDYear:
        return true;
    default:
        return false;
    }
}

bool carriesText(MediaFileDataID id)
{
    switch (id) {
    case kMediaFileDataIDAlbum:
    case kMediaFileDataIDArtist:
    case kMediaFileDataIDComment:
    case kMediaFileDataIDComposer:
    case kMediaFileDataIDEncodedBy:
    case kMediaFileDataIDGenre:
    case kMediaFileDataIDInvolvedPeople:
    case kMediaFileDataIDLyrics:
    case kMediaFileDataIDSortOrder:
    case kMediaFileDataIDTitle:
    case kMediaFileDataIDGrouping:
    case kMediaFileDataIDPublisher:
    case kMediaFileDataIDBandOrOrchestra:
    case kMediaFileDataIDISRC:
    case kMediaFileDataIDDescription:
        return true;
    default:
        return false;
    }
}

bool carriesData(MediaFileDataID id)
{
    return id == kMediaFileDataIDVolume || id == kMediaFileDataIDArtwork || id == kMediaFileDataIDArtworkBack ||
           id == kMediaFileDataIDArtworkMisc;
}

class MP3Handler final : public FormatHandler {
public:
    MP3Handler(id3::ID3TagPtr tag, std::vector<uint8_t> wholeFile) : tag_(std::move(tag)), wholeFile_(std::move(wholeFile)) {}

    MediaFileStatus update(const char *path, MediaFileFlags flags) override
    {
        // The bytes of the open no longer describe the file once it is written.
        wholeFile_ = {};
        return id3::ID3WriteFile(path, flags, *tag_);
    }

    MediaFileStatus getInteger(MediaFileDataID id, int32_t *out) override
    {
        if (!carriesInteger(id))
            return kMediaFileErrUnsupported;
        if (id == kMediaFileDataIDTagFrameCount) {
            *out = static_cast<int32_t>(tag_->frames.size());
            return kMediaFileNoErr;
        }
        if (id == kMediaFileDataIDMetaDataSize) {
            // Without an ID3v1 tag the size is reported as missing, although the ID3v2 size
            // has been counted by then; callers see only the status.
            int64_t size = tag_->v2Size;
            if (!tag_->v1Version)
                return kMediaFileErrNoTag;
            *out = static_cast<int32_t>(size + 128);
            return kMediaFileNoErr;
        }
        return id3::ID3GetInteger(*tag_, id, out);
    }

    MediaFileStatus getString(MediaFileDataID id, std::string *out) override
    {
        const bool readOnlyNumber = id == kMediaFileDataIDBitRate || id == kMediaFileDataIDChannels ||
                                    id == kMediaFileDataIDSampleRate || id == kMediaFileDataIDPlayTime;
        if (!carriesText(id) && !readOnlyNumber)
            return kMediaFileErrUnsupported;
        return id3::ID3GetString(*tag_, id, out);
    }

    MediaFileStatus setInteger(MediaFileDataID id, int32_t value) override
    {
        if (!carriesIntegerSet(id))
            return kMediaFileErrUnsupported;
        return id3::ID3SetInteger(*tag_, id, value);
    }

    MediaFileStatus setString(MediaFileDataID id, std::string_view text) override
    {
        if (!carriesText(id))
            return kMediaFileErrUnsupported;
        return id3::ID3SetString(*tag_, id, text);
    }

    MediaFileStatus getData(MediaFileDataID id, std::vector<uint8_t> *out) override
    {
        if (!carriesData(id))
            return kMediaFileErrUnsupported;
        return id3::ID3GetData(*tag_, id, out);
    }

    MediaFileStatus setData(MediaFileDataID id, std::span<const uint8_t> bytes) override
    {
        if (!carriesData(id))
            return kMediaFileErrUnsupported;
        return id3::ID3SetData(*tag_, id, bytes);
    }

    // Read from the file each time, so that it answers also when the open skipped the scan; a
    // small file's bytes from the open serve instead of a second open.
    MediaFileStatus getAudioProperties(const char *path, MediaFileAudioProperties *out) override
    {
        if (!wholeFile_.empty())
            return id3::mpegPropertiesOfBytes(wholeFile_, out);
        return id3::mpegPropertiesOfFile(path, out);
    }

    MediaFileStatus remove(MediaFileDataID id) override
    {
        if (!carriesText(id) && !carriesIntegerSet(id) && !carriesData(id))
            return kMediaFileErrUnsupported;
        return id3::ID3RemoveValue(*tag_, id);
    }

    MediaFileStatus ignoredTagError() const override { return id3::ID3IgnoredError(*tag_); }

private:
    id3::ID3TagPtr tag_;
    std::vector<uint8_t> wholeFile_;
};

} // namespace

MediaFileStatus MP3Open(const char *path, MediaFileFlags flags, HandlerPtr *out)
{
    id3::ID3TagPtr tag;
    std::vector<uint8_t> wholeFile;
    if (MediaFileStatus status = id3::ID3OpenFile(path, flags, &tag, &wholeFile))
        return status;
    *out = std::make_unique<MP3Handler>(std::move(tag), std::move(wholeFile));
    return kMediaFileNoErr;
}

} // namespace kestrabel
