// The mapping from MPRIS metadata to the window's fields, without a bus.
#include "MprisMetadata.h"
#include "TestSupport.h"

#include <QDBusObjectPath>

#include <gtest/gtest.h>

#include <cmath>

using namespace kestrabel::player;

TEST(MprisMetadata, UrlsTextsAndRatings)
{
    const std::pair<const char *, const char *> urls[] = {
        {"file:///music/Low%20Tide.mp3", "/music/Low Tide.mp3"}, {"FILE:///music/a.mp3", "/music/a.mp3"},
        {"file://localhost/music/a.mp3", "/music/a.mp3"}, {"file:///m%C3%BAsica/%E6%B5%B7.flac", "/música/海.flac"},
        // Players that forget to encode '#' and '?' still name the file.
        {"file:///music/#1 Hit?.mp3", "/music/#1 Hit?.mp3"}, {"file://server/music/a.mp3", nullptr},
        {"http://example.invalid/a.mp3", nullptr}, {"file:", nullptr}, {"", nullptr}, {"file:///music/a%00b.mp3", nullptr},
    };
    for (const auto &[url, path] : urls)
        EXPECT_EQ(localPathFromUrl(QString::fromUtf8(url)), path ? QString::fromUtf8(path) : QString()) << url;
    for (const QString path : {"/music/Low Tide #1.mp3", "/music/100% pure?.ogg", "/música/海 & sea.flac"}) {
        const QString url = fileUrlForPath(path);
        EXPECT_TRUE(url.startsWith("file:///") && !url.contains(' ') && !url.contains('#') && !url.contains('?')) << url.toStdString();
        EXPECT_EQ(localPathFromUrl(url), path);
    }
    const std::pair<QVariant, const char *> texts[] = {
        {QStringList{"A", "B"}, "A, B"}, {QStringList{"A", "", "C"}, "A, C"}, {QString("Solo"), "Solo"},
        {QVariantList{"X", "Y"}, "X, Y"}, {QVariant(), ""}};
    for (const auto &[value, text] : texts)
        EXPECT_EQ(joinedText(value), text) << text;
    const std::pair<QVariant, int> ratings[] = {{0.8, 80}, {0.333, 33}, {1.0, 100}, {1.7, 100}, {-0.5, 0},
                                                {std::nan(""), 0}, {QString("high"), 0}, {QVariant(), 0}};
    for (const auto &[value, rating] : ratings)
        EXPECT_EQ(ratingFromUserRating(value), rating) << value.toString().toStdString();
}

TEST(MprisMetadata, FieldsFromAMetadataMap)
{
    const TrackFields fields = fieldsFromMetadata({
        {"mpris:trackid", QVariant::fromValue(QDBusObjectPath("/org/example/track/7"))}, {"xesam:title", "Low Tide"},
        {"xesam:artist", QStringList{"The Gulls"}}, {"xesam:album", "Harbour Lights"}, {"xesam:genre", "Shanty"},
        {"xesam:trackNumber", 7}, {"xesam:discNumber", 2}, {"xesam:userRating", 0.4},
        {"xesam:url", "file:///music/Low%20Tide.mp3"}, {"mpris:artUrl", "file:///music/cover.jpg"},
    });
    EXPECT_EQ(QStringList({fields.title, fields.artist, fields.album, fields.genre, fields.trackId, fields.path, fields.artUrl}),
              QStringList({"Low Tide", "The Gulls", "Harbour Lights", "Shanty", "/org/example/track/7", "/music/Low Tide.mp3",
                           "file:///music/cover.jpg"}));
    EXPECT_EQ(std::tuple(fields.trackNumber, fields.discNumber, fields.rating), std::tuple(7, 2, 40));
    const TrackFields odd = fieldsFromMetadata({{"mpris:trackid", "/as/text"}, {"xesam:trackNumber", -3}});
    EXPECT_EQ(odd.trackId, "/as/text");
    EXPECT_EQ(odd.trackNumber, 0);
    EXPECT_TRUE(odd.path.isNull());
}

TEST(MprisMetadata, ArtworkFromDataAndFileUrls)
{
    kestrabel::test::TempDir folder;
    kestrabel::test::writeFile(folder.file("cover.jpg"), std::string("\xff\xd8\xff\xe0 jpeg", 9));
    kestrabel::test::writeFile(folder.file("empty.jpg"), std::string());
    const auto url = [&](const char *name) { return fileUrlForPath(QString::fromStdString(folder.file(name))); };
    const struct {
        QString url;
        int limit;
        QByteArray image; // null: none
    } rows[] = {
        {"data:image/png;base64,iVBORw0KGgo=", 1000, QByteArray::fromHex("89504e470d0a1a0a")},
        {"data:image/jpeg,%FF%D8%FF", 1000, QByteArray::fromHex("ffd8ff")},
        {"data:image/png;base64,!!!!", 1000, {}}, {"data:image/png;base64,", 1000, {}}, {"data:image/png;base64", 1000, {}},
        {"data:image/png;base64,iVBORw0KGgo=", 4, {}}, {url("cover.jpg"), 1000, QByteArray("\xff\xd8\xff\xe0 jpeg", 9)},
        {url("cover.jpg"), 8, {}}, {url("empty.jpg"), 1000, {}}, {url("missing.jpg"), 1000, {}},
        {"https://images.invalid/cover.jpg", 1000, {}}, {"", 1000, {}},
    };
    for (const auto &row : rows) {
        const QByteArray image = imageFromArtUrl(row.url, row.limit);
        EXPECT_EQ(image, row.image) << row.url.toStdString() << " " << row.limit;
        EXPECT_EQ(image.isNull(), row.image.isNull()) << row.url.toStdString();
    }
}
