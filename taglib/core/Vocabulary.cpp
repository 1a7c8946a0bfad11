// The fixed names of kinds, data IDs and statuses, and the look-ups over them.
#include <kestrabel/MediaFile.h>

#include "Boundary.h"

#include <cerrno>
#include <iterator>
#include <cstring>
#include <strings.h>

namespace {

constexpr MediaFileDataIDInfo kDataIDs[] = {
    {0, "kMediaFileDataIDNone", "None", '-', 1},
    {1, "kMediaFileDataIDAlbum", "Album", 'S', 0},
    {2, "kMediaFileDataIDArtist", "Artist", 'S', 0},
    {3, "kMediaFileDataIDBitRate", "Bit Rate", 'I', 1},
    {4, "kMediaFileDataIDBPM", "BPM", 'I', 0},
    {5, "kMediaFileDataIDChannels", "Channels", 'I', 1},
    {6, "kMediaFileDataIDComment", "Comment", 'S', 0},
    {7, "kMediaFileDataIDCompilation", "Compilation", 'I', 0},
    {8, "kMediaFileDataIDComposer", "Composer", 'S', 0},
    {9, "kMediaFileDataIDDiskNumber", "Disk Number", 'I', 0},
    {10, "kMediaFileDataIDEncodedBy", "Encoder", 'S', 0},
    {11, "kMediaFileDataIDFileID", "File ID", '-', 1},
    {12, "kMediaFileDataIDFilename", "Filename", 'P', 1},
    {13, "kMediaFileDataIDFilePath", "File path", 'P', 1},
    {14, "kMediaFileDataIDFileSize", "File Size", '-', 1},
    {15, "kMediaFileDataIDGenre", "Genre", 'S', 0},
    {16, "kMediaFileDataIDInvolvedPeople", "Involved People", 'S', 0},
    {17, "kMediaFileDataIDKind", "Kind", '-', 1},
    {18, "kMediaFileDataIDLyrics", "Lyrics", 'S', 0},
    {19, "kMediaFileDataIDPlayCount", "Play Count", 'I', 1},
    {20, "kMediaFileDataIDSampleRate", "Sample Rate", 'I', 1},
    {21, "kMediaFileDataIDSortOrder", "Sort Order", 'S', 0},
    {22, "kMediaFileDataIDTitle", "Title", 'S', 0},
    {23, "kMediaFileDataIDTotalDisks", "Disks", 'I', 0},
    {24, "kMediaFileDataIDPlayTime", "Play Time", 'I', 1},
    {25, "kMediaFileDataIDTotalTracks", "Total Tracks", 'I', 0},
    {26, "kMediaFileDataIDTrackNumber", "Track Number", 'I', 0},
    {27, "kMediaFileDataIDVersion", "Version", '-', 1},
    {28, "kMediaFileDataIDVolume", "Volume", 'D', 0},
    {29, "kMediaFileDataIDYear", "Year", 'I', 0},
    {30, "kMediaFileDataIDTime", "Time", '-', 1},
    {31, "kMediaFileDataIDSize", "Size", '-', 1},
    {32, "kMediaFileDataIDTagVersion", "Tag Version", '-', 1},
    {33, "kMediaFileDataIDParent0", "Parent0", '-', 1},
    {34, "kMediaFileDataIDParent1", "Parent1", 'P', 1},
    {35, "kMediaFileDataIDParent2", "Parent2", 'P', 1},
    {36, "kMediaFileDataIDParent3", "Parent3", 'P', 1},
    {37, "kMediaFileDataIDParent4", "Parent4", 'P', 1},
    {38, "kMediaFileDataIDParent5", "Parent5", 'P', 1},
    {39, "kMediaFileDataIDParent6", "Parent6", 'P', 1},
    {40, "kMediaFileDataIDParent7", "Parent7", 'P', 1},
    {41, "kMediaFileDataIDParent8", "Parent8", 'P', 1},
    {42, "kMediaFileDataIDParent9", "Parent9", 'P', 1},
    {100, "kMediaFileDataIDArtwork", "Cover Art", 'D', 0},
    {101, "kMediaFileDataIDGrouping", "Grouping", 'S', 0},
    {102, "kMediaFileDataIDNetwork", "Network", 'S', 0},
    {103, "kMediaFileDataIDShow", "Show", 'S', 0},
    {104, "kMediaFileDataIDEpisode", "Episode", 'S', 0},
    {105, "kMediaFileDataIDSeason", "Season", 'I', 0},
    {106, "kMediaFileDataIDFileKind", "File Kind", 'I', 0},
    {150, "kMediaFileDataIDMetaDataSize", "MetaData Size", 'I', 1},
    {151, "kMediaFileDataIDArtworkBack", "Artwork Back", 'D', 0},
    {152, "kMediaFileDataIDArtworkMisc", "Artwork Misc", 'D', 0},
    {153, "kMediaFileDataIDTagFrameCount", "Tag Frame Count", 'I', 1},
    {154, "kMediaFileDataIDPublisher", "Publisher", 'S', 0},
    {155, "kMediaFileDataIDBandOrOrchestra", "Album Artist", 'S', 0},
    {200, "kMediaFileDataIDISRC", "ISRC", 'S', 0},
    {201, "kMediaFileDataIDLocation", "Location", 'S', 0},
    {202, "kMediaFileDataIDContact", "Contact", 'S', 0},
    {203, "kMediaFileDataIDDate", "Date", 'S', 0},
    {204, "kMediaFileDataIDOrganization", "Organization", 'S', 0},
    {205, "kMediaFileDataIDPerformer", "Performer", 'S', 0},
    // Both misspellings below are the names users have always seen; they stay.
    {206, "kMediaFileDataIDCopyright", "Copoyright", 'S', 0},
    {207, "kMediaFileDataIDDescription", "Description", 'S', 0},
    {208, "kMediaFileDataIDLicense", "License", 'S', 0},
    {209, "kMediaFileDataIDEnsemble", "Ensemble", 'S', 0},
    {210, "kMediaFileDataIDLyricist", "Lyricist", 'S', 0},
    {211, "kMediaFileDataIDArranger", "Arranger", 'S', 0},
    {212, "kMediaFileDataIDAuthor", "Author", 'S', 0},
    {300, "kMediaFileDataIDBWFDescription", "BWF Description", 'S', 0},
    {301, "kMediaFileDataIDBWFOriginator", "BWF Originator", 'S', 0},
    {302, "kMediaFileDataIDBWFOriginatorReference", "BWF Originater Reference", 'S', 0},
    {303, "kMediaFileDataIDBWFOriginatorDate", "BWF Originator Date", 'S', 0},
    {304, "kMediaFileDataIDBWFOriginatorTime", "BWF Originator Time", 'S', 0},
    {305, "kMediaFileDataIDBWFUMID", "BWF UMID", 'S', 0},
    {306, "kMediaFileDataIDBWFCodingHistory", "BWF Coding History", 'S', 0},
    {400, "kMediaFileDataIDFilenameClean", "Filename Clean", 'P', 1},
    {501, "kMediaFileDataIDMake", "Make", 'S', 1},
    {502, "kMediaFileDataIDModel", "Model", 'S', 1},
};

struct StatusName {
    MediaFileStatus status;
    const char *name;
    const char *message;
};

constexpr StatusName kStatusNames[] = {
    {0, "kMediaFileNoErr", "success"},
    // The Ogg Vorbis handler's own codes.
    {-1, "kOggVorbisErrWrite", "writing the Ogg stream failed; the original file is unchanged"},
    {2001, "kOggVorbisErrMemory", "out of memory in the Ogg handler"},
    {2002, "kOggVorbisErrTempFile", "the temporary file beside the Ogg file cannot be created"},
    {2003, "kOggVorbisErrNotVorbis", "not an Ogg Vorbis stream"},
    {2004, "kOggVorbisErrArgument", "a bad argument, or no vendor string"},
    {2005, "kOggVorbisErrNoComment", "the Ogg file has no such comment field"},
    {-6700, "kMediaFileErrIO", "a seek, tell or write failed"},
    {-6702, "kMediaFileErrNoTag", "the file has no tag of that kind"},
    {-6703, "kMediaFileErrCantCreate", "the export dictionary could not be made"},
    {-6704, "kMediaFileErrBadPath", "the path is missing, malformed or names a folder"},
    {-6705, "kMediaFileErrParam", "a missing or empty argument, or a value exists and overwriting was not allowed"},
    {-6710, "kMediaFileErrTell", "the file position or size could not be determined"},
    {-6715, "kMediaFileErrBadVersion", "the tag's version is newer than this library reads"},
    {-6717, "kMediaFileErrBadFormat", "the value is not in the expected format"},
    {-6727, "kMediaFileErrNotFound", "no such tag, chunk, field or value"},
    {-6728, "kMediaFileErrMemory", "out of memory"},
    {-6730, "kMediaFileErrDuplicate", "a chunk that may occur once occurs twice"},
    {-6732, "kMediaFileErrTextConversion", "a text could not be converted between encodings"},
    {-6733, "kMediaFileErrNotImage", "the artwork is not an image"},
    {-6735, "kMediaFileErrUnsupported", "not supported for this kind of file"},
    {-6737, "kMediaFileErrNoArtwork", "there is no artwork"},
    {-6740, "kMediaFileErrNullRef", "the handle is null"},
    {-6742, "kMediaFileErrBadFrame", "a frame is malformed or too short"},
    {-6743, "kMediaFileErrShortHeader", "a header is truncated or has the wrong size"},
    {-6746, "kMediaFileErrShortRead", "a chunk or block could not be read whole"},
    {-6747, "kMediaFileErrWrite", "a write was cut short"},
    {-6748, "kMediaFileErrBadMagic", "a tag or atom does not start as its format requires"},
    {-6750, "kMediaFileErrTooSmall", "too short for its format, or a character the encoding lacks"},
    {-6751, "kMediaFileErrPastEnd", "a chunk runs past the end of its container"},
    {-6755, "kMediaFileErrCantOpen", "the file cannot be opened"},
    {-6756, "kMediaFileErrNoExif", "the image holds no EXIF data"},
    {-6771, "kMediaFileErrExists", "the target file exists"},
    // libFLAC's chain statuses, kMediaFileErrFLACChainBase minus the status.
    {-6801, "kMediaFileErrFLACIllegalInput", "libFLAC: illegal input to the metadata chain"},
    {-6802, "kMediaFileErrFLACErrorOpeningFile", "libFLAC: the FLAC file cannot be opened"},
    {-6803, "kMediaFileErrFLACNotAFLACFile", "libFLAC: not a FLAC file"},
    {-6804, "kMediaFileErrFLACNotWritable", "libFLAC: the FLAC file is not writable"},
    {-6805, "kMediaFileErrFLACBadMetadata", "libFLAC: the FLAC metadata is malformed"},
    {-6806, "kMediaFileErrFLACReadError", "libFLAC: reading the FLAC file failed"},
    {-6807, "kMediaFileErrFLACSeekError", "libFLAC: seeking in the FLAC file failed"},
    {-6808, "kMediaFileErrFLACWriteError", "libFLAC: writing the FLAC file failed"},
    {-6809, "kMediaFileErrFLACRenameError", "libFLAC: the rewritten FLAC file cannot be renamed into place"},
    {-6810, "kMediaFileErrFLACUnlinkError", "libFLAC: a temporary FLAC file cannot be removed"},
    {-6811, "kMediaFileErrFLACMemoryAllocation", "libFLAC: out of memory"},
    {-6812, "kMediaFileErrFLACInternalError", "libFLAC: internal error"},
    {-6813, "kMediaFileErrFLACInvalidCallbacks", "libFLAC: invalid I/O callbacks"},
    {-6814, "kMediaFileErrFLACReadWriteMismatch", "libFLAC: the chain was read and written by different means"},
    {-6815, "kMediaFileErrFLACWrongWriteCall", "libFLAC: the wrong chain write call for this chain"},
    {-6821, "kMediaFileErrMP4FragmentOffsets",
     "a movie fragment's offsets cannot be corrected, so a save that moves the audio is refused"},
};

constexpr const char *kTypeNames[] = {"Unsupported", "MP3", "MP4", "AIFF", "Ogg", "WMA", "EXIF", "FLAC", "WAVE", "QuickTime"};

const StatusName *findStatus(MediaFileStatus status)
{
    for (const auto &entry : kStatusNames)
        if (entry.status == status)
            return &entry;
    return nullptr;
}

} // namespace

extern "C" {

const char *MediaFileGetTypeName(MediaFileType kind)
try {
    if (kind < 0 || kind >= static_cast<MediaFileType>(std::size(kTypeNames)))
        return "?";
    return kTypeNames[kind];
}
KESTRABEL_BOUNDARY

size_t MediaFileGetDataIDCount(void)
try {
    return std::size(kDataIDs);
}
KESTRABEL_BOUNDARY

const MediaFileDataIDInfo *MediaFileGetDataIDInfoAt(size_t index)
try {
    return index < std::size(kDataIDs) ? &kDataIDs[index] : nullptr;
}
KESTRABEL_BOUNDARY

const MediaFileDataIDInfo *MediaFileGetDataIDInfo(MediaFileDataID dataID)
try {
    for (const auto &info : kDataIDs)
        if (info.dataID == dataID)
            return &info;
    return nullptr;
}
KESTRABEL_BOUNDARY

const char *MediaFileGetDataIDName(MediaFileDataID dataID)
try {
    const MediaFileDataIDInfo *info = MediaFileGetDataIDInfo(dataID);
    return info ? info->displayName : nullptr;
}
KESTRABEL_BOUNDARY

const MediaFileDataIDInfo *MediaFileFindDataID(const char *name)
try {
    if (!name || !*name)
        return nullptr;
    static constexpr char kPrefix[] = "kMediaFileDataID";
    for (const auto &info : kDataIDs) {
        const char *shortName = info.constantName + sizeof(kPrefix) - 1;
        if (strcasecmp(name, info.constantName) == 0 || strcasecmp(name, shortName) == 0 ||
            strcasecmp(name, info.displayName) == 0)
            return &info;
    }
    return nullptr;
}
KESTRABEL_BOUNDARY

const char *MediaFileGetStatusName(MediaFileStatus status)
try {
    if (const StatusName *entry = findStatus(status))
        return entry->name;
    if (status > 0) {
        const char *name = strerrorname_np(status);
        return name ? name : "?";
    }
    return "?";
}
KESTRABEL_BOUNDARY

const char *MediaFileGetStatusMessage(MediaFileStatus status)
try {
    if (const StatusName *entry = findStatus(status))
        return entry->message;
    if (status > 0) {
        const char *text = strerrordesc_np(status);
        return text ? text : "unknown system error";
    }
    return "unknown status";
}
KESTRABEL_BOUNDARY

} // extern "C"
