#include "MprisMetadata.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QFile>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace kestrabel::player {

namespace {

QStringList textList(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QStringList>())
        return value.toStringList();
    if (value.metaType() == QMetaType::fromType<QString>())
        return {value.toString()};
    if (value.metaType() == QMetaType::fromType<QVariantList>()) {
        QStringList texts;
        for (const QVariant &item : value.toList())
            if (item.canConvert<QString>())
                texts << item.toString();
        return texts;
    }
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const auto argument = value.value<QDBusArgument>();
        if (argument.currentType() == QDBusArgument::ArrayType && argument.currentSignature() == "as")
            return qdbus_cast<QStringList>(argument);
    }
    return {};
}

int wholeNumber(const QVariant &value)
{
    bool ok = false;
    const qlonglong number = value.toLongLong(&ok);
    if (!ok || number < 0 || number > 1'000'000)
        return 0;
    return int(number);
}

} // namespace

QString joinedText(const QVariant &value)
{
    QStringList texts = textList(value);
    texts.removeAll(QString());
    return texts.join(QStringLiteral(", "));
}

int ratingFromUserRating(const QVariant &value)
{
    bool ok = false;
    const double rating = value.toDouble(&ok);
    if (!ok || !std::isfinite(rating))
        return 0;
    return int(std::lround(std::clamp(rating, 0.0, 1.0) * 100.0));
}

TrackFields fieldsFromMetadata(const QVariantMap &metadata)
{
    TrackFields fields;
    fields.title = joinedText(metadata.value(QStringLiteral("xesam:title")));
    fields.artist = joinedText(metadata.value(QStringLiteral("xesam:artist")));
    fields.album = joinedText(metadata.value(QStringLiteral("xesam:album")));
    fields.genre = joinedText(metadata.value(QStringLiteral("xesam:genre")));
    fields.rating = ratingFromUserRating(metadata.value(QStringLiteral("xesam:userRating")));
    fields.trackNumber = wholeNumber(metadata.value(QStringLiteral("xesam:trackNumber")));
    fields.discNumber = wholeNumber(metadata.value(QStringLiteral("xesam:discNumber")));
    const QVariant trackId = metadata.value(QStringLiteral("mpris:trackid"));
    if (trackId.metaType() == QMetaType::fromType<QDBusObjectPath>())
        fields.trackId = trackId.value<QDBusObjectPath>().path();
    else
        // Some players send the track ID as a plain string.
        fields.trackId = trackId.toString();
    fields.url = metadata.value(QStringLiteral("xesam:url")).toString();
    fields.path = localPathFromUrl(fields.url);
    fields.artUrl = metadata.value(QStringLiteral("mpris:artUrl")).toString();
    return fields;
}

QString localPathFromUrl(const QString &url)
{
    static const QString scheme = QStringLiteral("file://");
    if (!url.startsWith(scheme, Qt::CaseInsensitive))
        return {};
    const QString rest = url.mid(scheme.size());
    const qsizetype slash = rest.indexOf(QLatin1Char('/'));
    if (slash < 0)
        return {};
    const QString host = rest.left(slash);
    if (!host.isEmpty() && host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) != 0)
        return {};
    // Decoded to bytes first: a percent-encoded name need not be UTF-8. A raw '#' or '?' is kept
    // as part of the name because players that forget to encode them are more common than file
    // URLs with a query.
    const QByteArray bytes = QByteArray::fromPercentEncoding(rest.mid(slash).toUtf8());
    if (bytes.contains('\0'))
        return {};
    return QFile::decodeName(bytes);
}

QString fileUrlForPath(const QString &path)
{
    // Unreserved characters and '/' stay as they are, everything else is encoded byte by byte.
    return QStringLiteral("file://") + QString::fromLatin1(QFile::encodeName(path).toPercentEncoding("/"));
}

QByteArray imageFromArtUrl(const QString &artUrl, qint64 maxBytes)
{
    if (artUrl.startsWith(QLatin1String("data:"), Qt::CaseInsensitive)) {
        const qsizetype comma = artUrl.indexOf(QLatin1Char(','));
        if (comma < 0)
            return {};
        const QString header = artUrl.mid(5, comma - 5);
        const QByteArray payload = artUrl.mid(comma + 1).toLatin1();
        if (payload.size() / 4 * 3 > maxBytes)
            return {};
        QByteArray image;
        if (header.endsWith(QLatin1String(";base64"), Qt::CaseInsensitive)) {
            auto decoded = QByteArray::fromBase64Encoding(payload, QByteArray::AbortOnBase64DecodingErrors);
            if (!decoded)
                return {};
            image = *decoded;
        } else {
            image = QByteArray::fromPercentEncoding(payload);
        }
        if (image.isEmpty() || image.size() > maxBytes)
            return {};
        return image;
    }
    const QString path = localPathFromUrl(artUrl);
    if (path.isNull())
        return {};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() <= 0 || file.size() > maxBytes)
        return {};
    QByteArray image = file.readAll();
    if (image.isEmpty())
        return {};
    return image;
}

} // namespace kestrabel::player
