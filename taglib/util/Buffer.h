// A growable byte buffer with the library's capacity rule: 256 for up to 255 bytes, 4096 up
// to 4095, otherwise the size rounded up to a multiple of 32768. The rule keeps reallocations
// rare while tags are rendered frame by frame.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <cstdlib>

namespace kestrabel::util {

class Buffer {
public:
    // The source of create/set/append: bytes to copy, nothing (leave the bytes as they are),
    // or zeros.
    struct Source {
        const void *bytes = nullptr;
        bool zeroFill = false;
    };
    static Source copy(const void *bytes) { return {bytes, false}; }
    static Source zeros() { return {nullptr, true}; }
    static Source leave() { return {nullptr, false}; }

    Buffer() = default;
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;
    Buffer(Buffer &&other) noexcept;
    Buffer &operator=(Buffer &&other) noexcept;
    ~Buffer() { std::free(data_); }

    static uint32_t capacityFor(uint32_t needed);

    MediaFileStatus create(Source source, uint32_t length);
    MediaFileStatus set(Source source, uint32_t length);
    // Grows only when the capacity is exceeded.
    MediaFileStatus append(Source source, uint32_t length);
    // Reallocates whenever the rule's capacity for the new size differs, shrinking too.
    MediaFileStatus appendExact(Source source, uint32_t length);
    // Hands the bytes to the caller, who frees them with free(); the buffer is empty after.
    void detach(uint8_t **outData, uint32_t *outLength);

    uint8_t *data() { return data_; }
    const uint8_t *data() const { return data_; }
    uint32_t size() const { return used_; }
    uint32_t capacity() const { return capacity_; }

private:
    MediaFileStatus reallocate(uint32_t capacity);
    void fill(uint32_t at, Source source, uint32_t length);

    uint8_t *data_ = nullptr;
    uint32_t used_ = 0;
    uint32_t capacity_ = 0;
};

} // namespace kestrabel::util
