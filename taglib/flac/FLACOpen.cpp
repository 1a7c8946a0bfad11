// Data IDs of a FLAC file: Vorbis comments under the FLAC names, the vendor string, the
// stream information and the application-block picture.
#include "FLACProperties.h"
#include "FLACFile.h"

#include "core/DataIDRules.h"
#include "core/FormatHandler.h"

namespace kestrabel {

namespace {

const char *classicFieldFor(MediaFileDataID id)
{
    if (id == kMediaFileDataIDTotalTracks)
        return vorbis::kFLACTotalTracks;
    if (id == kMediaFileDataIDCompilation)
        return vorbis::kFLACCompilation;
    return vorbis::sharedFieldName(id);
}

const char *fieldFor(MediaFileDataID id, const vorbis::CommentRules &rules)
{
    return vorbis::fieldLookup(id, classicFieldFor(id), rules).field;
}

class FLACHandler final : public FormatHandler {
public:
    explicit FLACHandler(flac::FLACFilePtr file) : file_(std::move(file)) {}

    MediaFileStatus update(const char *, MediaFileFlags flags) override
    {
        // Saving would write the entries libFLAC read and drop the rest.
        if (file_->partlyReadComments)
            return kMediaFileErrPastEnd;
        return flac::FLACFileSave(*file_, flags);
    }

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
        std::string text;
        if (MediaFileStatus status = read(id, &text))
            return status;
        *out = leadingInteger(text);
        return kMediaFileNoErr;
    }

    MediaFileStatus getString(MediaFileDataID id, std::string *out) override
    {
        if (id == kMediaFileDataIDEncodedBy)
            return flac::FLACGetVendor(*file_, out);
        if (!fieldFor(id, file_->rules))
            return kMediaFileErrUnsupported;
        return read(id, out);
    }

    MediaFileStatus setInteger(MediaFileDataID id, int32_t value) override
    {
        if (!isIntegerTextID(id))
            return kMediaFileErrUnsupported;
        return write(id, formatIntegerText(value));
    }

    MediaFileStatus setString(MediaFileDataID id, std::string_view text) override
    {
        if (id == kMediaFileDataIDEncodedBy)
            return flac::FLACSetVendor(*file_, text);
        if (!fieldFor(id, file_->rules))
            return kMediaFileErrUnsupported;
        return write(id, text);
    }

    MediaFileStatus getData(MediaFileDataID id, std::vector<uint8_t> *out) override
    {
        const vorbis::PictureSlot *slot = vorbis::pictureSlot(id);
        if (file_->rules.standardPictures && slot)
            return flac::FLACGetStandardPicture(*file_, *slot, out);
        if (id != kMediaFileDataIDArtwork)
            return kMediaFileErrUnsupported;
        return flac::FLACGetPicture(*file_, out);
    }

    MediaFileStatus setData(MediaFileDataID id, std::span<const uint8_t> bytes) override
    {
        const vorbis::PictureSlot *slot = vorbis::pictureSlot(id);
        if (file_->rules.standardPictures && slot)
            return flac::FLACSetStandardPicture(*file_, *slot, bytes);
        if (id != kMediaFileDataIDArtwork)
            return kMediaFileErrUnsupported;
        return flac::FLACSetPicture(*file_, bytes);
    }

    MediaFileStatus getAudioProperties(const char *path, MediaFileAudioProperties *out) override
    {
        if (!file_->wholeFile.empty())
            return flac::flacAudioPropertiesOfBytes(file_->wholeFile, out);
        return flac::flacAudioProperties(path, out);
    }

    MediaFileStatus remove(MediaFileDataID id) override
    {
        // An empty image takes the pictures of the slot's type out, and the ESCN block with the
        // front cover.
        const vorbis::PictureSlot *slot = vorbis::pictureSlot(id);
        if (file_->rules.standardPictures && slot)
            return flac::FLACSetStandardPicture(*file_, *slot, {});
        if (id == kMediaFileDataIDArtwork)
            return flac::FLACRemovePicture(*file_);
        // The vendor string has a fixed place in the comment block: it can only be emptied.
        if (id == kMediaFileDataIDEncodedBy)
            return flac::FLACSetVendor(*file_, {});
        vorbis::FieldLookup names = vorbis::fieldLookup(id, classicFieldFor(id), file_->rules);
        if (!names.field)
            return kMediaFileErrUnsupported;
        if (MediaFileStatus status = flac::FLACRemoveComment(*file_, names.field))
            return status;
        return removeAliases(names);
    }

private:
    MediaFileStatus read(MediaFileDataID id, std::string *out)
    {
        vorbis::FieldLookup names = vorbis::fieldLookup(id, classicFieldFor(id), file_->rules);
        MediaFileStatus status = flac::FLACGetComment(*file_, names.field, out);
        for (const char *alias : names.aliases)
            if (status == kMediaFileErrNotFound && alias)
                status = flac::FLACGetComment(*file_, alias, out);
        return status;
    }

    MediaFileStatus write(MediaFileDataID id, std::string_view value)
    {
        vorbis::FieldLookup names = vorbis::fieldLookup(id, classicFieldFor(id), file_->rules);
        if (MediaFileStatus status = flac::FLACSetComment(*file_, names.field, value))
            return status;
        return removeAliases(names);
    }

    // The aliases of a name go once the name itself is set or removed, or they would contradict it.
    MediaFileStatus removeAliases(const vorbis::FieldLookup &names)
    {
        for (const char *alias : names.aliases)
            if (alias)
                if (MediaFileStatus status = flac::FLACRemoveComment(*file_, alias))
                    return status;
        return kMediaFileNoErr;
    }

    flac::FLACFilePtr file_;
};

} // namespace

MediaFileStatus FLACOpen(const char *path, MediaFileFlags flags, HandlerPtr *out)
{
    flac::FLACFilePtr file;
    if (MediaFileStatus status = flac::FLACFileOpen(path, &file, vorbis::commentRulesFor(flags)))
        return status;
    *out = std::make_unique<FLACHandler>(std::move(file));
    return kMediaFileNoErr;
}

} // namespace kestrabel
