// The MP4 kind behind the core's dispatch: which data ID is which ilst item.
#include "MP4File.h"
#include "MP4Properties.h"

#include "core/DataIDRules.h"
#include "core/FormatHandler.h"

#include <utility>

namespace kestrabel {

namespace {

using mp4::MP4File;
using mp4::MP4ItemSlot;

struct TextItem {
    MediaFileDataID id;
    MP4ItemSlot slot;
};

// The plain text items; genre and lyrics have rules of their own.
constexpr TextItem kTextItems[] = {
    {kMediaFileDataIDTitle, MP4ItemSlot::Title},
    {kMediaFileDataIDArtist, MP4ItemSlot::Artist},
    {kMediaFileDataIDComposer, MP4ItemSlot::Composer},
    {kMediaFileDataIDAlbum, MP4ItemSlot::Album},
    {kMediaFileDataIDBandOrOrchestra, MP4ItemSlot::AlbumArtist},
    {kMediaFileDataIDEncodedBy, MP4ItemSlot::Encoder},
    {kMediaFileDataIDComment, MP4ItemSlot::Comment},
    {kMediaFileDataIDGrouping, MP4ItemSlot::Grouping},
    {kMediaFileDataIDDescription, MP4ItemSlot::Description},
    {kMediaFileDataIDNetwork, MP4ItemSlot::Network},
    {kMediaFileDataIDShow, MP4ItemSlot::Show},
    {kMediaFileDataIDEpisode, MP4ItemSlot::Episode},
};

const TextItem *textItem(MediaFileDataID id)
{
    for (const TextItem &item : kTextItems)
        if (item.id == id)
            return &item;
    return nullptr;
}

// A negative half means "keep what is stored".
constexpr int32_t kKeep = -1;

class MP4Handler final : public FormatHandler {
public:
    explicit MP4Handler(std::unique_ptr<MP4File> file) : file_(std::move(file)) {}

    MediaFileStatus update(const char *path, MediaFileFlags flags) override
    {
        return mp4::MP4FileSave(*file_, path, flags);
    }

    MediaFileStatus getInteger(MediaFileDataID id, int32_t *out) override
    {
        int32_t value = 0;
        MediaFileStatus status = readInteger(id, &value);
        if (status == kMediaFileNoErr)
            *out = value;
        return status;
    }

    MediaFileStatus setInteger(MediaFileDataID id, int32_t value) override
    {
        MP4File &f = *file_;
        switch (id) {
        case kMediaFileDataIDBPM:
            return mp4::MP4SetBPM(f, static_cast<uint16_t>(value));
        case kMediaFileDataIDCompilation:
            return mp4::MP4SetCompilation(f, value != 0);
        case kMediaFileDataIDDiskNumber:
            return mp4::MP4SetDisk(f, value, kKeep);
        case kMediaFileDataIDTotalDisks:
            return mp4::MP4SetDisk(f, kKeep, value);
        case kMediaFileDataIDTrackNumber:
            return mp4::MP4SetTrack(f, value, kKeep);
        case kMediaFileDataIDTotalTracks:
            return mp4::MP4SetTrack(f, kKeep, value);
        case kMediaFileDataIDYear:
            return mp4::MP4SetText(f, MP4ItemSlot::Year, formatIntegerText(value));
        case kMediaFileDataIDSeason:
            return mp4::MP4SetSeason(f, static_cast<uint32_t>(value));
        case kMediaFileDataIDFileKind:
            return mp4::MP4SetMediaKind(f, static_cast<uint8_t>(value));
        default:
            return kMediaFileErrUnsupported;
        }
    }

    MediaFileStatus getString(MediaFileDataID id, std::string *out) override
    {
        if (const TextItem *item = textItem(id))
            return mp4::MP4GetText(*file_, item->slot, out);
        if (id == kMediaFileDataIDGenre)
            return mp4::MP4GetGenre(*file_, out);
        if (id == kMediaFileDataIDLyrics)
            return mp4::MP4GetLyrics(*file_, out);
        return kMediaFileErrUnsupported;
    }

    MediaFileStatus setString(MediaFileDataID id, std::string_view text) override
    {
        if (const TextItem *item = textItem(id))
            return mp4::MP4SetText(*file_, item->slot, text);
        if (id == kMediaFileDataIDGenre)
            return mp4::MP4SetGenre(*file_, text);
        if (id == kMediaFileDataIDLyrics)
            return mp4::MP4SetLyrics(*file_, text);
        return kMediaFileErrUnsupported;
    }

    MediaFileStatus getData(MediaFileDataID id, std::vector<uint8_t> *out) override
    {
        if (id != kMediaFileDataIDArtwork)
            return kMediaFileErrUnsupported;
        return mp4::MP4GetCoverArt(*file_, out);
    }

    MediaFileStatus setData(MediaFileDataID id, std::span<const uint8_t> bytes) override
    {
        if (id != kMediaFileDataIDArtwork)
            return kMediaFileErrUnsupported;
        return mp4::MP4SetCoverArt(*file_, bytes);
    }

    MediaFileStatus getAudioProperties(const char *, MediaFileAudioProperties *out) override
    {
        return mp4::mp4AudioProperties(*file_, out);
    }

    // A total keeps its number (3 of 0); a number takes its total with it, the pair being one item.
    MediaFileStatus remove(MediaFileDataID id) override
    {
        MP4File &f = *file_;
        if (const TextItem *item = textItem(id)) {
            mp4::MP4RemoveItem(f, item->slot);
            return kMediaFileNoErr;
        }
        uint16_t number = 0, total = 0;
        switch (id) {
        case kMediaFileDataIDGenre:
            mp4::MP4RemoveItem(f, MP4ItemSlot::Genre);
            mp4::MP4RemoveItem(f, MP4ItemSlot::StandardGenre);
            return kMediaFileNoErr;
        case kMediaFileDataIDTotalTracks:
            if (mp4::MP4GetTrack(f, &number, &total) == kMediaFileNoErr && number > 0)
                return mp4::MP4SetTrack(f, kKeep, 0);
            [[fallthrough]];
        case kMediaFileDataIDTrackNumber:
            mp4::MP4RemoveItem(f, MP4ItemSlot::Track);
            return kMediaFileNoErr;
        case kMediaFileDataIDTotalDisks:
            if (mp4::MP4GetDisk(f, &number, &total) == kMediaFileNoErr && number > 0)
                return mp4::MP4SetDisk(f, kKeep, 0);
            [[fallthrough]];
        case kMediaFileDataIDDiskNumber:
            mp4::MP4RemoveItem(f, MP4ItemSlot::Disk);
            return kMediaFileNoErr;
        default:
            break;
        }
        constexpr std::pair<MediaFileDataID, MP4ItemSlot> kOtherItems[] = {
            {kMediaFileDataIDLyrics, MP4ItemSlot::Lyrics},   {kMediaFileDataIDYear, MP4ItemSlot::Year},
            {kMediaFileDataIDBPM, MP4ItemSlot::BPM},         {kMediaFileDataIDCompilation, MP4ItemSlot::Compilation},
            {kMediaFileDataIDSeason, MP4ItemSlot::Season},   {kMediaFileDataIDFileKind, MP4ItemSlot::MediaKind},
            {kMediaFileDataIDArtwork, MP4ItemSlot::CoverArt},
        };
        for (const auto &[dataID, slot] : kOtherItems) {
            if (dataID == id) {
                mp4::MP4RemoveItem(f, slot);
                return kMediaFileNoErr;
            }
        }
        return kMediaFileErrUnsupported;
    }

private:
    MediaFileStatus readInteger(MediaFileDataID id, int32_t *value) const
    {
        const MP4File &f = *file_;
        uint16_t first = 0, second = 0;
        MediaFileStatus status = kMediaFileNoErr;
        switch (id) {
        case kMediaFileDataIDBPM:
            status = mp4::MP4GetBPM(f, &first);
            *value = first;
            return status;
        case kMediaFileDataIDCompilation: {
            bool compilation = false;
            status = mp4::MP4GetCompilation(f, &compilation);
            *value = compilation ? 1 : 0;
            return status;
        }
        case kMediaFileDataIDDiskNumber:
        case kMediaFileDataIDTotalDisks:
            status = mp4::MP4GetDisk(f, &first, &second);
            *value = id == kMediaFileDataIDDiskNumber ? first : second;
            return status;
        case kMediaFileDataIDTrackNumber:
        case kMediaFileDataIDTotalTracks:
            status = mp4::MP4GetTrack(f, &first, &second);
            *value = id == kMediaFileDataIDTrackNumber ? first : second;
            return status;
        case kMediaFileDataIDYear: {
            std::string year;
            status = mp4::MP4GetText(f, MP4ItemSlot::Year, &year);
            *value = leadingInteger(year);
            return status;
        }
        case kMediaFileDataIDSeason: {
            uint32_t season = 0;
            status = mp4::MP4GetSeason(f, &season);
            *value = static_cast<int32_t>(season);
            return status;
        }
        case kMediaFileDataIDFileKind: {
            uint8_t kind = 0;
            status = mp4::MP4GetMediaKind(f, &kind);
            *value = kind;
            return status;
        }
        default:
            return kMediaFileErrUnsupported;
        }
    }

    std::unique_ptr<MP4File> file_;
};

} // namespace

MediaFileStatus MP4Open(const char *path, MediaFileFlags flags, HandlerPtr *out)
{
    std::unique_ptr<MP4File> file;
    if (MediaFileStatus status = mp4::MP4FileOpen(path, &file, flags))
        return status;
    *out = std::make_unique<MP4Handler>(std::move(file));
    return kMediaFileNoErr;
}

} // namespace kestrabel
