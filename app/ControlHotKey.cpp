#include "ControlWindowController.h"

#include "HotKeyMapping.h"
#include "Preferences.h"

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
    _hotKeyStatus = GlobalHotKey::Status::NotSet;
    if (keyCode >= 1)
        _hotKeyRef = GlobalHotKey::registerHotKey(keyCode, _hotKeyModifierMask, &_hotKeyStatus);
    _hotKeyStatusMessage = GlobalHotKey::statusMessage(_hotKeyStatus, keyCode, _hotKeyModifierMask);
    gCurrentStatusMessage = _hotKeyStatusMessage;
    gCurrentUnavailable = _hotKeyStatus == GlobalHotKey::Status::Unavailable;
    if (_hotKeyRef) {
        connect(_hotKeyRef.get(), &GlobalHotKey::pressed, this, &ControlWindowController::toggleWindowVisibility);
    } else if (_hotKeyStatus == GlobalHotKey::Status::AlreadyTaken ||
               _hotKeyStatus == GlobalHotKey::Status::UnknownKey) {
        qWarning("%s", qPrintable(_hotKeyStatusMessage));
    }
}

void ControlWindowController::uninstallGlobalHotKey()
{
    _hotKeyRef.reset();
}

void ControlWindowController::modifiersChangedNotification()
{
    uninstallGlobalHotKey();
    installGlobalHotKey();
}

} // namespace kestrabel::app
