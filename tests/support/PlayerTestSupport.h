// A private session bus for the whole test binary, child processes that die with the test, the
// scriptable fake player, and bounded waits that keep the Qt event loop turning. The
// application's tests use them too.
#pragma once

#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

namespace kestrabel::test {

// The main() of a player test binary: a Qt application, and a private bus for all its tests.
int runPlayerTests(int argc, char **argv);
bool privateBusRunning();
// Runs the event loop until condition holds or timeoutMs passes; returns the last answer.
bool waitUntil(const std::function<bool()> &condition, int timeoutMs = 10000);
void spinEvents(int milliseconds);

// A child process killed when this object goes or the test process dies; environment entries
// ("NAME=value") are added to this process's own.
class ChildProcess {
public:
    ChildProcess(const QString &program, const QStringList &arguments, const QStringList &environment = {});
    ~ChildProcess() { kill(); }
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;
    bool started() const { return started_; }
    bool running() const { return process_->state() == QProcess::Running; }
    // Asks first, so that servers remove their lock files and sockets, then kills.
    void kill();
    QProcess &process() { return *process_; }

private:
    std::unique_ptr<QProcess> process_ = std::make_unique<QProcess>();
    bool started_ = false;
};

// Starts a session bus daemon and points DBUS_SESSION_BUS_ADDRESS at it; null when none would start.
std::unique_ptr<ChildProcess> startPrivateBus();
// The first line a starting server prints (its address or its display number).
QString firstLine(QProcess &process);
bool busNameRegistered(const QString &name);

class FakePlayer {
public:
    // Starts the fake as org.mpris.MediaPlayer2.<name>; ready() once this process holds the name.
    FakePlayer(const QString &name, const QJsonObject &state);
    // Waits until the name is off the bus, so that the next fake of that name can take it.
    ~FakePlayer() { vanishWithoutEvents(); }
    bool ready() const { return ready_; }
    QString service() const { return service_; }
    // Merges changes into the fake's state; it then announces its metadata and status.
    bool script(const QJsonObject &changes);
    // Every method call since the last clear, as "Method arg arg".
    QStringList calls();
    void clearCalls();
    // SIGSTOP: its names stay on the bus, but it answers nothing until resume().
    void hang();
    void resume();
    void vanish();
    // The same without running the event loop, so that no name-owner signal reaches anyone yet.
    void vanishWithoutEvents();

private:
    QString service_;
    std::unique_ptr<ChildProcess> child_;
    bool ready_ = false;
};

QString fakePlayerPath();
// One interface's properties straight from a player, bypassing the bridge.
std::optional<QVariantMap> playerProperties(const QString &service, const QString &interface);

// Sets an environment variable for the life of the object.
class ScopedEnv {
public:
    ScopedEnv(const char *name, const QByteArray &value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv &) = delete;
    ScopedEnv &operator=(const ScopedEnv &) = delete;

private:
    const char *name_;
    std::optional<QByteArray> old_;
};

} // namespace kestrabel::test
