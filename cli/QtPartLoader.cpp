#include "ArtworkInput.h"
#include "QtPart.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace kestrabel::cli {

namespace {

// Where the module is, relative to the program's folder: the same in the build tree (cli/ next
// to the library folder) and in an installed prefix (bin/ next to it).
std::string modulePath()
{
    char self[PATH_MAX];
    ssize_t length = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (length <= 0)
        return {};
    std::string folder(self, static_cast<size_t>(length));
    folder.resize(folder.find_last_of('/') + 1);
    return folder + KESTRABEL_QT_PART_PATH;
}

const QtPart *load()
{
    std::string path = modulePath();
    if (path.empty()) {
        printError("cannot find the Qt part: /proc/self/exe cannot be read");
        return nullptr;
    }
    void *module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        printError("cannot load the Qt part: " + std::string(::dlerror()));
        return nullptr;
    }
    auto entry = reinterpret_cast<QtPartEntry>(::dlsym(module, KESTRABEL_QT_PART_ENTRY));
    const QtPart *part = entry ? entry() : nullptr;
    if (!part || part->version != kQtPartVersion) {
        printError(path + " is not the Qt part of this kestrabel-tag");
        return nullptr;
    }
    return part;
}

} // namespace

const QtPart *qtPart()
{
    static const QtPart *part = load();
    return part;
}

MediaFileStatus readArtworkImage(const std::string &path, std::vector<uint8_t> *out)
{
    const QtPart *part = qtPart();
    return part ? part->readArtworkImage(path, out) : kMediaFileErrNotImage;
}

MediaFileStatus checkArtworkBytes(const std::string &bytes)
{
    const QtPart *part = qtPart();
    return part ? part->checkArtworkBytes(bytes) : kMediaFileErrNotImage;
}

} // namespace kestrabel::cli
