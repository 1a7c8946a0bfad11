// What the object-layer tests share: the kinds with their fixtures, and helpers around the wrapper.
#pragma once

#include "MediaFileWrapper.h"
#include "TestSupport.h"

#include <QFile>

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>

namespace kestrabel::test {

struct KindCase {
    const char *extension;
    bool fixtureHasArtwork; // objects/tagged.<ext> carries a cover
    bool addsArtwork;       // Cover Art can be given to a file that has none
};

// FLAC only ever replaces the picture block a file already has; Ogg stores no artwork.
inline constexpr KindCase kAudioKinds[] = {{"mp3", true, true}, {"m4a", true, true},  {"aiff", true, true},
                                           {"wav", false, true}, {"ogg", false, false}, {"flac", true, false}};
inline constexpr const KindCase &kMp3 = kAudioKinds[0];

// How the tests save: the versions a file has, and for an MP3 without an ID3v2 tag ID3v2.3, as
// the command-line tool does. The fixtures' tags are all ID3v2.3.
inline constexpr MediaFileFlags kSaveFlags = kMediaFileFlagKeepTagVersion | kMediaFileFlagID3v23;

inline std::string taggedFixture(const KindCase &c) { return std::string("objects/tagged.") + c.extension; }
inline std::string plainFixture(const KindCase &c) { return std::string("objects/plain.") + c.extension; }
inline void PrintTo(const KindCase &c, std::ostream *out) { *out << c.extension; }
inline std::string kindName(const ::testing::TestParamInfo<KindCase> &info) { return info.param.extension; }

// A suite run over every kind of kAudioKinds.
class KindTest : public ::testing::TestWithParam<KindCase> {
protected:
    TempDir dir;
};

// QImage needs no display, but anything that touches the GUI platform must not look for one.
inline const bool kOffscreen = setenv("QT_QPA_PLATFORM", "offscreen", 0) == 0;

inline QString qpath(const std::string &path) { return QString::fromStdString(path); }

inline QByteArray fileBytes(const std::string &path)
{
    QFile file(qpath(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline MediaFileWrapper openWrapper(const std::string &path)
{
    MediaFileStatus status = -1;
    std::optional<MediaFileWrapper> wrapper = MediaFileWrapper::mediaFileWithFileAtPath(qpath(path), true, &status);
    if (!wrapper)
        throw std::runtime_error("cannot open " + path + ": status " + std::to_string(status));
    return std::move(*wrapper);
}

// Opens path, applies edit, saves with kSaveFlags.
inline void editAndSave(const std::string &path, const std::function<void(MediaFileWrapper &)> &edit)
{
    MediaFileWrapper wrapper = openWrapper(path);
    edit(wrapper);
    EXPECT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr) << path;
}

inline int32_t integerOf(const MediaFileWrapper &wrapper, MediaFileDataID id)
{
    int32_t value = 0;
    return MediaFileGetInteger(wrapper.mediaFileRef(), id, &value) == kMediaFileNoErr ? value : -1;
}

} // namespace kestrabel::test
