// Runs a fixed script against a scripted player and reads its result in one of the shapes the
// command catalogue needs. Every reader answers its empty value when the script fails.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace kestrabel::player {

// One file track of the player's library: where it is, as the player writes locations, and its
// database ID.
struct LibraryLocation {
    QString location;
    qint32 databaseID = 0;
};

class ScriptRunner {
public:
    virtual ~ScriptRunner() = default;

    // Loose on purpose: any running application whose name contains the player's name counts.
    virtual bool isPlayerRunning() = 0;
    // Starts the player hidden; false when it could not be started.
    virtual bool launchPlayer() = 0;

    // The script's error code, 0 for success.
    virtual int run(const QByteArray &script) = 0;
    virtual void runQuietly(const QByteArray &script) = 0;

    // Empty on failure, never null.
    virtual QString resultAsString(const QByteArray &script) = 0;
    virtual qint32 resultAsLong(const QByteArray &script) = 0;
    // A four-character code; 0 on failure.
    virtual quint32 resultAsEnum(const QByteArray &script) = 0;
    // The POSIX path of an alias result; null when there is none.
    virtual QString resultAsAliasPath(const QByteArray &script) = 0;
    // Every item of a list of texts; nothing when the script fails.
    virtual std::optional<QStringList> resultAsStringList(const QByteArray &script) = 0;
    // The result's bytes after prefix zero bytes; null when the result is empty.
    virtual QByteArray resultAsData(const QByteArray &script, int prefix) = 0;
    // A result that is a list of two lists, locations and database IDs, paired up; run quietly.
    virtual QList<LibraryLocation> resultAsLibraryLocations(const QByteArray &script) = 0;
};

} // namespace kestrabel::player
