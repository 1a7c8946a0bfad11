#include "ArtworkInput.h"

#include "util/File.h"

namespace kestrabel::cli {

MediaFileStatus readArtworkImage(const std::string &path, std::vector<uint8_t> *out)
{
    return util::readWholeFile(path, out, 64u << 20);
}

MediaFileStatus checkArtworkBytes(const std::string &bytes)
{
    const bool jpeg = bytes.rfind("\xFF\xD8\xFF", 0) == 0;
    const bool png = bytes.rfind("\x89PNG\r\n\x1A\n", 0) == 0;
    return jpeg || png ? kMediaFileNoErr : kMediaFileErrNotImage;
}

} // namespace kestrabel::cli
