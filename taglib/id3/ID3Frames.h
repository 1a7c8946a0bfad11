// The tag object behind ID3TagPtr and the frame-level operations the rest of the folder is
// built on: parsing and rendering fill and walk the frame list, the data-ID access reads and
// replaces frame bodies through these calls.
#pragma once

#include "ID3Rules.h"
#include "ID3Tag.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrabel::id3 {

// The engine's names for two shared statuses.
inline constexpr MediaFileStatus kID3ErrBadVersion = kMediaFileErrBadVersion;
inline constexpr MediaFileStatus kID3ErrNoMagic = kMediaFileErrBadMagic;

// Process-wide render options: bit 0 pads tags to a multiple of 512 bytes, bit 0x40 writes 2.4
// frame sizes synchsafe. The latter is clear on purpose, so 2.4 frame sizes go out plain; a
// reader that takes them for synchsafe (this one too, on its first attempt) can misread a
// frame longer than 127 bytes that holds a run of zero bytes where that reading lands.
inline constexpr uint32_t kID3OptionPad = 0x01;
inline constexpr uint32_t kID3OptionSynchsafeFrameSizes = 0x40;
extern uint32_t ID3Options;

constexpr uint32_t frameCode(const char (&code)[5])
{
    return uint32_t(uint8_t(code[0])) << 24 | uint32_t(uint8_t(code[1])) << 16 | uint32_t(uint8_t(code[2])) << 8 |
           uint8_t(code[3]);
}

inline constexpr uint32_t kFrameUnknown = frameCode("unkn");
inline constexpr uint32_t kContentText = frameCode("text");
inline constexpr uint32_t kOriginFile = 1;
inline constexpr uint32_t kOriginCaller = 0;

struct ID3Frame {
    uint32_t origin = kOriginCaller;
    uint32_t contentKind = 0;
    uint32_t frameID = 0;  // canonical, from the frame table, or kFrameUnknown
    std::string longID;    // as written in 2.3/2.4 tags; empty when the frame has no such form
    std::string shortID;   // as written in 2.2 tags; empty when the frame has no such form
    uint32_t flags = 0;    // first flag byte in bits 8-15, second in bits 0-7
    std::vector<uint8_t> data;
};

struct MPEGInfo {
    bool valid = false;
    uint32_t header = 0;
    uint32_t versionBits = 0;
    uint32_t layerBits = 0;
    uint32_t bitRate = 0;
    uint32_t sampleRate = 0;
    uint32_t channelMode = 0;
    uint8_t copyright = 0;
    uint8_t original = 0;
    uint8_t emphasis = 0;
    bool xingPresent = false;
    uint32_t xingSampleRate = 0;
    uint32_t xingFlags = 0;
    uint32_t xingFrameCount = 0;
    uint32_t xingByteCount = 0;
};

struct ID3Tag {
    uint8_t majorVersion = 0; // 0 when there is no ID3v2 tag
    uint8_t revision = 0;
    uint8_t tagFlags = 0;
    uint8_t v1Version = 0; // 0x10 ID3v1.0, 0x11 ID3v1.1
    uint64_t v2Size = 0;   // header included; 0 when unknown
    bool fourCharIDs = false;
    bool renderFourCharIDs = false;
    bool picturesInMIMEForm = false;
    bool sizesNotSynchsafe = false;
    uint64_t parsedTagEnd = 0;
    // What a lenient open passed over: the first error of the ID3v2 tag, 0 when it was read whole.
    MediaFileStatus ignoredError = kMediaFileNoErr;
    uint64_t audioByteCount = 0;
    uint32_t fileKind = frameCode("Unkn");
    std::vector<ID3Frame> frames;
    MPEGInfo mpeg;
    const ID3Rules *rules = &kID3Rules[0];
};

// The first frame with a canonical ID, or null.
ID3Frame *findFrame(ID3Tag &tag, uint32_t frameID);
const ID3Frame *findFrame(const ID3Tag &tag, uint32_t frameID);

// Frames from a file (origin 1) are always appended; any other origin replaces the body of the
// first frame with the same canonical ID and appends only when there is none. Empty IDs are
// looked up in the frame table.
void ID3PutFrame(ID3Tag &tag, uint32_t origin, uint32_t contentKind, uint32_t frameID, std::string_view longID,
                 std::string_view shortID, uint32_t flags, std::span<const uint8_t> data);
MediaFileStatus ID3RemoveFrame(ID3Tag &tag, uint32_t frameID);
// Every frame with the canonical ID goes; false when there was none.
bool ID3RemoveFrames(ID3Tag &tag, uint32_t frameID);

// Text bodies: an encoding byte (0 Latin-1, 1 UTF-16 with mark, 2 UTF-16BE, 3 UTF-8) and text.
// The first string of the body, up to its terminator or the end.
MediaFileStatus ID3DecodeText(std::span<const uint8_t> body, std::string *out);
MediaFileStatus ID3CopyFrameText(const ID3Tag &tag, uint32_t frameID, std::string *out);
MediaFileStatus ID3SetTextFrame(ID3Tag &tag, uint32_t frameID, std::string_view utf8);

// One string in a given encoding at the start of bytes. *consumed covers the terminator.
// With requireTerminator a string that runs to the end is kMediaFileErrPastEnd.
MediaFileStatus decodeString(uint8_t encoding, std::span<const uint8_t> bytes, bool requireTerminator,
                             std::string *out, size_t *consumed);
// Latin-1 when every character has a Latin-1 form, else UTF-16 with a byte-order mark; no
// terminator.
MediaFileStatus encodeText(std::string_view utf8, uint8_t *encoding, std::vector<uint8_t> *out);
// The terminator of an encoding: one zero byte, or two for the UTF-16 forms.
size_t terminatorLength(uint8_t encoding);

bool isBlank(std::string_view text);

} // namespace kestrabel::id3
