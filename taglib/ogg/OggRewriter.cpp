#include "OggRewriter.h"

#include <optional>

namespace kestrabel::ogg {

namespace {

constexpr size_t kSequenceOffset = 18;

uint32_t sequenceOf(const ogg_page &page)
{
    const unsigned char *p = page.header + kSequenceOffset;
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// The page lives in the reader's buffer, which nothing reads again; so it is changed in place.
void renumber(ogg_page &page, uint32_t delta)
{
    const uint32_t moved = sequenceOf(page) + delta;
    for (size_t i = 0; i < 4; ++i)
        page.header[kSequenceOffset + i] = static_cast<unsigned char>(moved >> (8 * i));
    ogg_page_checksum_set(&page);
}

} // namespace

void RewriterBase::copyRemainingPages(int serial, uint32_t nextSequence)
{
    // Taken from the first page of ours, so that a gap the original had stays a gap.
    std::optional<uint32_t> delta;
    bool ended = false;
    ogg_page page;
    int result;
    while ((result = reader_.next(&page)) != 0) {
        if (result < 0) {
            file_.lastError = kCorruptData;
            continue;
        }
        if (ogg_page_bos(&page))
            ended = true;
        if (!ended && ogg_page_serialno(&page) == serial) {
            if (!delta)
                delta = nextSequence - sequenceOf(page);
            if (*delta != 0)
                renumber(page, *delta);
            if (ogg_page_eos(&page))
                ended = true;
        }
        writer_.write(page);
    }
}

} // namespace kestrabel::ogg
