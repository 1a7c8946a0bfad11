#include "ArtworkInput.h"

#include "util/File.h"

namespace kestrabel::cli {

MediaFileStatus readArtworkImage(const std::string &path, std::vector<uint8_t> *out)
{
    return util::readWholeFile(path, out, 64u << 20);
}

} // namespace kestrabel::cli
