// Standard FLAC PICTURE blocks, which other taggers and players use, beside the application
// block picture of the classic rules.
#include "FLACFile.h"

namespace kestrabel::flac {

namespace {

struct BlockDeleter {
    void operator()(FLAC__StreamMetadata *block) const { FLAC__metadata_object_delete(block); }
};
using BlockPtr = std::unique_ptr<FLAC__StreamMetadata, BlockDeleter>;
using IteratorPtr = std::unique_ptr<FLAC__Metadata_Iterator, IteratorDeleter>;

constexpr size_t kApplicationPictureHeader = 8; // the application ID and "PIC1"

BlockPtr newPictureBlock(const vorbis::Picture &picture)
{
    BlockPtr block(FLAC__metadata_object_new(FLAC__METADATA_TYPE_PICTURE));
    if (!block)
        return nullptr;
    FLAC__StreamMetadata_Picture &fields = block->data.picture;
    fields.type = static_cast<FLAC__StreamMetadata_Picture_Type>(picture.type);
    fields.width = picture.width;
    fields.height = picture.height;
    fields.depth = picture.depth;
    fields.colors = picture.colors;
    std::string mime = picture.mime;
    std::string description = picture.description;
    std::vector<FLAC__byte> data(picture.data.begin(), picture.data.end());
    if (!FLAC__metadata_object_picture_set_mime_type(block.get(), mime.data(), true) ||
        !FLAC__metadata_object_picture_set_description(block.get(), reinterpret_cast<FLAC__byte *>(description.data()), true) ||
        !FLAC__metadata_object_picture_set_data(block.get(), data.data(), static_cast<FLAC__uint32>(data.size()), true))
        return nullptr;
    return block;
}

} // namespace

MediaFileStatus FLACGetStandardPicture(FLACFile &file, const vorbis::PictureSlot &slot, std::vector<uint8_t> *out)
{
    IteratorPtr iterator(FLAC__metadata_iterator_new());
    if (!iterator)
        return kMediaFileErrMemory;
    FLAC__metadata_iterator_init(iterator.get(), file.chain.get());
    const FLAC__StreamMetadata_Picture *first = nullptr;
    do {
        const FLAC__StreamMetadata *block = FLAC__metadata_iterator_get_block(iterator.get());
        if (!block || block->type != FLAC__METADATA_TYPE_PICTURE)
            continue;
        const FLAC__StreamMetadata_Picture &picture = block->data.picture;
        if (picture.type == slot.type) {
            out->assign(picture.data, picture.data + picture.data_length);
            return kMediaFileNoErr;
        }
        if (!first)
            first = &picture;
    } while (FLAC__metadata_iterator_next(iterator.get()));
    if (!slot.firstWhenAbsent)
        return kMediaFileErrNotFound;
    if (first) {
        out->assign(first->data, first->data + first->data_length);
        return kMediaFileNoErr;
    }
    std::vector<uint8_t> application;
    if (MediaFileStatus status = FLACGetPicture(file, &application))
        return status;
    // The classic getter's buffer ends in the eight bytes the length field counts twice.
    application.resize(application.size() - kApplicationPictureHeader);
    *out = std::move(application);
    return kMediaFileNoErr;
}

namespace {

// No image: the PICTURE blocks of the type go, as an empty picture removes them in every kind,
// and for the front cover the application-block picture with them.
MediaFileStatus removePictures(FLACFile &file, const vorbis::PictureSlot &slot)
{
    IteratorPtr iterator(FLAC__metadata_iterator_new());
    if (!iterator)
        return kMediaFileErrMemory;
    FLAC__metadata_iterator_init(iterator.get(), file.chain.get());
    while (FLAC__metadata_iterator_next(iterator.get())) {
        const FLAC__StreamMetadata *block = FLAC__metadata_iterator_get_block(iterator.get());
        bool standard = block->type == FLAC__METADATA_TYPE_PICTURE && block->data.picture.type == slot.type;
        bool application = slot.firstWhenAbsent && isApplicationPicture(block);
        if (!standard && !application)
            continue;
        if (block == file.pictureBlock) {
            file.pictureBlock = nullptr;
            file.hasPicture = false;
        }
        // The iterator moves to the block before, so the walk goes on from there.
        if (!FLAC__metadata_iterator_delete_block(iterator.get(), false))
            return kMediaFileErrIO;
    }
    return kMediaFileNoErr;
}

} // namespace

MediaFileStatus FLACSetStandardPicture(FLACFile &file, const vorbis::PictureSlot &slot, std::span<const uint8_t> image)
{
    if (image.empty())
        return removePictures(file, slot);
    IteratorPtr iterator(FLAC__metadata_iterator_new());
    if (!iterator)
        return kMediaFileErrMemory;
    vorbis::Picture picture = vorbis::pictureFromImage(slot.type, image);
    FLAC__metadata_iterator_init(iterator.get(), file.chain.get());
    bool found = false;
    do {
        const FLAC__StreamMetadata *block = FLAC__metadata_iterator_get_block(iterator.get());
        found = block && block->type == FLAC__METADATA_TYPE_PICTURE && block->data.picture.type == slot.type;
        if (found && block->data.picture.description)
            picture.description = reinterpret_cast<const char *>(block->data.picture.description);
    } while (!found && FLAC__metadata_iterator_next(iterator.get()));
    BlockPtr block = newPictureBlock(picture);
    if (!block)
        return kMediaFileErrMemory;
    // Not found: the iterator is on the last block, and the save sorts padding to the end.
    if (!(found ? FLAC__metadata_iterator_set_block(iterator.get(), block.get())
                : FLAC__metadata_iterator_insert_block_after(iterator.get(), block.get())))
        return kMediaFileErrIO;
    block.release();
    if (!slot.firstWhenAbsent)
        return kMediaFileNoErr;
    return FLACSetPicture(file, image, false);
}

} // namespace kestrabel::flac
