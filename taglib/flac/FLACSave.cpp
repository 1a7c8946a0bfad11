// The save. libFLAC's chain write decides between rewriting the metadata in place (using the
// padding) and rewriting the file; it writes into memory through its I/O callbacks, and the
// bytes reach the file through the shared saver. libFLAC's own file writing would leave a
// half-written metadata area behind when a write fails part-way; the saver leaves the original
// or the finished file, and carries owner, permissions and extended attributes over.
#include "FLACFile.h"
#include "FLACStream.h"

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

// Whether the file is still the one whose chain was read at open: the same inode, size and
// times, and audio frames (or the end) where they began then. Another program's edit changes
// the times; the frame check also catches one within the same clock tick that moved them.
bool unchangedSinceOpen(const FLACFile &file, const struct stat &now, InputStream &stream)
{
    const struct stat &then = file.opened;
    if (now.st_dev != then.st_dev || now.st_ino != then.st_ino || now.st_size != then.st_size ||
        now.st_mtim.tv_sec != then.st_mtim.tv_sec || now.st_mtim.tv_nsec != then.st_mtim.tv_nsec ||
        now.st_ctim.tv_sec != then.st_ctim.tv_sec || now.st_ctim.tv_nsec != then.st_ctim.tv_nsec)
        return false;
    if (file.audioStart == stream.size)
        return true;
    uint8_t sync[2];
    return stream.file->readAt(file.audioStart, sync) == kMediaFileNoErr && sync[0] == 0xFF && (sync[1] & 0xFE) == 0xF8;
}

// Grows the last PADDING block (sorted to the end), or adds one, to the room the next edit
// needs, and further until the audio moves by whole blocks, so that it keeps its place in a
// block and the new file can share it with the old one.
MediaFileStatus leaveRoomForNextEdit(FLAC__Metadata_Chain *chain, uint64_t audioStart, uint64_t fileSize)
{
    IteratorPtr iterator(FLAC__metadata_iterator_new());
    if (!iterator)
        return kMediaFileErrMemory;
    FLAC__metadata_iterator_init(iterator.get(), chain);
    uint64_t length = 4; // "fLaC"
    do
        length += FLAC__STREAM_METADATA_HEADER_LENGTH + FLAC__metadata_iterator_get_block(iterator.get())->length;
    while (FLAC__metadata_iterator_next(iterator.get()));
    FLAC__StreamMetadata *last = FLAC__metadata_iterator_get_block(iterator.get());
    const bool padded = last->type == FLAC__METADATA_TYPE_PADDING;
    uint64_t withoutPadding = length - (padded ? FLAC__STREAM_METADATA_HEADER_LENGTH + last->length : 0);
    uint64_t room = util::roomForNextEdit(fileSize);
    uint64_t newLength = withoutPadding + FLAC__STREAM_METADATA_HEADER_LENGTH + room;
    if (newLength > audioStart)
        room += (util::kShareableShift - (newLength - audioStart) % util::kShareableShift) % util::kShareableShift;
    if (room >= (1u << FLAC__STREAM_METADATA_LENGTH_LEN))
        return kMediaFileNoErr;
    if (padded) {
        if (last->length < room)
            last->length = static_cast<unsigned>(room);
        return kMediaFileNoErr;
    }
    BlockPtr padding(FLAC__metadata_object_new(FLAC__METADATA_TYPE_PADDING));
    if (!padding)
        return kMediaFileErrMemory;
    padding->length = static_cast<unsigned>(room);
    if (!FLAC__metadata_iterator_insert_block_after(iterator.get(), padding.get()))
        return kMediaFileErrMemory;
    padding.release();
    return kMediaFileNoErr;
}

} // namespace

MediaFileStatus FLACFileSave(FLACFile &file, MediaFileFlags flags)
{
    file.pictureBlock = nullptr;
    file.commentBlock = nullptr;
    // Whatever the save does, the bytes of the open may no longer be the file's.
    file.wholeFile = {};
    FLAC__metadata_chain_sort_padding(file.chain.get());

    // The file as it is now: its metadata may have moved since it was opened. The saver writes
    // through the same descriptor; a file the caller may not write is refused by the saver,
    // before anything is written, whichever way the save goes.
    util::OpenedForSave input;
    if (MediaFileStatus status = util::openForSave(file.path, &input))
        return status;
    InputStream stream;
    stream.file = &input.file;
    stream.size = static_cast<uint64_t>(input.st.st_size);
    stream.cache.emplace(input.file, stream.size, kCacheBlock);
    ChainPtr reread;
    FLAC__Metadata_Chain *current = file.chain.get();
    uint64_t audioStart = file.audioStart;
    const bool fromOpen = file.chainFromOpen && unchangedSinceOpen(file, input.st, stream);
    file.chainFromOpen = false;
    if (!fromOpen) {
        reread.reset(FLAC__metadata_chain_new());
        if (!reread)
            return kMediaFileErrMemory;
        if (!FLAC__metadata_chain_read_with_callbacks(reread.get(), &stream, kInputCallbacks))
            return FLACChainStatus(reread.get(), kMediaFileErrShortRead);
        // libFLAC stops reading where the audio frames begin.
        audioStart = stream.position;
        if (MediaFileStatus status = replaceBlocks(file.chain.get(), reread.get()))
            return status;
        current = reread.get();
    }

    Capture capture;
    // libFLAC writes block by block; the metadata is usually about as long as before.
    capture.bytes.reserve(static_cast<size_t>(audioStart));
    bool rewrite = FLAC__metadata_chain_check_if_tempfile_needed(current, true);
    // With the room left, libFLAC is not to fit the padding to the old length again.
    const bool leaveRoom = rewrite && file.rules.roomToGrow;
    if (leaveRoom)
        if (MediaFileStatus status = leaveRoomForNextEdit(current, audioStart, stream.size))
            return status;
    bool written;
    if (rewrite) {
        stream.limit = audioStart;
        written = FLAC__metadata_chain_write_with_callbacks_and_tempfile(current, !leaveRoom, &stream, kInputCallbacks, &capture,
                                                                          kCaptureCallbacks);
    } else {
        written = FLAC__metadata_chain_write_with_callbacks(current, true, &capture, kCaptureCallbacks);
    }
    if (!written)
        return FLACChainStatus(current, kMediaFileErrWrite);
    if (capture.scattered || (rewrite && capture.start != 0) || (!rewrite && capture.start + capture.bytes.size() > audioStart))
        return kMediaFileErrWrite;
    uint64_t replaced = rewrite ? audioStart : capture.bytes.size();
    stream.cache.reset();
    // Moved in, not listed: a braced list would copy the metadata, picture and all.
    std::vector<util::Replacement> edits(1);
    edits[0] = util::Replacement{capture.start, replaced, std::move(capture.bytes)};
    return util::saveReplacements(file.path, input, std::move(edits), flags);
}

} // namespace kestrabel::flac
