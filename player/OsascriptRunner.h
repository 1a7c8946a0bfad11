// The script runner on systems with osascript (macOS): each script is one osascript process that
// reads the script on its standard input and prints the result in source form.
#pragma once

#include "ScriptRunner.h"

namespace kestrabel::player {

class OsascriptRunner : public ScriptRunner {
public:
    bool isPlayerRunning() override;
    bool launchPlayer() override;
    int run(const QByteArray &script) override;
    void runQuietly(const QByteArray &script) override;
    QString resultAsString(const QByteArray &script) override;
    qint32 resultAsLong(const QByteArray &script) override;
    quint32 resultAsEnum(const QByteArray &script) override;
    QString resultAsAliasPath(const QByteArray &script) override;
    std::optional<QStringList> resultAsStringList(const QByteArray &script) override;
    QByteArray resultAsData(const QByteArray &script, int prefix) override;
    QList<LibraryLocation> resultAsLibraryLocations(const QByteArray &script) override;
};

} // namespace kestrabel::player
