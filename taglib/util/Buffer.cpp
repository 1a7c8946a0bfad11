#include "Buffer.h"

#include <cstring>
#include <utility>

namespace kestrabel::util {

Buffer::Buffer(Buffer &&other) noexcept
    : data_(std::exchange(other.data_, nullptr)), used_(std::exchange(other.used_, 0)), capacity_(std::exchange(other.capacity_, 0))
{
}

Buffer &Buffer::operator=(Buffer &&other) noexcept
{
    if (this != &other) {
        std::free(data_);
        data_ = std::exchange(other.data_, nullptr);
        used_ = std::exchange(other.used_, 0);
        capacity_ = std::exchange(other.capacity_, 0);
    }
    return *this;
}

uint32_t Buffer::capacityFor(uint32_t needed)
{
    if (needed <= 255)
        return 256;
    if (needed <= 4095)
        return 4096;
    uint64_t rounded = (uint64_t(needed) + 32767) / 32768 * 32768;
    return rounded > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(rounded);
}

MediaFileStatus Buffer::reallocate(uint32_t capacity)
{
    void *grown = std::realloc(data_, capacity);
    if (!grown)
        return kMediaFileErrMemory;
    data_ = static_cast<uint8_t *>(grown);
    capacity_ = capacity;
    return kMediaFileNoErr;
}

void Buffer::fill(uint32_t at, Source source, uint32_t length)
{
    if (length == 0)
        return;
    if (source.zeroFill)
        std::memset(data_ + at, 0, length);
    else if (source.bytes)
        std::memmove(data_ + at, source.bytes, length);
}

MediaFileStatus Buffer::create(Source source, uint32_t length)
{
    uint32_t capacity = capacityFor(length);
    auto *block = static_cast<uint8_t *>(std::calloc(capacity, 1));
    if (!block)
        return kMediaFileErrMemory;
    std::free(data_);
    data_ = block;
    capacity_ = capacity;
    used_ = length;
    fill(0, source, length);
    return kMediaFileNoErr;
}

MediaFileStatus Buffer::set(Source source, uint32_t length)
{
    uint32_t capacity = capacityFor(length);
    if (capacity != capacity_)
        if (MediaFileStatus status = reallocate(capacity))
            return status;
    fill(0, source, length);
    used_ = length;
    return kMediaFileNoErr;
}

MediaFileStatus Buffer::append(Source source, uint32_t length)
{
    if (uint64_t(used_) + length > UINT32_MAX)
        return kMediaFileErrMemory;
    uint32_t needed = used_ + length;
    if (needed > capacity_)
        if (MediaFileStatus status = reallocate(capacityFor(needed)))
            return status;
    fill(used_, source, length);
    used_ = needed;
    return kMediaFileNoErr;
}

MediaFileStatus Buffer::appendExact(Source source, uint32_t length)
{
    if (uint64_t(used_) + length > UINT32_MAX)
        return kMediaFileErrMemory;
    uint32_t needed = used_ + length;
    uint32_t capacity = capacityFor(needed);
    if (capacity != capacity_)
        if (MediaFileStatus status = reallocate(capacity))
            return status;
    fill(used_, source, length);
    used_ = needed;
    return kMediaFileNoErr;
}

void Buffer::detach(uint8_t **outData, uint32_t *outLength)
{
    *outData = std::exchange(data_, nullptr);
    *outLength = std::exchange(used_, 0);
    capacity_ = 0;
}

} // namespace kestrabel::util
