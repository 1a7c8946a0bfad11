// What every writable kind must do alike, whatever its format.
#include "KindTable.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

class Contract : public ::testing::TestWithParam<KindCase> {
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(fixturePath(GetParam().fixture)))
            GTEST_SKIP() << "no fixture " << GetParam().fixture;
        path = dir.copyFixture(GetParam().fixture, "work" + extensionOf(GetParam().fixture));
    }

    static std::string extensionOf(const std::string &name) { return name.substr(name.rfind('.')); }

    void setTexts(MediaFileRef ref, const std::string &suffix)
    {
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDTitle, ("Title " + suffix).c_str()), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDArtist, ("Artist " + suffix).c_str()), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDAlbum, ("Album " + suffix).c_str()), 0);
        ASSERT_EQ(MediaFileSetString(ref, kMediaFileDataIDComposer, "Composer"), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDTrackNumber, 3), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDTotalTracks, 12), 0);
        ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDYear, 2024), 0);
    }

    void expectTexts(const std::string &suffix)
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Title " + suffix);
        EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Artist " + suffix);
        EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "Album " + suffix);
        EXPECT_EQ(file.string(kMediaFileDataIDComposer), "Composer");
        EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 3);
        EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 12);
        EXPECT_EQ(file.integer(kMediaFileDataIDYear), 2024);
        EXPECT_EQ(file.string(kMediaFileDataIDTrackNumber), "3") << "integer IDs also read as text";
    }

    TempDir dir;
    std::string path;
};

} // namespace

TEST_P(Contract, OpensAsItsKind)
{
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    MediaFileType kind = 0;
    MediaFileGetType(file.ref(), &kind);
    EXPECT_EQ(kind, GetParam().kind);
    EXPECT_EQ(file.string(kMediaFileDataIDFilenameClean), "work");
    MediaFileStatus status = 0;
    file.string(kMediaFileDataIDParent0, &status);
    EXPECT_EQ(status, kMediaFileErrUnsupported);
}

TEST_P(Contract, TextsAndNumbersRoundTrip)
{
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        setTexts(file.ref(), "Ünïcödé ☃ 日本語 🎵");
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), 0);
    }
    expectTexts("Ünïcödé ☃ 日本語 🎵");
}

TEST_P(Contract, ASecondUpdateOfTheSameHandleWorks)
{
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDComment, std::string(20000, 'c').c_str()), 0);
    ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), 0) << "grows: a new file replaces the old";
    setTexts(file.ref(), "two");
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDComment, "short"), 0);
    ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), 0);
    ASSERT_EQ(file.close(), 0);
    expectTexts("two");
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDComment), "short");
}

// A save that grows the tag moves the audio (or the index that points to it): in place and through
// a new file it gives the same bytes, which decode to the samples of before.
TEST_P(Contract, AGrowingSaveKeepsTheAudioInPlaceAndThroughANewFile)
{
    std::string other = dir.copyFixture(GetParam().fixture, "other" + extensionOf(GetParam().fixture));
    for (const auto &[target, flags] : {std::pair{path, 0}, std::pair{other, int(kMediaFileFlagInPlace)}}) {
        OpenFile file(target);
        ASSERT_EQ(file.status(), 0);
        setTexts(file.ref(), std::string(3000, 'g'));
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion | flags), 0);
    }
    EXPECT_EQ(readFile(path), readFile(other));
    if (!haveTool("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not installed";
    const std::string audio = decodedAudio(fixturePath(GetParam().fixture));
    ASSERT_NE(audio, "");
    EXPECT_EQ(decodedAudio(path), audio);
}

TEST_P(Contract, PreserveDatesKeepsTheModificationTime)
{
    struct timespec old[2] = {{1000000000, 123456789}, {1100000000, 987654321}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), old, 0), 0);
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, std::string(5000, 'd').c_str()), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion | kMediaFileFlagPreserveDates), 0);
    }
    struct stat st {};
    stat(path.c_str(), &st);
    EXPECT_EQ(st.st_mtim.tv_sec, old[1].tv_sec);
    EXPECT_EQ(st.st_mtim.tv_nsec, old[1].tv_nsec);
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "x"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), 0);
    }
    stat(path.c_str(), &st);
    EXPECT_NE(st.st_mtim.tv_sec, old[1].tv_sec) << "without the flag the time moves on";
}

TEST_P(Contract, AFileThatVanishesBeforeTheSaveIsNotRecreated)
{
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "gone"), 0);
    ASSERT_EQ(unlink(path.c_str()), 0);
    EXPECT_NE(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(std::filesystem::is_empty(dir.path())) << "no temporary file left behind";
}

INSTANTIATE_TEST_SUITE_P(EveryWritableKind, Contract, ::testing::ValuesIn(writableKinds()),
                         [](const auto &info) { return info.param.name; });
