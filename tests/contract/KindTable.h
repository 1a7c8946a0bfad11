#pragma once

#include <kestrabel/MediaFile.h>

#include <ostream>
#include <string>
#include <vector>

namespace kestrabel::test {

// One writable kind with a small tagged fixture of it.
struct KindCase {
    std::string name;    // used in test names
    std::string fixture; // under tests/data
    MediaFileType kind;
};

const std::vector<KindCase> &writableKinds();

inline void PrintTo(const KindCase &kind, std::ostream *out) { *out << kind.name << " (" << kind.fixture << ")"; }

} // namespace kestrabel::test
