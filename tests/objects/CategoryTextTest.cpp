#include "ObjectsTestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::test;

TEST(CategoryTexts, Formatting)
{
    EXPECT_EQ(trackNumberText(3, 0), QStringLiteral("3"));
    EXPECT_EQ(trackNumberText(3, -1), QStringLiteral("3"));
    EXPECT_EQ(trackNumberText(3, 12), QStringLiteral("3 / 12"));
    EXPECT_EQ(trackNumberText(0, 12), QStringLiteral(""));
    EXPECT_EQ(trackNumberText(-2, 12), QStringLiteral(""));
    EXPECT_EQ(playTimeText(125), QStringLiteral("2:05"));
    EXPECT_EQ(playTimeText(59), QStringLiteral("0:59"));
    EXPECT_EQ(playTimeText(0), QStringLiteral("0:00"));
    EXPECT_EQ(playTimeText(3600), QStringLiteral("60:00"));
}

TEST(CategoryTexts, NoHandle)
{
    EXPECT_EQ(stringFromMediaFileRef(nullptr, kMediaFileDataIDTitle), QStringLiteral(""));
    EXPECT_EQ(stringRepresentationOfTrackNumberForMediaFile(nullptr), QStringLiteral(""));
    EXPECT_EQ(stringRepresentationOfTimeForMediaFile(nullptr), QStringLiteral(""));
}

class CategoryTextsOnFiles : public ::testing::TestWithParam<KindCase> {
protected:
    void SetUp() override
    {
        std::string reason = unavailableReason(GetParam());
        if (!reason.empty())
            GTEST_SKIP() << reason;
    }
    TempDir dir;
};

TEST_P(CategoryTextsOnFiles, TrackNumberFromTheFile)
{
    std::string path = dir.copyFixture(plainFixture(GetParam()), "Song.x.plain." + std::string(GetParam().extension));
    MediaFileWrapper wrapper = openWrapper(path);
    MediaFileRef ref = wrapper.mediaFileRef();
    EXPECT_EQ(stringRepresentationOfTrackNumberForMediaFile(ref), QStringLiteral(""));
    EXPECT_EQ(stringFromMediaFileRef(ref, kMediaFileDataIDTitle), QStringLiteral(""));
    EXPECT_EQ(stringFromMediaFileRef(ref, kMediaFileDataIDFilenameClean), QStringLiteral("Song.x.plain"));
    ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDTrackNumber, 3), kMediaFileNoErr);
    EXPECT_EQ(stringRepresentationOfTrackNumberForMediaFile(ref), QStringLiteral("3"));
    ASSERT_EQ(MediaFileSetInteger(ref, kMediaFileDataIDTotalTracks, 12), kMediaFileNoErr);
    EXPECT_EQ(stringRepresentationOfTrackNumberForMediaFile(ref), QStringLiteral("3 / 12"));
    ASSERT_EQ(wrapper.setMediaFileString(QStringLiteral("Grüße"), kMediaFileDataIDTitle, true), kMediaFileNoErr);
    EXPECT_EQ(stringFromMediaFileRef(ref, kMediaFileDataIDTitle), QStringLiteral("Grüße"));
}

TEST_P(CategoryTextsOnFiles, PlayTimeOnlyWhereTheKindHasIt)
{
    std::string path = dir.copyFixture(plainFixture(GetParam()));
    MediaFileWrapper wrapper = openWrapper(path);
    int32_t seconds = 0;
    QString expected = QStringLiteral("");
    if (MediaFileGetInteger(wrapper.mediaFileRef(), kMediaFileDataIDPlayTime, &seconds) == kMediaFileNoErr)
        expected = playTimeText(seconds);
    EXPECT_EQ(stringRepresentationOfTimeForMediaFile(wrapper.mediaFileRef()), expected);
    if (GetParam().kind == kMediaFileTypeMP3) {
        EXPECT_EQ(stringRepresentationOfTimeForMediaFile(wrapper.mediaFileRef()), QStringLiteral("0:00"))
            << "half a second of audio";
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, CategoryTextsOnFiles, ::testing::ValuesIn(kAudioKinds),
                         [](const auto &info) { return std::string(info.param.extension); });
