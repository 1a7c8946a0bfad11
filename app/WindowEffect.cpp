#include "WindowEffect.h"

#include "ScreenGeometry.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace kestrabel::app {

WindowEffect::WindowEffect(QWidget *window) : mWindow(window) {}

void WindowEffect::modifyWindow(QWidget *) {}

void WindowEffect::setEffectCompletionSelector(CompletionSelector selector, QObject *target)
{
    mEffectCompleteSelector = std::move(selector);
    mEffectCompleteTarget = target;
}

void WindowEffect::effectIsComplete()
{
    if (mEffectCompleteTarget && mEffectCompleteSelector)
        mEffectCompleteSelector(this);
}

void WindowEffect::setWindow(QWidget *window)
{
    mWindow = window;
}

void WindowEffect::start() {}

void WindowEffect::stop() {}

std::unique_ptr<TransparencyWindowEffect> TransparencyWindowEffect::create(QWidget *window,
                                                                           CompletionSelector selector,
                                                                           QObject *target)
{
    auto effect = std::make_unique<TransparencyWindowEffect>(window);
    effect->setEffectCompletionSelector(std::move(selector), target);
    return effect;
}

TransparencyWindowEffect::TransparencyWindowEffect(QWidget *window) : WindowEffect(window)
{
    mTransportAppearanceTimer.setInterval(kEffectStageMilliseconds);
    connect(&mTransportAppearanceTimer, &QTimer::timeout, this, &TransparencyWindowEffect::effectStageTimer);
}

TransparencyWindowEffect::~TransparencyWindowEffect()
{
    mTransportAppearanceTimer.stop();
}

void TransparencyWindowEffect::start()
{
    switch (_fadeType) {
    case kFadeIn:
        changeWindowTransparency(0.0f);
        _transparency = 0.0f;
        _transparencyChangeInc = 1.0f / (kEffectStagesPerSecond * _fadeLength);
        break;
    case kFadeOut: {
        const float alpha = mWindow ? static_cast<float>(mWindow->windowOpacity()) : 0.0f;
        // Deliberately no timer and no completion: fading out an invisible window never ends,
        // and its owner keeps it until a fade-in replaces it.
        if (alpha == 0.0f)
            return;
        _transparency = alpha;
        _transparencyChangeInc = alpha / (kEffectStagesPerSecond * _fadeLength);
        break;
    }
    default:
        stop();
        effectIsComplete();
        return;
    }
    mTransportAppearanceTimer.stop();
    mTransportAppearanceTimer.start();
}

void TransparencyWindowEffect::stop()
{
    mTransportAppearanceTimer.stop();
}

void TransparencyWindowEffect::changeWindowTransparency(float alpha)
{
    if (!mWindow)
        return;
    mWindow->setWindowOpacity(alpha);
    // On X11 a new opacity reaches the screen only with a repaint of the window.
    mWindow->update();
}

void TransparencyWindowEffect::effectStageTimer()
{
    bool finished = false;
    if (_fadeType == kFadeIn) {
        _transparency += _transparencyChangeInc;
        changeWindowTransparency(_transparency);
        finished = _transparency >= 1.0f;
    } else if (_fadeType == kFadeOut) {
        _transparency -= _transparencyChangeInc;
        changeWindowTransparency(_transparency);
        finished = _transparency <= 0.0f;
    } else {
        finished = true;
    }
    if (finished) {
        stop();
        effectIsComplete();
    }
}

uint16_t randomInRange(uint16_t min, uint16_t max)
{
    const uint16_t span = static_cast<uint16_t>(max - min + 1);
    const uint16_t draw = static_cast<uint16_t>(std::rand() & 0xFFFF);
    return static_cast<uint16_t>(min + (span == 0 ? draw : static_cast<uint16_t>(draw % span)));
}

std::unique_ptr<MovePositionWindowEffect> MovePositionWindowEffect::create(QWidget *window,
                                                                           CompletionSelector selector,
                                                                           QObject *target)
{
    auto effect = std::make_unique<MovePositionWindowEffect>(window);
    effect->setEffectCompletionSelector(std::move(selector), target);
    return effect;
}

MovePositionWindowEffect::MovePositionWindowEffect(QWidget *window) : WindowEffect(window)
{
    mWindowMovementTimer.setInterval(kEffectStageMilliseconds);
    connect(&mWindowMovementTimer, &QTimer::timeout, this, &MovePositionWindowEffect::moveWindow);
}

MovePositionWindowEffect::~MovePositionWindowEffect()
{
    mWindowMovementTimer.stop();
}

void MovePositionWindowEffect::start()
{
    mDistanceFlown = 0;
    mPosition = windowOrigin();
    prepareFlightPlan(mWindow ? mWindow->size() : QSize());
    if (mWindow)
        setWindowOrigin(mPosition);
    mWindowMovementTimer.stop();
    mWindowMovementTimer.start();
}

void MovePositionWindowEffect::stop()
{
    mWindowMovementTimer.stop();
}

void MovePositionWindowEffect::setFlightPlan(QPointF origin, uint32_t distance, float waveHeight, float waveBaseLine)
{
    mPosition = origin;
    mDistanceToFly = distance;
    mDistanceFlown = 0;
    mHeightOfScreens = waveHeight;
    mWaveYOffset = waveBaseLine;
    mDegreesForWave = 0.0f;
}

void MovePositionWindowEffect::prepareFlightPlan(QSize windowSize)
{
    const QRect main = mainScreenFrame();
    const int screensWidth = std::max(0, widthOfAllScreens());
    const int left = leftmostPointOfAllScreens();
    const int right = rightmostPointOfAllScreens();
    const int mainHeight = main.height();
    const auto highest = static_cast<uint16_t>(std::clamp(mainHeight - windowSize.height(), 0, 0xFFFF));

    switch (mFlyingDirection) {
    case kFlyRight:
        mPosition = QPointF(left, randomInRange(0, highest));
        mDistanceToFly = static_cast<uint32_t>(screensWidth);
        break;
    case kFlyLeft:
        mPosition = QPointF(right - windowSize.width(), randomInRange(0, highest));
        mDistanceToFly = static_cast<uint32_t>(screensWidth);
        break;
    case kWave:
        mPosition = QPointF(left, mPosition.y());
        mHeightOfScreens = screensWidth / 2.0f;
        mWaveYOffset = static_cast<float>(randomInRange(0, static_cast<uint16_t>(std::clamp(mainHeight, 0, 0xFFFF)))) -
                       mHeightOfScreens / 2.0f;
        mDegreesForWave = 0.0f;
        mDistanceToFly = static_cast<uint32_t>(screensWidth);
        break;
    case kFlyUp:
        mPosition = QPointF(mPosition.x(), -windowSize.height());
        mDistanceToFly = static_cast<uint32_t>(std::max(0, mainHeight + windowSize.height()));
        break;
    case kFlyDown:
        mPosition = QPointF(mPosition.x(), mainHeight);
        mDistanceToFly = static_cast<uint32_t>(std::max(0, mainHeight + windowSize.height()));
        break;
    default:
        mDistanceToFly = 0;
        break;
    }
}

void MovePositionWindowEffect::moveWindow()
{
    if (mDistanceFlown > mDistanceToFly || mDistanceToFly == 0) {
        stop();
        effectIsComplete();
        return;
    }
    bool moved = true;
    switch (mFlyingDirection) {
    case kFlyRight:
        mPosition.rx() += 5;
        mDistanceFlown += 5;
        break;
    case kFlyLeft:
        mPosition.rx() -= 5;
        mDistanceFlown += 5;
        break;
    case kWave:
        mPosition.rx() += 5;
        // Compared against radians; kept as it is.
        if (mDegreesForWave > 360.0f)
            mDegreesForWave = 0.0f;
        mPosition.ry() = mHeightOfScreens * std::sin(mDegreesForWave) * 0.5f * 0.5f + mWaveYOffset;
        mDegreesForWave += 0.05f;
        break;
    case kFlyUp:
        mPosition.ry() += 8;
        mDistanceFlown += 8;
        break;
    case kFlyDown:
        mPosition.ry() -= 10;
        mDistanceFlown += 10;
        break;
    default:
        moved = false;
        break;
    }
    if (moved)
        setWindowOrigin(mPosition);
    // The window server may correct the position; carry its answer on.
    if (mWindow)
        mPosition = windowOrigin();
}

void MovePositionWindowEffect::setWindowOrigin(QPointF origin)
{
    if (mWindow)
        mWindow->move(topLeftFromBottomUp(origin, mWindow->size()));
}

QPointF MovePositionWindowEffect::windowOrigin() const
{
    if (!mWindow)
        return mPosition;
    return bottomUpOrigin(mWindow->pos(), mWindow->size());
}

} // namespace kestrabel::app
