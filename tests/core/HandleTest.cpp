// Kind detection, the IDs every kind answers from the path, and the handle's open rules.
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel;

namespace {

using KindStatus = std::pair<MediaFileType, MediaFileStatus>;

KindStatus detect(const std::string &path)
{
    MediaFileType kind = -1;
    MediaFileStatus status = MediaFileGetTypeForPath(path.c_str(), &kind);
    return {kind, status};
}

} // namespace

// Known extensions decide without reading; unknown ones by the content; an unreadable file of
// unknown extension gives errno ('.5' is no extension); a registration wins.
TEST(KindDetection, ByExtensionThenByContent)
{
    for (auto [name, kind] : {std::pair{"a.MP3", kMediaFileTypeMP3}, {"a.m4b", kMediaFileTypeMP4}, {"a.aifc", kMediaFileTypeAIFF}, {"a.wav", kMediaFileTypeWAVE},
                              {"a.oga", kMediaFileTypeOgg}, {"a.opus", kMediaFileTypeOgg}, {"a.flac", kMediaFileTypeFLAC}, {"a.JPEG", kMediaFileTypeEXIF},
                              {"a.mov", kMediaFileTypeQuickTime}, {"a.wma", kMediaFileTypeWMA}})
        EXPECT_EQ(detect(std::string("/nowhere/") + name).first, kind) << name;
    test::TempDir dir;
    const std::string ogg = std::string("OggS", 4) + std::string(24, '\0');
    int n = 0;
    for (auto [bytes, kind] : {std::pair{std::string("ID3\x03\x00\x00\x00\x00\x00\x00", 10), kMediaFileTypeMP3}, {std::string("\xFF\xFB\x90\x44", 4), kMediaFileTypeMP3},
                               {std::string("\0\0\0\x20" "ftypM4A ", 12), kMediaFileTypeMP4}, {std::string("\0\0\0\x14" "ftypqt  ", 12), kMediaFileTypeQuickTime},
                               {std::string("FORM\0\0\0\x10" "AIFC", 12), kMediaFileTypeAIFF}, {std::string("RIFF\0\0\0\x10" "WAVE", 12), kMediaFileTypeWAVE},
                               {ogg + std::string("\x01vorbis", 7), kMediaFileTypeOgg}, {ogg + "OpusHead", kMediaFileTypeOgg},
                               {ogg + "\x7f" "FLAC", kMediaFileTypeUnsupported}, {std::string("fLaC\0\0\0\x22", 8), kMediaFileTypeFLAC},
                               {std::string("\xFF\xD8\xFF\xE1", 4), kMediaFileTypeEXIF}, {std::string("plain text, not media"), kMediaFileTypeUnsupported},
                               {std::string(), kMediaFileTypeUnsupported}}) {
        std::string path = dir.file("file" + std::to_string(n++) + ".unknown");
        test::writeFile(path, bytes);
        EXPECT_EQ(detect(path), KindStatus(kind, 0)) << "case " << n;
    }
    for (const char *path : {"/nowhere/file.xyz", "/nowhere/Track 1.5"})
        EXPECT_EQ(detect(path), KindStatus(kMediaFileTypeUnsupported, ENOENT)) << path;
    ASSERT_EQ(MediaFileRegisterExtension(".kbtest", kMediaFileTypeQuickTime), 0);
    EXPECT_EQ(detect("/nowhere/x.KBTEST").first, kMediaFileTypeQuickTime);
    EXPECT_EQ(MediaFileRegisterExtension("", kMediaFileTypeMP3), kMediaFileErrParam);
}

// A QuickTime movie answers only the path IDs; a failing getter leaves its out value alone, and
// a save with nothing to write succeeds. One trailing slash is ignored ("mov/" registered lets
// the unreadable path open).
TEST(Handle, PathIDsOfAMovie)
{
    test::TempDir dir;
    std::filesystem::create_directories(dir.path() / "Music" / "Artist" / "Album");
    const std::string path = (dir.path() / "Music" / "Artist" / "Album" / "clip.mov").string();
    test::writeFile(path, std::string("\0\0\0\x08wide", 8));
    test::OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    const int depth = int(std::count(path.begin(), path.end(), '/'));
    for (auto [id, value, status] : std::initializer_list<std::tuple<int, std::string, MediaFileStatus>>{{kMediaFileDataIDFilePath, path, 0}, {kMediaFileDataIDFilename, std::string("clip.mov"), 0},
                                     {kMediaFileDataIDFilenameClean, std::string("clip"), 0}, {kMediaFileDataIDParent1, std::string("Album"), 0},
                                     {kMediaFileDataIDParent3, std::string("Music"), 0}, {kMediaFileDataIDParent0, std::string(), kMediaFileErrUnsupported},
                                     {kMediaFileDataIDParent0 + depth, std::string(), kMediaFileErrNotFound}, {kMediaFileDataIDTitle, std::string(), kMediaFileErrUnsupported}}) {
        MediaFileStatus got = 0;
        EXPECT_EQ(file.string(id, &got), value) << id;
        EXPECT_EQ(got, status) << id;
        EXPECT_EQ(MediaFileGetString(file.ref(), id, nullptr), status) << "presence test " << id;
    }
    EXPECT_STREQ(MediaFileGetPath(file.ref()), path.c_str());
    int32_t untouched = 42;
    EXPECT_EQ(MediaFileGetInteger(file.ref(), kMediaFileDataIDYear, &untouched), kMediaFileErrUnsupported);
    EXPECT_EQ(untouched, 42);
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "x"), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, "x", 1), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    ASSERT_EQ(MediaFileRegisterExtension("mov/", kMediaFileTypeQuickTime), 0);
    test::OpenFile folder((dir.path() / "Music" / "song.mov").string() + "/");
    ASSERT_EQ(folder.status(), 0);
    EXPECT_EQ(std::pair(folder.string(kMediaFileDataIDFilename), folder.string(kMediaFileDataIDFilenameClean)), std::pair(std::string("song.mov"), std::string("song")));
}

TEST(Handle, OpenRulesAndTheNullHandle)
{
    test::TempDir dir;
    for (const char *name : {"m.mov", "a.wma", "notes.unknown"})
        test::writeFile(dir.file(name), "not really a movie");
    MediaFileRef ref = nullptr;
    EXPECT_EQ(MediaFileOpen(dir.file("m.mov").c_str(), &ref, kMediaFileFlagAudioOnly), kMediaFileErrUnsupported);
    EXPECT_EQ(ref, nullptr);
    EXPECT_EQ(MediaFileOpen(dir.file("m.mov").c_str(), nullptr, 0), 0) << "a probe";
    for (auto [path, status] : std::initializer_list<std::pair<std::string, MediaFileStatus>>{{dir.file("a.wma"), kMediaFileErrUnsupported}, {dir.file("notes.unknown"), kMediaFileErrUnsupported},
                                {dir.file("missing.unknown"), ENOENT}, {std::string(), kMediaFileErrParam}})
        EXPECT_EQ(MediaFileOpen(path.c_str(), &ref, 0), status) << path;
    EXPECT_EQ(MediaFileOpen(nullptr, &ref, 0), kMediaFileErrParam);
    for (MediaFileStatus status : {MediaFileGetString(nullptr, kMediaFileDataIDTitle, nullptr), MediaFileGetInteger(nullptr, kMediaFileDataIDYear, nullptr),
                                   MediaFileSetString(nullptr, kMediaFileDataIDTitle, "x"), MediaFileGetData(nullptr, kMediaFileDataIDArtwork, nullptr, nullptr),
                                   MediaFileUpdate(nullptr, 0), MediaFileClose(nullptr)})
        EXPECT_EQ(status, kMediaFileErrNullRef);
    EXPECT_EQ(MediaFileGetPath(nullptr), nullptr);
}
