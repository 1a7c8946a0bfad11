#include "PropertyList.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSet>
#include <QTimeZone>

#include <plist/plist.h>

#include <cerrno>
#include <sys/stat.h>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>

namespace kestrabel {
namespace {

struct PlistDeleter {
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

struct FreeDeleter {
    void operator()(void *p) const { std::free(p); }
};
using CString = std::unique_ptr<char, FreeDeleter>;

// Property-list dates count seconds from the start of 2001, UTC.
const QDateTime &plistEpoch()
{
    static const QDateTime epoch(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc());
    return epoch;
}

std::optional<QVariant> fromPlist(plist_t node, int depth);

std::optional<QVariant> dictionaryFromPlist(plist_t node, int depth)
{
    QVariantMap map;
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node, &iter);
    if (!iter)
        return std::nullopt;
    std::unique_ptr<void, FreeDeleter> iterOwner(iter);
    for (;;) {
        char *rawKey = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iter, &rawKey, &value);
        CString key(rawKey);
        if (!value)
            break;
        std::optional<QVariant> converted = fromPlist(value, depth + 1);
        if (!converted)
            return std::nullopt;
        map.insert(QString::fromUtf8(key ? key.get() : ""), *converted);
    }
    return QVariant(map);
}

std::optional<QVariant> fromPlist(plist_t node, int depth)
{
    if (!node || depth > kMaxPropertyListDepth)
        return std::nullopt;
    switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
        // Not plist_get_string_val: it asserts that the text has no NUL inside, and a hostile
        // file can have one.
        uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        if (!text || length > uint64_t(std::numeric_limits<qsizetype>::max()))
            return QVariant(QString());
        return QVariant(QString::fromUtf8(text, qsizetype(length)));
    }
    case PLIST_UINT: {
        // libplist keeps every integer in 64 bits; a negative one comes back two's-complement.
        uint64_t raw = 0;
        plist_get_uint_val(node, &raw);
        auto value = static_cast<int64_t>(raw);
        if (value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max())
            return QVariant(int(value));
        return QVariant(qlonglong(value));
    }
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return QVariant(value != 0);
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return QVariant(value);
    }
    case PLIST_DATA: {
        char *raw = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &raw, &length);
        CString bytes(raw);
        if (length > uint64_t(std::numeric_limits<qsizetype>::max()) || (length > 0 && !bytes))
            return std::nullopt;
        return QVariant(QByteArray(bytes.get(), qsizetype(length)));
    }
    case PLIST_DATE: {
        int32_t seconds = 0, micros = 0;
        plist_get_date_val(node, &seconds, &micros);
        return QVariant(plistEpoch().addMSecs(qint64(seconds) * 1000 + micros / 1000));
    }
    case PLIST_ARRAY: {
        QVariantList list;
        uint32_t count = plist_array_get_size(node);
        for (uint32_t i = 0; i < count; ++i) {
            std::optional<QVariant> item = fromPlist(plist_array_get_item(node, i), depth + 1);
            if (!item)
                return std::nullopt;
            list.append(*item);
        }
        return QVariant(list);
    }
    case PLIST_DICT:
        return dictionaryFromPlist(node, depth);
    default:
        return std::nullopt;
    }
}

PlistPtr toPlist(const QVariant &value, const QStringList &keyOrder, int depth);

// XML 1.0 has no form for most control characters, not even as references, nor for U+FFFE,
// U+FFFF and a lone surrogate; a writer that puts them in makes a file no parser takes.
bool xmlCanHold(const QString &text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
            return false;
        if (c == 0xFFFE || c == 0xFFFF)
            return false;
        if (QChar::isHighSurrogate(c) && i + 1 < text.size() && QChar::isLowSurrogate(text[i + 1].unicode())) {
            ++i;
            continue;
        }
        if (QChar::isSurrogate(c))
            return false;
    }
    return true;
}

QString firstUnprintable(const QVariant &value, const QString &key, int depth)
{
    if (depth > kMaxPropertyListDepth)
        return {};
    switch (value.typeId()) {
    case QMetaType::QString:
        return xmlCanHold(value.toString()) ? QString() : key;
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
            if (!xmlCanHold(it.key()))
                return it.key();
            QString found = firstUnprintable(it.value(), it.key(), depth + 1);
            if (!found.isEmpty())
                return found;
        }
        return {};
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        for (const QVariant &item : value.toList()) {
            QString found = firstUnprintable(item, key, depth + 1);
            if (!found.isEmpty())
                return found;
        }
        return {};
    default:
        return {};
    }
}

PlistPtr dictionaryToPlist(const QVariantMap &map, const QStringList &keyOrder, int depth)
{
    PlistPtr dict(plist_new_dict());
    if (!dict)
        return nullptr;
    auto add = [&](const QString &key, const QVariant &value) {
        PlistPtr item = toPlist(value, keyOrder, depth + 1);
        if (!item)
            return false;
        plist_dict_set_item(dict.get(), key.toUtf8().constData(), item.release());
        return true;
    };
    QSet<QString> placed;
    for (const QString &key : keyOrder) {
        auto it = map.constFind(key);
        if (it == map.constEnd() || placed.contains(key))
            continue;
        if (!add(key, it.value()))
            return nullptr;
        placed.insert(key);
    }
    for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
        if (!placed.contains(it.key()) && !add(it.key(), it.value()))
            return nullptr;
    }
    return dict;
}

PlistPtr toPlist(const QVariant &value, const QStringList &keyOrder, int depth)
{
    if (depth > kMaxPropertyListDepth)
        return nullptr;
    switch (value.typeId()) {
    case QMetaType::QString:
        return PlistPtr(plist_new_string(value.toString().toUtf8().constData()));
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Long:
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::ULong:
        return PlistPtr(plist_new_uint(static_cast<uint64_t>(value.toLongLong())));
    case QMetaType::ULongLong:
        return PlistPtr(plist_new_uint(value.toULongLong()));
    case QMetaType::Bool:
        return PlistPtr(plist_new_bool(value.toBool() ? 1 : 0));
    case QMetaType::Double:
    case QMetaType::Float:
        return PlistPtr(plist_new_real(value.toDouble()));
    case QMetaType::QByteArray: {
        QByteArray bytes = value.toByteArray();
        return PlistPtr(plist_new_data(bytes.constData(), uint64_t(bytes.size())));
    }
    case QMetaType::QDateTime: {
        qint64 ms = plistEpoch().msecsTo(value.toDateTime());
        qint64 seconds = ms / 1000;
        if (ms % 1000 < 0)
            --seconds;
        if (seconds < std::numeric_limits<int32_t>::min() || seconds > std::numeric_limits<int32_t>::max())
            return nullptr;
        return PlistPtr(plist_new_date(int32_t(seconds), int32_t((ms - seconds * 1000) * 1000)));
    }
    case QMetaType::QVariantMap:
        return dictionaryToPlist(value.toMap(), keyOrder, depth);
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        PlistPtr array(plist_new_array());
        if (!array)
            return nullptr;
        for (const QVariant &item : value.toList()) {
            PlistPtr node = toPlist(item, keyOrder, depth + 1);
            if (!node)
                return nullptr;
            plist_array_append_item(array.get(), node.release());
        }
        return array;
    }
    default:
        return nullptr;
    }
}

} // namespace

std::optional<QVariantMap> propertyListDictionaryFromData(const QByteArray &bytes)
{
    // XML only, and no NUL byte anywhere (XML has none): libplist asserts, and so aborts, on a
    // key or text whose stored length disagrees with its C length, which a binary property list
    // or a raw NUL in XML can produce.
    if (bytes.isEmpty() || bytes.size() > kMaxPropertyListFileSize || bytes.contains('\0'))
        return std::nullopt;
    try {
        plist_t raw = nullptr;
        plist_from_xml(bytes.constData(), uint32_t(bytes.size()), &raw);
        PlistPtr root(raw);
        if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
            return std::nullopt;
        std::optional<QVariant> converted = fromPlist(root.get(), 0);
        if (!converted)
            return std::nullopt;
        return converted->toMap();
    } catch (const std::bad_alloc &) {
        return std::nullopt;
    }
}

std::optional<QVariantMap> readPropertyListDictionary(const QString &path)
{
    // Regular files only: a device or a pipe could block or never end.
    QFile file(path);
    if (path.isEmpty() || !QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) ||
        file.size() > kMaxPropertyListFileSize)
        return std::nullopt;
    try {
        QByteArray bytes = file.read(kMaxPropertyListFileSize + 1);
        return propertyListDictionaryFromData(bytes);
    } catch (const std::bad_alloc &) {
        return std::nullopt;
    }
}

QString keyXmlCannotHold(const QVariantMap &root)
{
    return firstUnprintable(QVariant(root), {}, 0);
}

QByteArray propertyListXml(const QVariantMap &root, const QStringList &keyOrder)
{
    if (!keyXmlCannotHold(root).isEmpty())
        return {};
    PlistPtr node = dictionaryToPlist(root, keyOrder, 0);
    if (!node)
        return {};
    char *raw = nullptr;
    uint32_t length = 0;
    plist_to_xml(node.get(), &raw, &length);
    if (!raw)
        return {};
    QByteArray xml(raw, qsizetype(length));
    plist_to_xml_free(raw);
    // A raw carriage return would be read back as a line feed by every XML parser.
    xml.replace("\r", "&#13;");
    return xml;
}

MediaFileStatus propertyListBytes(const QVariantMap &root, const QStringList &keyOrder, QByteArray *out)
{
    if (!keyXmlCannotHold(root).isEmpty())
        return kMediaFileErrBadFormat;
    try {
        *out = propertyListXml(root, keyOrder);
    } catch (const std::bad_alloc &) {
        return kMediaFileErrMemory;
    }
    return out->isEmpty() ? kMediaFileErrCantCreate : kMediaFileNoErr;
}

MediaFileStatus writeFileAtomically(const QString &path, const QByteArray &bytes)
{
    if (path.isEmpty())
        return kMediaFileErrBadPath;
    const QByteArray native = QFile::encodeName(path);
    QString target = path;
    struct stat existing {};
    if (::stat(native.constData(), &existing) == 0) {
        // A rename over a device or a FIFO would put a regular file in its place.
        if (!S_ISREG(existing.st_mode))
            return kMediaFileErrBadPath;
        // QSaveFile would replace a link by a file; the file behind it is the one meant.
        std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(native.constData(), nullptr), &std::free);
        if (resolved)
            target = QFile::decodeName(resolved.get());
    }
    QSaveFile file(target);
    errno = 0;
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        return errno > 0 ? MediaFileStatus(errno) : kMediaFileErrWrite;
    return kMediaFileNoErr;
}

MediaFileStatus writePropertyListAtomically(const QVariantMap &root, const QString &path, const QStringList &keyOrder)
{
    if (path.isEmpty())
        return kMediaFileErrBadPath;
    QByteArray xml;
    if (MediaFileStatus status = propertyListBytes(root, keyOrder, &xml))
        return status;
    return writeFileAtomically(path, xml);
}

} // namespace kestrabel
