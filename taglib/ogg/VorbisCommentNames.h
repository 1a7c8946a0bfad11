// The Vorbis-comment field behind each data ID. Ogg and FLAC share these names, with one
// deliberate difference: Total Tracks is "TRACKTOTAL" in Ogg and "TOTALTRACKS" in FLAC, and
// both read back by the same name they were written with.
#pragma once

#include <kestrabel/MediaFile.h>

#include <array>
#include <cstddef>

namespace kestrabel::vorbis {

struct FieldName {
    MediaFileDataID id;
    const char *field;
};

constexpr FieldName kSharedFieldNames[] = {
    {kMediaFileDataIDAlbum, "ALBUM"},
    {kMediaFileDataIDArtist, "ARTIST"},
    {kMediaFileDataIDBPM, "BPM"},
    {kMediaFileDataIDComment, "COMMENT"},
    {kMediaFileDataIDComposer, "COMPOSER"},
    {kMediaFileDataIDDiskNumber, "DISC"},
    {kMediaFileDataIDGenre, "GENRE"},
    {kMediaFileDataIDTitle, "TITLE"},
    {kMediaFileDataIDTotalDisks, "DISCC"},
    {kMediaFileDataIDTrackNumber, "TRACKNUMBER"},
    {kMediaFileDataIDYear, "YEAR"},
    {kMediaFileDataIDISRC, "ISRC"},
    {kMediaFileDataIDLocation, "LOCATION"},
    {kMediaFileDataIDContact, "CONTACT"},
    {kMediaFileDataIDDate, "DATE"},
    {kMediaFileDataIDOrganization, "ORGANIZATION"},
    {kMediaFileDataIDPerformer, "PERFORMER"},
    {kMediaFileDataIDCopyright, "COPYRIGHT"},
    {kMediaFileDataIDDescription, "DESCRIPTION"},
    {kMediaFileDataIDLicense, "LICENSE"},
    {kMediaFileDataIDEnsemble, "ENSEMBLE"},
    {kMediaFileDataIDLyricist, "LYRICIST"},
    {kMediaFileDataIDArranger, "ARRANGER"},
    {kMediaFileDataIDAuthor, "AUTHOR"},
};

constexpr const char kOggTotalTracks[] = "TRACKTOTAL";
constexpr const char kFLACTotalTracks[] = "TOTALTRACKS";
constexpr const char kFLACCompilation[] = "COMPILATION";

// The shared field of an ID, or null (Total Tracks and Compilation are per format).
constexpr const char *sharedFieldName(MediaFileDataID id)
{
    for (const FieldName &entry : kSharedFieldNames)
        if (entry.id == id)
            return entry.field;
    return nullptr;
}

// The two rule sets of the Vorbis-comment handlers, Ogg and FLAC alike; each handler picks one
// row at open and consults it. The rows side by side are what the interop profile changes.
struct CommentRules {
    // A set replaces every entry of exactly its name by one entry. The classic Ogg set replaces
    // the first entry whose name merely begins with it (ALBUM hits ALBUMARTIST) and keeps the
    // rest; FLAC always matched exactly.
    bool exactNames;
    // The names of kCommonNames are read under their aliases too, and a set writes the common
    // name and removes the aliases.
    bool commonNames;
    // Standard pictures: FLAC PICTURE blocks, Ogg METADATA_BLOCK_PICTURE comments.
    bool standardPictures;
    // Ogg Vorbis: a save writes the vendor string the file had, as vorbiscomment and mutagen
    // do; the classic save writes libvorbis's own.
    bool keepVendor;
    // FLAC: the first of several VORBIS_COMMENT blocks is the file's, as other readers take it;
    // the classic scan ends on the last.
    bool firstCommentBlock;
    // FLAC: a comment block that libFLAC could only read in part is not saved (a save would
    // write the part and drop the rest).
    bool refusePartlyReadComments;
    // Ogg: a comment the file lacks answers kMediaFileErrNotFound, as in every other kind; the
    // classic Ogg handler answers its own kOggVorbisErrNoComment.
    bool absentIsNotFound;
    // Ogg Vorbis: a save rewrites the header pages only and copies the audio pages as they are
    // (renumbered when the headers take another number of pages); the classic save repacks every
    // audio packet into pages of its own making.
    bool copyAudioPages;
    // FLAC: a save that has to move the audio leaves a PADDING block for the next edit and
    // moves the audio by whole 4 KiB blocks; the classic save keeps the padding it finds.
    bool roomToGrow;
};

constexpr CommentRules kCommentRules[] = {
    // classic
    {.exactNames = false, .commonNames = false, .standardPictures = false, .keepVendor = false, .firstCommentBlock = false,
     .refusePartlyReadComments = false, .absentIsNotFound = false, .copyAudioPages = false, .roomToGrow = false},
    // interop
    {.exactNames = true, .commonNames = true, .standardPictures = true, .keepVendor = true, .firstCommentBlock = true,
     .refusePartlyReadComments = true, .absentIsNotFound = true, .copyAudioPages = true, .roomToGrow = true},
};

constexpr const CommentRules &commentRulesFor(MediaFileFlags flags)
{
    return kCommentRules[(flags & kMediaFileFlagInterop) != 0 ? 1 : 0];
}

// Where the names today's taggers write differ from the classic ones. Read: the common name,
// else the aliases in order; a set writes the common name and removes the aliases, which would
// otherwise contradict it.
struct CommonName {
    MediaFileDataID id;
    const char *field;
    std::array<const char *, 2> aliases;
};

constexpr CommonName kCommonNames[] = {
    {kMediaFileDataIDDiskNumber, "DISCNUMBER", {"DISC", nullptr}},
    {kMediaFileDataIDTotalDisks, "DISCTOTAL", {"DISCC", "TOTALDISCS"}},
    {kMediaFileDataIDTotalTracks, "TRACKTOTAL", {"TOTALTRACKS", nullptr}},
    {kMediaFileDataIDYear, "DATE", {"YEAR", nullptr}},
};

// The name an ID is written under and the names also read under it.
struct FieldLookup {
    const char *field = nullptr;
    std::array<const char *, 2> aliases{};
};

// classicField is the handler's own name of the ID (Total Tracks and Compilation differ).
constexpr FieldLookup fieldLookup(MediaFileDataID id, const char *classicField, const CommentRules &rules)
{
    if (rules.commonNames)
        for (const CommonName &entry : kCommonNames)
            if (entry.id == id)
                return {entry.field, entry.aliases};
    return {classicField, {}};
}

} // namespace kestrabel::vorbis
