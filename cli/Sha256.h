#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kestrabel::cli {

// Fastest uses the processor's SHA instructions where it has them; Portable is the plain C++
// path every processor runs, kept reachable so tests can hold the two to each other.
enum class Sha256Path { Fastest, Portable };

// Lower-case hex SHA-256 of the bytes.
std::string sha256Hex(std::span<const uint8_t> data, Sha256Path path = Sha256Path::Fastest);

// Whether Fastest differs from Portable on this processor.
bool sha256HasCpuPath();

} // namespace kestrabel::cli
