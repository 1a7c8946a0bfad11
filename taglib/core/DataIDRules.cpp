#include "DataIDRules.h"

#include <cstdio>
#include <cstdlib>

namespace kestrabel {

MediaFileStatus scanIntegerText(std::string_view text, int32_t *out)
{
    std::string copy(text);
    int value = 0;
    if (std::sscanf(copy.c_str(), "%d", &value) != 1)
        return kMediaFileErrBadFormat;
    *out = value;
    return kMediaFileNoErr;
}

int32_t leadingInteger(std::string_view text)
{
    std::string copy(text);
    return static_cast<int32_t>(std::strtol(copy.c_str(), nullptr, 10));
}

} // namespace kestrabel
