// Arithmetic every kind's audio properties share, so that rounding is the same everywhere.
#pragma once

#include <cstdint>

namespace kestrabel {

// Samples at a rate to milliseconds, rounded to the nearest; 0 for an unknown rate.
constexpr uint64_t samplesToMs(uint64_t samples, uint64_t rate)
{
    if (rate == 0)
        return 0;
    // Split so that sample counts near 2^64 / 1000 do not overflow.
    return samples / rate * 1000 + (samples % rate * 1000 + rate / 2) / rate;
}

// Average kbit/s (1,000 bits) of a number of bytes played over a time; 0 for no time.
constexpr uint32_t averageKbps(uint64_t bytes, uint64_t durationMs)
{
    if (durationMs == 0 || bytes > UINT64_MAX / 8)
        return 0;
    const uint64_t kbps = (bytes * 8 + durationMs / 2) / durationMs;
    return kbps > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(kbps);
}

} // namespace kestrabel
