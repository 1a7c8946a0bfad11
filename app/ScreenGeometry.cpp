#include "ScreenGeometry.h"

#include <QGuiApplication>
#include <QScreen>

#include <cmath>
#include <limits>

namespace kestrabel::app {

QRect mainScreenFrame()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->geometry() : QRect();
}

int leftmostPointOfAllScreens()
{
    const auto screens = QGuiApplication::screens();
    if (screens.isEmpty())
        return 0;
    int leftmost = std::numeric_limits<int>::max();
    for (const QScreen *screen : screens)
        leftmost = std::min(leftmost, screen->geometry().left());
    return leftmost;
}

int rightmostPointOfAllScreens()
{
    const auto screens = QGuiApplication::screens();
    if (screens.isEmpty())
        return 0;
    int rightmost = std::numeric_limits<int>::min();
    for (const QScreen *screen : screens)
        rightmost = std::max(rightmost, screen->geometry().left() + screen->geometry().width());
    return rightmost;
}

int widthOfAllScreens()
{
    return rightmostPointOfAllScreens() - leftmostPointOfAllScreens();
}

QPointF bottomUpOrigin(QPoint topLeft, QSize windowSize)
{
    const QRect main = mainScreenFrame();
    const int mainBottom = main.top() + main.height();
    return QPointF(topLeft.x(), mainBottom - (topLeft.y() + windowSize.height()));
}

QPoint topLeftFromBottomUp(QPointF origin, QSize windowSize)
{
    const QRect main = mainScreenFrame();
    const int mainBottom = main.top() + main.height();
    const double top = mainBottom - origin.y() - windowSize.height();
    return QPoint(static_cast<int>(std::lround(origin.x())), static_cast<int>(std::lround(top)));
}

} // namespace kestrabel::app
