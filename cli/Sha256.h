#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kestrabel::cli {

// Lower-case hex SHA-256 of the bytes.
std::string sha256Hex(std::span<const uint8_t> data);

} // namespace kestrabel::cli
