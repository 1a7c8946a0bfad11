/*
 * Kestrabel tag library: the procedural interface.
 *
 * A caller opens a media file by path, reads and writes values by data ID as integers, UTF-8
 * text or bytes, saves ("update") and closes. Every operation returns a status: 0 for success,
 * a positive errno for a failed file operation, or one of the negative kMediaFileErr codes.
 * Texts and byte buffers handed out are owned by the caller, who releases them with free().
 * Every out pointer may be null: a get then only reports whether the value exists.
 */
#ifndef KESTRABEL_MEDIAFILE_H
#define KESTRABEL_MEDIAFILE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Everything declared here is the library's interface; the library hides all else. */
#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

typedef struct MediaFile *MediaFileRef;
typedef int32_t MediaFileStatus;
typedef int32_t MediaFileType;
typedef int32_t MediaFileDataID;
typedef uint32_t MediaFileFlags;

enum {
    kMediaFileTypeUnsupported = 0,
    kMediaFileTypeMP3 = 1,
    kMediaFileTypeMP4 = 2,
    kMediaFileTypeAIFF = 3,
    kMediaFileTypeOgg = 4,
    kMediaFileTypeWMA = 5,
    kMediaFileTypeEXIF = 6,
    kMediaFileTypeFLAC = 7,
    kMediaFileTypeWAVE = 8,
    kMediaFileTypeQuickTime = 9
};

enum {
    kMediaFileDataIDNone = 0,
    kMediaFileDataIDAlbum = 1,
    kMediaFileDataIDArtist = 2,
    kMediaFileDataIDBitRate = 3,
    kMediaFileDataIDBPM = 4,
    kMediaFileDataIDChannels = 5,
    kMediaFileDataIDComment = 6,
    kMediaFileDataIDCompilation = 7,
    kMediaFileDataIDComposer = 8,
    kMediaFileDataIDDiskNumber = 9,
    kMediaFileDataIDEncodedBy = 10,
    kMediaFileDataIDFileID = 11,
    kMediaFileDataIDFilename = 12,
    kMediaFileDataIDFilePath = 13,
    kMediaFileDataIDFileSize = 14,
    kMediaFileDataIDGenre = 15,
    kMediaFileDataIDInvolvedPeople = 16,
    kMediaFileDataIDKind = 17,
    kMediaFileDataIDLyrics = 18,
    kMediaFileDataIDPlayCount = 19,
    kMediaFileDataIDSampleRate = 20,
    kMediaFileDataIDSortOrder = 21,
    kMediaFileDataIDTitle = 22,
    kMediaFileDataIDTotalDisks = 23,
    kMediaFileDataIDPlayTime = 24,
    kMediaFileDataIDTotalTracks = 25,
    kMediaFileDataIDTrackNumber = 26,
    kMediaFileDataIDVersion = 27,
    kMediaFileDataIDVolume = 28,
    kMediaFileDataIDYear = 29,
    kMediaFileDataIDTime = 30,
    kMediaFileDataIDSize = 31,
    kMediaFileDataIDTagVersion = 32,
    kMediaFileDataIDParent0 = 33,
    kMediaFileDataIDParent1 = 34,
    kMediaFileDataIDParent2 = 35,
    kMediaFileDataIDParent3 = 36,
    kMediaFileDataIDParent4 = 37,
    kMediaFileDataIDParent5 = 38,
    kMediaFileDataIDParent6 = 39,
    kMediaFileDataIDParent7 = 40,
    kMediaFileDataIDParent8 = 41,
    kMediaFileDataIDParent9 = 42,
    kMediaFileDataIDArtwork = 100,
    kMediaFileDataIDGrouping = 101,
    kMediaFileDataIDNetwork = 102,
    kMediaFileDataIDShow = 103,
    kMediaFileDataIDEpisode = 104,
    kMediaFileDataIDSeason = 105,
    kMediaFileDataIDFileKind = 106,
    kMediaFileDataIDMetaDataSize = 150,
    kMediaFileDataIDArtworkBack = 151,
    kMediaFileDataIDArtworkMisc = 152,
    kMediaFileDataIDTagFrameCount = 153,
    kMediaFileDataIDPublisher = 154,
    kMediaFileDataIDBandOrOrchestra = 155,
    kMediaFileDataIDISRC = 200,
    kMediaFileDataIDLocation = 201,
    kMediaFileDataIDContact = 202,
    kMediaFileDataIDDate = 203,
    kMediaFileDataIDOrganization = 204,
    kMediaFileDataIDPerformer = 205,
    kMediaFileDataIDCopyright = 206,
    kMediaFileDataIDDescription = 207,
    kMediaFileDataIDLicense = 208,
    kMediaFileDataIDEnsemble = 209,
    kMediaFileDataIDLyricist = 210,
    kMediaFileDataIDArranger = 211,
    kMediaFileDataIDAuthor = 212,
    kMediaFileDataIDBWFDescription = 300,
    kMediaFileDataIDBWFOriginator = 301,
    kMediaFileDataIDBWFOriginatorReference = 302,
    kMediaFileDataIDBWFOriginatorDate = 303,
    kMediaFileDataIDBWFOriginatorTime = 304,
    kMediaFileDataIDBWFUMID = 305,
    kMediaFileDataIDBWFCodingHistory = 306,
    kMediaFileDataIDFilenameClean = 400,
    kMediaFileDataIDMake = 501,
    kMediaFileDataIDModel = 502
};

/* Open and update flags. Bits not named here belong to the format handlers (the ID3 write
 * options, for one) and pass through the core unchanged. */
enum {
    kMediaFileFlagSkipMPEGInfo = 0x10,
    kMediaFileFlagStrict = 0x40,
    kMediaFileFlagKeepTagVersion = 0x1000,
    kMediaFileFlagIgnoreTagErrors = 0x2000,
    kMediaFileFlagPreserveDates = 0x10000,
    kMediaFileFlagAudioOnly = 0x20000,
    /* Save by moving the audio inside the file itself instead of writing a new file beside it. */
    kMediaFileFlagInPlace = 0x40000,
    /* Follow today's tagging conventions where the classic rules would lose or hide what other
     * tools wrote (the interop profile). */
    kMediaFileFlagInterop = 0x80000,

    /* The ID3 write options of the MP3 handler, passed to MediaFileUpdate. */
    kMediaFileFlagID3v1 = 0x0001,
    kMediaFileFlagID3v11 = 0x0002,
    kMediaFileFlagID3v22 = 0x0004,
    kMediaFileFlagID3v23 = 0x0008,
    kMediaFileFlagID3StripOther = 0x0020,
    kMediaFileFlagID3v24 = 0x0080,
    kMediaFileFlagID3NoPadding = 0x4000
};

enum {
    kMediaFileNoErr = 0,
    kMediaFileErrIO = -6700,
    kMediaFileErrNoTag = -6702,
    kMediaFileErrCantCreate = -6703,
    kMediaFileErrBadPath = -6704,
    kMediaFileErrParam = -6705,
    kMediaFileErrTell = -6710,
    kMediaFileErrBadVersion = -6715,
    kMediaFileErrBadFormat = -6717,
    kMediaFileErrNotFound = -6727,
    kMediaFileErrMemory = -6728,
    kMediaFileErrDuplicate = -6730,
    kMediaFileErrTextConversion = -6732,
    kMediaFileErrNotImage = -6733,
    kMediaFileErrUnsupported = -6735,
    kMediaFileErrNoArtwork = -6737,
    kMediaFileErrNullRef = -6740,
    kMediaFileErrBadFrame = -6742,
    kMediaFileErrShortHeader = -6743,
    kMediaFileErrShortRead = -6746,
    kMediaFileErrWrite = -6747,
    kMediaFileErrBadMagic = -6748,
    kMediaFileErrTooSmall = -6750,
    kMediaFileErrPastEnd = -6751,
    kMediaFileErrCantOpen = -6755,
    kMediaFileErrNoExif = -6756,
    kMediaFileErrExists = -6771
};

/* Every status the library returns is 0, one of the named codes of this header, or a positive
 * errno value of a failed file operation (MediaFileGetStatusName gives its errno name, "ENOENT").
 * The codes below come from single formats and keep their historical values. */
enum {
    /* The Ogg Vorbis handler's own codes; 2001 to 2005 lie above every errno value. */
    kOggVorbisErrWrite = -1,
    kOggVorbisErrMemory = 2001,
    kOggVorbisErrTempFile = 2002,
    kOggVorbisErrNotVorbis = 2003,
    kOggVorbisErrArgument = 2004,
    kOggVorbisErrNoComment = 2005,

    /* A failed read or write of a FLAC file's metadata chain: libFLAC's chain status n
     * (FLAC__Metadata_ChainStatus) as kMediaFileErrFLACChainBase - n, -6801 to -6815. */
    kMediaFileErrFLACChainBase = -6800,
    kMediaFileErrFLACIllegalInput = -6801,
    kMediaFileErrFLACErrorOpeningFile = -6802,
    kMediaFileErrFLACNotAFLACFile = -6803,
    kMediaFileErrFLACNotWritable = -6804,
    kMediaFileErrFLACBadMetadata = -6805,
    kMediaFileErrFLACReadError = -6806,
    kMediaFileErrFLACSeekError = -6807,
    kMediaFileErrFLACWriteError = -6808,
    kMediaFileErrFLACRenameError = -6809,
    kMediaFileErrFLACUnlinkError = -6810,
    kMediaFileErrFLACMemoryAllocation = -6811,
    kMediaFileErrFLACInternalError = -6812,
    kMediaFileErrFLACInvalidCallbacks = -6813,
    kMediaFileErrFLACReadWriteMismatch = -6814,
    kMediaFileErrFLACWrongWriteCall = -6815,

    /* The MP4 handler's own codes, -6821 and below. */
    kMediaFileErrMP4FragmentOffsets = -6821 /* a movie fragment's offsets cannot be corrected: the
                                               save would move its audio data, so it is refused */
};

/*
 * The rules every caller relies on.
 *
 * Ownership. A handle from MediaFileOpen is the caller's until a MediaFileClose that returns 0.
 * The texts of MediaFileGetString and the bytes of MediaFileGetData are new allocations that
 * the caller releases with free(), also when empty. Every other pointer the library returns
 * (type, data-ID, status and genre names, the MediaFileDataIDInfo records) points to constant
 * data that lives as long as the process; never free it.
 *
 * MediaFileGetPath returns the handle's own copy of the path given to MediaFileOpen: valid until
 * the handle is closed, unchanged by saves. Null for a null handle.
 *
 * A failed close. When a format handler cannot release what it holds, MediaFileClose returns
 * its status and frees nothing: the handle stays allocated with its path, and the caller may
 * close it again. (No format of this version fails to release; a close fails only for a null
 * handle, with kMediaFileErrNullRef.) A close that returns 0 frees the handle; using it
 * afterwards is undefined.
 *
 * Failed calls. A get that fails leaves its out values untouched. A set changes only the
 * handle's memory; nothing reaches the file before MediaFileUpdate. An update that fails leaves
 * the file as it was (kMediaFileFlagInPlace, which moves the audio inside the file, gives up
 * that promise for speed), and the handle keeps its changes, so the update may be retried.
 *
 * Threads. A handle has no lock: use one handle from one thread at a time. Distinct handles may
 * be used on distinct threads at once. The process-wide values are safe as follows:
 *  - the extension registry of kind detection: MediaFileRegisterExtension may be called at any
 *    time from any thread; it applies to opens and look-ups that start after it returns;
 *  - the ID3 option word (tags padded to multiples of 512 bytes, ID3v2.4 frame sizes written as
 *    plain integers) keeps its initial value; no call of this interface changes it;
 *  - the Ogg handler's counter for temporary file names is atomic;
 *  - every table of names (kinds, data IDs, statuses, genres) is constant.
 * Two handles that save the same file at once are the caller's to avoid: the later save wins.
 *
 * Exceptions. No C++ exception leaves an entry point: an allocation failure inside becomes
 * kMediaFileErrMemory, any other failure kMediaFileErrIO (a null pointer or 0 where the call
 * returns one).
 */

MediaFileStatus MediaFileOpen(const char *path, MediaFileRef *outRef, MediaFileFlags flags);
MediaFileStatus MediaFileClose(MediaFileRef ref);
MediaFileStatus MediaFileUpdate(MediaFileRef ref, MediaFileFlags flags);
const char *MediaFileGetPath(MediaFileRef ref);

/*
 * Saves in a group, for many files at once. MediaFileUpdateInGroup saves as MediaFileUpdate
 * does, except that a save that writes a new file beside the original is held: the new file is
 * written, but neither flushed nor renamed over the original, which stays as it was.
 * MediaFileSaveGroupCommit then flushes all held files together (one syncfs per file system),
 * renames each over its original and flushes each folder once, and frees the group; a crash at
 * any point still leaves each file as it was or fully updated. Saves that need no new file (in
 * place, hard links) and saves with kMediaFileFlagPreserveDates are made at once. Once its
 * save is held, a handle is for reading and closing: a further update fails with
 * kMediaFileErrParam. Each file at most once per group. The group may be used from several
 * threads at once. report, which may be null, is called for each held save that failed at the
 * commit, with the path given to MediaFileOpen; the commit returns the first such status or 0.
 */
typedef struct MediaFileSaveGroup *MediaFileSaveGroupRef;
typedef void (*MediaFileSaveGroupReport)(const char *path, MediaFileStatus status, void *context);
MediaFileStatus MediaFileSaveGroupCreate(MediaFileSaveGroupRef *outGroup);
MediaFileStatus MediaFileUpdateInGroup(MediaFileRef ref, MediaFileFlags flags, MediaFileSaveGroupRef group);
MediaFileStatus MediaFileSaveGroupCommit(MediaFileSaveGroupRef group, MediaFileSaveGroupReport report, void *context);
MediaFileStatus MediaFileGetType(MediaFileRef ref, MediaFileType *outKind);
const char *MediaFileGetTypeName(MediaFileType kind);
const char *MediaFileGetDataIDName(MediaFileDataID dataID);
MediaFileStatus MediaFileGetTypeForPath(const char *path, MediaFileType *outKind);

MediaFileStatus MediaFileGetInteger(MediaFileRef ref, MediaFileDataID dataID, int32_t *outValue);
MediaFileStatus MediaFileGetString(MediaFileRef ref, MediaFileDataID dataID, char **outText);
MediaFileStatus MediaFileSetInteger(MediaFileRef ref, MediaFileDataID dataID, int32_t value);
MediaFileStatus MediaFileSetString(MediaFileRef ref, MediaFileDataID dataID, const char *text);
MediaFileStatus MediaFileGetData(MediaFileRef ref, MediaFileDataID dataID, void **outBytes, size_t *outLength);
MediaFileStatus MediaFileSetData(MediaFileRef ref, MediaFileDataID dataID, const void *bytes, size_t length);

/* Audio properties, read from the file's own headers without decoding any audio. They stand
 * beside the classic data IDs (Bit Rate, Channels, Sample Rate, Play Time), whose meanings and
 * values stay as they were. The caller sets structSize to sizeof(MediaFileAudioProperties);
 * fields beyond it are left alone, so that a caller built against an older, shorter record
 * keeps working when fields are added at the end. */
typedef struct MediaFileAudioProperties {
    uint32_t structSize;
    /* Static text: "MP3", "AAC", "ALAC", "PCM", "FLAC", "Vorbis", "Opus", ...; never null
     * after success. */
    const char *codec;
    /* Playing time in milliseconds, rounded to the nearest; 0 when it cannot be known. */
    uint64_t durationMs;
    /* Hz; Opus always reports 48000, the rate it decodes at. */
    uint32_t sampleRate;
    uint32_t channels;
    /* Bits per sample of the stored audio; 0 for a compressed format that has none. */
    uint32_t bitsPerSample;
    /* Average bit rate in kbit/s (1,000 bits) over the whole audio part, rounded. */
    uint32_t bitRate;
} MediaFileAudioProperties;

/* Fills *outProps for an audio file of any kind. Works also on a file opened with
 * kMediaFileFlagSkipMPEGInfo: the MP3 figures are then read on demand from the first frame,
 * and the classic audio data IDs stay unanswered. kMediaFileErrParam when structSize is too
 * small to hold the codec field, kMediaFileErrUnsupported for a kind without audio,
 * kMediaFileErrNotFound when the file's audio headers cannot be found or make no sense. */
MediaFileStatus MediaFileGetAudioProperties(MediaFileRef ref, MediaFileAudioProperties *outProps);

/* Removing a value and what an open passed over. MediaFileRemoveValue takes every field, frame,
 * item or block that answers the data ID out of the tag in memory (a getter then answers
 * kMediaFileErrNotFound); setting an empty value keeps its classic meaning. After an open with
 * kMediaFileFlagIgnoreTagErrors, MediaFileGetIgnoredTagError gives the status of the first part
 * of a tag that could not be read, or kMediaFileNoErr when every tag was read whole: a save then
 * writes only what was read. */
MediaFileStatus MediaFileRemoveValue(MediaFileRef ref, MediaFileDataID dataID);
MediaFileStatus MediaFileGetIgnoredTagError(MediaFileRef ref);

/* Adds an (extension, kind) entry that kind detection consults before the built-in ones.
 * Not safe while other threads open files. */
MediaFileStatus MediaFileRegisterExtension(const char *extension, MediaFileType kind);

/* The constant's name of a status ("kMediaFileErrCantOpen", "ENOENT", "kMediaFileNoErr"), or "?". */
const char *MediaFileGetStatusName(MediaFileStatus status);
/* A short English sentence for a status, for error messages. */
const char *MediaFileGetStatusMessage(MediaFileStatus status);

/* The data-ID table: every ID with its constant name, display name and value type
 * ('I' integer, 'S' text, 'D' bytes, 'P' text derived from the path, '-' name only). */
typedef struct MediaFileDataIDInfo {
    MediaFileDataID dataID;
    const char *constantName;
    const char *displayName;
    char valueType;
    uint8_t readOnly;
} MediaFileDataIDInfo;

size_t MediaFileGetDataIDCount(void);
const MediaFileDataIDInfo *MediaFileGetDataIDInfoAt(size_t index);
const MediaFileDataIDInfo *MediaFileGetDataIDInfo(MediaFileDataID dataID);
/* Looks a data ID up by its constant name, its short form ("Title") or its display name,
 * ignoring case. Null when nothing matches. */
const MediaFileDataIDInfo *MediaFileFindDataID(const char *name);

/* The genre list of ID3 tags, by index (an MP4 genre number counts into its first 126 names).
 * The names are static; null for an index outside 0 to count - 1. */
int32_t MediaFileGetGenreCount(void);
const char *MediaFileGetGenreName(int32_t index);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif
