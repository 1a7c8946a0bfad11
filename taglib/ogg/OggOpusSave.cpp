// The save of an Ogg Opus stream. Unlike the classic Vorbis save, which repaginates the packets,
// it copies the audio pages as they are: OpusTags always ends its last page, so the audio starts
// on a page of its own, and nothing about its packets needs to be known. Only when the new
// comments take a different number of pages than the old do the later pages of the stream get
// new sequence numbers, and so new checksums; bodies and granule positions stay.
#include "OggRewriter.h"
#include "OpusHeaders.h"

#include <cstring>

namespace kestrabel::ogg {
namespace {

constexpr const char kFileChanged[] = "The file's Opus headers changed since it was opened.";
constexpr const char kSharedPage[] = "The Opus comment header shares its last page with audio.";
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
        copyRemainingPages(file_.serial, nextSequence_);
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
        while (ogg_stream_flush(out.get(), &page)) {
            writer_.write(page);
            ++nextSequence_;
        }
        return kMediaFileNoErr;
    }

    std::vector<uint8_t> firstPage_;
    std::vector<std::vector<uint8_t>> otherStreamPages_;
    // After OpusHead's page, numbered 0, the new OpusTags pages.
    uint32_t nextSequence_ = 1;
};

} // namespace

MediaFileStatus rewriteOpusStream(OggVorbisFile &file, const util::File &input, const util::File &output)
{
    return OpusRewriter(file, input, output).run();
}

} // namespace kestrabel::ogg
