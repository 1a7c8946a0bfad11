#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/stat.h>

using namespace kestrabel;

namespace {

MediaFileType kindOf(const std::string &path, MediaFileStatus *status = nullptr)
{
    MediaFileType kind = -1;
    MediaFileStatus result = MediaFileGetTypeForPath(path.c_str(), &kind);
    if (status)
        *status = result;
    return kind;
}

} // namespace

TEST(KindDetection, ByExtensionWithoutReadingTheFile)
{
    EXPECT_EQ(kindOf("/nowhere/a.MP3"), kMediaFileTypeMP3);
    EXPECT_EQ(kindOf("/nowhere/a.m4b"), kMediaFileTypeMP4);
    EXPECT_EQ(kindOf("/nowhere/a.aifc"), kMediaFileTypeAIFF);
    EXPECT_EQ(kindOf("/nowhere/a.wav"), kMediaFileTypeWAVE);
    EXPECT_EQ(kindOf("/nowhere/a.oga"), kMediaFileTypeOgg);
    EXPECT_EQ(kindOf("/nowhere/a.opus"), kMediaFileTypeOgg);
    EXPECT_EQ(kindOf("/nowhere/a.flac"), kMediaFileTypeFLAC);
    EXPECT_EQ(kindOf("/nowhere/a.JPEG"), kMediaFileTypeEXIF);
    EXPECT_EQ(kindOf("/nowhere/a.mov"), kMediaFileTypeQuickTime);
    EXPECT_EQ(kindOf("/nowhere/a.wma"), kMediaFileTypeWMA);
}

TEST(KindDetection, ByContentWhenTheExtensionIsUnknown)
{
    test::TempDir dir;
    struct Case {
        std::string bytes;
        MediaFileType kind;
    } cases[] = {
        {std::string("ID3\x03\x00\x00\x00\x00\x00\x00", 10), kMediaFileTypeMP3},
        {std::string("\xFF\xFB\x90\x44", 4), kMediaFileTypeMP3},
        {std::string("\0\0\0\x20" "ftypM4A ", 12), kMediaFileTypeMP4},
        {std::string("\0\0\0\x14" "ftypqt  ", 12), kMediaFileTypeQuickTime},
        {std::string("FORM\0\0\0\x10" "AIFC", 12), kMediaFileTypeAIFF},
        {std::string("RIFF\0\0\0\x10" "WAVE", 12), kMediaFileTypeWAVE},
        {std::string("OggS", 4) + std::string(24, '\0') + std::string("\x01vorbis", 7), kMediaFileTypeOgg},
        {std::string("OggS", 4) + std::string(24, '\0') + std::string("OpusHead", 8), kMediaFileTypeOgg},
        {std::string("OggS", 4) + std::string(24, '\0') + std::string("\x7f" "FLAC", 5), kMediaFileTypeUnsupported},
        {"fLaC\0\0\0\x22", kMediaFileTypeFLAC},
        {std::string("\xFF\xD8\xFF\xE1", 4), kMediaFileTypeEXIF},
        {"plain text, not media", kMediaFileTypeUnsupported},
        {"", kMediaFileTypeUnsupported},
    };
    int n = 0;
    for (const Case &c : cases) {
        std::string path = dir.file("file" + std::to_string(n++) + ".unknown");
        test::writeFile(path, c.bytes);
        MediaFileStatus status = -1;
        EXPECT_EQ(kindOf(path, &status), c.kind) << "case " << n;
        EXPECT_EQ(status, 0);
    }
}

TEST(KindDetection, UnreadableUnknownFileGivesErrnoAndRegistrationWins)
{
    MediaFileStatus status = 0;
    EXPECT_EQ(kindOf("/nowhere/file.xyz", &status), kMediaFileTypeUnsupported);
    EXPECT_EQ(status, ENOENT);
    EXPECT_EQ(kindOf("/nowhere/Track 1.5", &status), kMediaFileTypeUnsupported) << "'.5' is no extension";
    EXPECT_EQ(status, ENOENT);
    ASSERT_EQ(MediaFileRegisterExtension(".kbtest", kMediaFileTypeQuickTime), 0);
    EXPECT_EQ(kindOf("/nowhere/x.KBTEST"), kMediaFileTypeQuickTime);
    EXPECT_EQ(MediaFileRegisterExtension("", kMediaFileTypeMP3), kMediaFileErrParam);
}

class PathIDs : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::filesystem::create_directories(dir.path() / "Music" / "Artist" / "Album");
        path = (dir.path() / "Music" / "Artist" / "Album" / "clip.mov").string();
        test::writeFile(path, std::string("\0\0\0\x08wide", 8));
    }
    test::TempDir dir;
    std::string path;
};

TEST_F(PathIDs, AnsweredFromThePathForAnyKind)
{
    test::OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDFilePath), path);
    EXPECT_EQ(file.string(kMediaFileDataIDFilename), "clip.mov");
    EXPECT_EQ(file.string(kMediaFileDataIDFilenameClean), "clip");
    EXPECT_EQ(file.string(kMediaFileDataIDParent1), "Album");
    EXPECT_EQ(file.string(kMediaFileDataIDParent3), "Music");
    MediaFileStatus status = 0;
    file.string(kMediaFileDataIDParent0, &status);
    EXPECT_EQ(status, kMediaFileErrUnsupported);
    int depth = 0;
    for (char c : path)
        depth += c == '/';
    file.string(kMediaFileDataIDParent0 + depth, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound) << "more folders than the path has";
    EXPECT_EQ(MediaFileGetString(file.ref(), kMediaFileDataIDFilename, nullptr), 0) << "presence test";
    EXPECT_STREQ(MediaFileGetPath(file.ref()), path.c_str());
}

TEST_F(PathIDs, OtherIDsOfAQuickTimeFileAreUnsupported)
{
    test::OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    MediaFileStatus status = 0;
    file.string(kMediaFileDataIDTitle, &status);
    EXPECT_EQ(status, kMediaFileErrUnsupported);
    int32_t untouched = 42;
    EXPECT_EQ(MediaFileGetInteger(file.ref(), kMediaFileDataIDYear, &untouched), kMediaFileErrUnsupported);
    EXPECT_EQ(untouched, 42) << "a failing getter leaves its out value alone";
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "x"), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, "x", 1), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileUpdate(file.ref(), 0), 0) << "nothing to write succeeds";
    MediaFileType kind = 0;
    MediaFileGetType(file.ref(), &kind);
    EXPECT_EQ(kind, kMediaFileTypeQuickTime);
}

TEST_F(PathIDs, FilenameIgnoresOneTrailingSlash)
{
    std::string folderPath = (dir.path() / "Music" / "Artist" / "Album" / "song.mov").string() + "/";
    // The extension of this path is "mov/"; registering it lets the unreadable path open as a movie.
    ASSERT_EQ(MediaFileRegisterExtension("mov/", kMediaFileTypeQuickTime), 0);
    test::OpenFile file(folderPath);
    ASSERT_EQ(file.status(), 0) << "a QuickTime movie opens even when it cannot be read";
    EXPECT_EQ(file.string(kMediaFileDataIDFilename), "song.mov");
    EXPECT_EQ(file.string(kMediaFileDataIDFilenameClean), "song");
}

TEST(Handle, OpenRules)
{
    test::TempDir dir;
    std::string movie = dir.file("m.mov");
    test::writeFile(movie, "not really a movie");
    MediaFileRef ref = nullptr;
    EXPECT_EQ(MediaFileOpen(movie.c_str(), &ref, kMediaFileFlagAudioOnly), kMediaFileErrUnsupported);
    EXPECT_EQ(ref, nullptr);
    EXPECT_EQ(MediaFileOpen(movie.c_str(), nullptr, 0), 0) << "a probe";
    std::string wma = dir.file("a.wma");
    test::writeFile(wma, "x");
    EXPECT_EQ(MediaFileOpen(wma.c_str(), &ref, 0), kMediaFileErrUnsupported);
    std::string text = dir.file("notes.unknown");
    test::writeFile(text, "hello");
    EXPECT_EQ(MediaFileOpen(text.c_str(), &ref, 0), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileOpen(dir.file("missing.unknown").c_str(), &ref, 0), ENOENT);
    EXPECT_EQ(MediaFileOpen("", &ref, 0), kMediaFileErrParam);
    EXPECT_EQ(MediaFileOpen(nullptr, &ref, 0), kMediaFileErrParam);
}

TEST(Handle, NullHandle)
{
    EXPECT_EQ(MediaFileGetString(nullptr, kMediaFileDataIDTitle, nullptr), kMediaFileErrNullRef);
    EXPECT_EQ(MediaFileGetInteger(nullptr, kMediaFileDataIDYear, nullptr), kMediaFileErrNullRef);
    EXPECT_EQ(MediaFileSetString(nullptr, kMediaFileDataIDTitle, "x"), kMediaFileErrNullRef);
    EXPECT_EQ(MediaFileGetData(nullptr, kMediaFileDataIDArtwork, nullptr, nullptr), kMediaFileErrNullRef);
    EXPECT_EQ(MediaFileUpdate(nullptr, 0), kMediaFileErrNullRef);
    EXPECT_EQ(MediaFileClose(nullptr), kMediaFileErrNullRef);
    EXPECT_EQ(MediaFileGetPath(nullptr), nullptr);
}
