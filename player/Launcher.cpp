#include "Launcher.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTextStream>

namespace kestrabel::player {

namespace {

constexpr int kXdgMimeWaitMs = 3000;

// Field codes that stand for files, URLs or the entry itself; a launcher without files to open
// drops them.
constexpr char kDroppedFieldCodes[] = "fFuUdDnNvmick";

QStringList applicationFolders()
{
    QStringList bases;
    const QString home = qEnvironmentVariable("XDG_DATA_HOME");
    bases << (home.isEmpty() ? QDir::homePath() + QStringLiteral("/.local/share") : home);
    QString dirs = qEnvironmentVariable("XDG_DATA_DIRS");
    if (dirs.isEmpty())
        dirs = QStringLiteral("/usr/local/share:/usr/share");
    bases << dirs.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    QStringList folders;
    for (const QString &base : bases)
        folders << base + QStringLiteral("/applications");
    return folders;
}

// The general escapes of desktop entry values; the Exec quoting comes after.
QString unescapeValue(const QString &value)
{
    QString result;
    for (qsizetype i = 0; i < value.size(); ++i) {
        const QChar c = value[i];
        if (c != QLatin1Char('\\') || i + 1 == value.size()) {
            result += c;
            continue;
        }
        const QChar next = value[++i];
        switch (next.unicode()) {
        case 's': result += QLatin1Char(' '); break;
        case 'n': result += QLatin1Char('\n'); break;
        case 't': result += QLatin1Char('\t'); break;
        case 'r': result += QLatin1Char('\r'); break;
        case '\\': result += QLatin1Char('\\'); break;
        default: result += QLatin1Char('\\'); result += next; break;
        }
    }
    return result;
}

} // namespace

QString findDesktopEntry(const QString &id)
{
    if (id.isEmpty() || id.contains(QLatin1Char('/')))
        return {};
    const bool isId = id.endsWith(QLatin1String(".desktop"));
    const QString fileName = isId ? id : id + QStringLiteral(".desktop");
    const QStringList folders = applicationFolders();
    for (const QString &folder : folders) {
        const QString candidate = folder + QLatin1Char('/') + fileName;
        if (QFileInfo(candidate).isFile())
            return candidate;
    }
    if (isId)
        return {};
    const QString suffix = QLatin1Char('.') + fileName;
    for (const QString &folder : folders) {
        const QStringList entries = QDir(folder).entryList({QStringLiteral("*.desktop")}, QDir::Files, QDir::Name);
        for (const QString &entry : entries)
            if (entry.endsWith(suffix, Qt::CaseInsensitive))
                return folder + QLatin1Char('/') + entry;
    }
    return {};
}

QStringList splitExecLine(const QString &exec)
{
    QStringList arguments;
    QString current;
    bool inArgument = false;
    bool quoted = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec[i];
        if (quoted) {
            if (c == QLatin1Char('"')) {
                quoted = false;
            } else if (c == QLatin1Char('\\') && i + 1 < exec.size()) {
                current += exec[++i];
            } else {
                current += c;
            }
            continue;
        }
        if (c == QLatin1Char(' ') || c == QLatin1Char('\t')) {
            if (inArgument)
                arguments << current;
            current.clear();
            inArgument = false;
            continue;
        }
        inArgument = true;
        if (c == QLatin1Char('"')) {
            quoted = true;
        } else if (c == QLatin1Char('%') && i + 1 < exec.size()) {
            const QChar code = exec[++i];
            if (code == QLatin1Char('%'))
                current += code;
            else if (!QByteArray(kDroppedFieldCodes).contains(char(code.unicode())))
                return {};
        } else {
            current += c;
        }
    }
    if (quoted)
        return {};
    if (inArgument)
        arguments << current;
    // An argument that was only a field code vanishes with it.
    arguments.removeAll(QString());
    return arguments;
}

QStringList commandOfDesktopEntry(const QString &entryPath)
{
    QFile file(entryPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text) || file.size() > 1024 * 1024)
        return {};
    QTextStream in(&file);
    bool inMainGroup = false;
    QString exec;
    while (!in.atEnd()) {
        const QString line = in.readLine().trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inMainGroup = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (!inMainGroup)
            continue;
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (equals < 0)
            continue;
        const QString key = line.left(equals).trimmed();
        const QString value = line.mid(equals + 1).trimmed();
        if (key == QLatin1String("Hidden") && value == QLatin1String("true"))
            return {};
        if (key == QLatin1String("Exec"))
            exec = unescapeValue(value);
    }
    return splitExecLine(exec);
}

QString defaultAudioPlayerEntry()
{
    QProcess query;
    query.start(QStringLiteral("xdg-mime"), {QStringLiteral("query"), QStringLiteral("default"), QStringLiteral("audio/mpeg")});
    if (!query.waitForStarted(kXdgMimeWaitMs))
        return {};
    if (!query.waitForFinished(kXdgMimeWaitMs)) {
        query.kill();
        query.waitForFinished(kXdgMimeWaitMs);
        return {};
    }
    if (query.exitStatus() != QProcess::NormalExit || query.exitCode() != 0)
        return {};
    const QString answer = QString::fromUtf8(query.readAllStandardOutput()).trimmed();
    // xdg-mime may list several entries separated by ';'; the first is the default.
    const QString first = answer.section(QLatin1Char(';'), 0, 0).trimmed();
    if (!first.endsWith(QLatin1String(".desktop")))
        return {};
    return first;
}

bool startPlayer(const QString &preferred)
{
    QStringList command;
    if (!preferred.isEmpty()) {
        const QString entry = findDesktopEntry(preferred);
        if (!entry.isNull())
            command = commandOfDesktopEntry(entry);
        if (command.isEmpty() && !preferred.contains(QLatin1Char('/')) && !preferred.endsWith(QLatin1String(".desktop"))
            && !QStandardPaths::findExecutable(preferred).isEmpty())
            command = QStringList{preferred};
    }
    if (command.isEmpty()) {
        const QString entry = findDesktopEntry(defaultAudioPlayerEntry());
        if (!entry.isNull())
            command = commandOfDesktopEntry(entry);
    }
    if (command.isEmpty())
        return false;
    const QString program = command.takeFirst();
    return QProcess::startDetached(program, command);
}

} // namespace kestrabel::player
