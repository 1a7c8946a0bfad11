// The wrapper around a handle: opening, the rules of its setters over every kind, its texts for
// the window, and the player refresh after a save.
#include "ObjectsTestSupport.h"
#include "PlayerRefresh.h"

#include <filesystem>

using namespace kestrabel;
using namespace kestrabel::test;

TEST(Wrapper, OpenStatusAndTheMovedFromHandle)
{
    TempDir dir;
    writeFile(dir.file("notes.txt"), "just text");
    writeFile(dir.file("clip.mov"), "not really a movie");
    // A movie has no audio handler: audio-only creation refuses it, the other opens it.
    const std::tuple<std::string, bool, MediaFileStatus> rows[] = {
        {"", false, kMediaFileErrParam}, {"/nonexistent/x.xyz", false, ENOENT}, {dir.file("notes.txt"), false, kMediaFileErrUnsupported},
        {dir.file("clip.mov"), true, kMediaFileErrUnsupported}, {dir.file("clip.mov"), false, kMediaFileNoErr},
    };
    for (const auto &[path, audioOnly, expected] : rows) {
        MediaFileStatus status = 12345;
        const auto wrapper = audioOnly ? MediaFileWrapper::audioMediaFileWithFileAtPath(qpath(path), true, &status)
                                       : MediaFileWrapper::mediaFileWithFileAtPath(qpath(path), true, &status);
        EXPECT_EQ(status, expected) << path;
        EXPECT_EQ(wrapper.has_value(), expected == kMediaFileNoErr) << path;
    }
    MediaFileWrapper first = openWrapper(dir.file("clip.mov"));
    EXPECT_EQ(first.type(), kMediaFileTypeQuickTime);
    EXPECT_EQ(first.mediaFileStringForID(kMediaFileDataIDFilenameClean), QStringLiteral("clip"));
    EXPECT_FALSE(first.mediaFileStringForID(kMediaFileDataIDTitle));
    const MediaFileRef ref = first.mediaFileRef();
    MediaFileWrapper second = std::move(first);
    EXPECT_EQ(second.mediaFileRef(), ref);
    EXPECT_EQ(first.mediaFileRef(), nullptr); // NOLINT(bugprone-use-after-move): the moved-from state is defined
    EXPECT_EQ(first.setMediaFileString(QStringLiteral("x"), kMediaFileDataIDTitle, true), kMediaFileErrParam);
    EXPECT_FALSE(first.getDictionaryRepresentation(false));
}

TEST(Wrapper, TextsForTheWindow)
{
    const std::tuple<int32_t, int32_t, const char *> numbers[] = {{3, 0, "3"}, {3, -1, "3"}, {3, 12, "3 / 12"}, {0, 12, ""}, {-2, 12, ""}};
    for (const auto &[track, total, text] : numbers)
        EXPECT_EQ(trackNumberText(track, total), QString::fromLatin1(text)) << track << "/" << total;
    const std::pair<int32_t, const char *> times[] = {{125, "2:05"}, {59, "0:59"}, {0, "0:00"}, {3600, "60:00"}};
    for (const auto &[seconds, text] : times)
        EXPECT_EQ(playTimeText(seconds), QString::fromLatin1(text)) << seconds;
    EXPECT_TRUE(stringFromMediaFileRef(nullptr, kMediaFileDataIDTitle).isEmpty() && stringRepresentationOfTimeForMediaFile(nullptr).isEmpty());
}

using WrapperRules = KindTest;

// Empty texts are never written; with overwriting off a set value stays (a zero integer counts
// as unset); data round-trips and empty data removes.
TEST_P(WrapperRules, SettersKeepTheirRulesThroughASave)
{
    const std::string path = dir.copyFixture(plainFixture(GetParam()), std::string("Song.x.plain.") + GetParam().extension);
    editAndSave(path, [](MediaFileWrapper &w) {
        EXPECT_EQ(w.setMediaFileString(QString(), kMediaFileDataIDTitle, true), kMediaFileErrParam);
        EXPECT_EQ(w.setMediaFileString(QStringLiteral("Fills the gap"), kMediaFileDataIDAlbum, false), kMediaFileNoErr);
        EXPECT_EQ(w.setMediaFileString(QStringLiteral("Too late"), kMediaFileDataIDAlbum, false), kMediaFileErrParam);
        EXPECT_EQ(w.setMediaFileInteger(std::nullopt, kMediaFileDataIDTrackNumber, true), kMediaFileErrParam);
        EXPECT_EQ(w.setMediaFileInteger(3, kMediaFileDataIDTrackNumber, false), kMediaFileNoErr);
        EXPECT_EQ(stringRepresentationOfTrackNumberForMediaFile(w.mediaFileRef()), QStringLiteral("3"));
    });
    MediaFileWrapper w = openWrapper(path);
    EXPECT_EQ(stringFromMediaFileRef(w.mediaFileRef(), kMediaFileDataIDFilenameClean), QStringLiteral("Song.x.plain"));
    EXPECT_EQ(w.setMediaFileString(QStringLiteral("Still too late"), kMediaFileDataIDAlbum, false), kMediaFileErrParam);
    EXPECT_EQ(w.setMediaFileString(QStringLiteral(""), kMediaFileDataIDAlbum, true), kMediaFileErrParam);
    EXPECT_EQ(w.mediaFileStringForID(kMediaFileDataIDAlbum), QStringLiteral("Fills the gap"));
    EXPECT_EQ(w.setMediaFileInteger(5, kMediaFileDataIDTrackNumber, false), kMediaFileErrParam);
    EXPECT_EQ(integerOf(w, kMediaFileDataIDTrackNumber), 3);
    ASSERT_EQ(MediaFileSetInteger(w.mediaFileRef(), kMediaFileDataIDTotalTracks, 12), kMediaFileNoErr);
    EXPECT_EQ(stringRepresentationOfTrackNumberForMediaFile(w.mediaFileRef()), QStringLiteral("3 / 12"));
    EXPECT_EQ(w.setMediaFileString(QStringLiteral("Überschrieben ✓"), kMediaFileDataIDAlbum, true), kMediaFileNoErr);
    EXPECT_EQ(stringFromMediaFileRef(w.mediaFileRef(), kMediaFileDataIDAlbum), QStringLiteral("Überschrieben ✓"));
    int32_t seconds = 0;
    const bool timed = MediaFileGetInteger(w.mediaFileRef(), kMediaFileDataIDPlayTime, &seconds) == kMediaFileNoErr;
    EXPECT_EQ(stringRepresentationOfTimeForMediaFile(w.mediaFileRef()), timed ? playTimeText(seconds) : QString());

    // Refused, or (FLAC) accepted without adding a picture block.
    const QByteArray jpeg = fileBytes(fixturePath("objects/cover.jpg"));
    if (w.setMediaFileData(jpeg, kMediaFileDataIDArtwork) == kMediaFileNoErr) {
        ASSERT_EQ(w.update(kSaveFlags), kMediaFileNoErr);
    }
    EXPECT_EQ(openWrapper(path).mediaFileDataForID(kMediaFileDataIDArtwork), GetParam().addsArtwork ? jpeg : QByteArray());
    if (GetParam().addsArtwork) {
        editAndSave(path, [](MediaFileWrapper &w) { EXPECT_EQ(w.setMediaFileData({}, kMediaFileDataIDArtwork), kMediaFileNoErr); });
        EXPECT_TRUE(openWrapper(path).mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, WrapperRules, ::testing::ValuesIn(kAudioKinds), kindName);

// Only when asked, and also after a save that failed (the file became a folder after the open).
TEST(PlayerRefresh, AfterEverySaveAskedFor)
{
    QStringList refreshed;
    installPlayerRefresh([&](const QString &path) { refreshed.append(path); });
    TempDir dir;
    writeFile(dir.file("clip.mov"), "x");
    MediaFileWrapper movie = openWrapper(dir.file("clip.mov"));
    EXPECT_EQ(movie.update(0), kMediaFileNoErr);
    EXPECT_TRUE(refreshed.isEmpty()) << "off by default";
    movie.setUpdateiTunesOnSave(true);
    EXPECT_EQ(movie.update(0), kMediaFileNoErr);
    EXPECT_EQ(refreshed, QStringList{qpath(dir.file("clip.mov"))});
    const std::string path = dir.copyFixture(plainFixture(kMp3));
    MediaFileWrapper audio = openWrapper(path);
    audio.setUpdateiTunesOnSave(true);
    ASSERT_EQ(audio.setMediaFileString(QStringLiteral("x"), kMediaFileDataIDTitle, true), kMediaFileNoErr);
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_NE(audio.update(kSaveFlags), kMediaFileNoErr);
    EXPECT_EQ(refreshed.value(1), qpath(path));
    installPlayerRefresh({});
    EXPECT_EQ(movie.update(0), kMediaFileNoErr) << "nothing installed is harmless";
}
