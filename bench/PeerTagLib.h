// The same work done with TagLib, the library most people use for this.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrabel::bench {

// Opens with audio properties, reads every property and the cover; returns a checksum so the
// work cannot be optimised away.
uint64_t tagLibReadAll(const std::string &path);
bool tagLibSetTitle(const std::string &path, const std::string &title);
bool tagLibAddCover(const std::string &path, const std::vector<uint8_t> &jpeg);

} // namespace kestrabel::bench
