// The mapping from MPRIS metadata to the window's fields, without a bus.
#include "MprisMetadata.h"
#include "TestSupport.h"

#include <QDBusObjectPath>

#include <gtest/gtest.h>

#include <cmath>

using namespace kestrabel::player;

namespace {

TEST(MprisMetadata, FileUrlsArePercentDecodedAndOtherUrlsHaveNoPath)
{
    EXPECT_EQ(localPathFromUrl("file:///music/Low%20Tide.mp3"), "/music/Low Tide.mp3");
    EXPECT_EQ(localPathFromUrl("FILE:///music/a.mp3"), "/music/a.mp3");
    EXPECT_EQ(localPathFromUrl("file://localhost/music/a.mp3"), "/music/a.mp3");
    EXPECT_EQ(localPathFromUrl("file:///m%C3%BAsica/%E6%B5%B7.flac"), QString::fromUtf8("/música/海.flac"));
    // Players that forget to encode '#' and '?' still name the file.
    EXPECT_EQ(localPathFromUrl("file:///music/#1 Hit?.mp3"), "/music/#1 Hit?.mp3");
    EXPECT_TRUE(localPathFromUrl("file://server/music/a.mp3").isNull());
    EXPECT_TRUE(localPathFromUrl("http://example.invalid/a.mp3").isNull());
    EXPECT_TRUE(localPathFromUrl("file:").isNull());
    EXPECT_TRUE(localPathFromUrl("").isNull());
    EXPECT_TRUE(localPathFromUrl("file:///music/a%00b.mp3").isNull());
}

TEST(MprisMetadata, FileUrlsOfPathsRoundTrip)
{
    for (const QString &path : {QStringLiteral("/music/Low Tide #1.mp3"), QStringLiteral("/music/100% pure?.ogg"),
                               QString::fromUtf8("/música/海 & sea.flac")}) {
        const QString url = fileUrlForPath(path);
        EXPECT_TRUE(url.startsWith("file:///")) << url.toStdString();
        EXPECT_FALSE(url.contains(' ') || url.contains('#') || url.contains('?')) << url.toStdString();
        EXPECT_EQ(localPathFromUrl(url), path);
    }
}

TEST(MprisMetadata, ListsAreJoinedAndRatingsScaled)
{
    EXPECT_EQ(joinedText(QStringList{"A", "B"}), "A, B");
    EXPECT_EQ(joinedText(QStringList{"A", "", "C"}), "A, C");
    EXPECT_EQ(joinedText(QString("Solo")), "Solo");
    EXPECT_EQ(joinedText(QVariantList{"X", "Y"}), "X, Y");
    EXPECT_EQ(joinedText(QVariant()), "");

    EXPECT_EQ(ratingFromUserRating(0.8), 80);
    EXPECT_EQ(ratingFromUserRating(0.333), 33);
    EXPECT_EQ(ratingFromUserRating(1.0), 100);
    EXPECT_EQ(ratingFromUserRating(1.7), 100);
    EXPECT_EQ(ratingFromUserRating(-0.5), 0);
    EXPECT_EQ(ratingFromUserRating(std::nan("")), 0);
    EXPECT_EQ(ratingFromUserRating(QString("high")), 0);
    EXPECT_EQ(ratingFromUserRating(QVariant()), 0);
}

TEST(MprisMetadata, FieldsFromAMetadataMap)
{
    const QVariantMap metadata{
        {"mpris:trackid", QVariant::fromValue(QDBusObjectPath("/org/example/track/7"))},
        {"xesam:title", "Low Tide"},
        {"xesam:artist", QStringList{"The Gulls"}},
        {"xesam:album", "Harbour Lights"},
        {"xesam:genre", "Shanty"},
        {"xesam:trackNumber", 7},
        {"xesam:discNumber", 2},
        {"xesam:userRating", 0.4},
        {"xesam:url", "file:///music/Low%20Tide.mp3"},
        {"mpris:artUrl", "file:///music/cover.jpg"},
    };
    const TrackFields fields = fieldsFromMetadata(metadata);
    EXPECT_EQ(fields.title, "Low Tide");
    EXPECT_EQ(fields.artist, "The Gulls");
    EXPECT_EQ(fields.album, "Harbour Lights");
    EXPECT_EQ(fields.genre, "Shanty");
    EXPECT_EQ(fields.trackNumber, 7);
    EXPECT_EQ(fields.discNumber, 2);
    EXPECT_EQ(fields.rating, 40);
    EXPECT_EQ(fields.trackId, "/org/example/track/7");
    EXPECT_EQ(fields.path, "/music/Low Tide.mp3");
    EXPECT_EQ(fields.artUrl, "file:///music/cover.jpg");

    const TrackFields odd = fieldsFromMetadata({{"mpris:trackid", "/as/text"}, {"xesam:trackNumber", -3}});
    EXPECT_EQ(odd.trackId, "/as/text");
    EXPECT_EQ(odd.trackNumber, 0);
    EXPECT_TRUE(odd.path.isNull());
}

TEST(MprisMetadata, ArtworkFromDataAndFileUrls)
{
    EXPECT_EQ(imageFromArtUrl("data:image/png;base64,iVBORw0KGgo=", 1000), QByteArray::fromHex("89504e470d0a1a0a"));
    EXPECT_EQ(imageFromArtUrl("data:image/jpeg,%FF%D8%FF", 1000), QByteArray::fromHex("ffd8ff"));
    EXPECT_TRUE(imageFromArtUrl("data:image/png;base64,!!!!", 1000).isNull());
    EXPECT_TRUE(imageFromArtUrl("data:image/png;base64,", 1000).isNull());
    EXPECT_TRUE(imageFromArtUrl("data:image/png;base64", 1000).isNull());
    EXPECT_TRUE(imageFromArtUrl("data:image/png;base64,iVBORw0KGgo=", 4).isNull());

    kestrabel::test::TempDir folder;
    kestrabel::test::writeFile(folder.file("cover.jpg"), std::string("\xff\xd8\xff\xe0 jpeg", 9));
    kestrabel::test::writeFile(folder.file("empty.jpg"), std::string());
    const QString cover = QString::fromStdString(folder.file("cover.jpg"));
    EXPECT_EQ(imageFromArtUrl(fileUrlForPath(cover), 1000), QByteArray("\xff\xd8\xff\xe0 jpeg", 9));
    EXPECT_TRUE(imageFromArtUrl(fileUrlForPath(cover), 8).isNull());
    EXPECT_TRUE(imageFromArtUrl(fileUrlForPath(QString::fromStdString(folder.file("empty.jpg"))), 1000).isNull());
    EXPECT_TRUE(imageFromArtUrl(fileUrlForPath(QString::fromStdString(folder.file("missing.jpg"))), 1000).isNull());
    EXPECT_TRUE(imageFromArtUrl("https://images.invalid/cover.jpg", 1000).isNull());
    EXPECT_TRUE(imageFromArtUrl("", 1000).isNull());
}

} // namespace
