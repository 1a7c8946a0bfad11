// Data IDs of an Ogg Vorbis file: Vorbis comments by field name, the stream information and
// the vendor string.
#include "OggProperties.h"
#include "OggVorbisFile.h"
#include "VorbisCommentEdit.h"
#include "VorbisCommentNames.h"
#include "VorbisPicture.h"

#include "core/DataIDRules.h"
#include "core/FormatHandler.h"

#include <cstdio>
#include <optional>

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
    OggVorbisHandler(ogg::OggVorbisFilePtr file, const vorbis::CommentRules &rules) : file_(std::move(file)), rules_(rules) {}

    MediaFileStatus update(const char *, MediaFileFlags flags) override { return ogg::OggVorbisFileSave(*file_, flags); }

    MediaFileStatus getInteger(MediaFileDataID id, int32_t *out) override { return answer(integer(id, out)); }
    MediaFileStatus getString(MediaFileDataID id, std::string *out) override { return answer(text(id, out)); }
    MediaFileStatus getData(MediaFileDataID id, std::vector<uint8_t> *out) override { return answer(picture(id, out)); }

    MediaFileStatus setInteger(MediaFileDataID id, int32_t value) override
    {
        if (id == kMediaFileDataIDCompilation)
            return write({kCompilation, {}}, value != 0 ? "1" : "0");
        if (!isIntegerTextID(id))
            return kMediaFileErrUnsupported;
        return write(lookup(id), formatIntegerText(value));
    }

    MediaFileStatus setString(MediaFileDataID id, std::string_view text) override
    {
        vorbis::FieldLookup names = lookup(id);
        if (!names.field)
            return kMediaFileErrUnsupported;
        return write(names, text);
    }

    MediaFileStatus setData(MediaFileDataID id, std::span<const uint8_t> bytes) override
    {
        const vorbis::PictureSlot *slot = vorbis::pictureSlot(id);
        if (!slot || !rules_.standardPictures)
            return kMediaFileErrUnsupported;
        vorbis::Picture picture = vorbis::pictureFromImage(slot->type, bytes);
        vorbis_comment *comment = file_->comment.get();
        // No image: the pictures of the type go, as an empty picture removes them in every kind.
        if (bytes.empty()) {
            std::vector<ogg::CommentValue> entries = ogg::findComments(*comment, vorbis::kPictureComment);
            for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
                std::optional<vorbis::Picture> old = decode(entry->value);
                if (old && old->type == slot->type)
                    ogg::eraseComment(comment, entry->index);
            }
            return kMediaFileNoErr;
        }
        for (const ogg::CommentValue &entry : ogg::findComments(*comment, vorbis::kPictureComment)) {
            std::optional<vorbis::Picture> old = decode(entry.value);
            if (old && old->type == slot->type) {
                picture.description = old->description;
                return status(ogg::setCommentAt(comment, entry.index, vorbis::kPictureComment,
                                                vorbis::base64Encode(vorbis::renderPicture(picture))));
            }
        }
        return status(ogg::addComment(comment, vorbis::kPictureComment, vorbis::base64Encode(vorbis::renderPicture(picture))));
    }

    MediaFileStatus getAudioProperties(const char *, MediaFileAudioProperties *out) override
    {
        return ogg::oggAudioProperties(*file_, out);
    }

    MediaFileStatus remove(MediaFileDataID id) override
    {
        if (vorbis::pictureSlot(id) && rules_.standardPictures)
            return setData(id, {});
        vorbis::FieldLookup names = id == kMediaFileDataIDCompilation ? vorbis::FieldLookup{kCompilation, {}} : lookup(id);
        if (!names.field)
            return kMediaFileErrUnsupported;
        if (MediaFileStatus status = ogg::OggVorbisRemoveComment(*file_, names.field))
            return status;
        // The aliases go too, or the value would read back through one of them.
        for (const char *alias : names.aliases)
            if (alias)
                if (MediaFileStatus status = ogg::OggVorbisRemoveComment(*file_, alias))
                    return status;
        return kMediaFileNoErr;
    }

private:
    MediaFileStatus integer(MediaFileDataID id, int32_t *out)
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
        if (MediaFileStatus status = read(lookup(id), &value))
            return status;
        *out = leadingInteger(value);
        return kMediaFileNoErr;
    }

    MediaFileStatus text(MediaFileDataID id, std::string *out)
    {
        // Vorbis files keep the classic answer (the kind's name only, no value); an Opus file
        // says which codec the kind "Ogg" holds.
        if (id == kMediaFileDataIDKind && file_->codec == ogg::OggCodec::Opus) {
            *out = "Ogg Opus";
            return kMediaFileNoErr;
        }
        if (id == kMediaFileDataIDEncodedBy)
            return ogg::OggVorbisGetVendor(*file_, out);
        vorbis::FieldLookup names = lookup(id);
        if (!names.field)
            return kMediaFileErrUnsupported;
        return read(names, out);
    }

    MediaFileStatus picture(MediaFileDataID id, std::vector<uint8_t> *out)
    {
        const vorbis::PictureSlot *slot = vorbis::pictureSlot(id);
        if (!slot || !rules_.standardPictures)
            return kMediaFileErrUnsupported;
        std::optional<vorbis::Picture> first;
        for (const ogg::CommentValue &entry : ogg::findComments(*file_->comment.get(), vorbis::kPictureComment)) {
            // A picture of another type counts only as the first stand-in, so once that is
            // found, or for a slot without one, its type is all that is decoded of it.
            if ((first || !slot->firstWhenAbsent) && !mayBeOfType(entry.value, slot->type))
                continue;
            std::optional<vorbis::Picture> picture = decode(entry.value);
            if (!picture)
                continue;
            if (picture->type == slot->type) {
                *out = std::move(picture->data);
                return kMediaFileNoErr;
            }
            if (!first)
                first = std::move(picture);
        }
        if (!first || !slot->firstWhenAbsent)
            return ogg::kOggVorbisErrNoComment;
        *out = std::move(first->data);
        return kMediaFileNoErr;
    }

    // What a lookup that found nothing answers: the rules say which status.
    MediaFileStatus answer(MediaFileStatus status) const
    {
        return status == ogg::kOggVorbisErrNoComment && rules_.absentIsNotFound ? kMediaFileErrNotFound : status;
    }

    vorbis::FieldLookup lookup(MediaFileDataID id) const { return vorbis::fieldLookup(id, fieldFor(id), rules_); }

    MediaFileStatus read(const vorbis::FieldLookup &names, std::string *out)
    {
        MediaFileStatus status = ogg::OggVorbisGetComment(*file_, names.field, out);
        for (const char *alias : names.aliases)
            if (status == ogg::kOggVorbisErrNoComment && alias)
                status = ogg::OggVorbisGetComment(*file_, alias, out);
        return status;
    }

    MediaFileStatus write(const vorbis::FieldLookup &names, std::string_view value)
    {
        if (!rules_.exactNames)
            return ogg::OggVorbisSetComment(*file_, names.field, value);
        vorbis_comment *comment = file_->comment.get();
        if (MediaFileStatus result = status(ogg::replaceComments(comment, names.field, value)))
            return result;
        for (const char *alias : names.aliases)
            if (alias)
                if (MediaFileStatus result = status(ogg::replaceComments(comment, alias, std::nullopt)))
                    return result;
        return kMediaFileNoErr;
    }

    // Pictures other tools wrote that do not decode are passed over, as players pass them over.
    static std::optional<vorbis::Picture> decode(std::string_view text)
    {
        std::optional<std::vector<uint8_t>> bytes = vorbis::base64Decode(text);
        return bytes ? vorbis::parsePicture(*bytes) : std::nullopt;
    }

    // False only when the text is surely not a picture of the type: its first letters decode
    // to another type, or do not decode (then neither does the whole).
    static bool mayBeOfType(std::string_view text, uint32_t type)
    {
        std::optional<std::vector<uint8_t>> head = vorbis::base64Decode(text.substr(0, 8));
        if (!head)
            return false;
        if (head->size() < 4)
            return true;
        return (uint32_t((*head)[0]) << 24 | uint32_t((*head)[1]) << 16 | uint32_t((*head)[2]) << 8 | (*head)[3]) == type;
    }

    // The handler's own code for running out of memory.
    static MediaFileStatus status(MediaFileStatus result) { return result == kMediaFileErrMemory ? ogg::kOggVorbisErrMemory : result; }

    ogg::OggVorbisFilePtr file_;
    const vorbis::CommentRules &rules_;
};

} // namespace

MediaFileStatus OggVorbisOpen(const char *path, MediaFileFlags flags, HandlerPtr *out)
{
    ogg::OggVorbisFilePtr file;
    if (MediaFileStatus status = ogg::OggVorbisFileOpen(path, &file))
        return status;
    // A handle without its header packets could neither report nor save anything.
    if (!file->headersRead) {
        std::fprintf(stderr, "%s\n", file->lastError);
        return ogg::kOggVorbisErrNotVorbis;
    }
    file->rules = vorbis::commentRulesFor(flags);
    *out = std::make_unique<OggVorbisHandler>(std::move(file), vorbis::commentRulesFor(flags));
    return kMediaFileNoErr;
}

} // namespace kestrabel
