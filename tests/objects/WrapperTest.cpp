#include "ObjectsTestSupport.h"
#include "PlayerRefresh.h"

#include <QFile>

#include <gtest/gtest.h>

#include <filesystem>

using namespace kestrabel;
using namespace kestrabel::test;

TEST(Wrapper, CreationReportsTheOpenStatus)
{
    MediaFileStatus status = 0;
    EXPECT_FALSE(MediaFileWrapper::mediaFileWithFileAtPath(QString(), true, &status));
    EXPECT_EQ(status, kMediaFileErrParam);
    EXPECT_FALSE(MediaFileWrapper::mediaFileWithFileAtPath(qpath("/nonexistent/x.xyz"), true, &status));
    EXPECT_EQ(status, ENOENT);
    status = 0;
    EXPECT_FALSE(MediaFileWrapper::mediaFileWithFileAtPath(qpath("/nonexistent/x.mp3"), true, &status));
    EXPECT_NE(status, kMediaFileNoErr);
    EXPECT_FALSE(MediaFileWrapper::mediaFileWithFileAtPath(qpath("/nonexistent/x.mp3"), true, nullptr));

    TempDir dir;
    std::string text = dir.file("notes.txt");
    writeFile(text, "just text");
    EXPECT_FALSE(MediaFileWrapper::mediaFileWithFileAtPath(qpath(text), true, &status));
    EXPECT_EQ(status, kMediaFileErrUnsupported);

    // A movie has no audio handler: audio-only creation refuses it, the other opens it.
    std::string movie = dir.file("clip.mov");
    writeFile(movie, "not really a movie");
    EXPECT_FALSE(MediaFileWrapper::audioMediaFileWithFileAtPath(qpath(movie), true, &status));
    EXPECT_EQ(status, kMediaFileErrUnsupported);
    std::optional<MediaFileWrapper> wrapper = MediaFileWrapper::mediaFileWithFileAtPath(qpath(movie), false, &status);
    ASSERT_TRUE(wrapper);
    EXPECT_EQ(status, kMediaFileNoErr);
    EXPECT_EQ(wrapper->type(), kMediaFileTypeQuickTime);
    EXPECT_STREQ(wrapper->path(), movie.c_str());
    EXPECT_EQ(wrapper->pathString(), qpath(movie));
    EXPECT_EQ(wrapper->mediaFileStringForID(kMediaFileDataIDFilenameClean), QStringLiteral("clip"));
    EXPECT_FALSE(wrapper->mediaFileStringForID(kMediaFileDataIDTitle));
    EXPECT_TRUE(wrapper->mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty());
}

TEST(Wrapper, MovingHandsOverTheHandle)
{
    TempDir dir;
    std::string movie = dir.file("a.mov");
    writeFile(movie, "x");
    MediaFileWrapper first = openWrapper(movie);
    MediaFileRef ref = first.mediaFileRef();
    MediaFileWrapper second = std::move(first);
    EXPECT_EQ(second.mediaFileRef(), ref);
    EXPECT_EQ(first.mediaFileRef(), nullptr); // NOLINT(bugprone-use-after-move): the moved-from state is defined
    EXPECT_EQ(first.type(), kMediaFileTypeUnsupported);
    EXPECT_FALSE(first.mediaFileStringForID(kMediaFileDataIDFilename));
    EXPECT_EQ(first.setMediaFileString(QStringLiteral("x"), kMediaFileDataIDTitle, true), kMediaFileErrParam);
    EXPECT_FALSE(first.getDictionaryRepresentation(false));

    std::string other = dir.file("b.mov");
    writeFile(other, "y");
    first = openWrapper(other);
    second = std::move(first); // closes a.mov's handle
    EXPECT_EQ(second.mediaFileStringForID(kMediaFileDataIDFilename), QStringLiteral("b.mov"));
}

class WrapperRules : public ::testing::TestWithParam<KindCase> {
protected:
    void SetUp() override
    {
        std::string reason = unavailableReason(GetParam());
        if (!reason.empty())
            GTEST_SKIP() << reason;
    }
    TempDir dir;
};

TEST_P(WrapperRules, EmptyStringIsNeverWritten)
{
    std::string path = dir.copyFixture(plainFixture(GetParam()));
    {
        MediaFileWrapper wrapper = openWrapper(path);
        ASSERT_EQ(wrapper.setMediaFileString(QStringLiteral("Old Title"), kMediaFileDataIDTitle, true), kMediaFileNoErr);
        ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    }
    MediaFileWrapper wrapper = openWrapper(path);
    EXPECT_EQ(wrapper.setMediaFileString(QString(), kMediaFileDataIDTitle, true), kMediaFileErrParam);
    EXPECT_EQ(wrapper.setMediaFileString(QStringLiteral(""), kMediaFileDataIDTitle, true), kMediaFileErrParam);
    EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDTitle), QStringLiteral("Old Title"));
}

TEST_P(WrapperRules, OverwriteOffKeepsAnExistingText)
{
    std::string path = dir.copyFixture(plainFixture(GetParam()));
    {
        MediaFileWrapper wrapper = openWrapper(path);
        EXPECT_TRUE(wrapper.mediaFileStringForID(kMediaFileDataIDAlbum).value_or(QString()).isEmpty());
        EXPECT_EQ(wrapper.setMediaFileString(QStringLiteral("Fills the gap"), kMediaFileDataIDAlbum, false),
                  kMediaFileNoErr);
        EXPECT_EQ(wrapper.setMediaFileString(QStringLiteral("Too late"), kMediaFileDataIDAlbum, false), kMediaFileErrParam);
        EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDAlbum), QStringLiteral("Fills the gap"));
        ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    }
    MediaFileWrapper wrapper = openWrapper(path);
    EXPECT_EQ(wrapper.setMediaFileString(QStringLiteral("Still too late"), kMediaFileDataIDAlbum, false),
              kMediaFileErrParam);
    EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDAlbum), QStringLiteral("Fills the gap"));
    EXPECT_EQ(wrapper.setMediaFileString(QStringLiteral("Überschrieben ✓"), kMediaFileDataIDAlbum, true),
              kMediaFileNoErr);
    EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDAlbum), QStringLiteral("Überschrieben ✓"));
}

TEST_P(WrapperRules, OverwriteOffWritesAZeroIntegerOnly)
{
    std::string path = dir.copyFixture(plainFixture(GetParam()));
    {
        MediaFileWrapper wrapper = openWrapper(path);
        EXPECT_EQ(wrapper.setMediaFileInteger(std::nullopt, kMediaFileDataIDTrackNumber, true), kMediaFileErrParam);
        EXPECT_EQ(wrapper.setMediaFileInteger(3, kMediaFileDataIDTrackNumber, false), kMediaFileNoErr);
        ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    }
    MediaFileWrapper wrapper = openWrapper(path);
    EXPECT_EQ(wrapper.setMediaFileInteger(5, kMediaFileDataIDTrackNumber, false), kMediaFileErrParam);
    int32_t track = 0;
    EXPECT_EQ(MediaFileGetInteger(wrapper.mediaFileRef(), kMediaFileDataIDTrackNumber, &track), kMediaFileNoErr);
    EXPECT_EQ(track, 3);
    EXPECT_EQ(wrapper.setMediaFileInteger(5, kMediaFileDataIDTrackNumber, true), kMediaFileNoErr);
    EXPECT_EQ(MediaFileGetInteger(wrapper.mediaFileRef(), kMediaFileDataIDTrackNumber, &track), kMediaFileNoErr);
    EXPECT_EQ(track, 5);
}

TEST_P(WrapperRules, DataRoundTripAndEmptyDataRemoves)
{
    std::string path = dir.copyFixture(plainFixture(GetParam()));
    QByteArray jpeg;
    {
        QFile file(qpath(fixturePath("objects/cover.jpg")));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        jpeg = file.readAll();
    }
    if (!GetParam().addsArtwork) {
        // Refused, or (FLAC) accepted without adding a picture block.
        MediaFileWrapper wrapper = openWrapper(path);
        MediaFileStatus status = wrapper.setMediaFileData(jpeg, kMediaFileDataIDArtwork);
        if (status == kMediaFileNoErr) {
            EXPECT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
        }
        EXPECT_TRUE(openWrapper(path).mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty());
        return;
    }
    {
        MediaFileWrapper wrapper = openWrapper(path);
        EXPECT_TRUE(wrapper.mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty());
        ASSERT_EQ(wrapper.setMediaFileData(jpeg, kMediaFileDataIDArtwork), kMediaFileNoErr);
        ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    }
    {
        MediaFileWrapper wrapper = openWrapper(path);
        EXPECT_EQ(wrapper.mediaFileDataForID(kMediaFileDataIDArtwork), jpeg);
        ASSERT_EQ(wrapper.setMediaFileData(QByteArray(), kMediaFileDataIDArtwork), kMediaFileNoErr);
        ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    }
    EXPECT_TRUE(openWrapper(path).mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, WrapperRules, ::testing::ValuesIn(kAudioKinds),
                         [](const auto &info) { return std::string(info.param.extension); });

class PlayerRefreshTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        installPlayerRefresh([this](const QString &path) { refreshed.append(path); });
    }
    void TearDown() override { installPlayerRefresh({}); }
    QStringList refreshed;
    TempDir dir;
};

TEST_F(PlayerRefreshTest, OnlyWhenAskedAndAlsoAfterAFailedSave)
{
    std::string movie = dir.file("clip.mov");
    writeFile(movie, "x");
    MediaFileWrapper wrapper = openWrapper(movie);
    EXPECT_EQ(wrapper.update(0), kMediaFileNoErr);
    EXPECT_TRUE(refreshed.isEmpty()) << "off by default";
    wrapper.setUpdateiTunesOnSave(true);
    EXPECT_EQ(wrapper.update(0), kMediaFileNoErr);
    EXPECT_EQ(refreshed, QStringList{qpath(movie)});

    // A save that fails: the file was replaced by a folder after it was opened.
    const KindCase *kind = nullptr;
    for (const KindCase &c : kAudioKinds)
        if (c.kind != kMediaFileTypeAIFF && c.kind != kMediaFileTypeWAVE && unavailableReason(c).empty())
            kind = &c;
    if (!kind)
        GTEST_SKIP() << "no handler that reopens its file at save is built yet";
    std::string path = dir.copyFixture(plainFixture(*kind));
    MediaFileWrapper audio = openWrapper(path);
    audio.setUpdateiTunesOnSave(true);
    ASSERT_EQ(audio.setMediaFileString(QStringLiteral("x"), kMediaFileDataIDTitle, true), kMediaFileNoErr);
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_NE(audio.update(kSaveFlags), kMediaFileNoErr);
    EXPECT_EQ(refreshed.size(), 2);
    EXPECT_EQ(refreshed.last(), qpath(path));
}

TEST_F(PlayerRefreshTest, NothingInstalledIsHarmless)
{
    installPlayerRefresh({});
    std::string movie = dir.file("clip.mov");
    writeFile(movie, "x");
    MediaFileWrapper wrapper = openWrapper(movie);
    wrapper.setUpdateiTunesOnSave(true);
    EXPECT_EQ(wrapper.update(0), kMediaFileNoErr);
    EXPECT_TRUE(refreshed.isEmpty());
}
