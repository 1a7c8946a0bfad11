// An owned file descriptor and the file helpers the handlers share: size, truncate and the
// in-place move of a file's tail.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace kestrabel::util {

class File {
public:
    File() = default;
    explicit File(int fd) : fd_(fd) {}
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    File(File &&other) noexcept : fd_(other.release()) {}
    File &operator=(File &&other) noexcept;
    ~File();

    // Read-only opens never ask for write access: a read-write open fires file watchers'
    // close-after-write events even when nothing was written.
    // The file's status goes to *st when given, so that the caller needs no fstat of its own.
    static MediaFileStatus openRead(const std::string &path, File *out, struct stat *st = nullptr);
    static MediaFileStatus openReadWrite(const std::string &path, File *out, struct stat *st = nullptr);

    bool isOpen() const { return fd_ >= 0; }
    int fd() const { return fd_; }
    int release()
    {
        int fd = fd_;
        fd_ = -1;
        return fd;
    }
    MediaFileStatus close();

    // Reads exactly out.size() bytes at offset; kMediaFileErrShortRead when the file ends first.
    MediaFileStatus readAt(uint64_t offset, std::span<uint8_t> out) const;
    // Reads up to count bytes at offset; the vector holds what was there.
    MediaFileStatus readUpTo(uint64_t offset, size_t count, std::vector<uint8_t> *out) const;
    MediaFileStatus writeAt(uint64_t offset, std::span<const uint8_t> data) const;
    MediaFileStatus size(uint64_t *out) const;

private:
    int fd_ = -1;
};

// Serves many small reads near one another from one system call: a handler that walks a tree
// of small headers would otherwise make one pread per header. Reads larger than the block go
// straight to the file.
class CachedReader {
public:
    CachedReader(const File &file, uint64_t fileSize, size_t blockSize = 64 * 1024)
        : file_(&file), size_(fileSize), blockSize_(blockSize) {}
    // Over the bytes of a whole file kept from an earlier read, with the file closed since.
    explicit CachedReader(std::span<const uint8_t> wholeFile) : size_(wholeFile.size()), whole_(wholeFile) {}

    // The same results as File::readAt and File::readUpTo, against the size given here.
    MediaFileStatus readAt(uint64_t offset, std::span<uint8_t> out);
    MediaFileStatus readUpTo(uint64_t offset, size_t count, std::vector<uint8_t> *out);

    // The bytes at offset without a copy when the reader already holds them, else empty: valid
    // until the next read.
    std::span<const uint8_t> view(uint64_t offset, size_t count) const;

    // The block read last when it holds the whole file, so that a later question about the
    // same file needs no second open; empty otherwise. The reader keeps no block after it.
    std::vector<uint8_t> takeWholeFile();

private:
    const File *file_ = nullptr;
    uint64_t size_;
    std::span<const uint8_t> whole_;
    size_t blockSize_ = 0;
    std::vector<uint8_t> block_;
    uint64_t blockStart_ = 0;
};

// Opens path and runs read(reader, size) over a cached reader of it, so that the headers of a
// small file come from one read rather than one read each.
template <class Read>
MediaFileStatus readThroughCache(const char *path, Read read)
{
    File file;
    struct stat opened {};
    if (MediaFileStatus status = File::openRead(path, &file, &opened))
        return status;
    const uint64_t size = static_cast<uint64_t>(opened.st_size);
    CachedReader reader(file, size);
    return read(reader, size);
}

// errno as a status, or the given fallback when errno is 0.
MediaFileStatus statusFromErrno(MediaFileStatus fallback = kMediaFileErrIO);

MediaFileStatus fileSize(const File &file, uint64_t *out);
MediaFileStatus truncateFile(const File &file, uint64_t length);

// Reads a whole (small) file; used by tests and the CLI for images.
MediaFileStatus readWholeFile(const std::string &path, std::vector<uint8_t> *out, uint64_t limit = UINT64_MAX);

} // namespace kestrabel::util
