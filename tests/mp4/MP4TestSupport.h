// Helpers of the MP4 tests: an atom walker independent of the handler's own reader (standard
// header rules), and the peer tools that judge a saved file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrabel::test::mp4 {

struct AtomSpan {
    std::string path; // ".moov.udta.meta.ilst.\xA9nam.data"
    uint64_t offset = 0;
    uint64_t size = 0;
    uint64_t headerLength = 8;
};

std::vector<AtomSpan> listAtoms(const std::vector<uint8_t> &bytes);
// The nth atom with this path; a failed test assertion and an empty span when there is none.
AtomSpan findAtom(const std::vector<uint8_t> &bytes, const std::string &path, size_t nth = 0);
size_t countAtoms(const std::vector<uint8_t> &bytes, const std::string &path);
std::vector<uint8_t> payload(const std::vector<uint8_t> &bytes, const AtomSpan &atom);
// The entries of an stco (4-byte) or co64 (8-byte) table.
std::vector<uint64_t> chunkOffsets(const std::vector<uint8_t> &bytes, const AtomSpan &table);

// ffprobe's format tags as "key=value" lines.
std::string probedTags(const std::string &path);
// Runs a Python snippet with Debian's interpreter (the one with mutagen) on the file, which
// the snippet sees as `path`; returns what it prints.
std::string runMutagen(const std::string &snippet, const std::string &path, int *exitStatus = nullptr);
bool haveMutagen();
bool haveFfmpeg();

} // namespace kestrabel::test::mp4
