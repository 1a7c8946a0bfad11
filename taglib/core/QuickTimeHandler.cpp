// QuickTime movies open so that their path-derived IDs answer; no tag data is read.
#include "FormatHandler.h"
#include "util/File.h"

namespace kestrabel {

namespace {

class QuickTimeHandler final : public FormatHandler {
public:
    MediaFileStatus update(const char *, MediaFileFlags) override { return kMediaFileNoErr; }
};

} // namespace

MediaFileStatus QuickTimeOpen(const char *path, MediaFileFlags, HandlerPtr *out)
{
    util::File file;
    MediaFileStatus status = util::File::openRead(path, &file);
    // Even an unreadable movie gets a handle: the core answers its path-derived IDs regardless.
    *out = std::make_unique<QuickTimeHandler>();
    return status;
}

} // namespace kestrabel
