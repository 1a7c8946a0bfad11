// Still images through libexif, read only; and QuickTime movies, which open with their
// path-derived values alone.
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

const char kUnsupported[] = "<unsupported>"; // nullptr: not found

struct ReadCase {
    std::string file; // under tests/data, or made in the test's folder when it starts with '+'
    MediaFileFlags flags;
    MediaFileStatus open;
    MediaFileType kind = 0;
    std::vector<std::pair<MediaFileDataID, const char *>> values = {};
};

const ReadCase kReadCases[] = {
    {"exif-camera.jpg", 0, 0, kMediaFileTypeEXIF,
     {{kMediaFileDataIDMake, "Kestrabel Optics"}, {kMediaFileDataIDModel, "KB-1 Mark II"},
      {kMediaFileDataIDDate, "2024:05:06 07:08:09"},
      // libexif renders the copyright as its photographer and editor parts.
      {kMediaFileDataIDCopyright, "(c) 2024 Field Recordist (Photographer) - [None] (Editor)"},
      {kMediaFileDataIDFilenameClean, "exif-camera"}, {kMediaFileDataIDTitle, kUnsupported},
      {kMediaFileDataIDEncodedBy, kUnsupported}, {kMediaFileDataIDBWFDescription, kUnsupported},
      {kMediaFileDataIDYear, kUnsupported}}},
    // The image has a DateTime (0x0132), which does not count: only DateTimeOriginal is the date.
    {"exif-no-original-date.jpg", 0, 0, kMediaFileTypeEXIF,
     {{kMediaFileDataIDModel, "KB-2"}, {kMediaFileDataIDDate, nullptr}, {kMediaFileDataIDCopyright, nullptr}}},
    // The EXIF block cut off after its first bytes: libexif still hands out an (empty) block.
    {"+cut.jpg", 0, 0, kMediaFileTypeEXIF, {{kMediaFileDataIDMake, nullptr}, {kMediaFileDataIDDate, nullptr}}},
    {"quicktime-tiny.mov", 0, 0, kMediaFileTypeQuickTime,
     {{kMediaFileDataIDFilename, "quicktime-tiny.mov"}, {kMediaFileDataIDParent1, "data"},
      {kMediaFileDataIDTitle, kUnsupported}, {kMediaFileDataIDBitRate, kUnsupported}}},
    {"quicktime-broken.mov", 0, 0, kMediaFileTypeQuickTime, {{kMediaFileDataIDFilenameClean, "quicktime-broken"}}},
    // The QuickTime handler's failure never fails the open.
    {"+missing.mov", 0, 0, kMediaFileTypeQuickTime, {{kMediaFileDataIDFilename, "missing.mov"}}},
    {"no-exif.jpg", 0, kMediaFileErrNoExif},
    {"+empty.jpg", 0, kMediaFileErrNoExif},
    {"+sound.jpg", 0, kMediaFileErrNoExif},
    {"+missing.jpg", 0, ENOENT},
    {"exif-camera.jpg", kMediaFileFlagAudioOnly, kMediaFileErrUnsupported},
    {"quicktime-tiny.mov", kMediaFileFlagAudioOnly, kMediaFileErrUnsupported},
};

} // namespace

TEST(Exif, EveryReadCase)
{
    TempDir dir;
    std::vector<uint8_t> cut = readFile(fixturePath("exif-camera.jpg"));
    cut.resize(40);
    writeFile(dir.file("cut.jpg"), cut);
    writeFile(dir.file("empty.jpg"), std::string());
    dir.copyFixture("vorbis-tagged.ogg", "sound.jpg");
    for (const ReadCase &c : kReadCases) {
        SCOPED_TRACE(c.file);
        std::string path = c.file[0] == '+' ? dir.file(c.file.substr(1)) : fixturePath(c.file);
        OpenFile file(path, c.flags);
        ASSERT_EQ(file.status(), c.open);
        if (c.open)
            continue;
        MediaFileType kind = 0;
        MediaFileGetType(file.ref(), &kind);
        EXPECT_EQ(kind, c.kind);
        for (const auto &[id, value] : c.values) {
            MediaFileStatus status = 0;
            std::string text = file.string(id, &status);
            EXPECT_EQ(status, !value ? kMediaFileErrNotFound : value == kUnsupported ? kMediaFileErrUnsupported : 0) << id;
            EXPECT_EQ(text, value && value != kUnsupported ? value : "") << id;
        }
    }
}

TEST(Exif, NothingCanBeSetAndTheFileStaysAsItWas)
{
    TempDir dir;
    for (const char *fixture : {"exif-camera.jpg", "quicktime-tiny.mov"}) {
        std::string path = dir.copyFixture(fixture);
        std::vector<uint8_t> original = readFile(path);
        OpenFile file(path);
        EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDMake, "Other"), kMediaFileErrUnsupported);
        EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Other"), kMediaFileErrUnsupported);
        EXPECT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDYear, 2000), kMediaFileErrUnsupported);
        EXPECT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, "x", 1), kMediaFileErrUnsupported);
        EXPECT_EQ(MediaFileUpdate(file.ref(), 0), 0) << "nothing to write";
        EXPECT_EQ(readFile(path), original) << fixture;
    }
}

TEST(Exif, ReadsWhatExiftoolWrites)
{
    if (!haveTool("exiftool"))
        GTEST_SKIP() << "exiftool is not installed";
    TempDir dir;
    std::string path = dir.copyFixture("no-exif.jpg", "tagged-now.jpg");
    ASSERT_EQ(runCommand("exiftool -q -overwrite_original -Model='Set Later' -DateTimeOriginal='2001:02:03 04:05:06' " +
                         shellQuote(path)),
              0);
    OpenFile later(path);
    ASSERT_EQ(later.status(), 0);
    EXPECT_EQ(later.string(kMediaFileDataIDModel), "Set Later");
    EXPECT_EQ(later.string(kMediaFileDataIDDate), "2001:02:03 04:05:06");
    EXPECT_EQ(MediaFileGetString(later.ref(), kMediaFileDataIDMake, nullptr), kMediaFileErrNotFound);
}
