#include "FLACFile.h"
#include "FLACStream.h"

#include "core/DataIDRules.h"

#include <cstring>
#include <new>
#include <strings.h>

namespace kestrabel::flac {

namespace {

constexpr FLAC__byte kPictureApplicationID[4] = {'E', 'S', 'C', 'N'};
constexpr FLAC__byte kPictureMagic[4] = {'P', 'I', 'C', '1'};
constexpr uint32_t kPictureHeaderLength = sizeof kPictureApplicationID + sizeof kPictureMagic;
// A block's length field has 24 bits.
constexpr uint64_t kMaxBlockLength = (1u << 24) - 1;

struct BlockDeleter {
    void operator()(FLAC__StreamMetadata *block) const { FLAC__metadata_object_delete(block); }
};
using BlockPtr = std::unique_ptr<FLAC__StreamMetadata, BlockDeleter>;

} // namespace

bool isApplicationPicture(const FLAC__StreamMetadata *block)
{
    return block->type == FLAC__METADATA_TYPE_APPLICATION && block->length >= kPictureHeaderLength &&
           std::memcmp(block->data.application.id, kPictureApplicationID, sizeof kPictureApplicationID) == 0 &&
           block->data.application.data &&
           std::memcmp(block->data.application.data, kPictureMagic, sizeof kPictureMagic) == 0;
}

namespace {

void noteStreamInfo(FLACFile &file, const FLAC__StreamMetadata_StreamInfo &info)
{
    file.hasStreamInfo = true;
    file.sampleRate = static_cast<int32_t>(info.sample_rate);
    file.channels = static_cast<int32_t>(info.channels);
    // Deliberately without the channel count.
    file.bitRate = static_cast<int32_t>(static_cast<uint64_t>(info.sample_rate) * info.bits_per_sample / 1024);
}

// Walks the chain for the stream information, the picture and the comment block; a setter asks
// for an empty comment block to be made when there is none. Ends at once when the comment block
// is already known.
MediaFileStatus scan(FLACFile &file, bool create)
{
    if (file.commentBlock)
        return kMediaFileNoErr;
    file.iterator.reset(FLAC__metadata_iterator_new());
    if (!file.iterator)
        return kMediaFileErrMemory;
    FLAC__Metadata_Iterator *iterator = file.iterator.get();
    FLAC__metadata_iterator_init(iterator, file.chain.get());
    file.hasPicture = false;
    file.pictureBlock = nullptr;
    do {
        FLAC__StreamMetadata *block = FLAC__metadata_iterator_get_block(iterator);
        if (!block)
            break;
        if (block->type == FLAC__METADATA_TYPE_STREAMINFO) {
            noteStreamInfo(file, block->data.stream_info);
        } else if (isApplicationPicture(block)) {
            file.hasPicture = true;
            file.pictureBlock = block;
        } else if (block->type == FLAC__METADATA_TYPE_VORBIS_COMMENT && !(file.commentBlock && file.rules.firstCommentBlock)) {
            file.commentBlock = block;
        }
    } while (FLAC__metadata_iterator_next(iterator));
    if (file.commentBlock)
        return kMediaFileNoErr;
    if (!create)
        return kMediaFileErrNotFound;
    BlockPtr block(FLAC__metadata_object_new(FLAC__METADATA_TYPE_VORBIS_COMMENT));
    if (!block)
        return kMediaFileErrMemory;
    if (!FLAC__metadata_iterator_insert_block_after(iterator, block.get()))
        return kMediaFileErrIO;
    file.commentBlock = block.release();
    return kMediaFileNoErr;
}

// Scans for the values that do not live in the comment block, whose absence does not matter.
MediaFileStatus scanForOtherBlocks(FLACFile &file)
{
    MediaFileStatus status = scan(file, false);
    return status == kMediaFileErrNotFound ? kMediaFileNoErr : status;
}

// The index of the first entry named name (ignoring case), whether or not it has a "=".
int findEntry(const FLAC__StreamMetadata *block, std::string_view name)
{
    const FLAC__StreamMetadata_VorbisComment &comments = block->data.vorbis_comment;
    for (uint32_t i = 0; i < comments.num_comments; ++i) {
        const FLAC__StreamMetadata_VorbisComment_Entry &entry = comments.comments[i];
        if (!entry.entry || entry.length < name.size())
            continue;
        const char *text = reinterpret_cast<const char *>(entry.entry);
        if (strncasecmp(text, name.data(), name.size()) == 0 && (entry.length == name.size() || text[name.size()] == '='))
            return static_cast<int>(i);
    }
    return -1;
}

bool fitsInBlock(const FLAC__StreamMetadata *block, size_t extra)
{
    return static_cast<uint64_t>(block->length) + extra + 4 <= kMaxBlockLength;
}

// What the block would hold if libFLAC had read all of it; less than its length field when
// libFLAC stopped at an entry that runs past the end and skipped the rest.
uint64_t commentBytesRead(const FLAC__StreamMetadata_VorbisComment &comments)
{
    uint64_t length = 8 + uint64_t(comments.vendor_string.length);
    for (uint32_t i = 0; i < comments.num_comments; ++i)
        length += 4 + uint64_t(comments.comments[i].length);
    return length;
}

bool hasPartlyReadComments(FLAC__Metadata_Chain *chain)
{
    std::unique_ptr<FLAC__Metadata_Iterator, IteratorDeleter> iterator(FLAC__metadata_iterator_new());
    if (!iterator)
        return false;
    FLAC__metadata_iterator_init(iterator.get(), chain);
    do {
        const FLAC__StreamMetadata *block = FLAC__metadata_iterator_get_block(iterator.get());
        if (block && block->type == FLAC__METADATA_TYPE_VORBIS_COMMENT && commentBytesRead(block->data.vorbis_comment) != block->length)
            return true;
    } while (FLAC__metadata_iterator_next(iterator.get()));
    return false;
}

} // namespace

MediaFileStatus FLACChainStatus(FLAC__Metadata_Chain *chain, MediaFileStatus fallback)
{
    // Raw chain statuses are small positive numbers that callers would take for errno values.
    const FLAC__Metadata_ChainStatus status = FLAC__metadata_chain_status(chain);
    if (status == FLAC__METADATA_CHAIN_STATUS_OK)
        return fallback;
    return kMediaFileErrFLACChainBase - static_cast<MediaFileStatus>(status);
}

MediaFileStatus FLACFileOpen(const char *path, FLACFilePtr *out, const vorbis::CommentRules &rules)
{
    if (!path)
        return kMediaFileErrParam;
    auto file = std::make_unique<FLACFile>();
    file->path = path;
    file->rules = rules;
    file->chain.reset(FLAC__metadata_chain_new());
    if (!file->chain)
        return kMediaFileErrMemory;
    util::File input;
    InputStream stream;
    // A file that cannot be opened here is left to libFLAC, so that the status stays its own.
    if (util::File::openRead(path, &input, &file->opened) == kMediaFileNoErr) {
        stream.file = &input;
        stream.size = static_cast<uint64_t>(file->opened.st_size);
        stream.cache.emplace(input, stream.size, kOpenCacheBlock);
        if (!FLAC__metadata_chain_read_with_callbacks(file->chain.get(), &stream, kInputCallbacks))
            return FLACChainStatus(file->chain.get(), kMediaFileErrShortRead);
        // libFLAC stops reading where the audio frames begin.
        file->audioStart = stream.position;
        file->chainFromOpen = true;
        file->wholeFile = stream.cache->takeWholeFile();
    } else if (!FLAC__metadata_chain_read(file->chain.get(), path)) {
        return FLACChainStatus(file->chain.get(), kMediaFileErrShortRead);
    }
    if (rules.refusePartlyReadComments)
        file->partlyReadComments = hasPartlyReadComments(file->chain.get());
    *out = std::move(file);
    return kMediaFileNoErr;
}

MediaFileStatus FLACGetComment(FLACFile &file, const char *name, std::string *out)
{
    if (MediaFileStatus status = scan(file, false))
        return status;
    int index = findEntry(file.commentBlock, name);
    if (index < 0)
        return kMediaFileErrNotFound;
    const FLAC__StreamMetadata_VorbisComment_Entry &entry = file.commentBlock->data.vorbis_comment.comments[index];
    size_t nameLength = std::strlen(name);
    if (entry.length == nameLength)
        return kMediaFileErrBadFrame;
    const char *text = reinterpret_cast<const char *>(entry.entry);
    out->assign(text + nameLength + 1, entry.length - nameLength - 1);
    return kMediaFileNoErr;
}

MediaFileStatus FLACGetCommentInt(FLACFile &file, const char *name, int32_t *out)
{
    std::string text;
    if (MediaFileStatus status = FLACGetComment(file, name, &text))
        return status;
    *out = leadingInteger(text);
    return kMediaFileNoErr;
}

MediaFileStatus FLACSetComment(FLACFile &file, const char *name, std::string_view value)
{
    if (MediaFileStatus status = scan(file, true))
        return status;
    std::string text = std::string(name) + "=" + std::string(value);
    if (!fitsInBlock(file.commentBlock, text.size()))
        return kMediaFileErrIO;
    FLAC__StreamMetadata_VorbisComment_Entry entry;
    entry.length = static_cast<FLAC__uint32>(text.size());
    entry.entry = reinterpret_cast<FLAC__byte *>(text.data());
    if (!FLAC__metadata_object_vorbiscomment_replace_comment(file.commentBlock, entry, true, true))
        return kMediaFileErrIO;
    return kMediaFileNoErr;
}

MediaFileStatus FLACSetCommentInt(FLACFile &file, const char *name, int32_t value)
{
    return FLACSetComment(file, name, formatIntegerText(value));
}

MediaFileStatus FLACGetVendor(FLACFile &file, std::string *out)
{
    if (MediaFileStatus status = scan(file, false))
        return status;
    const FLAC__StreamMetadata_VorbisComment_Entry &vendor = file.commentBlock->data.vorbis_comment.vendor_string;
    if (vendor.entry)
        out->assign(reinterpret_cast<const char *>(vendor.entry), vendor.length);
    else
        out->clear();
    return kMediaFileNoErr;
}

MediaFileStatus FLACSetVendor(FLACFile &file, std::string_view vendor)
{
    if (MediaFileStatus status = scan(file, true))
        return status;
    if (!fitsInBlock(file.commentBlock, vendor.size()))
        return kMediaFileErrIO;
    std::string text(vendor);
    FLAC__StreamMetadata_VorbisComment_Entry entry;
    entry.length = static_cast<FLAC__uint32>(text.size());
    entry.entry = text.empty() ? nullptr : reinterpret_cast<FLAC__byte *>(text.data());
    if (!FLAC__metadata_object_vorbiscomment_set_vendor_string(file.commentBlock, entry, true))
        return kMediaFileErrIO;
    return kMediaFileNoErr;
}

MediaFileStatus FLACGetPicture(FLACFile &file, std::vector<uint8_t> *out)
{
    if (MediaFileStatus status = scanForOtherBlocks(file))
        return status;
    if (!file.pictureBlock)
        return kMediaFileErrNotFound;
    const FLAC__StreamMetadata *block = file.pictureBlock;
    size_t imageLength = block->length - kPictureHeaderLength;
    // As long as the length field, with the image at the start: deliberate, callers take the
    // image from the start of the buffer.
    out->assign(block->length, 0);
    std::memcpy(out->data(), block->data.application.data + sizeof kPictureMagic, imageLength);
    return kMediaFileNoErr;
}

MediaFileStatus FLACSetPicture(FLACFile &file, std::span<const uint8_t> image, bool createCommentBlock)
{
    MediaFileStatus status = scan(file, createCommentBlock);
    if (status != kMediaFileNoErr && !(status == kMediaFileErrNotFound && !createCommentBlock))
        return status;
    if (!file.hasPicture)
        return kMediaFileNoErr;
    std::unique_ptr<FLAC__Metadata_Iterator, IteratorDeleter> iterator(FLAC__metadata_iterator_new());
    if (!iterator)
        return kMediaFileErrMemory;
    FLAC__metadata_iterator_init(iterator.get(), file.chain.get());
    bool found = false;
    do {
        found = FLAC__metadata_iterator_get_block(iterator.get()) == file.pictureBlock;
    } while (!found && FLAC__metadata_iterator_next(iterator.get()));
    // A picture is only ever replaced, never added: deliberate.
    if (!found)
        return kMediaFileNoErr;
    if (image.size() > kMaxBlockLength - kPictureHeaderLength)
        return kMediaFileErrIO;
    BlockPtr block(FLAC__metadata_object_new(FLAC__METADATA_TYPE_APPLICATION));
    if (!block)
        return kMediaFileErrIO;
    std::memcpy(block->data.application.id, kPictureApplicationID, sizeof kPictureApplicationID);
    std::vector<FLAC__byte> data(kPictureMagic, kPictureMagic + sizeof kPictureMagic);
    data.insert(data.end(), image.begin(), image.end());
    if (!FLAC__metadata_object_application_set_data(block.get(), data.data(), static_cast<uint32_t>(data.size()), true))
        return kMediaFileErrIO;
    if (!FLAC__metadata_iterator_set_block(iterator.get(), block.get()))
        return kMediaFileErrIO;
    file.pictureBlock = block.release();
    return kMediaFileNoErr;
}

MediaFileStatus FLACRemoveComment(FLACFile &file, const char *name)
{
    MediaFileStatus status = scan(file, false);
    if (status == kMediaFileErrNotFound)
        return kMediaFileNoErr;
    if (status)
        return status;
    for (int index; (index = findEntry(file.commentBlock, name)) >= 0;) {
        if (!FLAC__metadata_object_vorbiscomment_delete_comment(file.commentBlock, static_cast<uint32_t>(index)))
            return kMediaFileErrMemory;
    }
    return kMediaFileNoErr;
}

MediaFileStatus FLACRemovePicture(FLACFile &file)
{
    std::unique_ptr<FLAC__Metadata_Iterator, IteratorDeleter> iterator(FLAC__metadata_iterator_new());
    if (!iterator)
        return kMediaFileErrMemory;
    // The scan's iterator may stand on a block that goes; the next scan starts afresh.
    file.iterator.reset();
    file.commentBlock = nullptr;
    file.pictureBlock = nullptr;
    file.hasPicture = false;
    FLAC__metadata_iterator_init(iterator.get(), file.chain.get());
    bool more = true;
    while (more) {
        FLAC__StreamMetadata *block = FLAC__metadata_iterator_get_block(iterator.get());
        if (block && isApplicationPicture(block)) {
            if (!FLAC__metadata_iterator_delete_block(iterator.get(), false))
                return kMediaFileErrIO;
            // Deleting steps back to the block before, which the next step leaves again.
        }
        more = FLAC__metadata_iterator_next(iterator.get());
    }
    return kMediaFileNoErr;
}

MediaFileStatus FLACGetStreamInfo(FLACFile &file, int32_t FLACFile::*field, int32_t *out)
{
    if (MediaFileStatus status = scanForOtherBlocks(file))
        return status;
    if (!file.hasStreamInfo)
        return kMediaFileErrNotFound;
    *out = file.*field;
    return kMediaFileNoErr;
}

} // namespace kestrabel::flac
