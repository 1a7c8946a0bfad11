#pragma once

#include "Report.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace kestrabel::cli {

std::string jsonString(std::string_view text);
// One JSON object on one line (JSON Lines).
std::string reportAsJson(const FileReport &report);
// A heading line and one aligned "name: value" line per entry.
std::string reportAsText(const FileReport &report);

} // namespace kestrabel::cli
