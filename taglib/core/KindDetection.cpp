#include "KindDetection.h"

#include "Boundary.h"

#include "util/File.h"
#include "util/Strings.h"

#include <cctype>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

namespace kestrabel {

namespace {

struct Registration {
    std::string extension;
    MediaFileType kind;
};

// Two registries, searched in this order: what callers add, then the usual extensions.
std::vector<Registration> gAdded;
// Registering may happen while other threads open files.
std::shared_mutex gAddedLock;
std::vector<Registration> gBuiltIn;
std::once_flag gBuiltInOnce;

void fillBuiltIn()
{
    const Registration defaults[] = {
        {"mp3", kMediaFileTypeMP3},   {"m4a", kMediaFileTypeMP4},       {"m4p", kMediaFileTypeMP4},
        {"m4b", kMediaFileTypeMP4},   {"mp4", kMediaFileTypeMP4},       {"aif", kMediaFileTypeAIFF},
        {"aiff", kMediaFileTypeAIFF}, {"aifc", kMediaFileTypeAIFF},     {"wav", kMediaFileTypeWAVE},
        {"ogg", kMediaFileTypeOgg},   {"oga", kMediaFileTypeOgg},       {"opus", kMediaFileTypeOgg},
        {"flac", kMediaFileTypeFLAC},
        {"jpg", kMediaFileTypeEXIF},  {"jpeg", kMediaFileTypeEXIF},     {"mov", kMediaFileTypeQuickTime},
        {"wma", kMediaFileTypeWMA},
    };
    gBuiltIn.assign(std::begin(defaults), std::end(defaults));
}

const Registration *lookup(const std::vector<Registration> &registry, std::string_view ext)
{
    for (const Registration &entry : registry)
        if (util::compareCaseless(entry.extension, ext) == 0)
            return &entry;
    return nullptr;
}

bool startsWith(const uint8_t *bytes, size_t length, size_t at, const char *magic)
{
    size_t n = std::strlen(magic);
    return length >= at + n && std::memcmp(bytes + at, magic, n) == 0;
}

bool isMpegSync(const uint8_t *p)
{
    // Sync, a layer, a bit-rate index that is neither free-form-invalid nor 15, a valid rate.
    return p[0] == 0xFF && (p[1] & 0xE0) == 0xE0 && (p[1] & 0x06) != 0 && (p[2] & 0xF0) != 0xF0 &&
           (p[2] & 0x0C) != 0x0C && (p[1] & 0x18) != 0x08;
}

} // namespace

void ensureKindRegistries() { std::call_once(gBuiltInOnce, fillBuiltIn); }

MediaFileType sniffKind(const uint8_t *bytes, size_t length)
{
    if (startsWith(bytes, length, 0, "ID3"))
        return kMediaFileTypeMP3;
    if (startsWith(bytes, length, 0, "fLaC"))
        return kMediaFileTypeFLAC;
    if (startsWith(bytes, length, 0, "OggS") &&
        (startsWith(bytes, length, 28, "\x01vorbis") || startsWith(bytes, length, 28, "OpusHead")))
        return kMediaFileTypeOgg;
    if (startsWith(bytes, length, 0, "FORM") && (startsWith(bytes, length, 8, "AIFF") || startsWith(bytes, length, 8, "AIFC")))
        return kMediaFileTypeAIFF;
    if (startsWith(bytes, length, 0, "RIFF") && startsWith(bytes, length, 8, "WAVE"))
        return kMediaFileTypeWAVE;
    if (startsWith(bytes, length, 4, "ftyp"))
        return startsWith(bytes, length, 8, "qt  ") ? kMediaFileTypeQuickTime : kMediaFileTypeMP4;
    if (startsWith(bytes, length, 4, "moov") || startsWith(bytes, length, 4, "mdat") || startsWith(bytes, length, 4, "wide"))
        return kMediaFileTypeQuickTime;
    if (length >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF)
        return kMediaFileTypeEXIF;
    if (startsWith(bytes, length, 0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"))
        return kMediaFileTypeWMA;
    if (length >= 4 && isMpegSync(bytes))
        return kMediaFileTypeMP3;
    return kMediaFileTypeUnsupported;
}

MediaFileStatus detectKind(const char *path, MediaFileType *outKind)
{
    ensureKindRegistries();
    std::string_view ext = util::extension(path);
    {
        std::shared_lock lock(gAddedLock);
        if (const Registration *entry = lookup(gAdded, ext)) {
            *outKind = entry->kind;
            return kMediaFileNoErr;
        }
    }
    if (const Registration *entry = lookup(gBuiltIn, ext)) {
        *outKind = entry->kind;
        return kMediaFileNoErr;
    }
    *outKind = kMediaFileTypeUnsupported;
    util::File file;
    if (MediaFileStatus status = util::File::openRead(path, &file))
        return status;
    std::vector<uint8_t> head;
    if (MediaFileStatus status = file.readUpTo(0, 64, &head))
        return status;
    *outKind = sniffKind(head.data(), head.size());
    return kMediaFileNoErr;
}

} // namespace kestrabel

extern "C" MediaFileStatus MediaFileRegisterExtension(const char *extension, MediaFileType kind)
try {
    if (!extension || !*extension)
        return kMediaFileErrParam;
    if (*extension == '.')
        ++extension;
    std::unique_lock lock(kestrabel::gAddedLock);
    kestrabel::gAdded.push_back({extension, kind});
    return kMediaFileNoErr;
}
KESTRABEL_BOUNDARY

extern "C" MediaFileStatus MediaFileGetTypeForPath(const char *path, MediaFileType *outKind)
try {
    if (!path)
        return kMediaFileErrParam;
    MediaFileType kind = kMediaFileTypeUnsupported;
    MediaFileStatus status = kestrabel::detectKind(path, &kind);
    if (outKind)
        *outKind = kind;
    return status;
}
KESTRABEL_BOUNDARY
