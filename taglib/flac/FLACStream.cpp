#include "FLACStream.h"

#include <algorithm>
#include <cstdio>
#include <span>

namespace kestrabel::flac {

namespace {

size_t readInput(void *buffer, size_t size, size_t count, FLAC__IOHandle handle)
{
    auto *stream = static_cast<InputStream *>(handle);
    if (size == 0 || count == 0 || count > std::numeric_limits<size_t>::max() / size)
        return 0;
    uint64_t end = std::min(stream->size, stream->limit);
    if (stream->position >= end)
        return 0;
    size_t wanted = static_cast<size_t>(std::min<uint64_t>(size * count, end - stream->position));
    std::span<uint8_t> out(static_cast<uint8_t *>(buffer), wanted);
    // The size was taken when the stream began; a file cut short since reads as ended.
    if (stream->cache->readAt(stream->position, out) != kMediaFileNoErr)
        return 0;
    stream->position += wanted;
    return wanted / size;
}

int seekInput(FLAC__IOHandle handle, FLAC__int64 offset, int whence)
{
    auto *stream = static_cast<InputStream *>(handle);
    FLAC__int64 base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? static_cast<FLAC__int64>(stream->position)
                                                                    : static_cast<FLAC__int64>(stream->size);
    if (offset > std::numeric_limits<FLAC__int64>::max() - base || base + offset < 0)
        return -1;
    stream->position = static_cast<uint64_t>(base + offset);
    return 0;
}

FLAC__int64 tellInput(FLAC__IOHandle handle) { return static_cast<FLAC__int64>(static_cast<InputStream *>(handle)->position); }

int inputEnded(FLAC__IOHandle handle)
{
    auto *stream = static_cast<InputStream *>(handle);
    return stream->position >= std::min(stream->size, stream->limit);
}

} // namespace

const FLAC__IOCallbacks kInputCallbacks = {readInput, nullptr, seekInput, tellInput, inputEnded, nullptr};

} // namespace kestrabel::flac
