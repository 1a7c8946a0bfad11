// The fixed table that maps the canonical frame IDs onto their 2.3/2.4 and 2.2 spellings.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kestrabel::id3 {

struct FrameTableRow {
    uint32_t frameID;
    const char *longID;
    const char *shortID; // empty when the frame has no 2.2 form
};

// The first row with that spelling wins; null when there is none.
const FrameTableRow *frameRowByLongID(std::string_view longID);
const FrameTableRow *frameRowByShortID(std::string_view shortID);
const FrameTableRow *frameRowByID(uint32_t frameID);

// Every row, for the test that checks each of them.
std::span<const FrameTableRow> frameTableRows();

} // namespace kestrabel::id3
