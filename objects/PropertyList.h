// XML property lists as Qt values, through libplist. Values map as: string <-> QString,
// integer <-> int (qlonglong when it does not fit), data <-> QByteArray, true/false <-> bool,
// real <-> double, date <-> QDateTime (UTC), array <-> QVariantList, dict <-> QVariantMap.
#pragma once

#include <kestrabel/MediaFile.h>

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

namespace kestrabel {

// A property-list file larger than this is not read.
constexpr qint64 kMaxPropertyListFileSize = qint64(512) << 20;
// Containers nested deeper than this are refused in both directions.
constexpr int kMaxPropertyListDepth = 64;

// XML only. Nothing when the bytes are not an XML property list or its root is not a dictionary.
std::optional<QVariantMap> propertyListDictionaryFromData(const QByteArray &bytes);
// Nothing when the file is missing, unreadable, too large or not a dictionary property list.
std::optional<QVariantMap> readPropertyListDictionary(const QString &path);

// The first key whose text (or the key itself) holds a character XML cannot hold, a control
// character such as U+0001; empty when every text can be written.
QString keyXmlCannotHold(const QVariantMap &root);

// The XML text; keys listed in keyOrder come first in that order, at every level, the others
// follow sorted. Empty when a value has a type a property list cannot hold, or a text XML
// cannot hold.
QByteArray propertyListXml(const QVariantMap &root, const QStringList &keyOrder = {});

// propertyListXml with a status: kMediaFileErrBadFormat for a text XML cannot hold,
// kMediaFileErrCantCreate for a value that cannot be written,
// kMediaFileErrMemory when memory runs out.
MediaFileStatus propertyListBytes(const QVariantMap &root, const QStringList &keyOrder, QByteArray *out);

// Writes a temporary file in the target's folder and renames it over path, so a reader never
// sees half a file. 0, an errno, kMediaFileErrBadFormat (nothing written) for a text XML
// cannot hold, or kMediaFileErrCantCreate for a value of a type that cannot be written; the
// target's rules are those of writeFileAtomically.
MediaFileStatus writePropertyListAtomically(const QVariantMap &root, const QString &path,
                                            const QStringList &keyOrder = {});

// The same for any bytes. An existing path that is not a regular file (a folder, a device, a
// FIFO, a socket) is refused with kMediaFileErrBadPath before anything is written; through a
// symbolic link the file behind it is replaced and the link stays. 0 or an errno otherwise.
MediaFileStatus writeFileAtomically(const QString &path, const QByteArray &bytes);

} // namespace kestrabel
