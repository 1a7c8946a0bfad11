#include "OggVorbisFile.h"
#include "OpusHeaders.h"
#include "VorbisCommentEdit.h"
#include "VorbisCommentPacket.h"

#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <strings.h>

namespace kestrabel::ogg {

namespace {

constexpr unsigned char kSetupPacketType = 5;
// The later header pages, a cover picture among the comments, come in pieces this large.
constexpr size_t kHeaderReadSize = 16 * 1024;

struct Alias {
    const char *name;
    const char *alias;
};

constexpr Alias kAliases[] = {
    {"DISCNUMBER", "DISC"},
    {"DISC", "DISCNUMBER"},
    {"TOTALTRACKS", "TRACKTOTAL"},
    {"TRACKTOTAL", "TOTALTRACKS"},
};

const char *aliasOf(const char *name)
{
    for (const Alias &entry : kAliases)
        if (strcasecmp(entry.name, name) == 0)
            return entry.alias;
    return nullptr;
}

// Standard error rather than standard output, so that the messages never mix with the output
// of a command-line tool that opens the file.
MediaFileStatus notVorbis(const char *message)
{
    std::fprintf(stderr, "%s\n", message);
    return kOggVorbisErrNotVorbis;
}

MediaFileStatus readStatus(const PageReader &reader)
{
    return reader.error() == kMediaFileErrMemory ? kOggVorbisErrMemory : reader.error();
}

// Only the first 4,096 bytes count: the first page of a Vorbis stream holds nothing but the
// small identification header.
int pageInFirstBlock(PageReader &reader, ogg_page *page)
{
    int result;
    while ((result = reader.pageOut(page)) < 0) {
    }
    return result;
}

MediaFileStatus recognise(const util::File &input)
{
    PageReader reader(input);
    reader.fill();
    if (reader.error())
        return readStatus(reader);
    ogg_page page;
    if (pageInFirstBlock(reader, &page) == 0)
        return notVorbis("Error reading first page of Ogg bitstream data.");
    StreamState stream(ogg_page_serialno(&page));
    if (ogg_stream_pagein(stream.get(), &page) < 0)
        return notVorbis("Error reading first page of Ogg bitstream data.");
    ogg_packet packet;
    if (ogg_stream_packetout(stream.get(), &packet) != 1)
        return notVorbis("Error reading initial header packet.");
    OpusHead head;
    if (parseOpusHead({packet.packet, static_cast<size_t>(packet.bytes)}, &head))
        return kMediaFileNoErr;
    VorbisInfo info;
    VorbisComment comment;
    if (vorbis_synthesis_headerin(info.get(), comment.get(), &packet) < 0)
        return notVorbis("This Ogg bitstream does not contain Vorbis audio data.");
    return kMediaFileNoErr;
}

// OpusHead, already taken, and OpusTags. The stream information that Vorbis keeps in its info
// record is filled from the head, so that channels and rate answer alike for both codecs.
bool readOpusHeaders(PageReader &reader, StreamState &stream, const ogg_packet &first, OggVorbisFile &file)
{
    OpusHead head;
    if (!parseOpusHead({first.packet, static_cast<size_t>(first.bytes)}, &head)) {
        file.lastError = "Ogg bitstream does not contain Opus data of a known version.";
        return false;
    }
    file.codec = OggCodec::Opus;
    file.preSkip = head.preSkip;
    file.info.get()->channels = head.channels;
    file.info.get()->rate = kOpusRate;
    file.mainHeader.assign(first.packet, first.packet + first.bytes);
    for (;;) {
        ogg_packet packet;
        int result = ogg_stream_packetout(stream.get(), &packet);
        if (result < 0 || (result > 0 && !readOpusTags({packet.packet, static_cast<size_t>(packet.bytes)},
                                                        file.comment.get(), &file.opusTagsTail))) {
            file.lastError = "Corrupt secondary header.";
            return false;
        }
        if (result > 0)
            return true;
        ogg_page page;
        result = reader.next(&page);
        if (result == 0) {
            file.lastError = "EOF before end of Opus headers.";
            return false;
        }
        if (result > 0 && ogg_page_serialno(&page) == file.serial) {
            ogg_stream_pagein(stream.get(), &page);
            file.headerBytes += static_cast<uint64_t>(page.header_len + page.body_len);
        }
    }
}

bool isSetupHeader(const ogg_packet &packet)
{
    return packet.bytes > 7 && packet.packet[0] == kSetupPacketType && std::memcmp(packet.packet + 1, "vorbis", 6) == 0;
}

// False with lastError set when the header packets cannot all be read.
bool readHeaderPackets(PageReader &reader, OggVorbisFile &file)
{
    size_t firstRead = reader.fill();
    ogg_page page;
    if (pageInFirstBlock(reader, &page) == 0) {
        file.lastError = firstRead < PageReader::kReadSize ? "Input truncated or empty." : "Input is not an Ogg bitstream.";
        return false;
    }
    file.serial = ogg_page_serialno(&page);
    reader.setReadSize(kHeaderReadSize);
    StreamState stream(file.serial);
    if (ogg_stream_pagein(stream.get(), &page) < 0) {
        file.lastError = "Error reading first page of Ogg bitstream.";
        return false;
    }
    ogg_packet packet;
    if (ogg_stream_packetout(stream.get(), &packet) != 1) {
        file.lastError = "Error reading initial header packet.";
        return false;
    }
    file.headerBytes = static_cast<uint64_t>(page.header_len + page.body_len);
    if (isOpusHead({packet.packet, static_cast<size_t>(packet.bytes)}))
        return readOpusHeaders(reader, stream, packet, file);
    if (vorbis_synthesis_headerin(file.info.get(), file.comment.get(), &packet) < 0) {
        file.lastError = "Ogg bitstream does not contain vorbis data.";
        return false;
    }
    file.mainHeader.assign(packet.packet, packet.packet + packet.bytes);
    int taken = 0;
    while (taken < 2) {
        int result = ogg_stream_packetout(stream.get(), &packet);
        // The setup header's codebooks are only needed to decode, and unpacking them was most
        // of the cost of an open: a packet that says it is a setup header is taken as one here,
        // and unpacked when a save needs the block sizes.
        const bool setup = result > 0 && taken == 1 && isSetupHeader(packet);
        if (result < 0 || (result > 0 && !setup && readHeaderPacket(file.info.get(), file.comment.get(), &packet) < 0)) {
            file.lastError = "Corrupt secondary header.";
            return false;
        }
        if (result > 0) {
            if (taken == 1)
                file.setupHeader.assign(packet.packet, packet.packet + packet.bytes);
            ++taken;
            continue;
        }
        result = reader.next(&page);
        if (result == 0) {
            file.lastError = "EOF before end of vorbis headers.";
            return false;
        }
        // Pages of other logical streams multiplexed with this one are no business of ours.
        if (result > 0 && ogg_page_serialno(&page) == file.serial) {
            ogg_stream_pagein(stream.get(), &page);
            file.headerBytes += static_cast<uint64_t>(page.header_len + page.body_len);
        }
    }
    return true;
}

MediaFileStatus openImpl(const char *path, OggVorbisFilePtr *out)
{
    util::File input;
    if (MediaFileStatus status = util::File::openRead(path, &input))
        return status;
    if (MediaFileStatus status = recognise(input))
        return status;
    auto file = std::make_unique<OggVorbisFile>();
    file->path = path;
    PageReader reader(input);
    file->headersRead = readHeaderPackets(reader, *file);
    if (reader.error())
        return readStatus(reader);
    if (!file->headersRead) {
        file->info.reset();
        file->comment.reset();
        file->mainHeader.clear();
        file->setupHeader.clear();
    }
    *out = std::move(file);
    return kMediaFileNoErr;
}

} // namespace

MediaFileStatus OggVorbisFileOpen(const char *path, OggVorbisFilePtr *out)
{
    if (!path || !out)
        return kOggVorbisErrArgument;
    try {
        return openImpl(path, out);
    } catch (const std::bad_alloc &) {
        return kOggVorbisErrMemory;
    }
}

MediaFileStatus OggVorbisGetComment(OggVorbisFile &file, const char *name, std::string *out)
{
    if (!name || !out)
        return kOggVorbisErrArgument;
    vorbis_comment *comment = file.comment.get();
    const char *field = name;
    if (vorbis_comment_query_count(comment, field) == 0) {
        const char *alias = aliasOf(name);
        if (!alias || vorbis_comment_query_count(comment, alias) == 0)
            return kOggVorbisErrNoComment;
        field = alias;
    }
    const char *value = vorbis_comment_query(comment, field, 0);
    if (!value)
        return kOggVorbisErrNoComment;
    try {
        out->assign(value);
    } catch (const std::bad_alloc &) {
        return kOggVorbisErrMemory;
    }
    return kMediaFileNoErr;
}

MediaFileStatus OggVorbisSetComment(OggVorbisFile &file, const char *name, std::string_view value)
{
    if (!name)
        return kOggVorbisErrArgument;
    if (strcasecmp(name, "DISCNUMBER") == 0)
        name = "DISC";
    size_t nameLength = std::strlen(name);
    if (value.size() > static_cast<size_t>(INT_MAX) - nameLength - 2)
        return kOggVorbisErrArgument;
    vorbis_comment *comment = file.comment.get();
    try {
        std::string text(value);
        if (vorbis_comment_query_count(comment, name) == 0) {
            vorbis_comment_add_tag(comment, name, text.c_str());
            return kMediaFileNoErr;
        }
        std::string entry = std::string(name) + "=" + text;
        // A prefix match, so an entry "DISCC" that comes before "DISC" is the one replaced when
        // DISC is set: deliberate, files written so far depend on it.
        for (int i = 0; i < comment->comments; ++i) {
            if (!comment->user_comments[i] || strncasecmp(comment->user_comments[i], name, nameLength) != 0)
                continue;
            // libvorbis releases its entries with free().
            auto *replacement = static_cast<char *>(std::malloc(entry.size() + 1));
            if (!replacement)
                return kOggVorbisErrMemory;
            std::memcpy(replacement, entry.c_str(), entry.size() + 1);
            std::free(comment->user_comments[i]);
            comment->user_comments[i] = replacement;
            comment->comment_lengths[i] = static_cast<int>(entry.size());
            return kMediaFileNoErr;
        }
    } catch (const std::bad_alloc &) {
        return kOggVorbisErrMemory;
    }
    return kMediaFileNoErr;
}

MediaFileStatus OggVorbisRemoveComment(OggVorbisFile &file, const char *name)
{
    if (!name)
        return kOggVorbisErrArgument;
    vorbis_comment *comment = file.comment.get();
    const char *alias = aliasOf(name);
    auto named = [](const char *entry, const char *field) {
        const size_t length = std::strlen(field);
        return strncasecmp(entry, field, length) == 0 && entry[length] == '=';
    };
    int kept = 0;
    for (int i = 0; i < comment->comments; ++i) {
        char *entry = comment->user_comments[i];
        if (entry && (named(entry, name) || (alias && named(entry, alias)))) {
            std::free(entry); // libvorbis releases its entries with free()
            continue;
        }
        comment->user_comments[kept] = entry;
        comment->comment_lengths[kept] = comment->comment_lengths[i];
        ++kept;
    }
    truncateComments(comment, kept);
    return kMediaFileNoErr;
}

int32_t bitRateFromHints(long upper, long nominal, long lower, std::string *text)
{
    char buffer[64];
    int32_t number;
    if (upper == nominal && nominal == lower) {
        number = static_cast<int32_t>(nominal / 1024);
        std::snprintf(buffer, sizeof buffer, "%lu", static_cast<unsigned long>(upper / 1024));
    } else if (upper > 0 || lower >= 1) {
        number = static_cast<int32_t>(upper / 1024);
        std::snprintf(buffer, sizeof buffer, "VBR (%lu-%lu)", static_cast<unsigned long>(lower / 1024),
                      static_cast<unsigned long>(upper / 1024));
    } else if (nominal < 1) {
        number = 0;
        std::snprintf(buffer, sizeof buffer, "%d", 0);
    } else {
        number = static_cast<int32_t>(nominal / 1024);
        std::snprintf(buffer, sizeof buffer, "%lu", static_cast<unsigned long>(nominal / 1024));
    }
    if (text)
        *text = buffer;
    return number;
}

int32_t OggVorbisGetBitRate(const OggVorbisFile &file, std::string *text)
{
    const vorbis_info *info = file.info.get();
    return bitRateFromHints(info->bitrate_upper, info->bitrate_nominal, info->bitrate_lower, text);
}

int32_t OggVorbisGetChannels(const OggVorbisFile &file) { return file.info.get()->channels; }

int32_t OggVorbisGetSampleRate(const OggVorbisFile &file) { return static_cast<int32_t>(file.info.get()->rate); }

MediaFileStatus OggVorbisGetVendor(const OggVorbisFile &file, std::string *out)
{
    const char *vendor = file.comment.get()->vendor;
    *out = vendor ? vendor : "-";
    return vendor ? kMediaFileNoErr : kOggVorbisErrArgument;
}

int nextTemporaryNumber()
{
    static std::atomic<int> counter{0};
    return counter.fetch_add(1);
}

} // namespace kestrabel::ogg
