#include "ControlWindowController.h"

#include "HotKeyMapping.h"
#include "Preferences.h"

#include <QDBusConnection>
#include <QtDebug>

namespace kestrabel::app {

namespace {

QString gCurrentStatusMessage;
bool gCurrentUnavailable = false;

} // namespace

QString ControlWindowController::currentHotKeyStatusMessage()
{
    return gCurrentStatusMessage;
}

bool ControlWindowController::currentHotKeyUnavailable()
{
    return gCurrentUnavailable;
}

void ControlWindowController::installGlobalHotKey()
{
    const int modifier1 = UserDefaults::integerForKey(QLatin1String(kShowWindowKeyModifierKeyCode1));
    const int modifier2 = UserDefaults::integerForKey(QLatin1String(kShowWindowKeyModifierKeyCode2));
    const int keyCode = UserDefaults::integerForKey(QLatin1String(kShowWindowKeyCode));
    _hotKeyModifierMask = app::hotKeyModifierMask(modifier1, modifier2);
    if (keyCode < 1) {
        setHotKeyStatus(GlobalHotKey::Status::NotSet, keyCode);
    } else if (GlobalHotKey::onWaylandSession()) {
        // An X11 grab under XWayland would see keys only while an X11 window has the focus.
        _hotKeyPortal = std::make_unique<ShortcutPortal>(QDBusConnection::sessionBus(),
                                                         ShortcutPortal::triggerFor(keyCode, _hotKeyModifierMask));
        connect(_hotKeyPortal.get(), &ShortcutPortal::activated, this, &ControlWindowController::toggleWindowVisibility);
        connect(_hotKeyPortal.get(), &ShortcutPortal::stateChanged, this, [this, keyCode](ShortcutPortal::State state) {
            setHotKeyStatus(state == ShortcutPortal::State::Bound     ? GlobalHotKey::Status::ThroughDesktop
                            : state == ShortcutPortal::State::Refused ? GlobalHotKey::Status::Refused
                                                                      : GlobalHotKey::Status::Unavailable,
                            keyCode);
        });
        setHotKeyStatus(GlobalHotKey::Status::Asking, keyCode);
        _hotKeyPortal->start();
    } else {
        GlobalHotKey::Status status = GlobalHotKey::Status::Unavailable;
        _hotKeyRef = GlobalHotKey::registerHotKey(keyCode, _hotKeyModifierMask, &status);
        if (_hotKeyRef)
            connect(_hotKeyRef.get(), &GlobalHotKey::pressed, this, &ControlWindowController::toggleWindowVisibility);
        setHotKeyStatus(status, keyCode);
    }
}

void ControlWindowController::setHotKeyStatus(GlobalHotKey::Status status, int keyCode)
{
    _hotKeyStatus = status;
    _hotKeyStatusMessage = GlobalHotKey::statusMessage(status, keyCode, _hotKeyModifierMask);
    gCurrentStatusMessage = _hotKeyStatusMessage;
    gCurrentUnavailable = status == GlobalHotKey::Status::Unavailable || status == GlobalHotKey::Status::Refused;
    if (status == GlobalHotKey::Status::AlreadyTaken || status == GlobalHotKey::Status::UnknownKey
        || status == GlobalHotKey::Status::Refused)
        qWarning("%s", qPrintable(_hotKeyStatusMessage));
    emit PreferenceNotifier::defaultCenter().hotKeyStatusChanged();
}

void ControlWindowController::uninstallGlobalHotKey()
{
    _hotKeyRef.reset();
    _hotKeyPortal.reset();
}

void ControlWindowController::modifiersChangedNotification()
{
    uninstallGlobalHotKey();
    installGlobalHotKey();
}

} // namespace kestrabel::app
