// The save of an Ogg Opus stream. Unlike Vorbis, whose packets are repaginated, the audio pages
// are copied as they are: OpusTags always ends its last page, so the audio starts on a page of
// its own, and nothing about its packets needs to be known. Only when the new comments take a
// different number of pages than the old do the later pages of the stream get new sequence
// numbers, and so new checksums; bodies and granule positions stay.
#include "OggRewriter.h"
#include "OpusHeaders.h"

#include <cstring>

namespace kestrabel::ogg {
namespace {

constexpr const char kFileChanged[] = "The file's Opus headers changed since it was opened.";
constexpr const char kSharedPage[] = "The Opus comment header shares its last page with audio.";
constexpr size_t kSequenceOffset = 18;

// The page with its sequence number moved by delta and the checksum made anew.
std::vector<uint8_t> renumbered(const ogg_page &page, long delta)
{
    std::vector<uint8_t> bytes = copyPage(page);
    const uint8_t *p = bytes.data() + kSequenceOffset;
    const uint32_t sequence = uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
    const uint32_t moved = sequence + static_cast<uint32_t>(delta);
    for (int i = 0; i < 4; ++i)
        bytes[kSequenceOffset + i] = static_cast<uint8_t>(moved >> (8 * i));
    ogg_page copy{};
    copy.header = bytes.data();
    copy.header_len = page.header_len;
    copy.body = bytes.data() + page.header_len;
    copy.body_len = page.body_len;
    ogg_page_checksum_set(&copy);
    return bytes;
}

class OpusRewriter : RewriterBase {
public:
    OpusRewriter(OggVorbisFile &file, const util::File &input, const util::File &output)
        : RewriterBase(file, input, output)
    {
    }

    MediaFileStatus run()
    {
        if (MediaFileStatus status = readHeaderPages())
            return status;
        if (MediaFileStatus status = writeHeaderPages())
            return status;
        copyRest();
        return finish();
    }

private:
    // Reads the input's header pages: the first page (kept as it is, OpusHead alone) and the
    // pages up to the end of OpusTags, which are counted and dropped.
    MediaFileStatus readHeaderPages()
    {
        ogg_page page;
        int result;
        while ((result = reader_.next(&page)) < 0) {
        }
        if (result == 0)
            return fail("Input truncated or empty.");
        if (ogg_page_serialno(&page) != file_.serial)
            return fail(kFileChanged);
        firstPage_ = copyPage(page);
        StreamState in(file_.serial);
        ogg_stream_pagein(in.get(), &page);
        ogg_packet packet;
        if (ogg_stream_packetout(in.get(), &packet) != 1 || static_cast<size_t>(packet.bytes) != file_.mainHeader.size() ||
            std::memcmp(packet.packet, file_.mainHeader.data(), file_.mainHeader.size()) != 0)
            return fail(kFileChanged);
        if (ogg_stream_packetpeek(in.get(), nullptr) != 0)
            return fail(kSharedPage);
        for (;;) {
            result = ogg_stream_packetout(in.get(), &packet);
            if (result < 0)
                return fail("Corrupt secondary header.");
            if (result > 0)
                break;
            result = reader_.next(&page);
            if (result == 0)
                return fail("EOF before end of Opus headers.");
            if (result < 0)
                continue;
            if (ogg_page_serialno(&page) != file_.serial) {
                otherStreamPages_.push_back(copyPage(page));
                continue;
            }
            ogg_stream_pagein(in.get(), &page);
            ++oldTagPages_;
        }
        // Audio on the last comment page would be lost with the page; Opus forbids it, so such
        // a file is left alone rather than half understood.
        if (ogg_stream_packetpeek(in.get(), nullptr) != 0)
            return fail(kSharedPage);
        return kMediaFileNoErr;
    }

    MediaFileStatus writeHeaderPages()
    {
        // The new OpusTags goes through a stream whose page counter already passed the first
        // page, so that its pages are numbered from 1 as the old ones were.
        StreamState out(file_.serial);
        ogg_packet packet{};
        packet.packet = file_.mainHeader.data();
        packet.bytes = static_cast<long>(file_.mainHeader.size());
        packet.b_o_s = 1;
        if (ogg_stream_packetin(out.get(), &packet) != 0)
            return kOggVorbisErrMemory;
        ogg_page page;
        while (ogg_stream_flush(out.get(), &page)) {
        }
        std::vector<uint8_t> tags = renderOpusTags(*file_.comment.get(), file_.opusTagsTail);
        packet = ogg_packet{};
        packet.packet = tags.data();
        packet.bytes = static_cast<long>(tags.size());
        packet.packetno = 1;
        if (ogg_stream_packetin(out.get(), &packet) != 0)
            return kOggVorbisErrMemory;
        writer_.write(firstPage_);
        for (const std::vector<uint8_t> &other : otherStreamPages_)
            writer_.write(other);
        long newTagPages = 0;
        while (ogg_stream_flush(out.get(), &page)) {
            writer_.write(page);
            ++newTagPages;
        }
        delta_ = newTagPages - oldTagPages_;
        return kMediaFileNoErr;
    }

    void copyRest()
    {
        bool ended = false;
        ogg_page page;
        int result;
        while ((result = reader_.next(&page)) != 0) {
            if (result < 0) {
                file_.lastError = kCorruptData;
                continue;
            }
            const bool ours = !ended && ogg_page_serialno(&page) == file_.serial;
            if (ours && ogg_page_eos(&page))
                ended = true;
            if (ours && delta_ != 0)
                writer_.write(renumbered(page, delta_));
            else
                writer_.write(page);
        }
    }

    std::vector<uint8_t> firstPage_;
    std::vector<std::vector<uint8_t>> otherStreamPages_;
    long oldTagPages_ = 0;
    long delta_ = 0;
};

} // namespace

MediaFileStatus rewriteOpusStream(OggVorbisFile &file, const util::File &input, const util::File &output)
{
    return OpusRewriter(file, input, output).run();
}

} // namespace kestrabel::ogg
