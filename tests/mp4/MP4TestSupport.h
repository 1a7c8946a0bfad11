// An atom walker for the MP4 tests, independent of the handler's own reader (standard header rules).
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
// The first atom with this path; a failed test assertion and an empty span when there is none.
AtomSpan findAtom(const std::vector<uint8_t> &bytes, const std::string &path);
size_t countAtoms(const std::vector<uint8_t> &bytes, const std::string &path);
std::vector<uint8_t> payload(const std::vector<uint8_t> &bytes, const AtomSpan &atom);
// The entries of every stco (4-byte) or co64 (8-byte) table of this path, in file order.
std::vector<uint64_t> chunkOffsets(const std::vector<uint8_t> &bytes, const std::string &path);

} // namespace kestrabel::test::mp4
