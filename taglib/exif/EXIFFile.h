// Four descriptive values from the EXIF block of an image, through libexif; read only.
#pragma once

#include <kestrabel/MediaFile.h>

#include <libexif/exif-data.h>

#include <memory>
#include <string>

namespace kestrabel::exif {

struct ExifDataRelease {
    void operator()(ExifData *data) const { exif_data_unref(data); }
};

struct EXIFFile {
    std::unique_ptr<ExifData, ExifDataRelease> data;
};

using EXIFFilePtr = std::unique_ptr<EXIFFile>;

// kMediaFileErrNoExif when libexif finds no EXIF block in the file.
MediaFileStatus EXIFFileOpen(const char *path, EXIFFilePtr *out);
// Make, Model and Copyright of the first image directory, Date from DateTimeOriginal of the
// EXIF directory, each exactly as libexif renders it.
MediaFileStatus EXIFGetString(const EXIFFile &file, MediaFileDataID id, std::string *out);

} // namespace kestrabel::exif
