#include <kestrabel/MediaFile.h>

#include <gtest/gtest.h>
#include <set>
#include <string>

TEST(Vocabulary, KindNames)
{
    EXPECT_STREQ(MediaFileGetTypeName(kMediaFileTypeUnsupported), "Unsupported");
    EXPECT_STREQ(MediaFileGetTypeName(kMediaFileTypeAIFF), "AIFF");
    EXPECT_STREQ(MediaFileGetTypeName(kMediaFileTypeQuickTime), "QuickTime");
    EXPECT_STREQ(MediaFileGetTypeName(10), "?");
    EXPECT_STREQ(MediaFileGetTypeName(-1), "?");
}

TEST(Vocabulary, DataIDNamesKeepTheirSpellingsAndGapsAreNotIDs)
{
    EXPECT_STREQ(MediaFileGetDataIDName(kMediaFileDataIDCopyright), "Copoyright");
    EXPECT_STREQ(MediaFileGetDataIDName(kMediaFileDataIDBWFOriginatorReference), "BWF Originater Reference");
    EXPECT_STREQ(MediaFileGetDataIDName(kMediaFileDataIDBandOrOrchestra), "Album Artist");
    EXPECT_STREQ(MediaFileGetDataIDName(kMediaFileDataIDArtwork), "Cover Art");
    EXPECT_STREQ(MediaFileGetDataIDName(kMediaFileDataIDParent9), "Parent9");
    for (int gap : {43, 99, 107, 149, 156, 199, 213, 299, 307, 399, 401, 500, 503, -1})
        EXPECT_EQ(MediaFileGetDataIDName(gap), nullptr) << gap;
}

TEST(Vocabulary, TableIsOrderedUniqueAndComplete)
{
    std::set<int> ids;
    int previous = -1;
    size_t count = MediaFileGetDataIDCount();
    EXPECT_EQ(count, 79u);
    for (size_t i = 0; i < count; ++i) {
        const MediaFileDataIDInfo *info = MediaFileGetDataIDInfoAt(i);
        EXPECT_GT(info->dataID, previous);
        previous = info->dataID;
        EXPECT_EQ(std::string(info->constantName).rfind("kMediaFileDataID", 0), 0u);
        EXPECT_NE(std::string("ISDP-").find(info->valueType), std::string::npos);
    }
    EXPECT_EQ(MediaFileGetDataIDInfoAt(count), nullptr);
}

TEST(Vocabulary, FindByAnyOfTheThreeNames)
{
    EXPECT_EQ(MediaFileFindDataID("kMediaFileDataIDTitle")->dataID, kMediaFileDataIDTitle);
    EXPECT_EQ(MediaFileFindDataID("title")->dataID, kMediaFileDataIDTitle);
    EXPECT_EQ(MediaFileFindDataID("TRACK NUMBER")->dataID, kMediaFileDataIDTrackNumber);
    EXPECT_EQ(MediaFileFindDataID("BandOrOrchestra")->dataID, kMediaFileDataIDBandOrOrchestra);
    EXPECT_EQ(MediaFileFindDataID("album artist")->dataID, kMediaFileDataIDBandOrOrchestra);
    EXPECT_EQ(MediaFileFindDataID("nonsense"), nullptr);
    EXPECT_EQ(MediaFileFindDataID(""), nullptr);
    EXPECT_EQ(MediaFileFindDataID(nullptr), nullptr);
}

TEST(Vocabulary, StatusNames)
{
    EXPECT_STREQ(MediaFileGetStatusName(-6755), "kMediaFileErrCantOpen");
    EXPECT_STREQ(MediaFileGetStatusName(0), "kMediaFileNoErr");
    EXPECT_STREQ(MediaFileGetStatusName(-6771), "kMediaFileErrExists");
    EXPECT_STREQ(MediaFileGetStatusName(-6748), "kMediaFileErrBadMagic");
    EXPECT_STREQ(MediaFileGetStatusName(-6715), "kMediaFileErrBadVersion");
    EXPECT_STREQ(MediaFileGetStatusName(2), "ENOENT");
    EXPECT_STREQ(MediaFileGetStatusName(2003), "kOggVorbisErrNotVorbis") << "above the errno range";
    EXPECT_STREQ(MediaFileGetStatusName(-2), "?");
    EXPECT_STRNE(MediaFileGetStatusMessage(-6735), "unknown status");
}
