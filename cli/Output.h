#pragma once

#include "Report.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace kestrabel::cli {

std::string jsonString(std::string_view text);
// "3:42", or "1:02:03" from an hour on; rounded to the nearest second.
std::string playingTime(uint64_t durationMs);
// "AAC, 44.1 kHz, stereo, 256 kbit/s, 3:42"
std::string audioSummary(const MediaFileAudioProperties &audio);
// One JSON object on one line (JSON Lines).
std::string reportAsJson(const FileReport &report);
// A heading line and one aligned "name: value" line per entry.
std::string reportAsText(const FileReport &report);

} // namespace kestrabel::cli
