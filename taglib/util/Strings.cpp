#include "Strings.h"

#include <cctype>

namespace kestrabel::util {

int compareCaseless(std::string_view a, std::string_view b)
{
    size_t n = std::min(a.size(), b.size());
    for (size_t i = 0; i < n; ++i) {
        int ca = std::tolower(static_cast<unsigned char>(a[i]));
        int cb = std::tolower(static_cast<unsigned char>(b[i]));
        if (ca != cb)
            return ca < cb ? -1 : 1;
    }
    if (a.size() == b.size())
        return 0;
    return a.size() < b.size() ? -1 : 1;
}

std::string_view extension(std::string_view path)
{
    size_t dot = path.rfind('.');
    if (dot == std::string_view::npos)
        return {};
    if (dot + 1 < path.size()) {
        unsigned char next = static_cast<unsigned char>(path[dot + 1]);
        if (std::isdigit(next) || next == ' ')
            return {};
    }
    return path.substr(dot + 1);
}

bool hasExtension(std::string_view path, std::string_view ext)
{
    size_t dot = path.rfind('.');
    return dot != std::string_view::npos && compareCaseless(path.substr(dot + 1), ext) == 0;
}

static std::string_view withoutTrailingSlash(std::string_view path)
{
    if (!path.empty() && path.back() == '/')
        path.remove_suffix(1);
    return path;
}

std::string_view lastComponent(std::string_view path)
{
    path = withoutTrailingSlash(path);
    size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

MediaFileStatus parentComponent(std::string_view path, int level, std::string_view *out)
{
    path = withoutTrailingSlash(path);
    for (int i = 0; i < level; ++i) {
        size_t slash = path.rfind('/');
        if (slash == std::string_view::npos)
            return kMediaFileErrNotFound;
        path = path.substr(0, slash);
    }
    size_t slash = path.rfind('/');
    if (slash == std::string_view::npos && level > 0 && path.empty())
        return kMediaFileErrNotFound;
    *out = slash == std::string_view::npos ? path : path.substr(slash + 1);
    return kMediaFileNoErr;
}

std::string_view cleanFilename(std::string_view path)
{
    std::string_view name = lastComponent(path);
    std::string_view ext = extension(name);
    if (ext.empty() && (name.empty() || name.back() != '.'))
        return name;
    return name.substr(0, name.size() - ext.size() - 1);
}

} // namespace kestrabel::util
