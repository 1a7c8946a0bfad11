// What the FLAC tests look at in a file, read independently of the handler: its metadata
// blocks and the audio frames after them; and the peer tools' view of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrabel::test {

struct FlacBlock {
    int type = 0;
    std::vector<uint8_t> body;
};

struct FlacLayout {
    bool valid = false;
    std::vector<FlacBlock> blocks;
    std::vector<uint8_t> audio; // everything after the last metadata block
    std::vector<int> types() const;
    // The entries of the (first) VORBIS_COMMENT block, in order.
    std::vector<std::string> comments() const;
};

FlacLayout readFlacLayout(const std::string &path);

// The tags as metaflac exports them, one "NAME=value" per line; empty when the tool is missing.
std::vector<std::string> metaflacTags(const std::string &path);

// True when `flac -t` decodes the file and its MD5 signature matches (skipped: true).
bool flacTestPasses(const std::string &path, std::string *output);

} // namespace kestrabel::test
