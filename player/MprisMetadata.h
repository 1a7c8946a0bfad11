// How an MPRIS metadata map becomes the fields the window shows.
#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

namespace kestrabel::player {

struct TrackFields {
    QString title;
    QString artist;
    QString album;
    QString genre;
    int rating = 0;
    int trackNumber = 0;
    int discNumber = 0;
    QString trackId;
    QString url;
    // Null unless url names a local file.
    QString path;
    QString artUrl;
};

TrackFields fieldsFromMetadata(const QVariantMap &metadata);

// A text or a list of texts (players disagree on which xesam:artist and xesam:genre are),
// lists joined with ", ".
QString joinedText(const QVariant &value);

// xesam:userRating (0.0 to 1.0) on the 0 to 100 scale, 0 when absent or not a number.
int ratingFromUserRating(const QVariant &value);

// The local path of a file:// URL, percent-decoded; null for any other URL.
QString localPathFromUrl(const QString &url);
// The file:// URL of an absolute local path, percent-encoded as players expect it.
QString fileUrlForPath(const QString &path);

// The image an mpris:artUrl names when it is a file:// or data: URL; null otherwise, or when
// the image is missing, empty or larger than maxBytes.
QByteArray imageFromArtUrl(const QString &artUrl, qint64 maxBytes);

} // namespace kestrabel::player
