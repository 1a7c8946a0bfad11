// Data IDs of a still image: Make, Model, Copyright and Date from its EXIF block. The core
// refuses every set and has nothing to write for this kind.
#include "EXIFFile.h"

#include "core/FormatHandler.h"

namespace kestrabel {

namespace {

class EXIFHandler final : public FormatHandler {
public:
    explicit EXIFHandler(exif::EXIFFilePtr file) : file_(std::move(file)) {}

    MediaFileStatus update(const char *, MediaFileFlags) override { return kMediaFileNoErr; }

    MediaFileStatus getString(MediaFileDataID id, std::string *out) override { return exif::EXIFGetString(*file_, id, out); }

private:
    exif::EXIFFilePtr file_;
};

} // namespace

MediaFileStatus EXIFOpen(const char *path, MediaFileFlags, HandlerPtr *out)
{
    exif::EXIFFilePtr file;
    if (MediaFileStatus status = exif::EXIFFileOpen(path, &file))
        return status;
    *out = std::make_unique<EXIFHandler>(std::move(file));
    return kMediaFileNoErr;
}

} // namespace kestrabel
