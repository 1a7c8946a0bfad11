// One Kestrabel per session: the first instance owns a name on the session bus and offers Toggle
// there, so a second start (or `kestrabel --toggle`, bound to a desktop shortcut where no global
// hot key can be had) shows or hides the first one's window.
#pragma once

#include <QObject>
#include <QStringList>

#include <functional>

namespace kestrabel::app {

inline constexpr char kApplicationService[] = "org.kestrabel.Kestrabel";
inline constexpr char kApplicationPath[] = "/org/kestrabel/Kestrabel";
inline constexpr char kApplicationInterface[] = "org.kestrabel.Kestrabel";

class ControlWindowController;

class ApplicationBusInterface : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kestrabel.Kestrabel")
public:
    explicit ApplicationBusInterface(QObject *parent = nullptr) : QObject(parent) {}
    void setController(ControlWindowController *controller) { controller_ = controller; }

public slots:
    Q_SCRIPTABLE void Toggle();
    Q_SCRIPTABLE bool IsWindowVisible();
    // Title, artist, album and genre as the window shows them.
    Q_SCRIPTABLE QStringList ShownTrack();
    // The bus name of the player whose track the window shows; empty when none.
    Q_SCRIPTABLE QString ShownPlayer();

private:
    ControlWindowController *controller_ = nullptr;
};

enum class InstanceClaim {
    // This process is the one instance.
    Claimed,
    // Another instance owns the name.
    Taken,
    // No session bus: the process runs without the guard.
    NoBus,
};

// Registers the interface and takes the name. The interface object must live as long as the app.
InstanceClaim claimSingleInstance(ApplicationBusInterface *interface);
// Asks the running instance to toggle its window; false when none answers.
bool sendToggleToRunningInstance();

} // namespace kestrabel::app
