#include "Zlib.h"

#include <new>
#include <zlib.h>

namespace kestrabel::util {

MediaFileStatus deflateBytes(std::span<const uint8_t> input, std::vector<uint8_t> *out)
{
    std::vector<uint8_t> bytes;
    try {
        bytes.resize(input.size() + input.size() / 10 + 12);
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
    uLongf length = bytes.size();
    int result = compress(bytes.data(), &length, input.data(), input.size());
    if (result != Z_OK)
        return result;
    bytes.resize(length);
    *out = std::move(bytes);
    return kMediaFileNoErr;
}

MediaFileStatus inflateBytes(std::span<const uint8_t> input, size_t expectedSize, std::vector<uint8_t> *out)
{
    std::vector<uint8_t> bytes;
    try {
        bytes.resize(expectedSize);
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
    uLongf length = bytes.size();
    static const uint8_t kEmpty = 0;
    int result = uncompress(bytes.empty() ? const_cast<uint8_t *>(&kEmpty) : bytes.data(), &length,
                            input.empty() ? &kEmpty : input.data(), input.size());
    if (result != Z_OK)
        return result;
    bytes.resize(length);
    *out = std::move(bytes);
    return kMediaFileNoErr;
}

} // namespace kestrabel::util
