#pragma once

#include "Report.h"
#include "Template.h"
#include "Values.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace kestrabel::cli {

std::string jsonString(std::string_view text);
// A name that is not UTF-8 cannot be told exactly by a JSON text ("path" shows U+FFFD for
// the bytes that are not); then this adds ", "path_bytes": HEX", the name's bytes as lower-case
// hex, and otherwise nothing.
std::string pathBytesField(std::string_view path);
// A value as JSON: a number, a string, or {"length": ..., "sha256": ...} for bytes.
std::string valueAsJson(const Value &value);
// get --json: {"path", "status": 0, "value"}, or, when status is not 0, {"path", "status",
// "error"} with the error's context ("cannot open", the constant name) and cause.
std::string valueAsJsonLine(const std::string &path, MediaFileStatus status, const std::string &context, const std::string &cause,
                            const Value &value);
// A value's text on one line: line breaks and other control characters are written as \n, \r,
// \t, \xHH (\u00HH for C1 controls), invalid UTF-8 as U+FFFD. JSON keeps the exact text.
std::string escapeText(std::string_view text);
// "3:42", or "1:02:03" from an hour on; rounded to the nearest second.
std::string playingTime(uint64_t durationMs);
// "AAC, 44.1 kHz, stereo, 256 kbit/s, 3:42"
std::string audioSummary(const MediaFileAudioProperties &audio);
// One JSON object on one line (JSON Lines).
std::string reportAsJson(const FileReport &report);
// A heading line and one aligned "name: value" line per entry.
std::string reportAsText(const FileReport &report);
// One line from a template: %{path}, %{kind} and the values; a value the file lacks is empty.
std::string reportAsLine(const FileReport &report, const Template &format);
// A dry run: the path, then one "name : old → new" line per value (or "nothing would change").
std::string changesAsText(const std::string &path, const std::vector<ValueChange> &changes);
// A dry run of rename: "old → new".
std::string renameAsText(const std::string &from, const std::string &to);

} // namespace kestrabel::cli
