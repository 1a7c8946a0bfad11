// Animations that act on one window from a repeating stage timer and tell a target when they end:
// the fade used by the control window, and the slide along or across the screens.
#pragma once

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QSize>
#include <QTimer>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <memory>

namespace kestrabel::app {

inline constexpr int kEffectStageMilliseconds = 50;
inline constexpr float kEffectStagesPerSecond = 20.0f;

class WindowEffect : public QObject {
    Q_OBJECT
public:
    using CompletionSelector = std::function<void(WindowEffect *)>;

    explicit WindowEffect(QWidget *window = nullptr);

    virtual void modifyWindow(QWidget *window);
    // Neither is owned; a target that is gone is not told.
    void setEffectCompletionSelector(CompletionSelector selector, QObject *target);
    void effectIsComplete();
    void setWindow(QWidget *window);
    QWidget *window() const { return mWindow; }
    virtual void start();
    virtual void stop();

protected:
    QPointer<QWidget> mWindow;
    QPointer<QObject> mEffectCompleteTarget;
    CompletionSelector mEffectCompleteSelector;
};

class TransparencyWindowEffect : public WindowEffect {
    Q_OBJECT
public:
    enum FadeType : uint32_t { kFadeIn = 1, kFadeOut = 2 };

    static std::unique_ptr<TransparencyWindowEffect> create(QWidget *window, CompletionSelector selector,
                                                            QObject *target);
    explicit TransparencyWindowEffect(QWidget *window = nullptr);
    ~TransparencyWindowEffect() override;

    void setFadeType(uint32_t fadeType) { _fadeType = fadeType; }
    void setEffectLength(float seconds) { _fadeLength = seconds; }
    void start() override;
    void stop() override;
    void changeWindowTransparency(float alpha);
    // One stage; the timer calls it every 0.05 s.
    void effectStageTimer();

    bool isRunning() const { return mTransportAppearanceTimer.isActive(); }
    float transparency() const { return _transparency; }
    float transparencyChangeIncrement() const { return _transparencyChangeInc; }

private:
    float _fadeLength = 0.0f;
    QTimer mTransportAppearanceTimer;
    float _transparency = 0.0f;
    float _transparencyChangeInc = 0.0f;
    uint32_t _fadeType = 0;
};

class MovePositionWindowEffect : public WindowEffect {
    Q_OBJECT
public:
    enum Direction : uint32_t {
        kFlyRight = 1,
        kFlyLeft = 2,
        kWave = 5,
        kFlyUp = 6,
        kFlyDown = 7,
    };

    static std::unique_ptr<MovePositionWindowEffect> create(QWidget *window, CompletionSelector selector,
                                                            QObject *target);
    explicit MovePositionWindowEffect(QWidget *window = nullptr);
    ~MovePositionWindowEffect() override;

    void setFlyingDirection(uint32_t direction) { mFlyingDirection = direction; }
    void start() override;
    void stop() override;
    void prepareFlightPlan(QSize windowSize);
    // One stage; the timer calls it every 0.05 s.
    void moveWindow();

    bool isRunning() const { return mWindowMovementTimer.isActive(); }
    // The origin in bottom-up co-ordinates: y grows upwards from the bottom of the main screen.
    QPointF position() const { return mPosition; }
    uint32_t distanceToFly() const { return mDistanceToFly; }
    uint32_t distanceFlown() const { return mDistanceFlown; }
    float waveHeight() const { return mHeightOfScreens; }
    float waveBaseLine() const { return mWaveYOffset; }
    float wavePhase() const { return mDegreesForWave; }

    // A starting point for tests and callers that plan their own flight.
    void setFlightPlan(QPointF origin, uint32_t distance, float waveHeight = 0, float waveBaseLine = 0);

private:
    void setWindowOrigin(QPointF origin);
    QPointF windowOrigin() const;

    QPointF mPosition;
    uint32_t mDistanceToFly = 0;
    uint32_t mDistanceFlown = 0;
    QTimer mWindowMovementTimer;
    uint32_t mFlyingDirection = 0;
    float mDegreesForWave = 0.0f;
    float mHeightOfScreens = 0.0f;
    float mWaveYOffset = 0.0f;
};

// min + (rand() & 0xFFFF) modulo (max - min + 1), all in 16-bit unsigned arithmetic.
uint16_t randomInRange(uint16_t min, uint16_t max);

} // namespace kestrabel::app
