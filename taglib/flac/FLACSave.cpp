// The save. libFLAC's chain write decides between rewriting the metadata in place (using the
// padding) and rewriting the file; it writes into memory through its I/O callbacks, and the
// bytes reach the file through the shared saver. libFLAC's own file writing would leave a
// half-written metadata area behind when a write fails part-way; the saver leaves the original
// or the finished file, and carries owner, permissions and extended attributes over.
#include "FLACFile.h"

#include "util/File.h"
#include "util/Saver.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <limits>
#include <optional>
#include <span>
#include <unistd.h>

namespace kestrabel::flac {

namespace {

struct BlockDeleter {
    void operator()(FLAC__StreamMetadata *block) const { FLAC__metadata_object_delete(block); }
};
using BlockPtr = std::unique_ptr<FLAC__StreamMetadata, BlockDeleter>;
using ChainPtr = std::unique_ptr<FLAC__Metadata_Chain, ChainDeleter>;
using IteratorPtr = std::unique_ptr<FLAC__Metadata_Iterator, IteratorDeleter>;

// The original file, read-only; reads stop at `limit`, so that a rewrite copies no audio.
// libFLAC asks for every field of a block separately, so small reads go through a cache.
struct InputStream {
    const util::File *file = nullptr;
    uint64_t size = 0;
    uint64_t limit = std::numeric_limits<uint64_t>::max();
    uint64_t position = 0;
    std::optional<util::CachedReader> cache;
};

size_t readInput(void *buffer, size_t size, size_t count, FLAC__IOHandle handle)
{
    auto *stream = static_cast<InputStream *>(handle);
    if (size == 0 || count == 0 || count > std::numeric_limits<size_t>::max() / size)
        return 0;
    uint64_t end = std::min(stream->size, stream->limit);
    if (stream->position >= end)
        return 0;
    size_t wanted = static_cast<size_t>(std::min<uint64_t>(size * count, end - stream->position));
    std::span<uint8_t> out(static_cast<uint8_t *>(buffer), wanted);
    // The size was taken when the save began; a file cut short since reads as ended.
    if (stream->cache->readAt(stream->position, out) != kMediaFileNoErr)
        return 0;
    stream->position += wanted;
    return wanted / size;
}

int seekInput(FLAC__IOHandle handle, FLAC__int64 offset, int whence)
{
    auto *stream = static_cast<InputStream *>(handle);
    FLAC__int64 base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? static_cast<FLAC__int64>(stream->position)
                                                                    : static_cast<FLAC__int64>(stream->size);
    if (offset > std::numeric_limits<FLAC__int64>::max() - base || base + offset < 0)
        return -1;
    stream->position = static_cast<uint64_t>(base + offset);
    return 0;
}

FLAC__int64 tellInput(FLAC__IOHandle handle) { return static_cast<FLAC__int64>(static_cast<InputStream *>(handle)->position); }

int inputEnded(FLAC__IOHandle handle)
{
    auto *stream = static_cast<InputStream *>(handle);
    return stream->position >= std::min(stream->size, stream->limit);
}

constexpr FLAC__IOCallbacks kInputCallbacks = {readInput, nullptr, seekInput, tellInput, inputEnded, nullptr};

// What libFLAC writes, as one run of bytes starting where its first write went.
struct Capture {
    uint64_t position = 0;
    uint64_t start = 0;
    std::vector<uint8_t> bytes;
    bool scattered = false;
};

size_t writeCapture(const void *data, size_t size, size_t count, FLAC__IOHandle handle)
{
    auto *capture = static_cast<Capture *>(handle);
    if (size == 0 || count == 0 || count > std::numeric_limits<size_t>::max() / size)
        return 0;
    if (capture->bytes.empty())
        capture->start = capture->position;
    else if (capture->position != capture->start + capture->bytes.size())
        capture->scattered = true;
    const auto *bytes = static_cast<const uint8_t *>(data);
    capture->bytes.insert(capture->bytes.end(), bytes, bytes + size * count);
    capture->position += size * count;
    return count;
}

int seekCapture(FLAC__IOHandle handle, FLAC__int64 offset, int whence)
{
    auto *capture = static_cast<Capture *>(handle);
    if (whence != SEEK_SET || offset < 0)
        return -1;
    capture->position = static_cast<uint64_t>(offset);
    return 0;
}

FLAC__int64 tellCapture(FLAC__IOHandle handle) { return static_cast<FLAC__int64>(static_cast<Capture *>(handle)->position); }

constexpr FLAC__IOCallbacks kCaptureCallbacks = {nullptr, writeCapture, seekCapture, tellCapture, nullptr, nullptr};

// Puts copies of the edited blocks after the STREAMINFO of a chain just read from the file, in
// place of its other blocks.
MediaFileStatus replaceBlocks(FLAC__Metadata_Chain *edited, FLAC__Metadata_Chain *target)
{
    IteratorPtr source(FLAC__metadata_iterator_new());
    IteratorPtr destination(FLAC__metadata_iterator_new());
    if (!source || !destination)
        return kMediaFileErrMemory;
    FLAC__metadata_iterator_init(destination.get(), target);
    while (FLAC__metadata_iterator_next(destination.get()))
        if (!FLAC__metadata_iterator_delete_block(destination.get(), false))
            return kMediaFileErrIO;
    FLAC__metadata_iterator_init(source.get(), edited);
    // libFLAC keeps the file's STREAMINFO at the head of a chain; nothing here edits it.
    if (FLAC__metadata_iterator_get_block_type(source.get()) != FLAC__METADATA_TYPE_STREAMINFO ||
        FLAC__metadata_iterator_get_block_type(destination.get()) != FLAC__METADATA_TYPE_STREAMINFO)
        return kMediaFileErrIO;
    while (FLAC__metadata_iterator_next(source.get())) {
        BlockPtr copy(FLAC__metadata_object_clone(FLAC__metadata_iterator_get_block(source.get())));
        if (!copy)
            return kMediaFileErrMemory;
        if (!FLAC__metadata_iterator_insert_block_after(destination.get(), copy.get()))
            return kMediaFileErrIO;
        copy.release();
    }
    return kMediaFileNoErr;
}

} // namespace

MediaFileStatus FLACFileSave(FLACFile &file, MediaFileFlags flags)
{
    file.pictureBlock = nullptr;
    file.commentBlock = nullptr;
    // A rewrite through a new file would replace a file its owner made read-only; refuse it the
    // way an in-place write is refused.
    if (faccessat(AT_FDCWD, file.path.c_str(), W_OK, AT_EACCESS) != 0)
        return util::statusFromErrno();
    FLAC__metadata_chain_sort_padding(file.chain.get());

    // The file as it is now: its metadata may have moved since it was opened.
    util::File input;
    if (MediaFileStatus status = util::File::openRead(file.path, &input))
        return status;
    InputStream stream;
    stream.file = &input;
    if (MediaFileStatus status = util::fileSize(input, &stream.size))
        return status;
    stream.cache.emplace(input, stream.size);
    ChainPtr current(FLAC__metadata_chain_new());
    if (!current)
        return kMediaFileErrMemory;
    if (!FLAC__metadata_chain_read_with_callbacks(current.get(), &stream, kInputCallbacks))
        return FLACChainStatus(current.get(), kMediaFileErrShortRead);
    // libFLAC stops reading where the audio frames begin.
    uint64_t audioStart = stream.position;
    if (MediaFileStatus status = replaceBlocks(file.chain.get(), current.get()))
        return status;

    Capture capture;
    bool rewrite = FLAC__metadata_chain_check_if_tempfile_needed(current.get(), true);
    bool written;
    if (rewrite) {
        stream.limit = audioStart;
        written = FLAC__metadata_chain_write_with_callbacks_and_tempfile(current.get(), true, &stream, kInputCallbacks, &capture,
                                                                          kCaptureCallbacks);
    } else {
        written = FLAC__metadata_chain_write_with_callbacks(current.get(), true, &capture, kCaptureCallbacks);
    }
    if (!written)
        return FLACChainStatus(current.get(), kMediaFileErrWrite);
    if (capture.scattered || (rewrite && capture.start != 0) || (!rewrite && capture.start + capture.bytes.size() > audioStart))
        return kMediaFileErrWrite;
    uint64_t replaced = rewrite ? audioStart : capture.bytes.size();
    input.close();
    return util::saveReplacements(file.path, {util::Replacement{capture.start, replaced, std::move(capture.bytes)}}, flags);
}

} // namespace kestrabel::flac
