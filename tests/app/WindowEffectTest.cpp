// The fade's stage arithmetic and completion rules, the slide's per-stage moves, the borderless
// window's drag clamp.
#include "AppTestSupport.h"

#include "CustomWindow.h"
#include "ScreenGeometry.h"
#include "WindowEffect.h"

#include <QApplication>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::app;

namespace {

// One opacity step of QWidget: it keeps the window's alpha in 256 levels.
constexpr double kAlphaStep = 1.0 / 255.0;

struct Completion {
    QObject target;
    int count = 0;
    WindowEffect *lastEffect = nullptr;
    WindowEffect::CompletionSelector selector()
    {
        return [this](WindowEffect *effect) {
            ++count;
            lastEffect = effect;
        };
    }
};

class Effects : public ::testing::Test {
protected:
    void SetUp() override
    {
        window.resize(200, 100);
        window.move(100, 100);
        window.show();
    }
    QWidget window;
    Completion done;
};

TEST_F(Effects, FadeInOfHalfASecondTakesTenStagesThenCompletesOnce)
{
    auto effect = TransparencyWindowEffect::create(&window, done.selector(), &done.target);
    effect->setFadeType(TransparencyWindowEffect::kFadeIn);
    effect->setEffectLength(0.5f);
    effect->start();
    EXPECT_DOUBLE_EQ(window.windowOpacity(), 0.0);
    EXPECT_FLOAT_EQ(effect->transparencyChangeIncrement(), 0.1f);
    EXPECT_TRUE(effect->isRunning());
    for (int stage = 1; stage <= 9; ++stage) {
        effect->effectStageTimer();
        EXPECT_EQ(done.count, 0) << "stage " << stage;
        EXPECT_NEAR(window.windowOpacity(), stage * 0.1, kAlphaStep) << "stage " << stage;
    }
    effect->effectStageTimer();
    EXPECT_EQ(done.count, 1);
    EXPECT_EQ(done.lastEffect, effect.get());
    EXPECT_FALSE(effect->isRunning());
    EXPECT_DOUBLE_EQ(window.windowOpacity(), 1.0);
}

TEST_F(Effects, FadeOutStepsByTheAlphaOverTwentyTimesTheLength)
{
    window.setWindowOpacity(0.6);
    auto effect = TransparencyWindowEffect::create(&window, done.selector(), &done.target);
    effect->setFadeType(TransparencyWindowEffect::kFadeOut);
    effect->setEffectLength(2.0f);
    effect->start();
    EXPECT_NEAR(effect->transparencyChangeIncrement(), 0.015f, 1e-6);
    EXPECT_NEAR(effect->transparency(), 0.6f, 1e-6);
    effect->effectStageTimer();
    EXPECT_NEAR(effect->transparency(), 0.585f, 1e-6);
    EXPECT_NEAR(window.windowOpacity(), 0.585, kAlphaStep);
    int stages = 1;
    while (done.count == 0 && stages < 100) {
        effect->effectStageTimer();
        ++stages;
    }
    // In 32-bit floats forty steps of 0.015 leave a sliver above zero; the forty-first ends it.
    EXPECT_EQ(stages, 41);
    EXPECT_EQ(done.count, 1);
    EXPECT_DOUBLE_EQ(window.windowOpacity(), 0.0);
}

// Row: the window's opacity and the fade type → whether it completes at once; neither runs on.
// A fade out of an invisible window never starts and so never completes; an unknown type ends at
// once.
TEST_F(Effects, FadesWithNothingToDoDoNotRun)
{
    const struct {
        double opacity;
        uint32_t type;
        int completions;
    } rows[] = {{0.0, TransparencyWindowEffect::kFadeOut, 0}, {1.0, 0, 1}, {1.0, 3, 1}, {1.0, 99, 1}};
    for (const auto &row : rows) {
        done.count = 0;
        window.setWindowOpacity(row.opacity);
        auto effect = TransparencyWindowEffect::create(&window, done.selector(), &done.target);
        effect->setFadeType(row.type);
        effect->setEffectLength(0.5f);
        effect->start();
        EXPECT_FALSE(effect->isRunning()) << row.type;
        EXPECT_EQ(done.count, row.completions) << row.type;
        apptest::spinEvents(50);
        EXPECT_EQ(done.count, row.completions) << row.type;
    }
}

TEST_F(Effects, FadeRunsOnItsOwnTimer)
{
    auto effect = TransparencyWindowEffect::create(&window, done.selector(), &done.target);
    effect->setFadeType(TransparencyWindowEffect::kFadeIn);
    effect->setEffectLength(0.5f);
    effect->start();
    // Starting again replaces the stage timer rather than adding a second one.
    effect->start();
    ASSERT_TRUE(apptest::waitUntil([&] { return done.count > 0; }, 5000));
    apptest::spinEvents(150);
    EXPECT_EQ(done.count, 1);
    EXPECT_DOUBLE_EQ(window.windowOpacity(), 1.0);
}

TEST_F(Effects, ATargetThatIsGoneIsNotTold)
{
    int told = 0;
    auto target = std::make_unique<QObject>();
    auto effect = TransparencyWindowEffect::create(&window, [&](WindowEffect *) { ++told; }, target.get());
    effect->setFadeType(0);
    target.reset();
    effect->start();
    EXPECT_EQ(told, 0);
}

class Slide : public Effects {
protected:
    QPointF origin() const { return bottomUpOrigin(window.pos(), window.size()); }
    std::unique_ptr<MovePositionWindowEffect> slide(uint32_t direction, uint32_t distance)
    {
        auto effect = MovePositionWindowEffect::create(&window, done.selector(), &done.target);
        effect->setFlyingDirection(direction);
        effect->setFlightPlan(origin(), distance);
        return effect;
    }
};

// Row: the direction and the distance, stages run → where the window is, what was flown, whether
// it is done. A stage moves 5 points sideways, 8 up or 10 down; the distance may be reached, not
// passed; directions without a move stay put.
TEST_F(Slide, EachDirectionMovesByItsOwnSteps)
{
    const struct {
        uint32_t direction;
        uint32_t distance;
        int stages;
        QPoint moved;
        uint32_t flown;
        bool done;
    } rows[] = {
        {MovePositionWindowEffect::kFlyRight, 20, 5, {25, 0}, 25, false},
        {MovePositionWindowEffect::kFlyRight, 20, 6, {25, 0}, 25, true},
        {MovePositionWindowEffect::kFlyLeft, 100, 1, {-5, 0}, 5, false},
        {MovePositionWindowEffect::kFlyUp, 100, 1, {0, -8}, 8, false},
        {MovePositionWindowEffect::kFlyDown, 100, 1, {0, 10}, 10, false},
        {0, 50, 5, {0, 0}, 0, false},
        {3, 50, 5, {0, 0}, 0, false},
        {4, 50, 5, {0, 0}, 0, false},
        {8, 50, 5, {0, 0}, 0, false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.direction);
        window.move(100, 100);
        done.count = 0;
        auto effect = slide(row.direction, row.distance);
        for (int stage = 0; stage < row.stages; ++stage)
            effect->moveWindow();
        EXPECT_EQ(window.pos(), QPoint(100, 100) + row.moved);
        EXPECT_EQ(done.count, row.done ? 1 : 0);
        EXPECT_EQ(effect->distanceFlown(), row.flown);
        if (!row.moved.isNull())
            continue;
        // Started, such a direction plans no distance and ends at the first stage.
        auto started = MovePositionWindowEffect::create(&window, done.selector(), &done.target);
        started->setFlyingDirection(row.direction);
        started->start();
        EXPECT_EQ(started->distanceToFly(), 0u);
        started->moveWindow();
        EXPECT_EQ(done.count, 1);
        EXPECT_FALSE(started->isRunning());
    }
}

TEST_F(Slide, WaveFollowsTheSineAroundItsBaseLineAndNeverCompletes)
{
    auto effect = MovePositionWindowEffect::create(&window, done.selector(), &done.target);
    effect->setFlyingDirection(MovePositionWindowEffect::kWave);
    effect->setFlightPlan(origin(), 1000, 200.0f, 100.0f);
    const double startX = origin().x();
    effect->moveWindow();
    EXPECT_DOUBLE_EQ(origin().y(), 100.0);
    EXPECT_DOUBLE_EQ(origin().x(), startX + 5);
    effect->moveWindow();
    // 200 × sin(0.05) × 0.25 + 100 = 102.499..., placed on a whole pixel.
    EXPECT_NEAR(origin().y(), 102.5, 0.51);
    for (int stage = 0; stage < 300; ++stage)
        effect->moveWindow();
    EXPECT_EQ(done.count, 0);
    EXPECT_EQ(effect->distanceFlown(), 0u);
    EXPECT_NEAR(effect->wavePhase(), 302 * 0.05f, 1e-3);
}

TEST_F(Slide, FlightPlanCrossesAllScreens)
{
    auto effect = MovePositionWindowEffect::create(&window, done.selector(), &done.target);
    effect->setFlyingDirection(MovePositionWindowEffect::kFlyRight);
    effect->start();
    EXPECT_EQ(effect->distanceToFly(), static_cast<uint32_t>(widthOfAllScreens()));
    EXPECT_EQ(window.pos().x(), leftmostPointOfAllScreens());
    EXPECT_TRUE(effect->isRunning());
    effect->stop();
    EXPECT_FALSE(effect->isRunning());

    auto wave = MovePositionWindowEffect::create(&window, done.selector(), &done.target);
    wave->setFlyingDirection(MovePositionWindowEffect::kWave);
    wave->prepareFlightPlan(window.size());
    EXPECT_FLOAT_EQ(wave->waveHeight(), widthOfAllScreens() / 2.0f);
    EXPECT_LE(wave->waveBaseLine(), mainScreenFrame().height() - wave->waveHeight() / 2.0f);
}

TEST(RandomInRange, StaysWithinItsBoundsInSixteenBits)
{
    for (int i = 0; i < 500; ++i) {
        const uint16_t value = randomInRange(10, 20);
        EXPECT_GE(value, 10);
        EXPECT_LE(value, 20);
    }
    EXPECT_EQ(randomInRange(7, 7), 7);
}

TEST(CustomWindowTest, DraggingUpwardsStopsWhereTheTopsOfWindowAndMainScreenMeet)
{
    CustomWindow window;
    window.resize(300, 120);
    const QRect screen = mainScreenFrame();
    window.move(screen.left() + 200, screen.top() + 150);
    window.show();

    const QPoint grab(20, 30);
    const QPoint grabOnScreen = window.pos() + grab;
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(grab), QPointF(grabOnScreen), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(&window, &press);

    auto dragTo = [&](QPoint onScreen) {
        QMouseEvent move(QEvent::MouseMove, QPointF(onScreen - window.pos()), QPointF(onScreen), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &move);
    };
    dragTo(grabOnScreen + QPoint(-40, -100));
    EXPECT_EQ(window.pos(), QPoint(screen.left() + 160, screen.top() + 50));
    dragTo(grabOnScreen + QPoint(-400, -500));
    EXPECT_EQ(window.pos(), QPoint(screen.left() - 200, screen.top()));
    dragTo(grabOnScreen + QPoint(0, 60));
    EXPECT_EQ(window.pos(), QPoint(screen.left() + 200, screen.top() + 210));
}

} // namespace
