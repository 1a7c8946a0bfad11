// Data IDs of a FLAC file: Vorbis comments under the FLAC names, the vendor string, the
// stream information and the application-block picture.
#include "FLACProperties.h"
#include "FLACFile.h"

#include "core/DataIDRules.h"
#include "core/FormatHandler.h"
#include "ogg/VorbisCommentNames.h"

namespace kestrabel {

namespace {

const char *fieldFor(MediaFileDataID id)
{
    if (id == kMediaFileDataIDTotalTracks)
        return vorbis::kFLACTotalTracks;
    if (id == kMediaFileDataIDCompilation)
        return vorbis::kFLACCompilation;
    return vorbis::sharedFieldName(id);
}

class FLACHandler final : public FormatHandler {
public:
    explicit FLACHandler(flac::FLACFilePtr file) : file_(std::move(file)) {}

    MediaFileStatus update(const char *, MediaFileFlags flags) override { return flac::FLACFileSave(*file_, flags); }

    MediaFileStatus getInteger(MediaFileDataID id, int32_t *out) override
    {
        switch (id) {
        case kMediaFileDataIDBitRate:
            return flac::FLACGetStreamInfo(*file_, &flac::FLACFile::bitRate, out);
        case kMediaFileDataIDChannels:
            return flac::FLACGetStreamInfo(*file_, &flac::FLACFile::channels, out);
        case kMediaFileDataIDSampleRate:
            return flac::FLACGetStreamInfo(*file_, &flac::FLACFile::sampleRate, out);
        default:
            break;
        }
        if (!isIntegerTextID(id))
            return kMediaFileErrUnsupported;
        return flac::FLACGetCommentInt(*file_, fieldFor(id), out);
    }

    MediaFileStatus getString(MediaFileDataID id, std::string *out) override
    {
        if (id == kMediaFileDataIDEncodedBy)
            return flac::FLACGetVendor(*file_, out);
        const char *field = fieldFor(id);
        if (!field)
            return kMediaFileErrUnsupported;
        return flac::FLACGetComment(*file_, field, out);
    }

    MediaFileStatus setInteger(MediaFileDataID id, int32_t value) override
    {
        if (!isIntegerTextID(id))
            return kMediaFileErrUnsupported;
        return flac::FLACSetCommentInt(*file_, fieldFor(id), value);
    }

    MediaFileStatus setString(MediaFileDataID id, std::string_view text) override
    {
        if (id == kMediaFileDataIDEncodedBy)
            return flac::FLACSetVendor(*file_, text);
        const char *field = fieldFor(id);
        if (!field)
            return kMediaFileErrUnsupported;
        return flac::FLACSetComment(*file_, field, text);
    }

    MediaFileStatus getData(MediaFileDataID id, std::vector<uint8_t> *out) override
    {
        if (id != kMediaFileDataIDArtwork)
            return kMediaFileErrUnsupported;
        return flac::FLACGetPicture(*file_, out);
    }

    MediaFileStatus setData(MediaFileDataID id, std::span<const uint8_t> bytes) override
    {
        if (id != kMediaFileDataIDArtwork)
            return kMediaFileErrUnsupported;
        return flac::FLACSetPicture(*file_, bytes);
    }

    MediaFileStatus getAudioProperties(const char *path, MediaFileAudioProperties *out) override
    {
        return flac::flacAudioProperties(path, out);
    }

    MediaFileStatus remove(MediaFileDataID id) override
    {
        if (id == kMediaFileDataIDArtwork)
            return flac::FLACRemovePicture(*file_);
        // The vendor string has a fixed place in the comment block: it can only be emptied.
        if (id == kMediaFileDataIDEncodedBy)
            return flac::FLACSetVendor(*file_, {});
        const char *field = fieldFor(id);
        if (!field)
            return kMediaFileErrUnsupported;
        return flac::FLACRemoveComment(*file_, field);
    }

private:
    flac::FLACFilePtr file_;
};

} // namespace

MediaFileStatus FLACOpen(const char *path, MediaFileFlags, HandlerPtr *out)
{
    flac::FLACFilePtr file;
    if (MediaFileStatus status = flac::FLACFileOpen(path, &file))
        return status;
    *out = std::make_unique<FLACHandler>(std::move(file));
    return kMediaFileNoErr;
}

} // namespace kestrabel
