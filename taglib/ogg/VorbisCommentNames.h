// The Vorbis-comment field behind each data ID. Ogg and FLAC share these names, with one
// deliberate difference: Total Tracks is "TRACKTOTAL" in Ogg and "TOTALTRACKS" in FLAC, and
// both read back by the same name they were written with.
#pragma once

#include <kestrabel/MediaFile.h>

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

} // namespace kestrabel::vorbis
