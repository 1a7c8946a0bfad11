// What the MP3 tests look at in a file without going through the handler: the ID3v2 header,
// the audio between the tags, the ID3v1 record; and a way to ask mutagen.
#pragma once

#include "TestSupport.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kestrabel::test {

struct TagHeader {
    bool present = false;
    int major = 0;
    int flags = 0;
    uint64_t size = 0; // the whole tag, header included
};

TagHeader readTagHeader(const std::vector<uint8_t> &file);
bool hasV1(const std::vector<uint8_t> &file);
// The bytes between the ID3v2 tag and the ID3v1 tag.
std::vector<uint8_t> audioPart(const std::vector<uint8_t> &file);
std::vector<uint8_t> v1Record(const std::vector<uint8_t> &file);

// The frames of an ID3v2.3/2.4 tag as (ID, body, flags), read with the sizes the test asks for.
struct RawFrame {
    std::string id;
    std::vector<uint8_t> body;
    int flags = 0;
};
std::vector<RawFrame> rawFrames(const std::vector<uint8_t> &file, bool synchsafeSizes);
std::vector<RawFrame> rawFrames22(const std::vector<uint8_t> &file);

bool haveMutagen();
// Runs a Python snippet under Debian's Python (which has mutagen) with the path as sys.argv[1];
// returns its exit status and its standard output.
int runMutagen(const std::string &script, const std::string &path, std::string *output);

// Runs kestrabel-tag with the arguments (already quoted); returns the exit status.
int runCli(const std::string &arguments, std::string *output = nullptr);

std::string bytesAsText(const std::vector<uint8_t> &bytes);

} // namespace kestrabel::test
