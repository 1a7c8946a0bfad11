// One bounds-checked cursor for reading binary records, and one writer for building them.
// Every read checks what is left first; a failed read leaves the cursor where it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

namespace kestrabel::util {

// Big-endian integer of 1 to 4 bytes. Other widths write nothing and give the width back.
inline int putBigEndian(uint8_t *buffer, int width, uint32_t value)
{
    if (width < 1 || width > 4)
        return width;
    for (int i = width - 1; i >= 0; --i) {
        buffer[i] = static_cast<uint8_t>(value & 0xFF);
        value >>= 8;
    }
    return width;
}

inline uint32_t getBigEndian(const uint8_t *buffer, int width)
{
    if (width < 1 || width > 4)
        return 0;
    uint32_t value = 0;
    for (int i = 0; i < width; ++i)
        value = (value << 8) | buffer[i];
    return value;
}

class ByteReader {
public:
    ByteReader() = default;
    explicit ByteReader(std::span<const uint8_t> data) : data_(data) {}
    ByteReader(const void *data, size_t size) : data_(static_cast<const uint8_t *>(data), size) {}

    size_t size() const { return data_.size(); }
    size_t position() const { return pos_; }
    size_t remaining() const { return data_.size() - pos_; }
    bool atEnd() const { return pos_ >= data_.size(); }
    std::span<const uint8_t> rest() const { return data_.subspan(pos_); }

    bool seek(size_t position)
    {
        if (position > data_.size())
            return false;
        pos_ = position;
        return true;
    }
    bool skip(size_t count)
    {
        if (count > remaining())
            return false;
        pos_ += count;
        return true;
    }

    bool u8(uint8_t &out) { return read(1, [&](const uint8_t *p) { out = p[0]; }); }
    bool be16(uint16_t &out) { return read(2, [&](const uint8_t *p) { out = static_cast<uint16_t>(p[0] << 8 | p[1]); }); }
    bool be24(uint32_t &out) { return read(3, [&](const uint8_t *p) { out = getBigEndian(p, 3); }); }
    bool be32(uint32_t &out) { return read(4, [&](const uint8_t *p) { out = getBigEndian(p, 4); }); }
    bool be64(uint64_t &out)
    {
        return read(8, [&](const uint8_t *p) { out = uint64_t(getBigEndian(p, 4)) << 32 | getBigEndian(p + 4, 4); });
    }
    bool le16(uint16_t &out) { return read(2, [&](const uint8_t *p) { out = static_cast<uint16_t>(p[1] << 8 | p[0]); }); }
    bool le32(uint32_t &out)
    {
        return read(4, [&](const uint8_t *p) {
            out = uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
        });
    }
    bool le64(uint64_t &out)
    {
        uint32_t low = 0, high = 0;
        size_t start = pos_;
        if (!le32(low) || !le32(high)) {
            pos_ = start;
            return false;
        }
        out = uint64_t(high) << 32 | low;
        return true;
    }
    // Four 7-bit groups; a set top bit in any byte makes the value invalid.
    bool synchsafe32(uint32_t &out)
    {
        if (remaining() < 4)
            return false;
        const uint8_t *p = data_.data() + pos_;
        if ((p[0] | p[1] | p[2] | p[3]) & 0x80)
            return false;
        out = uint32_t(p[0]) << 21 | uint32_t(p[1]) << 14 | uint32_t(p[2]) << 7 | p[3];
        pos_ += 4;
        return true;
    }
    bool bytes(size_t count, std::span<const uint8_t> &out)
    {
        if (count > remaining())
            return false;
        out = data_.subspan(pos_, count);
        pos_ += count;
        return true;
    }
    bool fourCC(uint32_t &out) { return be32(out); }
    bool matches(std::string_view magic) const
    {
        return remaining() >= magic.size() && std::memcmp(data_.data() + pos_, magic.data(), magic.size()) == 0;
    }

private:
    template <typename F> bool read(size_t count, F &&f)
    {
        if (count > remaining())
            return false;
        f(data_.data() + pos_);
        pos_ += count;
        return true;
    }

    std::span<const uint8_t> data_;
    size_t pos_ = 0;
};

class ByteWriter {
public:
    explicit ByteWriter(std::vector<uint8_t> &out) : out_(out) {}

    size_t position() const { return out_.size(); }
    void u8(uint32_t v) { out_.push_back(static_cast<uint8_t>(v)); }
    void be16(uint32_t v) { u8(v >> 8); u8(v); }
    void be24(uint32_t v) { u8(v >> 16); u8(v >> 8); u8(v); }
    void be32(uint32_t v) { be16(v >> 16); be16(v); }
    void be64(uint64_t v) { be32(static_cast<uint32_t>(v >> 32)); be32(static_cast<uint32_t>(v)); }
    void le16(uint32_t v) { u8(v); u8(v >> 8); }
    void le32(uint32_t v) { le16(v); le16(v >> 16); }
    void synchsafe32(uint32_t v) { u8((v >> 21) & 0x7F); u8((v >> 14) & 0x7F); u8((v >> 7) & 0x7F); u8(v & 0x7F); }
    void bytes(std::span<const uint8_t> data) { out_.insert(out_.end(), data.begin(), data.end()); }
    void text(std::string_view s) { out_.insert(out_.end(), s.begin(), s.end()); }
    void zeros(size_t count) { out_.insert(out_.end(), count, 0); }

    void patchBe32(size_t at, uint32_t v) { putBigEndian(out_.data() + at, 4, v); }
    void patchLe32(size_t at, uint32_t v)
    {
        for (int i = 0; i < 4; ++i)
            out_[at + i] = static_cast<uint8_t>(v >> (8 * i));
    }

private:
    std::vector<uint8_t> &out_;
};

constexpr uint32_t fourCC(const char (&code)[5])
{
    return uint32_t(uint8_t(code[0])) << 24 | uint32_t(uint8_t(code[1])) << 16 | uint32_t(uint8_t(code[2])) << 8 |
           uint8_t(code[3]);
}

} // namespace kestrabel::util
