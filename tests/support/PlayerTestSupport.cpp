#include "PlayerTestSupport.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QStandardPaths>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/prctl.h>

namespace kestrabel::test {

namespace {

constexpr int kCallTimeoutMs = 5000;
QString busAddress;

// The bus daemon lives for the whole binary; it is killed when the binary exits, however it exits.
class BusDaemon : public ::testing::Environment {
    void SetUp() override { daemon_ = startPrivateBus(); }
    void TearDown() override { daemon_.reset(); }
    std::unique_ptr<ChildProcess> daemon_;
};

QDBusMessage call(const QString &service, const QString &path, const QString &interface, const QString &method,
                  const QVariantList &arguments = {})
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, method);
    call.setArguments(arguments);
    return QDBusConnection::sessionBus().call(call, QDBus::Block, kCallTimeoutMs);
}

QDBusMessage control(const QString &service, const QString &method, const QVariantList &arguments = {})
{
    return call(service, "/org/kestrabel/FakePlayer", "org.kestrabel.FakePlayer", method, arguments);
}

} // namespace

QString firstLine(QProcess &process)
{
    const QDeadlineTimer deadline(10000);
    while (!process.canReadLine() && !deadline.hasExpired() && process.state() == QProcess::Running)
        process.waitForReadyRead(100);
    return QString::fromUtf8(process.readLine()).trimmed();
}

std::unique_ptr<ChildProcess> startPrivateBus()
{
    if (QStandardPaths::findExecutable("dbus-daemon").isEmpty())
        return nullptr;
    auto daemon = std::make_unique<ChildProcess>(
        "dbus-daemon", QStringList{"--session", "--nofork", "--nopidfile", "--print-address=1", "--address=unix:tmpdir=/tmp"});
    const QString address = daemon->started() ? firstLine(daemon->process()) : QString();
    if (address.isEmpty())
        return nullptr;
    qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
    busAddress = address;
    return daemon;
}

bool privateBusRunning() { return !busAddress.isEmpty(); }

bool waitUntil(const std::function<bool()> &condition, int timeoutMs)
{
    for (const QDeadlineTimer deadline(timeoutMs); !condition(); QThread::msleep(10)) {
        if (deadline.hasExpired())
            return condition();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

void spinEvents(int milliseconds) { waitUntil([] { return false; }, milliseconds); }

ChildProcess::ChildProcess(const QString &program, const QStringList &arguments, const QStringList &environment)
{
    process_->setProgram(program);
    process_->setArguments(arguments);
    if (!environment.isEmpty())
        process_->setEnvironment(QProcess::systemEnvironment() + environment);
    process_->setStandardErrorFile(QProcess::nullDevice());
    // A test that crashes or is killed by its timeout must not leave players and buses behind.
    process_->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process_->start();
    started_ = process_->waitForStarted(kCallTimeoutMs);
}

void ChildProcess::kill()
{
    if (process_->state() == QProcess::NotRunning)
        return;
    process_->terminate();
    if (!process_->waitForFinished(2000))
        process_->kill(), process_->waitForFinished(kCallTimeoutMs);
}

bool busNameRegistered(const QString &name)
{
    QDBusConnectionInterface *daemon = QDBusConnection::sessionBus().interface();
    return daemon && daemon->isServiceRegistered(name).value();
}

QString fakePlayerPath() { return QStringLiteral(KESTRABEL_FAKE_MPRIS_PATH); }

FakePlayer::FakePlayer(const QString &name, const QJsonObject &state)
    : service_("org.mpris.MediaPlayer2." + name),
      child_(std::make_unique<ChildProcess>(fakePlayerPath(), QStringList{name, QJsonDocument(state).toJson(QJsonDocument::Compact)}))
{
    // The name must be held by this process: a fake of the same name that a test just ended may
    // still hold it while the bus has not yet seen it go.
    QDBusConnectionInterface *daemon = QDBusConnection::sessionBus().interface();
    const uint pid = uint(child_->process().processId());
    ready_ = child_->started() && daemon && waitUntil([&] { return daemon->servicePid(service_).value() == pid; });
}

bool FakePlayer::script(const QJsonObject &changes)
{
    return control(service_, "Script", {QString(QJsonDocument(changes).toJson(QJsonDocument::Compact))}).type() == QDBusMessage::ReplyMessage;
}

QStringList FakePlayer::calls()
{
    const QDBusMessage reply = control(service_, "Calls");
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toStringList() : QStringList{"<no answer>"};
}

void FakePlayer::clearCalls() { control(service_, "ClearCalls"); }

void FakePlayer::hang() { ::kill(pid_t(child_->process().processId()), SIGSTOP); }
void FakePlayer::resume() { ::kill(pid_t(child_->process().processId()), SIGCONT); }

void FakePlayer::vanish()
{
    resume(), child_->kill();
    waitUntil([&] { return !busNameRegistered(service_); });
}

void FakePlayer::vanishWithoutEvents()
{
    child_->kill();
    for (const QDeadlineTimer deadline(kCallTimeoutMs); busNameRegistered(service_) && !deadline.hasExpired();)
        QThread::msleep(10);
}

std::optional<QVariantMap> playerProperties(const QString &service, const QString &interface)
{
    const QDBusMessage reply = call(service, "/org/mpris/MediaPlayer2", "org.freedesktop.DBus.Properties", "GetAll", {interface});
    return reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()
               ? std::nullopt : std::optional(qdbus_cast<QVariantMap>(reply.arguments().constFirst().value<QDBusArgument>()));
}

ScopedEnv::ScopedEnv(const char *name, const QByteArray &value) : name_(name)
{
    if (qEnvironmentVariableIsSet(name))
        old_ = qgetenv(name);
    qputenv(name, value);
}

ScopedEnv::~ScopedEnv() { old_ ? qputenv(name_, *old_) : qunsetenv(name_); }

int runPlayerTests(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    if (!::testing::GTEST_FLAG(list_tests))
        ::testing::AddGlobalTestEnvironment(new BusDaemon);
    return RUN_ALL_TESTS();
}

} // namespace kestrabel::test
