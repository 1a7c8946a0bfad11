// Extents over the attached screens, and the bottom-up co-ordinates the slide effect computes in
// (origin at the bottom-left of the main screen, y growing upwards).
#pragma once

#include <QPointF>
#include <QRect>
#include <QSize>

namespace kestrabel::app {

QRect mainScreenFrame();
int widthOfAllScreens();
int leftmostPointOfAllScreens();
int rightmostPointOfAllScreens();

// A window's top-left position on screen and its bottom-up origin, for a window of that size.
QPointF bottomUpOrigin(QPoint topLeft, QSize windowSize);
QPoint topLeftFromBottomUp(QPointF origin, QSize windowSize);

} // namespace kestrabel::app
