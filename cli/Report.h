// What a command found out about one file, kept apart from how it is printed.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace kestrabel::cli {

struct ByteValue {
    size_t length = 0;
    std::string sha256;
    std::string description; // "JPEG image, 23 456 bytes"
};

using Value = std::variant<int32_t, std::string, ByteValue>;

struct Entry {
    const MediaFileDataIDInfo *info;
    Value value;
};

struct FileReport {
    std::string path;
    MediaFileType kind = kMediaFileTypeUnsupported;
    MediaFileStatus status = kMediaFileNoErr;
    std::string error; // the message when status is not 0
    std::string cause; // the system's reason for a failed open, when the status lacks it
    std::vector<Entry> entries;
    // Beside the kind's own name when the file says more ("Ogg Opus"); empty otherwise.
    std::string kindName;
    std::optional<MediaFileAudioProperties> audio;
    std::vector<std::string> warnings; // what could not be read; the values shown are incomplete
};

// "JPEG image", "PNG image", … or "binary data", by the bytes' signature.
std::string describeBytes(const uint8_t *bytes, size_t length);
// 23456 → "23 456"
std::string groupDigits(uint64_t value);
// "kMediaFileErrCantOpen (-6755): the file cannot be opened"
std::string statusText(MediaFileStatus status);
// The same with the cause in this situation, where the status's own text is a general one.
std::string statusText(MediaFileStatus status, const char *cause);
// statusText of a failed open, with the system's reason when the status does not carry it:
// "kMediaFileErrCantOpen (-6755): the file cannot be opened: No such file or directory",
// "…: not a regular file (a FIFO)".
std::string openFailureText(const std::string &path, MediaFileStatus status);
// The reason alone; empty when the status is an errno or the system sees nothing wrong.
std::string openFailureCause(const std::string &path, MediaFileStatus status);
// Why a file whose tag an open read only in part is not saved: "its tag could not be read
// whole (kMediaFileErrShortHeader (-6743): …)".
std::string partialTagText(MediaFileStatus ignored);

} // namespace kestrabel::cli
