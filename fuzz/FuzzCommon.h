#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace kestrabel::fuzz {

// Writes data to a temporary file with each extension in turn and runs the whole life cycle of
// a handle on it: open, every getter, edits chosen by the input, update, reopen, close.
void exerciseFile(const uint8_t *data, size_t size, std::initializer_list<const char *> extensions);

} // namespace kestrabel::fuzz
