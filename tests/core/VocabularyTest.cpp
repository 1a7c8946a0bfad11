#include <kestrabel/MediaFile.h>

#include <gtest/gtest.h>
#include <cstring>
#include <fstream>
#include <iterator>
#include <regex>
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

// A status the public header declares without a row in the library's name table, or without a
// line in the reference page, fails here.
TEST(Vocabulary, EveryDeclaredStatusHasItsNameAndText)
{
    std::ifstream header(KESTRABEL_PUBLIC_HEADER);
    ASSERT_TRUE(header) << KESTRABEL_PUBLIC_HEADER;
    const std::string text((std::istreambuf_iterator<char>(header)), std::istreambuf_iterator<char>());
    std::ifstream reference(KESTRABEL_API_REFERENCE);
    const std::string documented((std::istreambuf_iterator<char>(reference)), std::istreambuf_iterator<char>());
    const std::regex declared(R"(\b(k(?:MediaFile|OggVorbis)(?:Err\w*|NoErr)) = (-?\d+))");
    int count = 0;
    for (std::sregex_iterator it(text.begin(), text.end(), declared), end; it != end; ++it) {
        const std::string name = (*it)[1];
        if (name.ends_with("Base"))
            continue;
        const int value = std::stoi((*it)[2]);
        EXPECT_STREQ(MediaFileGetStatusName(value), name.c_str()) << value;
        EXPECT_NE(documented.find("`" + name + "`"), std::string::npos) << name << " is missing from docs/API.md";
        EXPECT_STRNE(MediaFileGetStatusMessage(value), "unknown status") << name;
        EXPECT_GT(std::strlen(MediaFileGetStatusMessage(value)), 5u) << name;
        ++count;
    }
    EXPECT_GE(count, 48);
    EXPECT_STREQ(MediaFileGetStatusName(2), "ENOENT");
    EXPECT_STREQ(MediaFileGetStatusName(-2), "?");
    EXPECT_STREQ(MediaFileGetStatusMessage(-2), "unknown status");
}

TEST(Vocabulary, GenreList)
{
    ASSERT_EQ(MediaFileGetGenreCount(), 148);
    EXPECT_STREQ(MediaFileGetGenreName(0), "Blues");
    EXPECT_STREQ(MediaFileGetGenreName(147), "SynthPop");
    EXPECT_EQ(MediaFileGetGenreName(148), nullptr);
    EXPECT_EQ(MediaFileGetGenreName(-1), nullptr);
}
