#include "Report.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrabel::cli {

std::string describeBytes(const uint8_t *bytes, size_t length)
{
    auto starts = [&](const char *magic, size_t n, size_t at = 0) { return length >= at + n && std::memcmp(bytes + at, magic, n) == 0; };
    const char *kind = "binary data";
    if (starts("\xFF\xD8\xFF", 3))
        kind = "JPEG image";
    else if (starts("\x89PNG\r\n\x1A\n", 8))
        kind = "PNG image";
    else if (starts("GIF8", 4))
        kind = "GIF image";
    else if (starts("BM", 2))
        kind = "BMP image";
    else if (starts("II*\0", 4) || starts("MM\0*", 4))
        kind = "TIFF image";
    else if (starts("RIFF", 4) && starts("WEBP", 4, 8))
        kind = "WebP image";
    return std::string(kind) + ", " + groupDigits(length) + (length == 1 ? " byte" : " bytes");
}

std::string groupDigits(uint64_t value)
{
    std::string digits = std::to_string(value);
    std::string out;
    for (size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0)
            out += ' ';
        out += digits[i];
    }
    return out;
}

std::string statusText(MediaFileStatus status)
{
    return std::string(MediaFileGetStatusName(status)) + " (" + std::to_string(status) + "): " + MediaFileGetStatusMessage(status);
}

std::string statusText(MediaFileStatus status, const char *cause)
{
    return std::string(MediaFileGetStatusName(status)) + " (" + std::to_string(status) + "): " + cause;
}

namespace {

const char *fileTypeName(mode_t mode)
{
    if (S_ISFIFO(mode))
        return "a FIFO";
    if (S_ISSOCK(mode))
        return "a socket";
    if (S_ISCHR(mode))
        return "a character device";
    if (S_ISBLK(mode))
        return "a block device";
    if (S_ISDIR(mode))
        return "a folder";
    return "not a file";
}

// Why path cannot be opened for reading, asked of the system again; empty when it can.
std::string openCause(const std::string &path)
{
    struct stat st {};
    if (stat(path.c_str(), &st) != 0)
        return strerrordesc_np(errno) ? strerrordesc_np(errno) : "unknown system error";
    if (!S_ISREG(st.st_mode))
        return std::string("not a regular file (") + fileTypeName(st.st_mode) + ")";
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return strerrordesc_np(errno) ? strerrordesc_np(errno) : "unknown system error";
    ::close(fd);
    return {};
}

} // namespace

std::string openFailureCause(const std::string &path, MediaFileStatus status)
{
    return status > 0 ? std::string() : openCause(path); // an errno already says why
}

std::string openFailureText(const std::string &path, MediaFileStatus status)
{
    std::string cause = openFailureCause(path, status);
    return cause.empty() ? statusText(status) : statusText(status) + ": " + cause;
}

std::string partialTagText(MediaFileStatus ignored)
{
    return "its tag could not be read whole (" + statusText(ignored) + "); a save would drop what was not read";
}

} // namespace kestrabel::cli
