#include "CustomWindow.h"

#include "DesktopHints.h"
#include "ScreenGeometry.h"

#include <QEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QTimer>

namespace kestrabel::app {

namespace {

// The shadow is painted inside the window, so the panel sits inset by this margin.
constexpr int kShadowMargin = 8;
constexpr qreal kCornerRadius = 10.0;
constexpr int kMappedDelayMs = 200;

} // namespace

CustomWindow::CustomWindow(QWidget *parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAutoFillBackground(false);
    setWindowOpacity(1.0);
    setContentsMargins(kShadowMargin, kShadowMargin, kShadowMargin, kShadowMargin);
    // Before the first map, so that the window manager places it on every workspace at once.
    winId();
    applyPanelHints(this);
}

QPoint CustomWindow::draggedOrigin(QPoint mouseOnScreen) const
{
    QPoint origin = mouseOnScreen - initialLocation;
    const QRect main = mainScreenFrame();
    if (!main.isNull() && origin.y() < main.top())
        origin.setY(main.top());
    return origin;
}

void CustomWindow::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) {
        initialLocation = event->globalPosition().toPoint() - pos();
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void CustomWindow::mouseMoveEvent(QMouseEvent *event)
{
    if (event->buttons() & Qt::LeftButton) {
        move(draggedOrigin(event->globalPosition().toPoint()));
        event->accept();
        return;
    }
    QWidget::mouseMoveEvent(event);
}

void CustomWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::ActivationChange)
        emit isActiveWindow() ? becameKey() : resignedKey();
    QWidget::changeEvent(event);
}

void CustomWindow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    opaque_ = !compositorRuns();
    applyPanelHints(this);
    // Once mapped, where only messages reach the window manager.
    QTimer::singleShot(kMappedDelayMs, this, [this] {
        if (isVisible())
            applyPanelHints(this);
    });
}

void CustomWindow::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (opaque_) {
        // Without a compositor the shadow's translucent pixels would show as a black frame.
        painter.fillRect(rect(), QColor(34, 36, 40));
        painter.setPen(QPen(QColor(255, 255, 255, 60), 1.0));
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(rect(), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);

    const QRectF panel = QRectF(rect()).adjusted(kShadowMargin, kShadowMargin, -kShadowMargin, -kShadowMargin);
    for (int step = kShadowMargin; step > 0; --step) {
        QPainterPath shadow;
        shadow.addRoundedRect(panel.adjusted(-step, -step + 2, step, step + 2), kCornerRadius + step,
                              kCornerRadius + step);
        painter.fillPath(shadow, QColor(0, 0, 0, 6));
    }
    QPainterPath body;
    body.addRoundedRect(panel, kCornerRadius, kCornerRadius);
    painter.fillPath(body, QColor(34, 36, 40, 235));
    painter.setPen(QPen(QColor(255, 255, 255, 40), 1.0));
    painter.drawPath(body);
}

} // namespace kestrabel::app
