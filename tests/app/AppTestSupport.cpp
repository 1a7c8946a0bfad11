#include "AppTestSupport.h"

#include "Preferences.h"

#include "MediaFile.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <QUrl>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <optional>
#include <sys/prctl.h>

namespace kestrabel::apptest {

namespace {

constexpr int kStartMs = 10000;
constexpr int kCallTimeoutMs = 5000;
constexpr int kStopMs = 2000;

QString &busAddress()
{
    static QString address;
    return address;
}

QString &displayName()
{
    static QString name;
    return name;
}

// Reads the first line a starting server prints (its address or its display number).
QString firstLine(QProcess &process)
{
    const QDeadlineTimer deadline(kStartMs);
    while (!process.canReadLine() && !deadline.hasExpired() && process.state() == QProcess::Running)
        process.waitForReadyRead(100);
    return QString::fromUtf8(process.readLine()).trimmed();
}

std::unique_ptr<ChildProcess> startBus()
{
    if (QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty())
        return nullptr;
    auto daemon = std::make_unique<ChildProcess>(
        QStringLiteral("dbus-daemon"),
        QStringList{QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                    QStringLiteral("--print-address=1"), QStringLiteral("--address=unix:tmpdir=/tmp")});
    if (!daemon->started())
        return nullptr;
    const QString address = firstLine(daemon->process());
    if (address.isEmpty())
        return nullptr;
    qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
    busAddress() = address;
    return daemon;
}

} // namespace

int runTests(int argc, char **argv, Display display)
{
    ::testing::InitGoogleTest(&argc, argv);
    if (::testing::GTEST_FLAG(list_tests)) {
        QCoreApplication core(argc, argv);
        return RUN_ALL_TESTS();
    }
    // Settings, data and runtime folders of our own: nothing the user has may leak in or out.
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", QDir(home.path()).filePath(QStringLiteral("config")).toUtf8());
    qputenv("XDG_DATA_HOME", QDir(home.path()).filePath(QStringLiteral("data")).toUtf8());
    qputenv("XDG_RUNTIME_DIR", home.path().toUtf8());
    qputenv("XDG_DATA_DIRS", QDir(home.path()).filePath(QStringLiteral("system-data")).toUtf8());
    const std::unique_ptr<ChildProcess> bus = startBus();

    std::unique_ptr<ChildProcess> xserver;
    if (display == Display::OwnX11) {
        xserver = startXvfb(&displayName());
        if (xserver)
            qputenv("DISPLAY", displayName().toUtf8());
        qputenv("QT_QPA_PLATFORM", xserver ? "xcb" : "offscreen");
    } else {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    std::unique_ptr<QCoreApplication> application;
    if (display == Display::None)
        application = std::make_unique<QCoreApplication>(argc, argv);
    else
        application = std::make_unique<QApplication>(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Kestrabel"));
    QCoreApplication::setApplicationName(QStringLiteral("Kestrabel"));
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                       QDir(home.path()).filePath(QStringLiteral("config")));
    app::registerPreferenceDefaults();
    const int status = RUN_ALL_TESTS();
    application.reset();
    return status;
}

bool privateBusRunning()
{
    return !busAddress().isEmpty();
}

QString ownDisplay()
{
    return displayName();
}

bool waitUntil(const std::function<bool()> &condition, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return condition();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return true;
}

void spinEvents(int milliseconds)
{
    const QDeadlineTimer deadline(milliseconds);
    while (!deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
}

ChildProcess::ChildProcess(const QString &program, const QStringList &arguments, const QStringList &environment)
    : process_(std::make_unique<QProcess>())
{
    process_->setProgram(program);
    process_->setArguments(arguments);
    if (!environment.isEmpty()) {
        QStringList merged = QProcess::systemEnvironment();
        merged.append(environment);
        process_->setEnvironment(merged);
    }
    process_->setProcessChannelMode(QProcess::SeparateChannels);
    process_->setStandardErrorFile(QProcess::nullDevice());
    // A test that crashes or runs out of time must not leave servers and players behind.
    process_->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process_->start();
    started_ = process_->waitForStarted(kCallTimeoutMs);
}

ChildProcess::~ChildProcess()
{
    kill();
}

void ChildProcess::kill()
{
    if (process_->state() == QProcess::NotRunning)
        return;
    // Asked first, so that servers remove their lock files and sockets.
    process_->terminate();
    if (process_->waitForFinished(kStopMs))
        return;
    process_->kill();
    process_->waitForFinished(kCallTimeoutMs);
}

std::unique_ptr<ChildProcess> startXvfb(QString *display)
{
    if (QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty())
        return nullptr;
    constexpr int kAttempts = 8;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const int number = 200 + QRandomGenerator::global()->bounded(2000);
        auto server = std::make_unique<ChildProcess>(
            QStringLiteral("Xvfb"),
            QStringList{QStringLiteral(":%1").arg(number), QStringLiteral("-displayfd"), QStringLiteral("1"),
                        QStringLiteral("-screen"), QStringLiteral("0"), QStringLiteral("1024x640x24"),
                        QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        if (server->started() && !firstLine(server->process()).isEmpty()) {
            *display = QStringLiteral(":%1").arg(number);
            return server;
        }
    }
    return nullptr;
}

bool busNameRegistered(const QString &name)
{
    QDBusConnectionInterface *daemon = QDBusConnection::sessionBus().interface();
    return daemon && daemon->isServiceRegistered(name).value();
}

QString fakePlayerPath()
{
    return QStringLiteral(KESTRABEL_FAKE_MPRIS_PATH);
}

QString cliPath()
{
    return QStringLiteral(KESTRABEL_CLI_PATH);
}

namespace {

QDBusMessage controlCall(const QString &service, const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, QStringLiteral("/org/kestrabel/FakePlayer"),
                                                       QStringLiteral("org.kestrabel.FakePlayer"), method);
    call.setArguments(arguments);
    return QDBusConnection::sessionBus().call(call, QDBus::Block, kCallTimeoutMs);
}

} // namespace

FakePlayer::FakePlayer(const QString &name, const QJsonObject &state)
    : service_(QStringLiteral("org.mpris.MediaPlayer2.") + name),
      child_(std::make_unique<ChildProcess>(
          fakePlayerPath(), QStringList{name, QString::fromUtf8(QJsonDocument(state).toJson(QJsonDocument::Compact))}))
{
    ready_ = child_->started() && waitUntil([&] { return busNameRegistered(service_); });
}

bool FakePlayer::script(const QJsonObject &changes)
{
    const QDBusMessage reply = controlCall(service_, QStringLiteral("Script"),
                                           {QString::fromUtf8(QJsonDocument(changes).toJson(QJsonDocument::Compact))});
    return reply.type() == QDBusMessage::ReplyMessage;
}

QStringList FakePlayer::calls()
{
    const QDBusMessage reply = controlCall(service_, QStringLiteral("Calls"));
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {QStringLiteral("<no answer>")};
    return reply.arguments().constFirst().toStringList();
}

void FakePlayer::clearCalls()
{
    controlCall(service_, QStringLiteral("ClearCalls"));
}

bool FakePlayer::waitForCall(const QString &prefix, int timeoutMs)
{
    return waitUntil(
        [&] {
            for (const QString &call : calls()) {
                if (call.startsWith(prefix))
                    return true;
            }
            return false;
        },
        timeoutMs);
}

void FakePlayer::vanish()
{
    child_->kill();
    waitUntil([&] { return !busNameRegistered(service_); });
}

QString copyDemoTrack(const QString &name, const QString &folder, const QString &as)
{
    const QString target = QDir(folder).filePath(as.isEmpty() ? name : as);
    QFile::remove(target);
    if (!QFile::copy(QStringLiteral(KESTRABEL_DEMO_DIR "/") + name, target))
        return {};
    QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner);
    return target;
}

QJsonObject trackEntry(const QString &trackId, const QString &title, const QString &artist, const QString &album,
                       const QString &genre, const QString &filePath)
{
    QJsonObject entry{{QStringLiteral("mpris:trackid"), trackId}};
    if (!title.isNull())
        entry.insert(QStringLiteral("xesam:title"), title);
    if (!artist.isNull())
        entry.insert(QStringLiteral("xesam:artist"), QJsonArray{artist});
    if (!album.isNull())
        entry.insert(QStringLiteral("xesam:album"), album);
    if (!genre.isNull())
        entry.insert(QStringLiteral("xesam:genre"), QJsonArray{genre});
    if (!filePath.isEmpty())
        entry.insert(QStringLiteral("xesam:url"), QUrl::fromLocalFile(filePath).toString());
    return entry;
}

QString fileTag(const QString &path, int dataID)
{
    MediaFileRef ref = nullptr;
    if (MediaFileOpen(path.toUtf8().constData(), &ref, 0) != 0)
        return {};
    char *text = nullptr;
    QString value;
    if (MediaFileGetString(ref, dataID, &text) == 0 && text)
        value = QString::fromUtf8(text);
    std::free(text);
    MediaFileClose(ref);
    return value;
}

void resetSettings()
{
    QSettings(QStringLiteral("Kestrabel"), QStringLiteral("Kestrabel")).clear();
    app::registerPreferenceDefaults();
}

} // namespace kestrabel::apptest
