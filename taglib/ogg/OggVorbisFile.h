// The comment header of an Ogg Vorbis file: the three Vorbis header packets are read at open,
// the comment packet is rebuilt from the edited list at save, and the file is copied page by
// page into a new file that then takes its place.
#pragma once

#include "OggStreams.h"
#include "VorbisCommentNames.h"

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrabel::ogg {

// This handler's own status codes, beside errno values, declared by the public header; typed
// as statuses here so that they mix with the other codes in one expression.
constexpr MediaFileStatus kOggVorbisErrMemory = ::kOggVorbisErrMemory;
constexpr MediaFileStatus kOggVorbisErrTempFile = ::kOggVorbisErrTempFile;
constexpr MediaFileStatus kOggVorbisErrNotVorbis = ::kOggVorbisErrNotVorbis;
constexpr MediaFileStatus kOggVorbisErrArgument = ::kOggVorbisErrArgument;
constexpr MediaFileStatus kOggVorbisErrNoComment = ::kOggVorbisErrNoComment;
constexpr MediaFileStatus kOggVorbisErrWrite = ::kOggVorbisErrWrite;

// The codec of the file's first logical stream; both carry Vorbis comments.
enum class OggCodec { Vorbis, Opus };

struct OggVorbisFile {
    std::string path;
    int serial = 0;
    OggCodec codec = OggCodec::Vorbis;
    // The Vorbis-comment rules the save follows (the vendor string, how the audio pages are
    // written); the handler sets them at open.
    vorbis::CommentRules rules = vorbis::commentRulesFor(0);
    // Opus only: samples at 48 kHz the decoder drops at the start, and whatever binary data
    // followed the comment list in OpusTags.
    uint16_t preSkip = 0;
    std::vector<uint8_t> opusTagsTail;
    // Bytes of the pages that held the header packets, for the average bit rate.
    uint64_t headerBytes = 0;
    VorbisInfo info;
    VorbisComment comment;
    std::vector<uint8_t> mainHeader;
    std::vector<uint8_t> setupHeader;
    // The open takes the setup header's bytes without unpacking its codebooks; info gets the
    // block sizes only when a save first needs them.
    bool setupUnpacked = false;
    // False when the header packets could not all be read; lastError then says why.
    bool headersRead = false;
    const char *lastError = nullptr;
    ProgressFn progress = nullptr;
    void *progressContext = nullptr;
};

using OggVorbisFilePtr = std::unique_ptr<OggVorbisFile>;

// Recognises the file (printing the reason to standard error when it is no Ogg Vorbis file)
// and reads its header packets. A file whose later headers cannot be read still gives a handle
// and 0, with headersRead false and lastError set.
MediaFileStatus OggVorbisFileOpen(const char *path, OggVorbisFilePtr *out);
// The Opus stream's save: the header pages built afresh, every audio page copied with its body
// and granule position; only page sequence numbers (and so checksums) change, when the
// comments need a different number of pages.
MediaFileStatus rewriteOpusStream(OggVorbisFile &file, const util::File &input, const util::File &output);
// Rewrites the file with the current comments; kOggVorbisErrWrite when the new file could not
// be written, with lastError set.
MediaFileStatus OggVorbisFileSave(OggVorbisFile &file, MediaFileFlags flags = 0);

// The first value of the field, looked up under its alias when absent (DISC and DISCNUMBER,
// TRACKTOTAL and TOTALTRACKS stand for each other).
MediaFileStatus OggVorbisGetComment(OggVorbisFile &file, const char *name, std::string *out);
MediaFileStatus OggVorbisSetComment(OggVorbisFile &file, const char *name, std::string_view value);
// Every entry of the field and of its alias goes.
MediaFileStatus OggVorbisRemoveComment(OggVorbisFile &file, const char *name);

// Kilobits per second counted in 1,024s; *text gets "VBR (low-high)" for a managed stream.
int32_t OggVorbisGetBitRate(const OggVorbisFile &file, std::string *text);
int32_t bitRateFromHints(long upper, long nominal, long lower, std::string *text);
int32_t OggVorbisGetChannels(const OggVorbisFile &file);
int32_t OggVorbisGetSampleRate(const OggVorbisFile &file);
// The vendor string; "-" and kOggVorbisErrArgument when the file has none.
MediaFileStatus OggVorbisGetVendor(const OggVorbisFile &file, std::string *out);

// The temporary files of saves are named after the file with "-" and this counter.
int nextTemporaryNumber();

} // namespace kestrabel::ogg
