#include "OggStreams.h"

#include <algorithm>
#include <cstring>

namespace kestrabel::ogg {

namespace {

constexpr size_t kWriteChunk = 256 * 1024;

} // namespace

size_t PageReader::fill()
{
    if (ended_)
        return 0;
    if (!sized_) {
        if (MediaFileStatus status = file_.size(&size_)) {
            error_ = status;
            ended_ = true;
            return 0;
        }
        sized_ = true;
    }
    char *buffer = ogg_sync_buffer(sync_.get(), static_cast<long>(readSize_));
    if (!buffer) {
        error_ = kMediaFileErrMemory;
        ended_ = true;
        return 0;
    }
    const size_t count = offset_ >= size_ ? 0 : static_cast<size_t>(std::min<uint64_t>(readSize_, size_ - offset_));
    if (count == 0) {
        ended_ = true;
        return 0;
    }
    if (MediaFileStatus status = file_.readAt(offset_, {reinterpret_cast<uint8_t *>(buffer), count})) {
        error_ = status;
        ended_ = true;
        return 0;
    }
    ogg_sync_wrote(sync_.get(), static_cast<long>(count));
    offset_ += count;
    if (progress_)
        progress_(offset_, progressContext_);
    return count;
}

int PageReader::pageOut(ogg_page *page)
{
    int result = ogg_sync_pageout(sync_.get(), page);
    return result > 0 ? 1 : result < 0 ? -1 : 0;
}

int PageReader::next(ogg_page *page)
{
    for (;;) {
        if (int result = pageOut(page))
            return result;
        if (fill() == 0)
            return 0;
    }
}

std::vector<uint8_t> copyPage(const ogg_page &page)
{
    std::vector<uint8_t> bytes(static_cast<size_t>(page.header_len + page.body_len));
    std::memcpy(bytes.data(), page.header, static_cast<size_t>(page.header_len));
    if (page.body_len > 0)
        std::memcpy(bytes.data() + page.header_len, page.body, static_cast<size_t>(page.body_len));
    return bytes;
}

void PageWriter::write(const ogg_page &page)
{
    if (failed())
        return;
    buffer_.insert(buffer_.end(), page.header, page.header + page.header_len);
    buffer_.insert(buffer_.end(), page.body, page.body + page.body_len);
    drain(kWriteChunk);
}

void PageWriter::write(const std::vector<uint8_t> &bytes)
{
    if (failed())
        return;
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
    drain(kWriteChunk);
}

void PageWriter::drain(size_t atLeast)
{
    if (failed() || buffer_.empty() || buffer_.size() < atLeast)
        return;
    status_ = file_.writeAt(offset_, buffer_);
    offset_ += buffer_.size();
    buffer_.clear();
}

MediaFileStatus PageWriter::finish()
{
    drain(0);
    return status_;
}

} // namespace kestrabel::ogg
