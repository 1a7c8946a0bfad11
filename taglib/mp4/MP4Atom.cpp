#include "MP4Atom.h"

namespace kestrabel::mp4 {

std::span<const uint8_t> MP4Atom::uuid() const
{
    if (type != kUuid || headerLength < 24)
        return {};
    return std::span<const uint8_t>(header).subspan(headerLength - 16, 16);
}

std::unique_ptr<MP4Atom> MP4Atom::make(uint32_t type)
{
    auto atom = std::make_unique<MP4Atom>();
    atom->type = type;
    atom->headerLength = 8;
    util::putBigEndian(atom->header.data(), 4, 8);
    util::putBigEndian(atom->header.data() + 4, 4, type);
    atom->totalSize = 8;
    return atom;
}

MediaFileStatus checkAncestry(const MP4Atom &atom, std::string_view pattern)
{
    const MP4Atom *current = &atom;
    size_t i = 0;
    while (i < pattern.size()) {
        if (pattern[i] == '.') {
            if (!current)
                return kMediaFileErrBadPath;
            current = current->parent;
            ++i;
            continue;
        }
        size_t end = pattern.find('.', i);
        if (end == std::string_view::npos)
            end = pattern.size();
        std::string_view name = pattern.substr(i, end - i);
        if (name.size() != 4)
            return kMediaFileErrShortHeader;
        if (!current)
            return kMediaFileErrBadPath;
        if (current->type != util::getBigEndian(reinterpret_cast<const uint8_t *>(name.data()), 4))
            return kMP4ErrTypeMismatch;
        i = end;
    }
    return current ? kMediaFileErrPastEnd : kMediaFileNoErr;
}

std::string typeName(uint32_t type)
{
    std::string name(4, ' ');
    for (int i = 0; i < 4; ++i)
        name[i] = static_cast<char>(type >> (24 - 8 * i));
    return name;
}

} // namespace kestrabel::mp4
