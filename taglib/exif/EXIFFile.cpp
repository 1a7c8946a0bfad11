#include "EXIFFile.h"

#include "util/File.h"

#include <libexif/exif-loader.h>

namespace kestrabel::exif {

namespace {

struct TagPlace {
    MediaFileDataID id;
    ExifIfd ifd;
    ExifTag tag;
};

// Only DateTimeOriginal in the EXIF directory counts as the date, even when the first image
// directory has a DateTime (0x0132): deliberate.
constexpr TagPlace kTagPlaces[] = {
    {kMediaFileDataIDMake, EXIF_IFD_0, EXIF_TAG_MAKE},
    {kMediaFileDataIDModel, EXIF_IFD_0, EXIF_TAG_MODEL},
    {kMediaFileDataIDCopyright, EXIF_IFD_0, EXIF_TAG_COPYRIGHT},
    {kMediaFileDataIDDate, EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL},
};

constexpr size_t kValueBufferSize = 4096;

struct LoaderRelease {
    void operator()(ExifLoader *loader) const { exif_loader_unref(loader); }
};

} // namespace

MediaFileStatus EXIFFileOpen(const char *path, EXIFFilePtr *out)
{
    if (!path)
        return kMediaFileErrParam;
    // libexif's loader says nothing about a file it cannot open; ask first, so that a missing
    // or unreadable file is reported as such and not as one without EXIF.
    {
        util::File probe;
        if (MediaFileStatus status = util::File::openRead(path, &probe))
            return status;
    }
    std::unique_ptr<ExifLoader, LoaderRelease> loader(exif_loader_new());
    if (!loader)
        return kMediaFileErrMemory;
    exif_loader_write_file(loader.get(), path);
    auto file = std::make_unique<EXIFFile>();
    file->data.reset(exif_loader_get_data(loader.get()));
    if (!file->data)
        return kMediaFileErrNoExif;
    *out = std::move(file);
    return kMediaFileNoErr;
}

MediaFileStatus EXIFGetString(const EXIFFile &file, MediaFileDataID id, std::string *out)
{
    const TagPlace *place = nullptr;
    for (const TagPlace &candidate : kTagPlaces)
        if (candidate.id == id)
            place = &candidate;
    if (!place)
        return kMediaFileErrUnsupported;
    ExifContent *content = file.data->ifd[place->ifd];
    ExifEntry *entry = content ? exif_content_get_entry(content, place->tag) : nullptr;
    if (!entry)
        return kMediaFileErrNotFound;
    char buffer[kValueBufferSize] = {};
    const char *value = exif_entry_get_value(entry, buffer, sizeof buffer);
    if (!value)
        return kMediaFileErrBadFormat;
    out->assign(value);
    return kMediaFileNoErr;
}

} // namespace kestrabel::exif
