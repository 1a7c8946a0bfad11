#include "File.h"

#include "FileOps.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrabel::util {

MediaFileStatus statusFromErrno(MediaFileStatus fallback) { return errno != 0 ? errno : fallback; }

File &File::operator=(File &&other) noexcept
{
    if (this != &other) {
        close();
        fd_ = other.release();
    }
    return *this;
}

File::~File() { close(); }

MediaFileStatus File::close()
{
    if (fd_ < 0)
        return kMediaFileNoErr;
    int result = ::close(fd_);
    fd_ = -1;
    return result == 0 ? kMediaFileNoErr : statusFromErrno();
}

// Non-blocking, so that a FIFO or a device named by mistake cannot hang the open; only
// regular files go on (O_NONBLOCK does nothing to their reads and writes).
static MediaFileStatus openWith(const std::string &path, int flags, File *out, struct stat *statOut)
{
    int fd = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return statusFromErrno(kMediaFileErrCantOpen);
    struct stat st {};
    MediaFileStatus status = kMediaFileNoErr;
    if (fstat(fd, &st) != 0)
        status = statusFromErrno(kMediaFileErrCantOpen);
    else if (S_ISDIR(st.st_mode))
        status = EISDIR;
    else if (!S_ISREG(st.st_mode))
        status = kMediaFileErrCantOpen;
    if (status) {
        ::close(fd);
        return status;
    }
    *out = File(fd);
    if (statOut)
        *statOut = st;
    return kMediaFileNoErr;
}

MediaFileStatus File::openRead(const std::string &path, File *out, struct stat *st) { return openWith(path, O_RDONLY, out, st); }
MediaFileStatus File::openReadWrite(const std::string &path, File *out, struct stat *st)
{
    return openWith(path, O_RDWR, out, st);
}

MediaFileStatus File::readAt(uint64_t offset, std::span<uint8_t> out) const
{
    size_t done = 0;
    while (done < out.size()) {
        ssize_t n = ::pread(fd_, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return statusFromErrno();
        }
        if (n == 0)
            return kMediaFileErrShortRead;
        done += static_cast<size_t>(n);
    }
    return kMediaFileNoErr;
}

MediaFileStatus File::readUpTo(uint64_t offset, size_t count, std::vector<uint8_t> *out) const
{
    // A small read asks for the bytes and keeps what came, without asking the size first: the
    // readers make several of these per file, and the extra call was a visible share of an
    // open. Larger ones size their buffer to the file.
    constexpr size_t kDirectLimit = 16 * 1024;
    if (count <= kDirectLimit && offset <= uint64_t(INT64_MAX) - kDirectLimit) {
        std::vector<uint8_t> bytes(count);
        size_t done = 0;
        while (done < count) {
            ssize_t n = ::pread(fd_, bytes.data() + done, count - done, static_cast<off_t>(offset + done));
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                return statusFromErrno();
            }
            if (n == 0)
                break;
            done += static_cast<size_t>(n);
        }
        bytes.resize(done);
        *out = std::move(bytes);
        return kMediaFileNoErr;
    }
    uint64_t total = 0;
    if (MediaFileStatus status = size(&total))
        return status;
    size_t available = offset >= total ? 0 : static_cast<size_t>(std::min<uint64_t>(count, total - offset));
    std::vector<uint8_t> bytes(available);
    if (MediaFileStatus status = readAt(offset, bytes))
        return status;
    *out = std::move(bytes);
    return kMediaFileNoErr;
}

MediaFileStatus File::writeAt(uint64_t offset, std::span<const uint8_t> data) const
{
    size_t done = 0;
    while (done < data.size()) {
        errno = 0;
        ssize_t n = fileOps().pwrite(fd_, data.data() + done, data.size() - done, static_cast<off_t>(offset + done));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return statusFromErrno(kMediaFileErrWrite);
        }
        if (n == 0)
            return statusFromErrno(kMediaFileErrWrite);
        done += static_cast<size_t>(n);
    }
    return kMediaFileNoErr;
}

MediaFileStatus File::size(uint64_t *out) const
{
    struct stat st {};
    if (fstat(fd_, &st) != 0)
        return statusFromErrno(kMediaFileErrTell);
    *out = static_cast<uint64_t>(st.st_size);
    return kMediaFileNoErr;
}

MediaFileStatus CachedReader::readAt(uint64_t offset, std::span<uint8_t> out)
{
    if (!file_) {
        if (offset > size_ || out.size() > size_ - offset)
            return kMediaFileErrShortRead;
        if (!out.empty())
            std::memcpy(out.data(), whole_.data() + offset, out.size());
        return kMediaFileNoErr;
    }
    if (out.size() > blockSize_)
        return file_->readAt(offset, out);
    if (out.empty())
        return kMediaFileNoErr;
    bool cached = offset >= blockStart_ && offset - blockStart_ + out.size() <= block_.size();
    if (!cached) {
        if (offset >= size_)
            return kMediaFileErrShortRead;
        std::vector<uint8_t> block(static_cast<size_t>(std::min<uint64_t>(blockSize_, size_ - offset)));
        if (MediaFileStatus status = file_->readAt(offset, block))
            return status;
        block_ = std::move(block);
        blockStart_ = offset;
        if (out.size() > block_.size())
            return kMediaFileErrShortRead;
    }
    std::memcpy(out.data(), block_.data() + (offset - blockStart_), out.size());
    return kMediaFileNoErr;
}

MediaFileStatus CachedReader::readUpTo(uint64_t offset, size_t count, std::vector<uint8_t> *out)
{
    size_t available = offset >= size_ ? 0 : static_cast<size_t>(std::min<uint64_t>(count, size_ - offset));
    std::vector<uint8_t> bytes(available);
    if (MediaFileStatus status = readAt(offset, bytes))
        return status;
    *out = std::move(bytes);
    return kMediaFileNoErr;
}

std::span<const uint8_t> CachedReader::view(uint64_t offset, size_t count) const
{
    std::span<const uint8_t> held = file_ ? std::span<const uint8_t>(block_) : whole_;
    const uint64_t start = file_ ? blockStart_ : 0;
    if (count == 0 || offset < start || offset - start > held.size() || count > held.size() - (offset - start))
        return {};
    return held.subspan(static_cast<size_t>(offset - start), count);
}

std::vector<uint8_t> CachedReader::takeWholeFile()
{
    std::vector<uint8_t> whole;
    if (file_ && blockStart_ == 0 && block_.size() == size_)
        whole = std::move(block_);
    block_.clear();
    blockStart_ = 0;
    return whole;
}

MediaFileStatus fileSize(const File &file, uint64_t *out) { return file.size(out); }

MediaFileStatus truncateFile(const File &file, uint64_t length)
{
    errno = 0;
    if (fileOps().ftruncate(file.fd(), static_cast<off_t>(length)) != 0)
        return statusFromErrno(kMediaFileErrTell);
    return kMediaFileNoErr;
}

MediaFileStatus readWholeFile(const std::string &path, std::vector<uint8_t> *out, uint64_t limit)
{
    File file;
    if (MediaFileStatus status = File::openRead(path, &file))
        return status;
    uint64_t size = 0;
    if (MediaFileStatus status = file.size(&size))
        return status;
    if (size > limit)
        return kMediaFileErrTooSmall;
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    if (MediaFileStatus status = file.readAt(0, bytes))
        return status;
    *out = std::move(bytes);
    return kMediaFileNoErr;
}

} // namespace kestrabel::util
