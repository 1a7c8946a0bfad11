// `kestrabel --demo`: a copy of the bundled sample album in a temporary folder, played by mpv
// (with its MPRIS plugin) when no player runs yet, so that the window has something to show.
#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

namespace kestrabel::player {
class PlayerConnection;
}

namespace kestrabel::app {

class DemoSession {
public:
    // Null, with the reason in *error, when the album or a player cannot be had.
    static std::unique_ptr<DemoSession> start(player::PlayerConnection &player, QString *error);
    // Where the sample album is installed or, in a build tree, kept in the sources.
    static QString bundledAlbumFolder();
    static QStringList mpvArguments(const QStringList &files);

    // Stops the player it started and removes the copy.
    ~DemoSession();
    DemoSession(const DemoSession &) = delete;
    DemoSession &operator=(const DemoSession &) = delete;

    QString folder() const { return folder_.path(); }
    QStringList files() const { return files_; }
    bool startedPlayer() const { return mpv_ != nullptr; }

private:
    DemoSession() = default;

    QTemporaryDir folder_;
    QStringList files_;
    std::unique_ptr<QProcess> mpv_;
};

} // namespace kestrabel::app
