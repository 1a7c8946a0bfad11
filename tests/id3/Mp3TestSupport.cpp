#include "Mp3TestSupport.h"

#include <cstring>

namespace kestrabel::test {

TagHeader readTagHeader(const std::vector<uint8_t> &file)
{
    if (file.size() < 10 || std::memcmp(file.data(), "ID3", 3) != 0)
        return {};
    return {true, file[3], 10 + (uint64_t(file[6]) << 21 | uint64_t(file[7]) << 14 | uint64_t(file[8]) << 7 | file[9])};
}

std::vector<uint8_t> v1Record(const std::vector<uint8_t> &file)
{
    if (file.size() < 128 || std::memcmp(file.data() + file.size() - 128, "TAG", 3) != 0)
        return {};
    return {file.end() - 128, file.end()};
}

std::vector<uint8_t> audioPart(const std::vector<uint8_t> &file)
{
    const TagHeader header = readTagHeader(file);
    const size_t start = header.present ? header.size : 0, end = file.size() - v1Record(file).size();
    return start > end ? std::vector<uint8_t>{} : std::vector<uint8_t>(file.begin() + long(start), file.begin() + long(end));
}

std::vector<RawFrame> rawFrames(const std::vector<uint8_t> &file, int version)
{
    std::vector<RawFrame> frames;
    const TagHeader header = readTagHeader(file);
    const size_t idLength = version == 2 ? 3 : 4, headerLength = version == 2 ? 6 : 10;
    for (size_t pos = 10; header.present && pos + headerLength <= header.size && file[pos] != 0;) {
        const uint8_t *p = file.data() + pos, *s = p + idLength;
        const uint32_t size = version == 2   ? uint32_t(s[0]) << 16 | s[1] << 8 | s[2]
                              : version == 4 ? uint32_t(s[0]) << 21 | s[1] << 14 | s[2] << 7 | s[3]
                                             : uint32_t(s[0]) << 24 | s[1] << 16 | s[2] << 8 | s[3];
        if (pos + headerLength + size > header.size)
            break;
        frames.push_back({std::string(p, p + idLength), std::vector<uint8_t>(p + headerLength, p + headerLength + size),
                          version == 2 ? 0 : p[8] << 8 | p[9]});
        pos += headerLength + size;
    }
    return frames;
}

std::string bytesAsText(const std::vector<uint8_t> &bytes) { return std::string(bytes.begin(), bytes.end()); }

std::string repeated(const std::string &text, int times) { return times > 0 ? text + repeated(text, times - 1) : ""; }

} // namespace kestrabel::test
