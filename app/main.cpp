// kestrabel: the control window. `--toggle` shows or hides the window of the running instance,
// `--demo` plays a sample album first.
#include "AppDelegate.h"
#include "ControlWindowController.h"
#include "DemoSession.h"
#include "Images.h"
#include "Preferences.h"
#include "SingleInstance.h"

#include "PlayerConnection.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

using namespace kestrabel;

namespace {

int toggleRunningInstance(int argc, char **argv)
{
    QCoreApplication core(argc, argv);
    if (app::sendToggleToRunningInstance())
        return 0;
    std::fputs("kestrabel: no running Kestrabel answered on the session bus\n", stderr);
    return 1;
}

// The options, so that --help and --version can answer without a display connection.
struct Options {
    QCommandLineOption demo{QStringLiteral("demo"), QStringLiteral("Play the bundled sample album first.")};
    QCommandLineOption toggle{QStringLiteral("toggle"), QStringLiteral("Show or hide the window of the running Kestrabel.")};

    void addTo(QCommandLineParser &parser) const
    {
        parser.setApplicationDescription(
            QStringLiteral("Shows and edits the tags of the track your music player plays."));
        parser.addHelpOption();
        parser.addVersionOption();
        parser.addOption(demo);
        parser.addOption(toggle);
    }
};

void nameApplication()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Kestrabel"));
    QCoreApplication::setApplicationName(QStringLiteral("Kestrabel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KESTRABEL_VERSION));
}

int answerWithoutDisplay(int argc, char **argv)
{
    QCoreApplication core(argc, argv);
    nameApplication();
    QCommandLineParser parser;
    Options().addTo(parser);
    // Prints and exits for --help, --version and unknown options.
    parser.process(core);
    return 0;
}

int gSignalSocket[2] = {-1, -1};

void forwardSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(gSignalSocket[0], &byte, 1);
}

// Ctrl+C or a polite kill ends the event loop, so the window's place is saved and the demo's copy
// and player are cleaned up.
void quitOnTerminationSignals(QCoreApplication &application)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, gSignalSocket) != 0)
        return;
    auto *notifier = new QSocketNotifier(gSignalSocket[1], QSocketNotifier::Read, &application);
    QObject::connect(notifier, &QSocketNotifier::activated, &application, [notifier] {
        char byte = 0;
        [[maybe_unused]] const auto read = ::read(gSignalSocket[1], &byte, 1);
        notifier->setEnabled(false);
        QCoreApplication::quit();
    });
    struct sigaction action {};
    action.sa_handler = forwardSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

} // namespace

int main(int argc, char **argv)
{
    // A desktop shortcut bound to --toggle must work without a display connection of its own.
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--toggle") == 0)
            return toggleRunningInstance(argc, argv);
        for (const char *plain : {"--help", "-h", "-?", "--help-all", "--version", "-v"})
            if (std::strcmp(argv[i], plain) == 0)
                return answerWithoutDisplay(argc, argv);
    }

    QApplication application(argc, argv);
    nameApplication();
    QGuiApplication::setDesktopFileName(QStringLiteral("kestrabel"));
    QGuiApplication::setWindowIcon(app::iconNamed(QStringLiteral("kestrabel")));
    QApplication::setQuitOnLastWindowClosed(false);

    QCommandLineParser parser;
    const Options options;
    options.addTo(parser);
    parser.process(application);
    const QCommandLineOption &demo = options.demo;

    app::ApplicationBusInterface busInterface;
    if (app::claimSingleInstance(&busInterface) == app::InstanceClaim::Taken) {
        app::sendToggleToRunningInstance();
        return 0;
    }

    app::registerPreferenceDefaults();
    std::unique_ptr<player::PlayerConnection> player =
        player::createPlayerConnection(app::UserDefaults::stringForKey(QLatin1String(app::kPreferredPlayerKey)));

    std::unique_ptr<app::DemoSession> demoSession;
    if (parser.isSet(demo)) {
        QString error;
        demoSession = app::DemoSession::start(*player, &error);
        if (!demoSession) {
            std::fprintf(stderr, "kestrabel: cannot start the demo: %s\n", qPrintable(error));
            return 1;
        }
    }

    quitOnTerminationSignals(application);
    app::AppDelegate delegate(*player, nullptr, true);
    delegate.applicationDidFinishLaunching();
    busInterface.setController(delegate.mainController());
    const int status = application.exec();
    busInterface.setController(nullptr);
    return status;
}
