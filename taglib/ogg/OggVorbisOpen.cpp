// Data IDs of an Ogg Vorbis file: Vorbis comments by field name, the stream information and
// the vendor string.
#include "OggProperties.h"
#include "OggVorbisFile.h"
#include "VorbisCommentNames.h"

#include "core/DataIDRules.h"
#include "core/FormatHandler.h"

#include <cstdio>

namespace kestrabel {

namespace {

constexpr const char kCompilation[] = "COMPILATION";

const char *fieldFor(MediaFileDataID id)
{
    if (id == kMediaFileDataIDTotalTracks)
        return vorbis::kOggTotalTracks;
    return vorbis::sharedFieldName(id);
}

class OggVorbisHandler final : public FormatHandler {
public:
    explicit OggVorbisHandler(ogg::OggVorbisFilePtr file) : file_(std::move(file)) {}

    MediaFileStatus update(const char *, MediaFileFlags flags) override { return ogg::OggVorbisFileSave(*file_, flags); }

    MediaFileStatus getInteger(MediaFileDataID id, int32_t *out) override
    {
        switch (id) {
        case kMediaFileDataIDBitRate:
            *out = ogg::OggVorbisGetBitRate(*file_, nullptr);
            return kMediaFileNoErr;
        case kMediaFileDataIDChannels:
            *out = ogg::OggVorbisGetChannels(*file_);
            return kMediaFileNoErr;
        case kMediaFileDataIDSampleRate:
            *out = ogg::OggVorbisGetSampleRate(*file_);
            return kMediaFileNoErr;
        case kMediaFileDataIDCompilation: {
            std::string value;
            if (MediaFileStatus status = ogg::OggVorbisGetComment(*file_, kCompilation, &value))
                return status;
            *out = !value.empty() && value[0] == '1' ? 1 : 0;
            return kMediaFileNoErr;
        }
        default:
            break;
        }
        if (!isIntegerTextID(id))
            return kMediaFileErrUnsupported;
        std::string value;
        if (MediaFileStatus status = ogg::OggVorbisGetComment(*file_, fieldFor(id), &value))
            return status;
        *out = leadingInteger(value);
        return kMediaFileNoErr;
    }

    MediaFileStatus getString(MediaFileDataID id, std::string *out) override
    {
        // Vorbis files keep the classic answer (the kind's name only, no value); an Opus file
        // says which codec the kind "Ogg" holds.
        if (id == kMediaFileDataIDKind && file_->codec == ogg::OggCodec::Opus) {
            *out = "Ogg Opus";
            return kMediaFileNoErr;
        }
        if (id == kMediaFileDataIDEncodedBy)
            return ogg::OggVorbisGetVendor(*file_, out);
        const char *field = fieldFor(id);
        if (!field)
            return kMediaFileErrUnsupported;
        return ogg::OggVorbisGetComment(*file_, field, out);
    }

    MediaFileStatus setInteger(MediaFileDataID id, int32_t value) override
    {
        if (id == kMediaFileDataIDCompilation)
            return ogg::OggVorbisSetComment(*file_, kCompilation, value != 0 ? "1" : "0");
        if (!isIntegerTextID(id))
            return kMediaFileErrUnsupported;
        return ogg::OggVorbisSetComment(*file_, fieldFor(id), formatIntegerText(value));
    }

    MediaFileStatus setString(MediaFileDataID id, std::string_view text) override
    {
        const char *field = fieldFor(id);
        if (!field)
            return kMediaFileErrUnsupported;
        return ogg::OggVorbisSetComment(*file_, field, text);
    }

    MediaFileStatus getAudioProperties(const char *, MediaFileAudioProperties *out) override
    {
        return ogg::oggAudioProperties(*file_, out);
    }

    MediaFileStatus remove(MediaFileDataID id) override
    {
        const char *field = id == kMediaFileDataIDCompilation ? kCompilation : fieldFor(id);
        if (!field)
            return kMediaFileErrUnsupported;
        return ogg::OggVorbisRemoveComment(*file_, field);
    }

private:
    ogg::OggVorbisFilePtr file_;
};

} // namespace

MediaFileStatus OggVorbisOpen(const char *path, MediaFileFlags, HandlerPtr *out)
{
    ogg::OggVorbisFilePtr file;
    if (MediaFileStatus status = ogg::OggVorbisFileOpen(path, &file))
        return status;
    // A handle without its header packets could neither report nor save anything.
    if (!file->headersRead) {
        std::fprintf(stderr, "%s\n", file->lastError);
        return ogg::kOggVorbisErrNotVorbis;
    }
    *out = std::make_unique<OggVorbisHandler>(std::move(file));
    return kMediaFileNoErr;
}

} // namespace kestrabel
