#pragma once

#include "Report.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace kestrabel::cli {

std::string jsonString(std::string_view text);
// A name that is not UTF-8 cannot be told exactly by a JSON text ("path" shows U+FFFD for
// the bytes that are not); then this adds ", "path_bytes": HEX", the name's bytes as lower-case
// hex, and otherwise nothing.
std::string pathBytesField(std::string_view path);
// One JSON object on one line (JSON Lines).
std::string reportAsJson(const FileReport &report);
// A heading line and one aligned "name: value" line per entry.
std::string reportAsText(const FileReport &report);

} // namespace kestrabel::cli
