// The handle and the dispatch from each operation to the handler of the file's kind.
#include <kestrabel/MediaFile.h>

#include "Boundary.h"
#include "DataIDRules.h"
#include "FormatHandler.h"
#include "KindDetection.h"
#include "util/SaveGroup.h"
#include "util/Strings.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <optional>
#include <sys/stat.h>

struct FileTimes {
    struct timespec times[2]{}; // access, modification: the order utimensat takes
    bool valid = false;
};

struct MediaFile {
    MediaFileType type = kMediaFileTypeUnsupported;
    std::string path;
    kestrabel::HandlerPtr state;
    FileTimes opened; // before anything was read, for kMediaFileFlagPreserveDates
    bool saveHeld = false; // its new file waits for a group's commit; the handle no longer matches the file
};

struct MediaFileSaveGroup {
    kestrabel::util::SaveGroup group;
};

namespace kestrabel {
namespace {

HandlerOpenFn openFunctionFor(MediaFileType kind)
{
    switch (kind) {
    case kMediaFileTypeMP3:
        return MP3Open;
    case kMediaFileTypeMP4:
        return MP4Open;
    case kMediaFileTypeAIFF:
    case kMediaFileTypeWAVE:
        return IFFOpen;
    case kMediaFileTypeOgg:
        return OggVorbisOpen;
    case kMediaFileTypeFLAC:
        return FLACOpen;
    case kMediaFileTypeEXIF:
        return EXIFOpen;
    case kMediaFileTypeQuickTime:
        return QuickTimeOpen;
    default:
        return nullptr;
    }
}

bool isChunkFile(MediaFileType kind) { return kind == kMediaFileTypeAIFF || kind == kMediaFileTypeWAVE; }
bool isAudio(MediaFileType kind) { return kind != kMediaFileTypeEXIF && kind != kMediaFileTypeQuickTime; }
bool writable(MediaFileType kind)
{
    return kind == kMediaFileTypeMP3 || kind == kMediaFileTypeMP4 || isChunkFile(kind) || kind == kMediaFileTypeOgg ||
           kind == kMediaFileTypeFLAC;
}

char *copyText(std::string_view text)
{
    auto *buffer = static_cast<char *>(std::malloc(text.size() + 1));
    if (!buffer)
        return nullptr;
    if (!text.empty())
        std::memcpy(buffer, text.data(), text.size());
    buffer[text.size()] = '\0';
    return buffer;
}

MediaFileStatus handOut(std::string_view text, char **out)
{
    if (!out)
        return kMediaFileNoErr;
    char *buffer = copyText(text);
    if (!buffer)
        return kMediaFileErrMemory;
    *out = buffer;
    return kMediaFileNoErr;
}

// Answers the IDs that come from the path alone; kMediaFileErrUnsupported means "not a
// path-derived ID", so the caller goes on to the kind's handler.
MediaFileStatus pathDerived(const std::string &path, MediaFileDataID id, std::string *out)
{
    switch (id) {
    case kMediaFileDataIDFilePath:
        *out = path;
        return kMediaFileNoErr;
    case kMediaFileDataIDFilename:
        *out = std::string(util::lastComponent(path));
        return kMediaFileNoErr;
    case kMediaFileDataIDFilenameClean:
        *out = std::string(util::cleanFilename(path));
        return kMediaFileNoErr;
    default:
        break;
    }
    if (id >= kMediaFileDataIDParent1 && id <= kMediaFileDataIDParent9) {
        std::string_view parent;
        if (MediaFileStatus status = util::parentComponent(path, id - kMediaFileDataIDParent0, &parent))
            return status;
        *out = std::string(parent);
        return kMediaFileNoErr;
    }
    return kMediaFileErrUnsupported;
}

bool isPathDerived(MediaFileDataID id)
{
    return id == kMediaFileDataIDFilePath || id == kMediaFileDataIDFilename || id == kMediaFileDataIDFilenameClean ||
           (id >= kMediaFileDataIDParent1 && id <= kMediaFileDataIDParent9);
}

bool settableInteger(MediaFileDataID id)
{
    return isIntegerTextID(id) || id == kMediaFileDataIDSeason || id == kMediaFileDataIDFileKind;
}

FileTimes timesOf(const struct stat &st)
{
    FileTimes saved;
    saved.times[0] = st.st_atim;
    saved.times[1] = st.st_mtim;
    saved.valid = true;
    return saved;
}

bool sameTime(const struct timespec &a, const struct timespec &b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

// The times to put back after a save: those taken at open, since reading the file since then
// has moved its access time; unless someone else has changed the file in between.
FileTimes timesToKeep(const FileTimes &opened, const std::string &path)
{
    struct stat st {};
    if (stat(path.c_str(), &st) != 0)
        return {};
    if (opened.valid && sameTime(opened.times[1], st.st_mtim))
        return opened;
    return timesOf(st);
}

// Only regular files are opened: a FIFO, socket or device would block a reader or never end.
// Told by stat, which opens nothing; every open after this one is non-blocking and checks again.
MediaFileStatus checkRegularFile(const char *path, FileTimes *times)
{
    struct stat st {};
    if (stat(path, &st) != 0 || S_ISDIR(st.st_mode))
        return kMediaFileNoErr; // the handler's own open reports these as it always has
    if (!S_ISREG(st.st_mode))
        return kMediaFileErrCantOpen;
    *times = timesOf(st);
    return kMediaFileNoErr;
}

MediaFileStatus getIntegerImpl(MediaFileRef ref, MediaFileDataID id, int32_t *out)
{
    if (!ref)
        return kMediaFileErrNullRef;
    if (!ref->state)
        return kMediaFileErrUnsupported;
    if (!isChunkFile(ref->type) && (id < kMediaFileDataIDBitRate || id > kMediaFileDataIDTagFrameCount))
        return kMediaFileErrUnsupported;
    return ref->state->getInteger(id, out);
}

MediaFileStatus setIntegerImpl(MediaFileRef ref, MediaFileDataID id, int32_t value)
{
    if (!ref)
        return kMediaFileErrNullRef;
    if (!ref->state || !writable(ref->type))
        return kMediaFileErrUnsupported;
    if (!isChunkFile(ref->type) && !settableInteger(id))
        return kMediaFileErrUnsupported;
    return ref->state->setInteger(id, value);
}

} // namespace
} // namespace kestrabel

using namespace kestrabel;

extern "C" {

MediaFileStatus MediaFileOpen(const char *path, MediaFileRef *outRef, MediaFileFlags flags)
try {
    if (!path || !*path)
        return kMediaFileErrParam;
    std::unique_ptr<MediaFile> handle;
    try {
        handle = std::make_unique<MediaFile>();
        handle->path = path;
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
    if (MediaFileStatus status = checkRegularFile(path, &handle->opened))
        return status;
    if (MediaFileStatus status = detectKind(path, &handle->type))
        return status;
    MediaFileType kind = handle->type;
    if (!isAudio(kind) && (flags & kMediaFileFlagAudioOnly))
        return kMediaFileErrUnsupported;
    HandlerOpenFn open = openFunctionFor(kind);
    if (!open)
        return kMediaFileErrUnsupported;
    MediaFileStatus status;
    try {
        status = open(path, flags, &handle->state);
    } catch (const std::bad_alloc &) {
        status = kMediaFileErrMemory;
    } catch (...) {
        status = kMediaFileErrIO;
    }
    // A movie the QuickTime handler cannot read still opens: only its path-derived IDs answer.
    if (kind == kMediaFileTypeQuickTime)
        status = kMediaFileNoErr;
    if (status != kMediaFileNoErr)
        return status;
    if (!outRef)
        return MediaFileClose(handle.release());
    *outRef = handle.release();
    return kMediaFileNoErr;
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileClose(MediaFileRef ref)
try {
    if (!ref)
        return kMediaFileErrNullRef;
    if (ref->state) {
        if (MediaFileStatus status = ref->state->release())
            return status; // deliberately left allocated: the caller may retry
    }
    delete ref;
    return kMediaFileNoErr;
}
KESTRABEL_BOUNDARY

namespace {

MediaFileStatus update(MediaFileRef ref, MediaFileFlags flags, MediaFileSaveGroupRef group)
{
    if (!ref)
        return kMediaFileErrNullRef;
    // Its handler already describes the file as it will be after the commit.
    if (ref->saveHeld)
        return kMediaFileErrParam;
    FileTimes saved;
    if (flags & kMediaFileFlagPreserveDates)
        saved = timesToKeep(ref->opened, ref->path);
    MediaFileStatus status = kMediaFileNoErr;
    if (writable(ref->type)) {
        if (!ref->state)
            return kMediaFileErrUnsupported;
        try {
            // The dates are put back on the file right after its save, so such a save is not held.
            std::optional<kestrabel::util::HoldSaves> hold;
            if (group && !saved.valid)
                hold.emplace(group->group, ref->path);
            status = ref->state->update(ref->path.c_str(), flags);
            ref->saveHeld = hold && hold->held();
        } catch (const std::bad_alloc &) {
            status = kMediaFileErrMemory;
        } catch (...) {
            status = kMediaFileErrIO;
        }
        if (status != kMediaFileNoErr)
            return status;
    } else if (ref->type != kMediaFileTypeEXIF && ref->type != kMediaFileTypeQuickTime) {
        status = kMediaFileErrUnsupported;
    }
    if (saved.valid)
        utimensat(AT_FDCWD, ref->path.c_str(), saved.times, 0);
    return status;
}

} // namespace

MediaFileStatus MediaFileUpdate(MediaFileRef ref, MediaFileFlags flags)
try {
    return update(ref, flags, nullptr);
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileSaveGroupCreate(MediaFileSaveGroupRef *outGroup)
try {
    if (!outGroup)
        return kMediaFileErrParam;
    *outGroup = new MediaFileSaveGroup;
    return kMediaFileNoErr;
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileUpdateInGroup(MediaFileRef ref, MediaFileFlags flags, MediaFileSaveGroupRef group)
try {
    if (!group)
        return kMediaFileErrParam;
    return update(ref, flags, group);
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileSaveGroupCommit(MediaFileSaveGroupRef group, MediaFileSaveGroupReport report, void *context)
try {
    if (!group)
        return kMediaFileErrParam;
    std::unique_ptr<MediaFileSaveGroup> owned(group);
    MediaFileStatus first = kMediaFileNoErr;
    for (const kestrabel::util::SaveGroup::Failure &failure : owned->group.commit()) {
        if (first == kMediaFileNoErr)
            first = failure.status;
        if (report)
            report(failure.label.c_str(), failure.status, context);
    }
    return first;
}
KESTRABEL_BOUNDARY

const char *MediaFileGetPath(MediaFileRef ref)
try {
    return ref ? ref->path.c_str() : nullptr;
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileGetType(MediaFileRef ref, MediaFileType *outKind)
try {
    if (ref && outKind)
        *outKind = ref->type;
    return kMediaFileNoErr;
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileGetInteger(MediaFileRef ref, MediaFileDataID dataID, int32_t *outValue)
try {
    int32_t value = 0;
    MediaFileStatus status;
    try {
        status = getIntegerImpl(ref, dataID, &value);
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
    if (status == kMediaFileNoErr && outValue)
        *outValue = value;
    return status;
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileGetString(MediaFileRef ref, MediaFileDataID dataID, char **outText)
try {
    if (!ref)
        return kMediaFileErrNullRef;
    try {
        std::string text;
        if (isPathDerived(dataID)) {
            if (MediaFileStatus status = pathDerived(ref->path, dataID, &text))
                return status;
            return handOut(text, outText);
        }
        if (!ref->state)
            return kMediaFileErrUnsupported;
        if (!isChunkFile(ref->type) && ref->type != kMediaFileTypeEXIF) {
            if (dataID > kMediaFileDataIDAuthor)
                return kMediaFileErrUnsupported;
            if (isIntegerTextID(dataID)) {
                int32_t value = 0;
                if (MediaFileStatus status = getIntegerImpl(ref, dataID, &value))
                    return status;
                return handOut(formatIntegerText(value), outText);
            }
        }
        if (MediaFileStatus status = ref->state->getString(dataID, &text))
            return status;
        return handOut(text, outText);
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileSetInteger(MediaFileRef ref, MediaFileDataID dataID, int32_t value)
try {
    try {
        return setIntegerImpl(ref, dataID, value);
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileSetString(MediaFileRef ref, MediaFileDataID dataID, const char *text)
try {
    if (!ref)
        return kMediaFileErrNullRef;
    if (!text)
        return kMediaFileErrParam;
    try {
        if (!ref->state || !writable(ref->type))
            return kMediaFileErrUnsupported;
        if (!isChunkFile(ref->type)) {
            if (dataID > kMediaFileDataIDAuthor)
                return kMediaFileErrUnsupported;
            if (isIntegerTextID(dataID)) {
                int32_t value = 0;
                if (MediaFileStatus status = scanIntegerText(text, &value))
                    return status;
                return setIntegerImpl(ref, dataID, value);
            }
        }
        return ref->state->setString(dataID, text);
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileGetData(MediaFileRef ref, MediaFileDataID dataID, void **outBytes, size_t *outLength)
try {
    if (!ref)
        return kMediaFileErrNullRef;
    if (!ref->state)
        return kMediaFileErrUnsupported;
    try {
        std::vector<uint8_t> bytes;
        if (MediaFileStatus status = ref->state->getData(dataID, &bytes))
            return status;
        if (outBytes) {
            void *buffer = std::malloc(bytes.empty() ? 1 : bytes.size());
            if (!buffer)
                return kMediaFileErrMemory;
            if (!bytes.empty())
                std::memcpy(buffer, bytes.data(), bytes.size());
            *outBytes = buffer;
        }
        if (outLength)
            *outLength = bytes.size();
        return kMediaFileNoErr;
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileSetData(MediaFileRef ref, MediaFileDataID dataID, const void *bytes, size_t length)
try {
    if (!ref)
        return kMediaFileErrNullRef;
    if (!bytes && length > 0)
        return kMediaFileErrParam;
    if (!ref->state || !writable(ref->type))
        return kMediaFileErrUnsupported;
    try {
        return ref->state->setData(dataID, std::span<const uint8_t>(static_cast<const uint8_t *>(bytes), length));
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileGetAudioProperties(MediaFileRef ref, MediaFileAudioProperties *outProps)
try {
    if (!ref)
        return kMediaFileErrNullRef;
    constexpr size_t kMinimumSize = offsetof(MediaFileAudioProperties, codec) + sizeof outProps->codec;
    if (!outProps || outProps->structSize < kMinimumSize)
        return kMediaFileErrParam;
    if (!ref->state || !isAudio(ref->type))
        return kMediaFileErrUnsupported;
    MediaFileAudioProperties props{};
    MediaFileStatus status;
    try {
        status = ref->state->getAudioProperties(ref->path.c_str(), &props);
    } catch (const std::bad_alloc &) {
        status = kMediaFileErrMemory;
    } catch (...) {
        status = kMediaFileErrIO;
    }
    if (status != kMediaFileNoErr)
        return status;
    // Only as much as the caller's record holds: an older caller's record is shorter.
    const uint32_t size = std::min<uint32_t>(outProps->structSize, sizeof props);
    props.structSize = size;
    std::memcpy(outProps, &props, size);
    return kMediaFileNoErr;
}
KESTRABEL_BOUNDARY

MediaFileStatus MediaFileRemoveValue(MediaFileRef ref, MediaFileDataID dataID)
{
    if (!ref)
        return kMediaFileErrNullRef;
    if (!ref->state || !writable(ref->type) || isPathDerived(dataID))
        return kMediaFileErrUnsupported;
    const MediaFileDataIDInfo *info = MediaFileGetDataIDInfo(dataID);
    if (!info || info->readOnly || info->valueType == '-')
        return kMediaFileErrUnsupported;
    try {
        return ref->state->remove(dataID);
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
}

MediaFileStatus MediaFileGetIgnoredTagError(MediaFileRef ref)
{
    if (!ref)
        return kMediaFileErrNullRef;
    return ref->state ? ref->state->ignoredTagError() : kMediaFileNoErr;
}

} // extern "C"
