#include "ControlWindowController.h"

#include "CustomWindow.h"
#include "Preferences.h"

#include <cmath>

namespace kestrabel::app {

namespace {

constexpr float kFewestSecondsToShow = 1.0f;
constexpr float kMostSecondsToShow = 600.0f;

} // namespace

bool ControlWindowController::isWindowVisible() const
{
    return _window && _window->isVisible() && _window->windowOpacity() > 0.0;
}

bool ControlWindowController::isKeyWindow() const
{
    return _window && _window->isActiveWindow();
}

void ControlWindowController::dropEffect(std::unique_ptr<TransparencyWindowEffect> &effect)
{
    if (!effect)
        return;
    effect->stop();
    // The effect may be the one calling us from its own timer.
    effect.release()->deleteLater();
}

void ControlWindowController::toggleWindowVisibility()
{
    stopTimeToHideDisplayTimer();
    if (isWindowVisible() && !_moveOutEffect) {
        startWindowMovingOutOfView(true);
        return;
    }
    startWindowMovingIntoView(true);
}

void ControlWindowController::startWindowMovingIntoView(bool fast)
{
    if (_moveInEffect)
        return;
    dropEffect(_moveOutEffect);
    _moveInEffect = TransparencyWindowEffect::create(
        _window, [this](WindowEffect *) { moveWindowIntoViewFinished(); }, this);
    _moveInEffect->setFadeType(TransparencyWindowEffect::kFadeIn);
    _moveInEffect->setEffectLength(fast ? kFastFadeSeconds : kSlowFadeSeconds);
    _moveInEffect->start();
    // Brought back without taking the focus from whatever the user works in.
    if (!_window->isVisible())
        _window->show();
    _window->raise();
}

void ControlWindowController::moveWindowIntoViewFinished()
{
    dropEffect(_moveInEffect);
    dropEffect(_moveOutEffect);
    startTimeToHideDisplayTimer();
}

void ControlWindowController::startWindowMovingOutOfView(bool fast)
{
    if (_moveOutEffect)
        return;
    dropEffect(_moveInEffect);
    _moveOutEffect = TransparencyWindowEffect::create(
        _window, [this](WindowEffect *) { moveWindowOutOfViewFinished(); }, this);
    _moveOutEffect->setFadeType(TransparencyWindowEffect::kFadeOut);
    _moveOutEffect->setEffectLength(fast ? kFastFadeSeconds : kSlowFadeSeconds);
    _moveOutEffect->start();
}

void ControlWindowController::moveWindowOutOfViewFinished()
{
    dropEffect(_moveInEffect);
    dropEffect(_moveOutEffect);
    // A window at alpha 0 would still catch the mouse on X11; order it out.
    _window->hide();
}

void ControlWindowController::startTimeToHideDisplayTimer()
{
    if (UserDefaults::integerForKey(QLatin1String(kWindowShowStyle)) != 1 || isKeyWindow())
        return;
    _hideDisplayTimer.stop();
    _hideDisplayTimer.start(static_cast<int>(std::lround(_showWindowForSeconds * 1000.0f)));
}

void ControlWindowController::stopTimeToHideDisplayTimer()
{
    _hideDisplayTimer.stop();
}

void ControlWindowController::startTimeToHideDisplayTimerFired()
{
    _hideDisplayTimer.stop();
    startWindowMovingOutOfView(false);
}

void ControlWindowController::windowDidBecomeKey()
{
    stopTimeToHideDisplayTimer();
}

void ControlWindowController::windowDidResignKey()
{
    startTimeToHideDisplayTimer();
}

void ControlWindowController::windowShowParametersChangedNotification()
{
    float seconds = UserDefaults::floatForKey(QLatin1String(kSecondsToShowWindow));
    if (!(seconds >= kFewestSecondsToShow && seconds <= kMostSecondsToShow)) {
        seconds = kDefaultSecondsToShowWindow;
        UserDefaults::setFloat(seconds, QLatin1String(kSecondsToShowWindow));
    }
    _showWindowForSeconds = seconds;
    if (UserDefaults::integerForKey(QLatin1String(kWindowShowStyle)) == 1)
        startTimeToHideDisplayTimer();
    else
        stopTimeToHideDisplayTimer();
}

} // namespace kestrabel::app
