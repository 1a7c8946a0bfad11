#include "DemoSession.h"

#include "PlayerConnection.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <csignal>
#include <sys/prctl.h>

namespace kestrabel::app {

namespace {

constexpr int kStartMs = 5000;
constexpr int kStopMs = 3000;

const QStringList &audioPatterns()
{
    static const QStringList patterns{QStringLiteral("*.mp3"), QStringLiteral("*.m4a"), QStringLiteral("*.ogg"),
                                      QStringLiteral("*.flac"), QStringLiteral("*.wav"), QStringLiteral("*.aif*")};
    return patterns;
}

} // namespace

QString DemoSession::bundledAlbumFolder()
{
    const QDir binary(QCoreApplication::applicationDirPath());
    const QStringList candidates{
        binary.filePath(QStringLiteral("../share/kestrabel/demo")),
        QStringLiteral(KESTRABEL_DEMO_DIR),
    };
    for (const QString &candidate : candidates) {
        const QDir folder(candidate);
        if (folder.exists() && !folder.entryList(audioPatterns(), QDir::Files).isEmpty())
            return folder.canonicalPath();
    }
    return {};
}

QStringList DemoSession::mpvArguments(const QStringList &files)
{
    // No sound hardware (a container, a remote session) must not stop the demo: null comes last.
    QStringList arguments{QStringLiteral("--no-video"),       QStringLiteral("--no-terminal"),
                          QStringLiteral("--force-window=no"), QStringLiteral("--idle=no"),
                          QStringLiteral("--loop-playlist=inf"), QStringLiteral("--volume=60"),
                          QStringLiteral("--ao=pipewire,pulse,alsa,null"), QStringLiteral("--")};
    arguments.append(files);
    return arguments;
}

std::unique_ptr<DemoSession> DemoSession::start(player::PlayerConnection &player, QString *error)
{
    auto fail = [error](const QString &message) {
        if (error)
            *error = message;
        return nullptr;
    };
    const QString album = bundledAlbumFolder();
    if (album.isEmpty())
        return fail(QStringLiteral("the sample album is missing"));

    std::unique_ptr<DemoSession> session(new DemoSession);
    if (!session->folder_.isValid())
        return fail(QStringLiteral("cannot create a temporary folder: %1").arg(session->folder_.errorString()));
    const QDir source(album);
    for (const QString &name : source.entryList(audioPatterns(), QDir::Files, QDir::Name)) {
        const QString copy = QDir(session->folder_.path()).filePath(name);
        if (!QFile::copy(source.filePath(name), copy))
            return fail(QStringLiteral("cannot copy %1").arg(name));
        QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
        session->files_.append(copy);
    }

    if (player.isRunning())
        return session;
    const QString mpv = QStandardPaths::findExecutable(QStringLiteral("mpv"));
    if (mpv.isEmpty())
        return fail(QStringLiteral("no music player runs and mpv is not installed"));
    session->mpv_ = std::make_unique<QProcess>();
    session->mpv_->setProgram(mpv);
    session->mpv_->setArguments(mpvArguments(session->files_));
    session->mpv_->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    session->mpv_->setStandardOutputFile(QProcess::nullDevice());
    // The demo's player must not outlive us, however we end.
    session->mpv_->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    session->mpv_->start();
    if (!session->mpv_->waitForStarted(kStartMs))
        return fail(QStringLiteral("mpv did not start"));
    player.setPreferredPlayer(QStringLiteral("mpv"));
    return session;
}

DemoSession::~DemoSession()
{
    if (mpv_ && mpv_->state() != QProcess::NotRunning) {
        mpv_->terminate();
        if (!mpv_->waitForFinished(kStopMs)) {
            mpv_->kill();
            mpv_->waitForFinished(kStopMs);
        }
    }
}

} // namespace kestrabel::app
