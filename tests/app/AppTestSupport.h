// What the application's tests share: a private session bus and private settings for each test
// process, the scriptable fake MPRIS player (the player bridge's test program), an X server of
// our own where a test needs real X11, and bounded waits that keep the event loop turning.
#pragma once

#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

namespace kestrabel::apptest {

// How main() prepares the process before QApplication exists.
enum class Display {
    Offscreen,
    // An Xvfb of this test's own, with the xcb platform; tests skip without Xvfb.
    OwnX11,
    // No QApplication at all (the end-to-end test drives separate processes).
    None,
};
int runTests(int argc, char **argv, Display display);

bool privateBusRunning();
// The DISPLAY of the test's own X server; empty when there is none.
QString ownDisplay();

// Runs the event loop until condition holds or timeoutMs passes; returns the last answer.
bool waitUntil(const std::function<bool()> &condition, int timeoutMs = 10000);
// Runs the event loop for a moment, for "nothing else happens" checks.
void spinEvents(int milliseconds);

// A child process killed when this object goes, or when the test process dies.
class ChildProcess {
public:
    ChildProcess(const QString &program, const QStringList &arguments, const QStringList &environment = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;
    bool started() const { return started_; }
    bool running() const { return process_->state() == QProcess::Running; }
    void kill();
    QProcess &process() { return *process_; }

private:
    std::unique_ptr<QProcess> process_;
    bool started_ = false;
};

bool busNameRegistered(const QString &name);

// An Xvfb on a display number picked at random away from the usual low ones, so that parallel
// tests (and servers other tests left behind) never share one; null when none would start.
std::unique_ptr<ChildProcess> startXvfb(QString *display);

// The fake player of the player bridge's tests, as org.mpris.MediaPlayer2.<name>.
class FakePlayer {
public:
    FakePlayer(const QString &name, const QJsonObject &state);
    bool ready() const { return ready_; }
    QString service() const { return service_; }
    bool script(const QJsonObject &changes);
    // Every call the fake received since the last clear, as "Method arg arg".
    QStringList calls();
    void clearCalls();
    // Waits until a call starting with prefix arrived.
    bool waitForCall(const QString &prefix, int timeoutMs = 5000);
    void vanish();

private:
    QString service_;
    std::unique_ptr<ChildProcess> child_;
    bool ready_ = false;
};

QString fakePlayerPath();
QString cliPath();

// A copy of a sample-album track ("01 Hovering.mp3") in folder.
QString copyDemoTrack(const QString &name, const QString &folder, const QString &as = {});
// One entry of the fake's track list.
QJsonObject trackEntry(const QString &trackId, const QString &title, const QString &artist, const QString &album,
                       const QString &genre, const QString &filePath = {});

// Reads one text value of a file with the tag library; null when it has none.
QString fileTag(const QString &path, int dataID);

// Empties the application's settings and registers the defaults again.
void resetSettings();

} // namespace kestrabel::apptest
