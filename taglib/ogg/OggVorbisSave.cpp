// The save: a new file beside the original gets the header pages built afresh and the audio
// packets of the Vorbis stream repaginated, then every other page unchanged; it then takes the
// original's place, or its bytes are copied into the original where the saver's rules say the
// file keeps its inode. Under the interop rules the audio pages are copied instead, as the Opus
// save does, so that the pages other tools wrote stay theirs.
#include "OggRewriter.h"
#include "VorbisCommentPacket.h"

#include "util/FileOps.h"
#include "util/SaveGroup.h"
#include "util/Saver.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrabel::ogg {

namespace {

constexpr const char kFileChanged[] = "The file's Vorbis headers changed since it was opened.";
constexpr int kTemporaryAttempts = 1000;

struct HeldPacket {
    std::vector<uint8_t> bytes;
    ogg_int64_t granule = -1;
    bool flushAfter = false;
    bool pageAfter = false;
};

class Rewriter : RewriterBase {
public:
    Rewriter(OggVorbisFile &file, const util::File &input, const util::File &output)
        : RewriterBase(file, input, output), out_(file.serial)
    {
    }

    MediaFileStatus run()
    {
        const bool copyPages = file_.rules.copyAudioPages;
        if (!copyPages)
            if (MediaFileStatus status = unpackSetupHeader())
                return status;
        if (MediaFileStatus status = skipInputHeaders())
            return status;
        if (copyPages && audioStartsOnItsOwnPage()) {
            if (MediaFileStatus status = writeHeaders())
                return status;
            copyRemainingPages(in_->serial(), newHeaderPages_);
            return finish();
        }
        // Audio that shares the setup header's last page cannot keep its pages; it is repacked.
        if (copyPages)
            if (MediaFileStatus status = unpackSetupHeader())
                return status;
        if (MediaFileStatus status = writeHeaders())
            return status;
        if (MediaFileStatus status = copyAudio())
            return status;
        copyOtherPages();
        return finish();
    }

private:
    // The block sizes give the granule positions of the repacked audio packets.
    MediaFileStatus unpackSetupHeader()
    {
        if (file_.setupUnpacked)
            return kMediaFileNoErr;
        ogg_packet packet{};
        packet.packet = file_.setupHeader.data();
        packet.bytes = static_cast<long>(file_.setupHeader.size());
        packet.packetno = 2;
        if (vorbis_synthesis_headerin(file_.info.get(), file_.comment.get(), &packet) < 0)
            return fail("Corrupt secondary header.");
        file_.setupUnpacked = true;
        return kMediaFileNoErr;
    }

    // Reads past the three header packets of the input's first stream; pages of streams
    // multiplexed with it are kept to follow the new first page.
    MediaFileStatus skipInputHeaders()
    {
        ogg_page page;
        int result;
        while ((result = reader_.next(&page)) < 0) {
        }
        if (result == 0)
            return fail("Input truncated or empty.");
        in_ = std::make_unique<StreamState>(ogg_page_serialno(&page));
        ogg_stream_pagein(in_->get(), &page);
        int taken = 0;
        while (taken < 3) {
            ogg_packet packet;
            result = ogg_stream_packetout(in_->get(), &packet);
            if (result < 0)
                return fail("Corrupt secondary header.");
            if (result > 0) {
                const std::vector<uint8_t> *stored = taken == 0 ? &file_.mainHeader : taken == 2 ? &file_.setupHeader : nullptr;
                if (stored && (static_cast<size_t>(packet.bytes) != stored->size() ||
                               std::memcmp(packet.packet, stored->data(), stored->size()) != 0))
                    return fail(kFileChanged);
                ++taken;
                continue;
            }
            result = reader_.next(&page);
            if (result == 0)
                return fail("EOF before end of vorbis headers.");
            if (result < 0)
                continue;
            if (ogg_page_serialno(&page) == in_->serial())
                ogg_stream_pagein(in_->get(), &page);
            else
                otherStreamHeaderPages_.push_back(copyPage(page));
        }
        return kMediaFileNoErr;
    }

    // Nothing of the stream, not even part of a packet, is left on the pages read so far.
    bool audioStartsOnItsOwnPage()
    {
        const ogg_stream_state *state = in_->get();
        return state->lacing_returned == state->lacing_fill && !ogg_stream_eos(in_->get());
    }

    MediaFileStatus packetIn(std::vector<uint8_t> &bytes, ogg_int64_t granule, ogg_int64_t number, bool first, bool last)
    {
        static unsigned char empty = 0;
        ogg_packet packet{};
        packet.packet = bytes.empty() ? &empty : bytes.data();
        packet.bytes = static_cast<long>(bytes.size());
        packet.b_o_s = first ? 1 : 0;
        packet.e_o_s = last ? 1 : 0;
        packet.granulepos = granule;
        packet.packetno = number;
        return ogg_stream_packetin(out_.get(), &packet) == 0 ? kMediaFileNoErr : kOggVorbisErrMemory;
    }

    void flushPages()
    {
        ogg_page page;
        while (ogg_stream_flush(out_.get(), &page)) {
            writer_.write(page);
            ++newHeaderPages_;
        }
    }

    void emitFullPages()
    {
        ogg_page page;
        while (ogg_stream_pageout(out_.get(), &page))
            writer_.write(page);
    }

    MediaFileStatus writeHeaders()
    {
        if (MediaFileStatus status = packetIn(file_.mainHeader, 0, 0, true, false))
            return status;
        std::vector<uint8_t> commentBytes;
        if (!renderCommentPacket(*file_.comment.get(), file_.rules.keepVendor, &commentBytes))
            return kOggVorbisErrMemory;
        if (MediaFileStatus status = packetIn(commentBytes, 0, 1, false, false))
            return status;
        if (MediaFileStatus status = packetIn(file_.setupHeader, 0, 2, false, false))
            return status;
        // libogg puts the identification header alone on the first page; the first pages of
        // multiplexed streams belong right after it.
        ogg_page page;
        if (ogg_stream_flush(out_.get(), &page)) {
            writer_.write(page);
            ++newHeaderPages_;
        }
        for (const std::vector<uint8_t> &other : otherStreamHeaderPages_)
            writer_.write(other);
        flushPages();
        return kMediaFileNoErr;
    }

    // Granule positions the input pages carried are kept; the packets between them get the
    // running sample count. A position below the count (the trimmed end of a stream, or a
    // stream that restarts its count) resets the count and closes the page, so that the
    // position lands on a page of its own. Each packet is held back until the next one arrives,
    // so that the last can carry the end-of-stream mark.
    void arrive(const ogg_packet &packet)
    {
        long blockSize = vorbis_packet_blocksize(file_.info.get(), const_cast<ogg_packet *>(&packet));
        if (blockSize >= 0) {
            if (!firstAudio_)
                running_ += (previousBlockSize_ + blockSize) / 4;
            firstAudio_ = false;
            previousBlockSize_ = blockSize;
        }
        HeldPacket next;
        next.bytes.assign(packet.packet, packet.packet + packet.bytes);
        if (packet.granulepos == -1) {
            next.granule = running_;
        } else {
            next.granule = packet.granulepos;
            if (packet.granulepos < running_) {
                running_ = packet.granulepos;
                next.flushAfter = true;
            } else {
                next.pageAfter = true;
            }
        }
        if (held_)
            status_ = emit(*held_, false);
        held_ = std::move(next);
    }

    MediaFileStatus emit(HeldPacket &packet, bool last)
    {
        if (MediaFileStatus status = packetIn(packet.bytes, packet.granule, packetNumber_++, false, last))
            return status;
        if (packet.flushAfter)
            flushPages();
        else if (packet.pageAfter)
            emitFullPages();
        return kMediaFileNoErr;
    }

    MediaFileStatus copyAudio()
    {
        for (;;) {
            ogg_packet packet;
            int result = ogg_stream_packetout(in_->get(), &packet);
            if (result > 0) {
                arrive(packet);
                if (status_)
                    return status_;
                continue;
            }
            if (result < 0)
                continue; // a gap in the stream; libogg has moved past it
            if (ogg_stream_eos(in_->get()))
                break;
            ogg_page page;
            result = reader_.next(&page);
            if (result == 0)
                break;
            if (result < 0) {
                file_.lastError = kCorruptData;
                continue;
            }
            if (ogg_page_bos(&page)) {
                // A chained stream begins although ours never said it ended.
                chainedStreamStart_ = copyPage(page);
                break;
            }
            if (ogg_page_serialno(&page) == in_->serial())
                ogg_stream_pagein(in_->get(), &page);
            else
                writer_.write(page);
        }
        if (held_)
            if (MediaFileStatus status = emit(*held_, true))
                return status;
        flushPages();
        return kMediaFileNoErr;
    }

    void copyOtherPages()
    {
        if (chainedStreamStart_)
            writer_.write(*chainedStreamStart_);
        ogg_page page;
        int result;
        while ((result = reader_.next(&page)) != 0) {
            if (result < 0)
                file_.lastError = kCorruptData;
            else
                writer_.write(page);
        }
    }

    StreamState out_;
    std::unique_ptr<StreamState> in_;
    std::vector<std::vector<uint8_t>> otherStreamHeaderPages_;
    std::optional<std::vector<uint8_t>> chainedStreamStart_;
    std::optional<HeldPacket> held_;
    bool firstAudio_ = true;
    long previousBlockSize_ = 0;
    ogg_int64_t running_ = 0;
    ogg_int64_t packetNumber_ = 3;
    // Pages the header packets took in the new file; only the page copy reads it.
    uint32_t newHeaderPages_ = 0;
    MediaFileStatus status_ = kMediaFileNoErr;
};

// The file's name, "-" and the process-wide counter; O_EXCL so that a name already taken, by
// another process or a save that failed earlier, is passed over instead of overwritten.
MediaFileStatus createTemporary(const std::string &path, std::string *tempPath, util::File *out)
{
    for (int attempt = 0; attempt < kTemporaryAttempts; ++attempt) {
        std::string candidate = path + "-" + std::to_string(nextTemporaryNumber());
        int fd = ::open(candidate.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0) {
            *tempPath = candidate;
            *out = util::File(fd);
            return kMediaFileNoErr;
        }
        if (errno != EEXIST)
            break;
    }
    return kOggVorbisErrTempFile;
}

MediaFileStatus saveImpl(OggVorbisFile &file, MediaFileFlags flags)
{
    if (!file.headersRead)
        return kOggVorbisErrNotVorbis;
    std::string target;
    util::File input;
    struct stat st {};
    if (MediaFileStatus status = util::openSaveTarget(file.path, &target, &input, &st))
        return status;
    std::string tempPath;
    util::File temp;
    if (MediaFileStatus status = createTemporary(target, &tempPath, &temp))
        return status;
    auto discard = [&](MediaFileStatus status) {
        temp.close();
        ::unlink(tempPath.c_str());
        return status;
    };
    // The whole file is rewritten either way; where a rename would split hard links, give the
    // file another owner or was asked against, the new bytes are copied into the original.
    bool inPlace = util::mustWriteInPlace(st, flags) || !util::ownerRestorable(input.fd(), temp.fd());
    MediaFileStatus status =
        file.codec == OggCodec::Opus ? rewriteOpusStream(file, input, temp) : Rewriter(file, input, temp).run();
    // In a save group the flush and the rename come at the commit, for all files at once.
    const bool held = !inPlace && util::holdingSaves();
    if (status == kMediaFileNoErr && !inPlace) {
        util::copyFileAttributes(input.fd(), temp.fd());
        if (!held && util::fileOps().fsync(temp.fd()) != 0) {
            file.lastError = kWriteFailed;
            status = kOggVorbisErrWrite;
        }
    }
    if (status == kOggVorbisErrWrite)
        std::fprintf(stderr, "%s\n", file.lastError);
    if (status != kMediaFileNoErr)
        return discard(status);
    if (inPlace) {
        uint64_t size = 0;
        status = temp.size(&size);
        input.close();
        if (status == kMediaFileNoErr)
            status = util::overwriteFromFile(target, temp.fd(), size);
        return discard(status);
    }
    if (temp.close() != kMediaFileNoErr) {
        file.lastError = kWriteFailed;
        std::fprintf(stderr, "%s\n", file.lastError);
        return discard(kOggVorbisErrWrite);
    }
    input.close();
    if (held) {
        util::holdNewFile(target, tempPath);
        return kMediaFileNoErr;
    }
    errno = 0;
    if (util::fileOps().rename(tempPath.c_str(), target.c_str()) != 0) {
        // The original is still whole here, since it is replaced by the rename alone; so the
        // failure is reported and the new file removed.
        MediaFileStatus renameStatus = util::statusFromErrno(kOggVorbisErrWrite);
        std::fprintf(stderr, "failed to rename temp file = %d\n", renameStatus);
        ::unlink(tempPath.c_str());
        return renameStatus;
    }
    util::syncParentFolder(target);
    return kMediaFileNoErr;
}

} // namespace

MediaFileStatus OggVorbisFileSave(OggVorbisFile &file, MediaFileFlags flags)
{
    try {
        return saveImpl(file, flags);
    } catch (const std::bad_alloc &) {
        return kOggVorbisErrMemory;
    }
}

} // namespace kestrabel::ogg
