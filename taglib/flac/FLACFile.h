// The metadata blocks of a FLAC file through libFLAC's chain interface: Vorbis comments, the
// stream information and a cover picture kept in an "ESCN" application block.
#pragma once

#include "ogg/VorbisCommentNames.h"
#include "ogg/VorbisPicture.h"

#include <kestrabel/MediaFile.h>

#include <FLAC/metadata.h>
#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrabel::flac {

struct ChainDeleter {
    void operator()(FLAC__Metadata_Chain *chain) const { FLAC__metadata_chain_delete(chain); }
};
struct IteratorDeleter {
    void operator()(FLAC__Metadata_Iterator *iterator) const { FLAC__metadata_iterator_delete(iterator); }
};

struct FLACFile {
    std::string path;
    vorbis::CommentRules rules = vorbis::kCommentRules[0];
    // A VORBIS_COMMENT block whose length field ends before its entries do: libFLAC reads the
    // entries up to there and skips the rest.
    bool partlyReadComments = false;
    std::unique_ptr<FLAC__Metadata_Chain, ChainDeleter> chain;
    std::unique_ptr<FLAC__Metadata_Iterator, IteratorDeleter> iterator;
    // Both blocks belong to the chain.
    FLAC__StreamMetadata *pictureBlock = nullptr;
    FLAC__StreamMetadata *commentBlock = nullptr;
    bool hasPicture = false;
    bool hasStreamInfo = false;
    int32_t sampleRate = 0;
    int32_t bitRate = 0;
    int32_t channels = 0;
    // The chain was read through libFLAC's callbacks at open: while the file is still the one
    // opened (same inode, size and times), the save writes this chain without reading the
    // file's metadata again. After a save, the file is read again.
    bool chainFromOpen = false;
    struct stat opened {};
    uint64_t audioStart = 0;
    // The file's bytes when the open read all of them (a small file), for questions the chain
    // does not answer; emptied by a save.
    std::vector<uint8_t> wholeFile;
};

using FLACFilePtr = std::unique_ptr<FLACFile>;

// The status of a failed chain operation: libFLAC's chain status as its kMediaFileErrFLAC
// constant, or fallback when the chain reports none.
MediaFileStatus FLACChainStatus(FLAC__Metadata_Chain *chain, MediaFileStatus fallback);

// A failed read gives the chain's status, or kMediaFileErrShortRead when it has none.
MediaFileStatus FLACFileOpen(const char *path, FLACFilePtr *out, const vorbis::CommentRules &rules = vorbis::kCommentRules[0]);
// Sorts the padding to the end and lets libFLAC's chain write choose between the metadata
// rewritten in place (the padding absorbs the change) and the whole file rewritten; either way
// a failure leaves the original file, and owner and permissions are kept. The flags are the
// saver's (kMediaFileFlagInPlace).
MediaFileStatus FLACFileSave(FLACFile &file, MediaFileFlags flags = 0);

MediaFileStatus FLACGetComment(FLACFile &file, const char *name, std::string *out);
MediaFileStatus FLACGetCommentInt(FLACFile &file, const char *name, int32_t *out);
// Every entry of the name gives way to one new entry at the first one's place, or the entry is
// appended.
MediaFileStatus FLACSetComment(FLACFile &file, const char *name, std::string_view value);
MediaFileStatus FLACSetCommentInt(FLACFile &file, const char *name, int32_t value);
MediaFileStatus FLACGetVendor(FLACFile &file, std::string *out);
MediaFileStatus FLACSetVendor(FLACFile &file, std::string_view vendor);

// The image bytes followed by eight zero bytes: the length is the block's length field, which
// counts the application ID and "PIC1" too.
MediaFileStatus FLACGetPicture(FLACFile &file, std::vector<uint8_t> *out);
// Replaces an existing picture block; a file without one is left without one. Like every setter
// it makes an empty comment block when there is none, unless told not to.
MediaFileStatus FLACSetPicture(FLACFile &file, std::span<const uint8_t> image, bool createCommentBlock = true);

// An APPLICATION block "ESCN" whose data begins "PIC1": the classic picture.
bool isApplicationPicture(const FLAC__StreamMetadata *block);

// The PICTURE blocks of the file, by the slot's picture type; for the front cover the first
// picture of any type when there is none of that type, then the application-block picture
// (the image alone).
MediaFileStatus FLACGetStandardPicture(FLACFile &file, const vorbis::PictureSlot &slot, std::vector<uint8_t> *out);
// Replaces the PICTURE block of the slot's type or adds one; a front cover also replaces the
// application-block picture when the file has one, so that both stay the same image.
MediaFileStatus FLACSetStandardPicture(FLACFile &file, const vorbis::PictureSlot &slot, std::span<const uint8_t> image);

// Every entry of the name goes (also one without "="); a file without a comment block keeps
// having none.
MediaFileStatus FLACRemoveComment(FLACFile &file, const char *name);
// Every application-block (ESCN) picture goes.
MediaFileStatus FLACRemovePicture(FLACFile &file);

// One of the stream information fields: &FLACFile::sampleRate, ::channels, or ::bitRate (sample
// rate times bits per sample over 1,024; the channel count does not enter).
MediaFileStatus FLACGetStreamInfo(FLACFile &file, int32_t FLACFile::*field, int32_t *out);

} // namespace kestrabel::flac
