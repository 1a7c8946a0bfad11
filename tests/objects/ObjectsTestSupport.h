// What the object-layer tests share: the table of kinds with their fixtures, and helpers to
// open files through the wrapper.
#pragma once

#include "MediaFileWrapper.h"
#include "TestSupport.h"

#include <QString>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace kestrabel::test {

struct KindCase {
    const char *extension;
    MediaFileType kind;
    bool fixtureHasArtwork; // objects/tagged.<ext> carries a cover
    bool addsArtwork;       // Cover Art can be given to a file that has none
};

// FLAC only ever replaces the picture block a file already has; Ogg stores no artwork.
inline constexpr KindCase kAudioKinds[] = {
    {"mp3", kMediaFileTypeMP3, true, true},    {"m4a", kMediaFileTypeMP4, true, true},
    {"aiff", kMediaFileTypeAIFF, true, true},  {"wav", kMediaFileTypeWAVE, false, true},
    {"ogg", kMediaFileTypeOgg, false, false},  {"flac", kMediaFileTypeFLAC, true, false},
};

// How the tests save: the versions a file has, and for an MP3 without an ID3v2 tag (nothing
// to keep) ID3v2.3, as the command-line tool does. The fixtures' tags are all ID3v2.3.
inline constexpr MediaFileFlags kSaveFlags = kMediaFileFlagKeepTagVersion | kMediaFileFlagID3v23;

inline std::string taggedFixture(const KindCase &c) { return std::string("objects/tagged.") + c.extension; }
inline std::string plainFixture(const KindCase &c) { return std::string("objects/plain.") + c.extension; }

// gtest prints a case by its extension.
inline void PrintTo(const KindCase &c, std::ostream *out) { *out << c.extension; }

// The reason to skip a kind, or empty when its handler is there. A kind whose handler has not
// landed answers kMediaFileErrUnsupported at open; any other failure is a real fault.
std::string unavailableReason(const KindCase &c);

// The first kind of the table that is available and takes new artwork; null when none is.
const KindCase *firstArtworkKind();

QString qpath(const std::string &path);
MediaFileWrapper openWrapper(const std::string &path);

// The decoded audio's MD5 by ffmpeg; empty when ffmpeg is missing or fails.
std::string decodedAudioMd5(const std::string &path);

// Runs the command-line tool with arguments (already quoted); output gets stdout and stderr.
int runCli(const std::string &arguments, std::string *output = nullptr);

} // namespace kestrabel::test
