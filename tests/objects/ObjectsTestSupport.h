// What the object-layer tests share: the table of kinds with their fixtures, a suite over the
// kinds that skips those whose handler is not built, and helpers around the wrapper.
#pragma once

#include "MediaFileWrapper.h"
#include "TestSupport.h"

#include <QString>

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

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
inline void PrintTo(const KindCase &c, std::ostream *out) { *out << c.extension; }

// The reason to skip a kind, or empty when its handler is there. A kind whose handler has not
// landed answers kMediaFileErrUnsupported at open; any other failure is a real fault.
std::string unavailableReason(const KindCase &c);
// The first kind of the table that is available (and takes new artwork when asked); null when none is.
const KindCase *firstKind(bool addsArtwork);

// A suite run over every kind of kAudioKinds.
class KindTest : public ::testing::TestWithParam<KindCase> {
protected:
    void SetUp() override;
    TempDir dir;
};

QString qpath(const std::string &path);
QByteArray fileBytes(const std::string &path);
MediaFileWrapper openWrapper(const std::string &path);
// Opens path, applies edit, saves with kSaveFlags.
void editAndSave(const std::string &path, const std::function<void(MediaFileWrapper &)> &edit);
int32_t integerOf(const MediaFileWrapper &wrapper, MediaFileDataID id);


} // namespace kestrabel::test
