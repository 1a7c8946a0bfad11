// What the MP3 tests look at in a file without going through the handler: the ID3v2 header and
// frames, the audio between the tags, the ID3v1 record.
#pragma once

#include "TestSupport.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kestrabel::test {

struct TagHeader {
    bool present = false;
    int major = 0;
    uint64_t size = 0; // the whole tag, header included
};

TagHeader readTagHeader(const std::vector<uint8_t> &file);
// The 128-byte ID3v1 record at the end, or nothing.
std::vector<uint8_t> v1Record(const std::vector<uint8_t> &file);
// The bytes between the ID3v2 tag and the ID3v1 tag.
std::vector<uint8_t> audioPart(const std::vector<uint8_t> &file);

// The frames of an ID3v2 tag as (ID, body, flags), read as the version says: 2 the three-letter
// frames of 2.2, 3 four-letter frames with plain sizes, 4 with synchsafe ones.
struct RawFrame {
    std::string id;
    std::vector<uint8_t> body;
    int flags = 0;
};
std::vector<RawFrame> rawFrames(const std::vector<uint8_t> &file, int version);

std::string bytesAsText(const std::vector<uint8_t> &bytes);
std::string repeated(const std::string &text, int times);

} // namespace kestrabel::test
