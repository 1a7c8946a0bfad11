#include "Saver.h"

#include "File.h"
#include "FileOps.h"
#include "SaveGroup.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <random>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace kestrabel::util {

namespace {

constexpr size_t kCopyChunk = 8u << 20;

std::string folderOf(const std::string &path)
{
    size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string baseOf(const std::string &path)
{
    size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

MediaFileStatus fsyncStatus(int fd)
{
    errno = 0;
    return fileOps().fsync(fd) == 0 ? kMediaFileNoErr : statusFromErrno();
}

// Shares the block-aligned part of [offset, offset+length) of in at *outOffset of out where the
// file system can (XFS with reflink, Btrfs): the new file then takes no copy of the audio and
// no time. Both offsets must sit at the same place in a block; anything else is copied.
void cloneAlignedPart(int in, uint64_t *offset, uint64_t *length, int out, uint64_t *outOffset)
{
    struct stat st {};
    if (fstat(out, &st) != 0 || st.st_blksize <= 0)
        return;
    const uint64_t block = static_cast<uint64_t>(st.st_blksize);
    if (*offset % block != *outOffset % block)
        return;
    const uint64_t lead = (block - *offset % block) % block;
    if (*length < lead + block)
        return;
    const uint64_t shared = (*length - lead) / block * block;
    // The lead up to the first block boundary is copied first, so that the clone starts there.
    std::vector<uint8_t> head(static_cast<size_t>(lead));
    File source(in), target(out);
    MediaFileStatus status = source.readAt(*offset, head);
    if (status == kMediaFileNoErr)
        status = target.writeAt(*outOffset, head);
    source.release();
    target.release();
    if (status != kMediaFileNoErr)
        return;
    file_clone_range range{in, *offset + lead, shared, *outOffset + lead};
    if (ioctl(out, FICLONERANGE, &range) != 0)
        return; // the head written stays and is written again by the plain copy
    *offset += lead + shared;
    *outOffset += lead + shared;
    *length -= lead + shared;
}

// Copies [offset, offset+length) of in to the end position *outOffset of out: shared extents
// where the file system has them, then copy_file_range, with a read/write fallback.
MediaFileStatus copyRange(int in, uint64_t offset, uint64_t length, int out, uint64_t *outOffset)
{
    cloneAlignedPart(in, &offset, &length, out, outOffset);
    bool useCopyRange = true;
    std::vector<uint8_t> buffer;
    while (length > 0) {
        size_t chunk = static_cast<size_t>(std::min<uint64_t>(length, kCopyChunk));
        if (useCopyRange) {
            off_t inPos = static_cast<off_t>(offset), outPos = static_cast<off_t>(*outOffset);
            errno = 0;
            ssize_t n = fileOps().copyFileRange(in, &inPos, out, &outPos, chunk, 0);
            if (n > 0) {
                offset += static_cast<uint64_t>(n);
                *outOffset += static_cast<uint64_t>(n);
                length -= static_cast<uint64_t>(n);
                continue;
            }
            if (n == 0)
                return kMediaFileErrShortRead;
            if (errno == EINTR)
                continue;
            if (errno != EXDEV && errno != ENOSYS && errno != EINVAL && errno != EOPNOTSUPP)
                return statusFromErrno();
            useCopyRange = false;
        }
        if (buffer.empty())
            buffer.resize(std::min<size_t>(kCopyChunk, 1u << 20));
        size_t piece = std::min(chunk, buffer.size());
        File source(in);
        MediaFileStatus status = source.readAt(offset, std::span<uint8_t>(buffer.data(), piece));
        source.release();
        if (status)
            return status;
        File target(out);
        status = target.writeAt(*outOffset, std::span<const uint8_t>(buffer.data(), piece));
        target.release();
        if (status)
            return status;
        offset += piece;
        *outOffset += piece;
        length -= piece;
    }
    return kMediaFileNoErr;
}

MediaFileStatus validate(std::vector<Replacement> &edits, uint64_t size)
{
    // Stable, so that several insertions at one offset keep the order the handler gave them.
    std::stable_sort(edits.begin(), edits.end(), [](const Replacement &a, const Replacement &b) { return a.offset < b.offset; });
    uint64_t previousEnd = 0;
    for (const Replacement &edit : edits) {
        if (edit.offset < previousEnd || edit.offset > size || edit.length > size - edit.offset)
            return kMediaFileErrParam;
        previousEnd = edit.offset + edit.length;
    }
    return kMediaFileNoErr;
}

void dropEmptyEdits(std::vector<Replacement> &edits)
{
    edits.erase(std::remove_if(edits.begin(), edits.end(), [](const Replacement &e) { return e.length == 0 && e.bytes.empty(); }),
                edits.end());
}

bool isAppend(const Replacement &edit, uint64_t size) { return edit.offset == size && edit.length == 0; }

// True when no byte of the original has to move: every edit keeps its length or adds bytes at
// the end (a chunk appended to a WAVE or AIFF file).
bool movesNothing(const std::vector<Replacement> &edits, uint64_t size)
{
    return std::all_of(edits.begin(), edits.end(),
                       [size](const Replacement &e) { return e.bytes.size() == e.length || isAppend(e, size); });
}

// Writes edits that move nothing where they go: appends first, past the original end, then the
// overwrites. The bytes under each overwrite are read beforehand, so a failing write is undone
// by writing them back and cutting the appended bytes off; the file is then the original.
// This costs one small read per edit, and spares copying the whole file for what is usually a
// few hundred bytes of tag. No fsync, as for any in-place edit: one cannot make it atomic.
// Of each overwrite only the bytes that differ from what is there are written: a handler that
// renders its whole metadata (FLAC) changes a few bytes of it, and fewer bytes written are
// fewer at risk.
MediaFileStatus writeWithoutMoving(File &file, const std::vector<Replacement> &edits, uint64_t size)
{
    std::vector<std::vector<uint8_t>> before(edits.size());
    for (size_t i = 0; i < edits.size(); ++i) {
        if (isAppend(edits[i], size))
            continue;
        before[i].resize(edits[i].length);
        if (MediaFileStatus status = file.readAt(edits[i].offset, before[i]))
            return status;
    }
    auto undo = [&](size_t overwritten, MediaFileStatus status) {
        for (size_t i = 0; i < overwritten; ++i)
            if (!isAppend(edits[i], size))
                (void)file.writeAt(edits[i].offset, before[i]);
        (void)truncateFile(file, size);
        return status;
    };
    uint64_t end = size;
    for (const Replacement &edit : edits) {
        if (!isAppend(edit, size))
            continue;
        if (MediaFileStatus status = file.writeAt(end, edit.bytes))
            return undo(0, status);
        end += edit.bytes.size();
    }
    for (size_t i = 0; i < edits.size(); ++i) {
        if (isAppend(edits[i], size))
            continue;
        const std::vector<uint8_t> &now = edits[i].bytes, &was = before[i];
        size_t first = 0, last = now.size();
        // memcmp over blocks first: a byte loop over a 30 KB picture would cost more than the write.
        constexpr size_t kBlock = 256;
        while (last - first >= kBlock && std::memcmp(now.data() + first, was.data() + first, kBlock) == 0)
            first += kBlock;
        while (first < last && now[first] == was[first])
            ++first;
        while (last - first >= kBlock && std::memcmp(now.data() + last - kBlock, was.data() + last - kBlock, kBlock) == 0)
            last -= kBlock;
        while (last > first && now[last - 1] == was[last - 1])
            --last;
        if (first == last)
            continue;
        // A failed write may have written part of its range, so it is restored as well.
        if (MediaFileStatus status = file.writeAt(edits[i].offset + first, std::span(now).subspan(first, last - first)))
            return undo(i + 1, status);
    }
    return file.close();
}

// Moves [start, end of file) by distance in pieces of kCopyChunk, so that memory stays bounded
// whatever the file's size: from the end backwards when the file grows, from the start
// forwards when it shrinks, so that no piece overwrites bytes not yet moved.
MediaFileStatus shiftTail(const File &file, uint64_t start, uint64_t size, int64_t distance)
{
    if (distance == 0)
        return kMediaFileNoErr;
    std::vector<uint8_t> buffer(static_cast<size_t>(std::min<uint64_t>(kCopyChunk, std::max<uint64_t>(size - start, 1))));
    auto movePiece = [&](uint64_t from, size_t length) {
        std::span<uint8_t> piece(buffer.data(), length);
        if (MediaFileStatus status = file.readAt(from, piece))
            return status;
        return file.writeAt(static_cast<uint64_t>(static_cast<int64_t>(from) + distance), piece);
    };
    if (distance > 0) {
        for (uint64_t pieceEnd = size; pieceEnd > start;) {
            size_t length = static_cast<size_t>(std::min<uint64_t>(buffer.size(), pieceEnd - start));
            pieceEnd -= length;
            if (MediaFileStatus status = movePiece(pieceEnd, length))
                return status;
        }
        return kMediaFileNoErr;
    }
    for (uint64_t from = start; from < size;) {
        size_t length = static_cast<size_t>(std::min<uint64_t>(buffer.size(), size - from));
        if (MediaFileStatus status = movePiece(from, length))
            return status;
        from += length;
    }
    return truncateFile(file, static_cast<uint64_t>(static_cast<int64_t>(size) + distance));
}

MediaFileStatus writeInPlaceMove(const std::string &path, const std::vector<Replacement> &edits, uint64_t size)
{
    File file;
    if (MediaFileStatus status = File::openReadWrite(path, &file))
        return status;
    int64_t growth = 0;
    for (const Replacement &edit : edits)
        growth += static_cast<int64_t>(edit.bytes.size()) - static_cast<int64_t>(edit.length);
    if (growth > 0) {
        // Reserve the space first so that a full disk fails before anything has moved.
        uint64_t newSize = size + static_cast<uint64_t>(growth);
        if (fallocate(file.fd(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(newSize)) != 0 && errno != EOPNOTSUPP)
            return statusFromErrno();
    }
    // Last range first, so that the offsets of the earlier ones still hold.
    uint64_t currentSize = size;
    for (auto it = edits.rbegin(); it != edits.rend(); ++it) {
        int64_t delta = static_cast<int64_t>(it->bytes.size()) - static_cast<int64_t>(it->length);
        if (MediaFileStatus status = shiftTail(file, it->offset + it->length, currentSize, delta))
            return status;
        currentSize = static_cast<uint64_t>(static_cast<int64_t>(currentSize) + delta);
        if (MediaFileStatus status = file.writeAt(it->offset, it->bytes))
            return status;
    }
    return file.close();
}

// kNewFileRefused: the new file could not be made or could not carry the owner, so the caller
// writes into the original instead.
constexpr MediaFileStatus kNewFileRefused = INT_MIN;

MediaFileStatus writeThroughNewFile(const std::string &path, const File &original, const std::vector<Replacement> &edits,
                                    uint64_t size)
{
    std::string tempPath;
    int tempFd = -1;
    if (MediaFileStatus status = createSiblingTemp(path, &tempPath, &tempFd))
        return status == EACCES || status == EPERM ? kNewFileRefused : status;
    File temp(tempFd);
    auto fail = [&](MediaFileStatus status) {
        temp.close();
        ::unlink(tempPath.c_str());
        return status;
    };
    if (!ownerRestorable(original.fd(), temp.fd()))
        return fail(kNewFileRefused);
    uint64_t in = 0, out = 0;
    for (const Replacement &edit : edits) {
        if (MediaFileStatus status = copyRange(original.fd(), in, edit.offset - in, temp.fd(), &out))
            return fail(status);
        if (MediaFileStatus status = temp.writeAt(out, edit.bytes))
            return fail(status);
        out += edit.bytes.size();
        in = edit.offset + edit.length;
    }
    if (MediaFileStatus status = copyRange(original.fd(), in, size - in, temp.fd(), &out))
        return fail(status);
    return replaceWithNewFile(path, original.fd(), tempPath, temp);
}

} // namespace

MediaFileStatus createSiblingTemp(const std::string &path, std::string *tempPath, int *fd)
{
    static thread_local std::mt19937_64 random{std::random_device{}()};
    std::string folder = folderOf(path);
    std::string base = baseOf(path);
    if (base.size() > 200)
        base.resize(200);
    for (int attempt = 0; attempt < 100; ++attempt) {
        char suffix[24];
        std::snprintf(suffix, sizeof suffix, "%012llx", static_cast<unsigned long long>(random() & 0xFFFFFFFFFFFFull));
        std::string candidate = folder + "/." + base + ".kestrabel-" + suffix;
        int created = ::open(candidate.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (created >= 0) {
            *tempPath = candidate;
            *fd = created;
            return kMediaFileNoErr;
        }
        if (errno != EEXIST)
            return statusFromErrno(kMediaFileErrCantOpen);
    }
    return EEXIST;
}

void copyFileAttributes(int fromFd, int toFd)
{
    struct stat st {};
    if (fstat(fromFd, &st) != 0)
        return;
    // Owner first: changing it may clear set-id bits, which the chmod below puts back.
    if (fchown(toFd, st.st_uid, st.st_gid) != 0)
        (void)!fchown(toFd, static_cast<uid_t>(-1), st.st_gid);
    (void)!fchmod(toFd, st.st_mode & 07777);
    ssize_t listSize = flistxattr(fromFd, nullptr, 0);
    if (listSize <= 0)
        return;
    std::vector<char> names(static_cast<size_t>(listSize));
    listSize = flistxattr(fromFd, names.data(), names.size());
    for (ssize_t i = 0; i < listSize;) {
        const char *name = names.data() + i;
        ssize_t valueSize = fgetxattr(fromFd, name, nullptr, 0);
        if (valueSize >= 0) {
            std::vector<char> value(static_cast<size_t>(valueSize));
            valueSize = fgetxattr(fromFd, name, value.data(), value.size());
            if (valueSize >= 0)
                (void)fsetxattr(toFd, name, value.data(), static_cast<size_t>(valueSize), 0);
        }
        i += static_cast<ssize_t>(std::strlen(name)) + 1;
    }
}

MediaFileStatus syncParentFolder(const std::string &path)
{
    int fd = ::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return kMediaFileNoErr; // the rename has happened; a folder we cannot open is no failure of the save
    fileOps().fsync(fd);
    ::close(fd);
    return kMediaFileNoErr;
}

bool ownerRestorable(int originalFd, int tempFd)
{
    struct stat original {}, temp {};
    if (fstat(originalFd, &original) != 0)
        return false;
    (void)!fchown(tempFd, original.st_uid, original.st_gid);
    return fstat(tempFd, &temp) == 0 && temp.st_uid == original.st_uid && temp.st_gid == original.st_gid;
}

namespace {

MediaFileStatus openResolved(const std::string &path, std::string *target, File *original, struct stat *st)
{
    // The file behind the links: saving it keeps every link a link, and the new file is made
    // in the folder the file really is in.
    char *resolved = ::realpath(path.c_str(), nullptr);
    *target = resolved ? resolved : path;
    std::free(resolved);
    if (MediaFileStatus status = File::openRead(*target, original))
        return status;
    if (fstat(original->fd(), st) != 0)
        return statusFromErrno();
    return kMediaFileNoErr;
}

// A rename into a writable folder would replace a file its owner made read-only; it is refused
// as an in-place write would be, whether or not the tag has to grow.
MediaFileStatus refuseUnwritable(const std::string &target)
{
    errno = 0;
    if (faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0)
        return statusFromErrno(EACCES);
    return kMediaFileNoErr;
}

} // namespace

MediaFileStatus openSaveTarget(const std::string &path, std::string *target, File *original, struct stat *st)
{
    if (MediaFileStatus status = openResolved(path, target, original, st))
        return status;
    return refuseUnwritable(*target);
}

bool mustWriteInPlace(const struct stat &st, MediaFileFlags flags)
{
    return (flags & kMediaFileFlagInPlace) || st.st_nlink > 1;
}

MediaFileStatus replaceWithNewFile(const std::string &target, int originalFd, const std::string &tempPath, File &temp)
{
    auto fail = [&](MediaFileStatus status) {
        temp.close();
        ::unlink(tempPath.c_str());
        return status;
    };
    copyFileAttributes(originalFd, temp.fd());
    // In a group the flush and the rename come at the commit, for all files at once.
    if (holdingSaves()) {
        if (MediaFileStatus status = temp.close())
            return fail(status);
        holdNewFile(target, tempPath);
        return kMediaFileNoErr;
    }
    if (MediaFileStatus status = fsyncStatus(temp.fd()))
        return fail(status);
    if (MediaFileStatus status = temp.close())
        return fail(status);
    errno = 0;
    if (fileOps().rename(tempPath.c_str(), target.c_str()) != 0)
        return fail(statusFromErrno());
    return syncParentFolder(target);
}

MediaFileStatus overwriteFromFile(const std::string &target, int fromFd, uint64_t size)
{
    File file;
    if (MediaFileStatus status = File::openReadWrite(target, &file))
        return status;
    uint64_t out = 0;
    if (MediaFileStatus status = copyRange(fromFd, 0, size, file.fd(), &out))
        return status;
    if (MediaFileStatus status = truncateFile(file, size))
        return status;
    return file.close();
}

namespace {

// The way for every edit that may move bytes, or a file the caller could not open read-write.
MediaFileStatus saveByName(const std::string &path, std::vector<Replacement> edits, MediaFileFlags flags)
{
    std::string target;
    File original;
    struct stat st {};
    if (MediaFileStatus status = openResolved(path, &target, &original, &st))
        return status;
    uint64_t size = static_cast<uint64_t>(st.st_size);
    if (MediaFileStatus status = validate(edits, size))
        return status;
    dropEmptyEdits(edits);
    if (edits.empty())
        return kMediaFileNoErr;
    if (MediaFileStatus status = refuseUnwritable(target))
        return status;
    if (movesNothing(edits, size)) {
        File file;
        if (MediaFileStatus status = File::openReadWrite(target, &file))
            return status;
        return writeWithoutMoving(file, edits, size);
    }
    if (!mustWriteInPlace(st, flags)) {
        MediaFileStatus status = writeThroughNewFile(target, original, edits, size);
        if (status != kNewFileRefused)
            return status;
    }
    return writeInPlaceMove(target, edits, size);
}

// Whether every edit keeps its length, whatever the file's size: then the file is opened once,
// read-write. An insertion (an append or not) takes the way by name, so that a save that
// moves the audio never opens the original for writing.
bool keepsEveryLength(const std::vector<Replacement> &edits)
{
    return std::any_of(edits.begin(), edits.end(), [](const Replacement &e) { return e.length != 0; }) &&
           std::all_of(edits.begin(), edits.end(), [](const Replacement &e) { return e.bytes.size() == e.length; });
}

} // namespace

MediaFileStatus openForSave(const std::string &path, OpenedForSave *out)
{
    out->writable = File::openReadWrite(path, &out->file, &out->st) == kMediaFileNoErr;
    if (out->writable)
        return kMediaFileNoErr;
    return File::openRead(path, &out->file, &out->st);
}

MediaFileStatus saveReplacements(const std::string &path, OpenedForSave &opened, std::vector<Replacement> edits,
                                 MediaFileFlags flags)
{
    // Opened through the name, so symbolic links are followed as the kernel does: the file
    // written is the one behind them, and no link is replaced.
    if (opened.writable) {
        uint64_t size = static_cast<uint64_t>(opened.st.st_size);
        if (MediaFileStatus status = validate(edits, size))
            return status;
        dropEmptyEdits(edits);
        if (edits.empty())
            return kMediaFileNoErr;
        if (movesNothing(edits, size))
            return writeWithoutMoving(opened.file, edits, size);
    }
    opened.file.close();
    return saveByName(path, std::move(edits), flags);
}

MediaFileStatus saveReplacements(const std::string &path, std::vector<Replacement> edits, MediaFileFlags flags)
{
    if (!keepsEveryLength(edits))
        return saveByName(path, std::move(edits), flags);
    OpenedForSave opened;
    opened.writable = File::openReadWrite(path, &opened.file, &opened.st) == kMediaFileNoErr;
    return saveReplacements(path, opened, std::move(edits), flags);
}

} // namespace kestrabel::util
