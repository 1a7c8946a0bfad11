// Reading and writing one value of an open file by its data-ID entry, and comparing the values
// of a file before and after a change (the dry runs).
#pragma once

#include "Report.h"

#include <optional>
#include <string>
#include <vector>

namespace kestrabel::cli {

// Through the accessor of the ID's value type; byte values come back as length, SHA-256 and
// description, or, with rawBytes, also as their bytes.
MediaFileStatus readValue(MediaFileRef ref, const MediaFileDataIDInfo *info, Value *out, std::string *rawBytes = nullptr);

// Every value the handle answers, in data-ID order; without audioInfo the four values of the
// audio stream (bit rate, channels, sample rate, play time) are left out.
void collectValues(MediaFileRef ref, bool audioInfo, std::vector<Entry> *entries);

// Integers in decimal, texts as they are, byte values as their description.
std::string valueText(const Value &value);

struct ValueChange {
    const MediaFileDataIDInfo *info;
    std::optional<Value> before, after; // nothing: the file has no such value
};

// The values that differ between two collections of one file, in data-ID order.
std::vector<ValueChange> changedValues(const std::vector<Entry> &before, const std::vector<Entry> &after);

// Stores text as the value of info: an integer ID takes a decimal number (out of the 32-bit
// range or with anything after the digits: kMediaFileErrBadFormat), a text ID the text.
MediaFileStatus writeText(MediaFileRef ref, const MediaFileDataIDInfo *info, const std::string &text);

} // namespace kestrabel::cli
