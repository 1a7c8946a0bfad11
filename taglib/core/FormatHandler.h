// The contract between the core's dispatch and a format handler. One object per open file;
// the core owns it and destroys it at close.
#pragma once

#include <kestrabel/MediaFile.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrabel {

class FormatHandler {
public:
    virtual ~FormatHandler() = default;

    // Releases what open made; a failure is reported by MediaFileClose and keeps the handle.
    virtual MediaFileStatus release() { return kMediaFileNoErr; }

    // Writes the state into the file at path. Handlers must not keep a descriptor across a
    // save: the saver may replace the file with a new inode.
    virtual MediaFileStatus update(const char *path, MediaFileFlags flags) = 0;

    // Out parameters are never null; the core turns a null caller pointer into a presence test.
    // A failing getter leaves its out value untouched. Every ID a handler does not carry
    // answers kMediaFileErrUnsupported.
    virtual MediaFileStatus getInteger(MediaFileDataID, int32_t *) { return kMediaFileErrUnsupported; }
    virtual MediaFileStatus getString(MediaFileDataID, std::string *) { return kMediaFileErrUnsupported; }
    virtual MediaFileStatus setInteger(MediaFileDataID, int32_t) { return kMediaFileErrUnsupported; }
    virtual MediaFileStatus setString(MediaFileDataID, std::string_view) { return kMediaFileErrUnsupported; }
    virtual MediaFileStatus getData(MediaFileDataID, std::vector<uint8_t> *) { return kMediaFileErrUnsupported; }
    virtual MediaFileStatus setData(MediaFileDataID, std::span<const uint8_t>) { return kMediaFileErrUnsupported; }

    // Codec, length, rate, channels, bits and average bit rate from the file's headers; the
    // core has zeroed *out and sets structSize. path is the file as it is now on disk.
    virtual MediaFileStatus getAudioProperties(const char *, MediaFileAudioProperties *) { return kMediaFileErrUnsupported; }
    // Takes every field that answers the ID out of the state; an absent value is no error.
    virtual MediaFileStatus remove(MediaFileDataID) { return kMediaFileErrUnsupported; }
    // The first tag error an open with kMediaFileFlagIgnoreTagErrors passed over, or 0.
    virtual MediaFileStatus ignoredTagError() const { return kMediaFileNoErr; }
};

using HandlerPtr = std::unique_ptr<FormatHandler>;

// Each format folder provides one of these; a kind whose handler is missing answers
// kMediaFileErrUnsupported.
using HandlerOpenFn = MediaFileStatus (*)(const char *path, MediaFileFlags flags, HandlerPtr *out);

MediaFileStatus MP3Open(const char *path, MediaFileFlags flags, HandlerPtr *out);
MediaFileStatus MP4Open(const char *path, MediaFileFlags flags, HandlerPtr *out);
MediaFileStatus IFFOpen(const char *path, MediaFileFlags flags, HandlerPtr *out);
MediaFileStatus OggVorbisOpen(const char *path, MediaFileFlags flags, HandlerPtr *out);
MediaFileStatus FLACOpen(const char *path, MediaFileFlags flags, HandlerPtr *out);
MediaFileStatus EXIFOpen(const char *path, MediaFileFlags flags, HandlerPtr *out);
MediaFileStatus QuickTimeOpen(const char *path, MediaFileFlags flags, HandlerPtr *out);

} // namespace kestrabel
