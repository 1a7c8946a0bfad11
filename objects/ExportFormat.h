// The keys of the tag dictionary export. Key names are the data IDs' constant names; the
// order of the tables is the order in which the keys are written and applied.
#pragma once

#include <kestrabel/MediaFile.h>

#include <QStringList>

namespace kestrabel {

struct ExportKey {
    const char *name;
    MediaFileDataID dataID;
};

inline constexpr char kMediaFileDataExportKey[] = "kMediaFileDataExportKey";
inline constexpr char kKestrabelVersionKey[] = "kKestrabelVersionKey";
inline constexpr char kMediaFileDataExportMarker[] = "KESTRABEL MEDIA FILE DATA EXPORT";
inline constexpr char kArtworkExportKey[] = "kMediaFileDataIDArtwork";

// Author (212) is not exported; the file names are exported but never imported.
inline constexpr ExportKey kExportTextKeys[] = {
    {"kMediaFileDataIDAlbum", kMediaFileDataIDAlbum},
    {"kMediaFileDataIDArtist", kMediaFileDataIDArtist},
    {"kMediaFileDataIDTitle", kMediaFileDataIDTitle},
    {"kMediaFileDataIDComment", kMediaFileDataIDComment},
    {"kMediaFileDataIDComposer", kMediaFileDataIDComposer},
    {"kMediaFileDataIDEncodedBy", kMediaFileDataIDEncodedBy},
    {"kMediaFileDataIDGenre", kMediaFileDataIDGenre},
    {"kMediaFileDataIDInvolvedPeople", kMediaFileDataIDInvolvedPeople},
    {"kMediaFileDataIDLyrics", kMediaFileDataIDLyrics},
    {"kMediaFileDataIDSortOrder", kMediaFileDataIDSortOrder},
    {"kMediaFileDataIDGrouping", kMediaFileDataIDGrouping},
    {"kMediaFileDataIDPublisher", kMediaFileDataIDPublisher},
    {"kMediaFileDataIDBandOrOrchestra", kMediaFileDataIDBandOrOrchestra},
    {"kMediaFileDataIDISRC", kMediaFileDataIDISRC},
    {"kMediaFileDataIDLocation", kMediaFileDataIDLocation},
    {"kMediaFileDataIDContact", kMediaFileDataIDContact},
    {"kMediaFileDataIDDate", kMediaFileDataIDDate},
    {"kMediaFileDataIDOrganization", kMediaFileDataIDOrganization},
    {"kMediaFileDataIDPerformer", kMediaFileDataIDPerformer},
    {"kMediaFileDataIDCopyright", kMediaFileDataIDCopyright},
    {"kMediaFileDataIDDescription", kMediaFileDataIDDescription},
    {"kMediaFileDataIDLicense", kMediaFileDataIDLicense},
    {"kMediaFileDataIDEnsemble", kMediaFileDataIDEnsemble},
    {"kMediaFileDataIDLyricist", kMediaFileDataIDLyricist},
    {"kMediaFileDataIDArranger", kMediaFileDataIDArranger},
    {"kMediaFileDataIDBWFDescription", kMediaFileDataIDBWFDescription},
    {"kMediaFileDataIDBWFOriginator", kMediaFileDataIDBWFOriginator},
    {"kMediaFileDataIDBWFOriginatorReference", kMediaFileDataIDBWFOriginatorReference},
    {"kMediaFileDataIDBWFOriginatorDate", kMediaFileDataIDBWFOriginatorDate},
    {"kMediaFileDataIDBWFOriginatorTime", kMediaFileDataIDBWFOriginatorTime},
    {"kMediaFileDataIDBWFUMID", kMediaFileDataIDBWFUMID},
    {"kMediaFileDataIDBWFCodingHistory", kMediaFileDataIDBWFCodingHistory},
    {"kMediaFileDataIDMake", kMediaFileDataIDMake},
    {"kMediaFileDataIDModel", kMediaFileDataIDModel},
    {"kMediaFileDataIDFilename", kMediaFileDataIDFilename},
    {"kMediaFileDataIDFilenameClean", kMediaFileDataIDFilenameClean},
};

// Play Count and Volume are always 0: no format answers them as integers. Kept on purpose.
inline constexpr ExportKey kExportIntegerKeys[] = {
    {"kMediaFileDataIDBPM", kMediaFileDataIDBPM},
    {"kMediaFileDataIDCompilation", kMediaFileDataIDCompilation},
    {"kMediaFileDataIDDiskNumber", kMediaFileDataIDDiskNumber},
    {"kMediaFileDataIDPlayCount", kMediaFileDataIDPlayCount},
    {"kMediaFileDataIDTotalDisks", kMediaFileDataIDTotalDisks},
    {"kMediaFileDataIDTotalTracks", kMediaFileDataIDTotalTracks},
    {"kMediaFileDataIDTrackNumber", kMediaFileDataIDTrackNumber},
    {"kMediaFileDataIDVolume", kMediaFileDataIDVolume},
    {"kMediaFileDataIDYear", kMediaFileDataIDYear},
};

constexpr bool isImportedTextKey(const ExportKey &key)
{
    return key.dataID != kMediaFileDataIDFilename && key.dataID != kMediaFileDataIDFilenameClean;
}

// Marker, version, text keys, integer keys, artwork: the order an export file is written in.
QStringList exportKeyOrder();

class MediaFileWrapper;

// "~" and "~/…" in the user's home folder, "~name/…" in that user's.
QString expandTildeInPath(const QString &path);
// The export file beside a media file: the text behind the last "." of the name becomes
// "plist" (a.mp3 -> a.plist); a name without one gets ".plist" added.
QString dictionaryPathBeside(const QString &mediaPath);
// saveDictionaryRepresentationToFile with the same rules and statuses, except that a failed
// write is reported (an errno) where the wrapper's method keeps the original's silence.
MediaFileStatus writeDictionaryRepresentation(const MediaFileWrapper &wrapper, const QString &path,
                                              bool overwriteIfExists, bool saveArtwork);

} // namespace kestrabel
