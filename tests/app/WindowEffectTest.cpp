// The fade's stages and completion, the slide's per-stage moves, the borderless window's drag clamp.
#include "AppTestSupport.h"

#include "CustomWindow.h"
#include "ScreenGeometry.h"
#include "WindowEffect.h"

using namespace kestrabel;
using namespace kestrabel::app;

namespace {

class Effects : public ::testing::Test {
protected:
    void SetUp() override
    {
        window.resize(200, 100);
        window.move(100, 100);
        window.show();
    }
    WindowEffect::CompletionSelector counter()
    {
        return [this](WindowEffect *) { ++done; };
    }
    QWidget window;
    QObject target;
    int done = 0;
};

// Row: the window's opacity, the fade type and length → the step, the stages until it completes
// (0: at once, -1: never) and the opacity it ends at. A stage is 1/20 s; in 32-bit floats forty
// steps of 0.015 leave a sliver above zero, so the forty-first ends that fade.
TEST_F(Effects, FadeStepsByItsShareOfTheLengthAndCompletesOnce)
{
    const struct {
        double opacity;
        uint32_t type;
        float length;
        float step;
        int stages;
        double end;
    } rows[] = {
        {0.3, TransparencyWindowEffect::kFadeIn, 0.5f, 0.1f, 10, 1.0},
        {0.6, TransparencyWindowEffect::kFadeOut, 2.0f, 0.015f, 41, 0.0},
        {0.0, TransparencyWindowEffect::kFadeOut, 0.5f, 0.0f, -1, 0.0},
        {1.0, 0, 0.5f, 0.0f, 0, 1.0},
        {1.0, 3, 0.5f, 0.0f, 0, 1.0},
        {1.0, 99, 0.5f, 0.0f, 0, 1.0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.type << " from " << row.opacity);
        done = 0;
        window.setWindowOpacity(row.opacity);
        auto effect = TransparencyWindowEffect::create(&window, counter(), &target);
        effect->setFadeType(row.type);
        effect->setEffectLength(row.length);
        effect->start();
        EXPECT_EQ(effect->isRunning(), row.stages > 0);
        if (row.stages <= 0) {
            apptest::spinEvents(60);
            EXPECT_EQ(done, row.stages == 0 ? 1 : 0);
            EXPECT_DOUBLE_EQ(window.windowOpacity(), row.end);
            continue;
        }
        EXPECT_NEAR(effect->transparencyChangeIncrement(), row.step, 1e-6);
        const double first = row.type == TransparencyWindowEffect::kFadeIn ? 0.0 : row.opacity;
        EXPECT_NEAR(window.windowOpacity(), first, 1.0 / 255);
        int stages = 0;
        while (done == 0 && stages < 100) {
            effect->effectStageTimer();
            if (++stages == 1) {
                // QWidget keeps the window's alpha in 256 levels.
                EXPECT_NEAR(window.windowOpacity(), row.end ? first + row.step : first - row.step, 1.0 / 255);
            }
        }
        EXPECT_EQ(stages, row.stages);
        EXPECT_EQ(done, 1);
        EXPECT_FALSE(effect->isRunning());
        EXPECT_DOUBLE_EQ(window.windowOpacity(), row.end);
    }
}

TEST_F(Effects, FadeRunsOnItsOwnTimerAndAGoneTargetIsNotTold)
{
    auto effect = TransparencyWindowEffect::create(&window, counter(), &target);
    effect->setFadeType(TransparencyWindowEffect::kFadeIn);
    effect->setEffectLength(0.5f);
    effect->start();
    // Starting again replaces the stage timer rather than adding a second one.
    effect->start();
    ASSERT_TRUE(apptest::waitUntil([&] { return done > 0; }, 5000));
    apptest::spinEvents(150);
    EXPECT_EQ(done, 1);
    auto gone = std::make_unique<QObject>();
    effect = TransparencyWindowEffect::create(&window, counter(), gone.get());
    gone.reset();
    effect->start();
    EXPECT_EQ(done, 1);
}

// Row: the direction and the distance, stages run → the move, what was flown, whether it is done.
// A stage moves 5 points sideways, 8 up or 10 down; the distance may be reached, not passed; a
// direction without a move stays put, plans no distance when started and ends at its first stage.
TEST_F(Effects, EachSlideDirectionMovesByItsOwnSteps)
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
        done = 0;
        auto effect = MovePositionWindowEffect::create(&window, counter(), &target);
        effect->setFlyingDirection(row.direction);
        effect->setFlightPlan(bottomUpOrigin(window.pos(), window.size()), row.distance);
        for (int stage = 0; stage < row.stages; ++stage)
            effect->moveWindow();
        EXPECT_EQ(window.pos(), QPoint(100, 100) + row.moved);
        EXPECT_EQ(done, row.done ? 1 : 0);
        EXPECT_EQ(effect->distanceFlown(), row.flown);
        if (!row.moved.isNull())
            continue;
        effect->start();
        EXPECT_EQ(effect->distanceToFly(), 0u);
        effect->moveWindow();
        EXPECT_EQ(done, 1);
        EXPECT_FALSE(effect->isRunning());
    }
    // Started, a slide to the right crosses every screen from the leftmost point; a wave spans half
    // of them, around a base line that keeps it on the main screen.
    auto across = MovePositionWindowEffect::create(&window, counter(), &target);
    across->setFlyingDirection(MovePositionWindowEffect::kFlyRight);
    across->start();
    EXPECT_EQ(across->distanceToFly(), uint32_t(widthOfAllScreens()));
    EXPECT_EQ(window.pos().x(), leftmostPointOfAllScreens());
    across->setFlyingDirection(MovePositionWindowEffect::kWave);
    across->prepareFlightPlan(window.size());
    EXPECT_FLOAT_EQ(across->waveHeight(), widthOfAllScreens() / 2.0f);
    EXPECT_LE(across->waveBaseLine(), mainScreenFrame().height() - across->waveHeight() / 2.0f);
    for (int i = 0; i < 200; ++i)
        ASSERT_LE(uint16_t(randomInRange(10, 20) - 10), 10);
}

// Row: where the pointer is dragged from the grab → where the window goes; its top stops at the
// main screen's top.
TEST(CustomWindowTest, DraggingUpwardsStopsWhereTheTopsOfWindowAndMainScreenMeet)
{
    CustomWindow window;
    window.resize(300, 120);
    const QRect screen = mainScreenFrame();
    window.move(screen.left() + 200, screen.top() + 150);
    window.show();
    const QPoint grab = window.pos() + QPoint(20, 30);
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(20, 30), QPointF(grab), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(&window, &press);
    const struct {
        QPoint drag;
        QPoint at;
    } rows[] = {{{-40, -100}, {160, 50}}, {{-400, -500}, {-200, 0}}, {{0, 60}, {200, 210}}};
    for (const auto &row : rows) {
        const QPoint onScreen = grab + row.drag;
        QMouseEvent move(QEvent::MouseMove, QPointF(onScreen - window.pos()), QPointF(onScreen), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &move);
        EXPECT_EQ(window.pos(), screen.topLeft() + row.at);
    }
}

} // namespace
