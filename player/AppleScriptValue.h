// AppleScript results as osascript -ss prints them (the recompilable source form): texts,
// numbers, lists, aliases and files, raw data and bare words such as enumerators.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace kestrabel::player {

struct AppleScriptValue {
    enum class Kind { Text, Number, List, Alias, File, Data, Word };
    Kind kind = Kind::Word;
    // Text, the path of an alias or file, or the word.
    QString text;
    double number = 0;
    // The four-character type of raw data ("PICT") and its bytes.
    QByteArray dataType;
    QByteArray data;
    QList<AppleScriptValue> items;
};

// Nothing when the text is not one complete value or nests deeper than a sane limit.
std::optional<AppleScriptValue> parseAppleScriptValue(const QString &source);

// The four-character code of a player-state enumerator as osascript names it; 0 for others.
quint32 playerStateCode(const QString &word);

// At most units UTF-16 units of text, never splitting a surrogate pair.
QString firstUnits(const QString &text, qsizetype units);

} // namespace kestrabel::player
