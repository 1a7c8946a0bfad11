#include "OsascriptRunner.h"

#include "AppleScriptValue.h"

#include <QProcess>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace kestrabel::player {

namespace {

constexpr int kScriptTimeoutMs = 10000;
// Results are cut where the in-process runner cut them: 2048 bytes of UTF-16.
constexpr qsizetype kMaxResultUnits = 1024;
constexpr qint64 kMaxOutputBytes = 64 * 1024 * 1024;
constexpr char kPlayerName[] = "iTunes";
constexpr char kPlayerBundle[] = "com.apple.iTunes";

struct Outcome {
    int error = 0;
    std::optional<AppleScriptValue> value;
};

// -1753 is AppleScript's "a script error occurred" for errors without a number of their own.
constexpr int kGenericScriptError = -1753;

int errorNumber(const QString &message)
{
    static const QRegularExpression number(QStringLiteral("\\((-?\\d+)\\)\\s*$"));
    const auto match = number.match(message.trimmed());
    return match.hasMatch() ? match.captured(1).toInt() : kGenericScriptError;
}

Outcome execute(const QByteArray &script)
{
    QProcess osascript;
    osascript.start(QStringLiteral("/usr/bin/osascript"), {QStringLiteral("-ss"), QStringLiteral("-")});
    if (!osascript.waitForStarted(kScriptTimeoutMs))
        return {kGenericScriptError, std::nullopt};
    osascript.write(script);
    osascript.closeWriteChannel();
    if (!osascript.waitForFinished(kScriptTimeoutMs)) {
        osascript.kill();
        osascript.waitForFinished(kScriptTimeoutMs);
        return {kGenericScriptError, std::nullopt};
    }
    const QByteArray output = osascript.readAllStandardOutput();
    if (osascript.exitStatus() != QProcess::NormalExit || osascript.exitCode() != 0)
        return {errorNumber(QString::fromUtf8(osascript.readAllStandardError())), std::nullopt};
    if (output.size() > kMaxOutputBytes)
        return {kGenericScriptError, std::nullopt};
    const QString text = QString::fromUtf8(output).trimmed();
    // A script without a result prints nothing.
    if (text.isEmpty())
        return {0, std::nullopt};
    return {0, parseAppleScriptValue(text)};
}

QString textOf(const AppleScriptValue &value)
{
    switch (value.kind) {
    case AppleScriptValue::Kind::Number:
        return QString::number(value.number);
    case AppleScriptValue::Kind::List:
        return {};
    default:
        return value.text;
    }
}

} // namespace

bool OsascriptRunner::isPlayerRunning()
{
    QProcess ps;
    ps.start(QStringLiteral("/bin/ps"), {QStringLiteral("-axco"), QStringLiteral("command")});
    if (!ps.waitForFinished(kScriptTimeoutMs))
        return false;
    return QString::fromLocal8Bit(ps.readAllStandardOutput()).contains(QLatin1String(kPlayerName));
}

bool OsascriptRunner::launchPlayer()
{
    QProcess open;
    open.start(QStringLiteral("/usr/bin/open"),
               {QStringLiteral("-g"), QStringLiteral("-j"), QStringLiteral("-b"), QLatin1String(kPlayerBundle)});
    return open.waitForFinished(kScriptTimeoutMs) && open.exitStatus() == QProcess::NormalExit && open.exitCode() == 0;
}

int OsascriptRunner::run(const QByteArray &script) { return execute(script).error; }

void OsascriptRunner::runQuietly(const QByteArray &script) { execute(script); }

QString OsascriptRunner::resultAsString(const QByteArray &script)
{
    const Outcome outcome = execute(script);
    if (!outcome.value)
        return QStringLiteral("");
    return firstUnits(textOf(*outcome.value), kMaxResultUnits);
}

qint32 OsascriptRunner::resultAsLong(const QByteArray &script)
{
    const Outcome outcome = execute(script);
    if (!outcome.value || outcome.value->kind != AppleScriptValue::Kind::Number || !std::isfinite(outcome.value->number))
        return 0;
    return qint32(std::clamp(outcome.value->number, -2147483648.0, 2147483647.0));
}

quint32 OsascriptRunner::resultAsEnum(const QByteArray &script)
{
    const Outcome outcome = execute(script);
    if (!outcome.value || outcome.value->kind != AppleScriptValue::Kind::Word)
        return 0;
    return playerStateCode(outcome.value->text);
}

QString OsascriptRunner::resultAsAliasPath(const QByteArray &script)
{
    const Outcome outcome = execute(script);
    if (!outcome.value || (outcome.value->kind != AppleScriptValue::Kind::Alias && outcome.value->kind != AppleScriptValue::Kind::File))
        return {};
    // The alias names an HFS path; AppleScript itself turns it into a POSIX one.
    QByteArray escaped = outcome.value->text.toUtf8();
    escaped.replace('\\', "\\\\").replace('"', "\\\"");
    const Outcome posix = execute("POSIX path of (\"" + escaped + "\" as alias)");
    if (!posix.value || posix.value->kind != AppleScriptValue::Kind::Text || posix.value->text.isEmpty())
        return {};
    return posix.value->text;
}

std::optional<QStringList> OsascriptRunner::resultAsStringList(const QByteArray &script)
{
    const Outcome outcome = execute(script);
    if (outcome.error != 0 || !outcome.value || outcome.value->kind != AppleScriptValue::Kind::List)
        return std::nullopt;
    QStringList texts;
    for (const AppleScriptValue &item : outcome.value->items)
        if (item.kind == AppleScriptValue::Kind::Text)
            texts << item.text;
    return texts;
}

QByteArray OsascriptRunner::resultAsData(const QByteArray &script, int prefix)
{
    const Outcome outcome = execute(script);
    if (!outcome.value || outcome.value->kind != AppleScriptValue::Kind::Data || outcome.value->data.isEmpty())
        return {};
    return QByteArray(prefix, '\0') + outcome.value->data;
}

QList<LibraryLocation> OsascriptRunner::resultAsLibraryLocations(const QByteArray &script)
{
    const Outcome outcome = execute(script);
    if (!outcome.value || outcome.value->kind != AppleScriptValue::Kind::List || outcome.value->items.size() != 2)
        return {};
    const AppleScriptValue &locations = outcome.value->items[0];
    const AppleScriptValue &ids = outcome.value->items[1];
    QList<LibraryLocation> entries;
    for (qsizetype i = 0; i < locations.items.size() && i < ids.items.size(); ++i) {
        const AppleScriptValue &location = locations.items[i];
        if (location.kind != AppleScriptValue::Kind::Alias && location.kind != AppleScriptValue::Kind::File
            && location.kind != AppleScriptValue::Kind::Text)
            continue;
        entries.append({firstUnits(location.text, kMaxResultUnits), qint32(ids.items[i].number)});
    }
    return entries;
}

} // namespace kestrabel::player
