// Owners for the libogg and libvorbis states, and the page reader and writer that the open and
// the save share.
#pragma once

#include <kestrabel/MediaFile.h>
#include "util/File.h"

#include <ogg/ogg.h>
#include <vorbis/codec.h>

#include <cstdint>
#include <vector>

namespace kestrabel::ogg {

using ProgressFn = void (*)(uint64_t bytesRead, void *context);

class SyncState {
public:
    SyncState() { ogg_sync_init(&state_); }
    ~SyncState() { ogg_sync_clear(&state_); }
    SyncState(const SyncState &) = delete;
    SyncState &operator=(const SyncState &) = delete;
    ogg_sync_state *get() { return &state_; }

private:
    ogg_sync_state state_{};
};

class StreamState {
public:
    explicit StreamState(int serial) { ogg_stream_init(&state_, serial); }
    ~StreamState() { ogg_stream_clear(&state_); }
    StreamState(const StreamState &) = delete;
    StreamState &operator=(const StreamState &) = delete;
    ogg_stream_state *get() { return &state_; }
    int serial() const { return state_.serialno; }

private:
    ogg_stream_state state_{};
};

class VorbisInfo {
public:
    VorbisInfo() { vorbis_info_init(&info_); }
    ~VorbisInfo() { vorbis_info_clear(&info_); }
    VorbisInfo(const VorbisInfo &) = delete;
    VorbisInfo &operator=(const VorbisInfo &) = delete;
    vorbis_info *get() { return &info_; }
    const vorbis_info *get() const { return &info_; }
    void reset()
    {
        vorbis_info_clear(&info_);
        vorbis_info_init(&info_);
    }

private:
    vorbis_info info_{};
};

class VorbisComment {
public:
    VorbisComment() { vorbis_comment_init(&comment_); }
    ~VorbisComment() { vorbis_comment_clear(&comment_); }
    VorbisComment(const VorbisComment &) = delete;
    VorbisComment &operator=(const VorbisComment &) = delete;
    vorbis_comment *get() { return &comment_; }
    const vorbis_comment *get() const { return &comment_; }
    void reset()
    {
        vorbis_comment_clear(&comment_);
        vorbis_comment_init(&comment_);
    }

private:
    vorbis_comment comment_{};
};

// Pages of a file, read 4,096 bytes at a time through the sync layer.
class PageReader {
public:
    static constexpr size_t kReadSize = 4096;

    explicit PageReader(const util::File &file) : file_(file) {}
    void setProgress(ProgressFn progress, void *context)
    {
        progress_ = progress;
        progressContext_ = context;
    }
    // Bytes per read from now on; the open reads its later header pages in larger pieces.
    void setReadSize(size_t bytes) { readSize_ = bytes; }

    // 1: a page; 0: the file ended (or a read failed, see error()); -1: bytes were skipped to
    // find the next page, because of a broken page or data that is no page at all.
    int next(ogg_page *page);
    // The same without reading: 0 when the data read so far holds no further page.
    int pageOut(ogg_page *page);
    // Reads one more block into the sync layer; the number of bytes, 0 at the end.
    size_t fill();
    uint64_t bytesRead() const { return offset_; }
    MediaFileStatus error() const { return error_; }

private:
    const util::File &file_;
    SyncState sync_;
    uint64_t offset_ = 0;
    // Taken at the first read, so that each read is one pread into the sync buffer.
    uint64_t size_ = 0;
    bool sized_ = false;
    size_t readSize_ = kReadSize;
    MediaFileStatus error_ = kMediaFileNoErr;
    bool ended_ = false;
    ProgressFn progress_ = nullptr;
    void *progressContext_ = nullptr;
};

// Collects output pages and writes them in large pieces; the first failure sticks.
class PageWriter {
public:
    explicit PageWriter(const util::File &file) : file_(file) {}
    void write(const ogg_page &page);
    void write(const std::vector<uint8_t> &bytes);
    MediaFileStatus finish();
    bool failed() const { return status_ != kMediaFileNoErr; }

private:
    void drain(size_t atLeast);

    const util::File &file_;
    std::vector<uint8_t> buffer_;
    uint64_t offset_ = 0;
    MediaFileStatus status_ = kMediaFileNoErr;
};

// A copy of a page, for pages that must wait for their turn in the output.
std::vector<uint8_t> copyPage(const ogg_page &page);

} // namespace kestrabel::ogg
