#include "RatingControl.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace kestrabel::app {

namespace {

constexpr int kStarSize = 18;
constexpr int kStarGap = 2;

QPainterPath starPath(QRectF box)
{
    QPainterPath path;
    const QPointF centre = box.center();
    const double outer = box.width() / 2.0;
    const double inner = outer * 0.45;
    for (int point = 0; point < 10; ++point) {
        const double radius = point % 2 == 0 ? outer : inner;
        const double angle = -M_PI / 2.0 + point * M_PI / 5.0;
        const QPointF corner(centre.x() + radius * std::cos(angle), centre.y() + radius * std::sin(angle));
        if (point == 0)
            path.moveTo(corner);
        else
            path.lineTo(corner);
    }
    path.closeSubpath();
    return path;
}

} // namespace

RatingControl::RatingControl(QWidget *parent) : QWidget(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setToolTip(tr("Rating"));
}

void RatingControl::setValue(int value)
{
    const int clamped = std::clamp(value, 0, kMaximum);
    if (clamped == value_)
        return;
    value_ = clamped;
    update();
}

void RatingControl::setReadOnly(bool readOnly)
{
    readOnly_ = readOnly;
    setFocusPolicy(readOnly ? Qt::NoFocus : Qt::StrongFocus);
    setToolTip(readOnly ? tr("This player does not take ratings") : tr("Rating"));
    update();
}

int RatingControl::starSize() const
{
    return kStarSize;
}

QSize RatingControl::sizeHint() const
{
    return QSize(kStars * (starSize() + kStarGap), starSize() + 4);
}

int RatingControl::valueForClickAt(int x) const
{
    if (x < 0)
        return 0;
    const int star = std::min(kStars, x / (starSize() + kStarGap) + 1);
    const int chosen = star * kStepPerStar;
    return chosen == value_ ? 0 : chosen;
}

void RatingControl::choose(int value)
{
    if (readOnly_ || !isEnabled())
        return;
    value_ = std::clamp(value, 0, kMaximum);
    update();
    emit action();
}

void RatingControl::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || readOnly_) {
        QWidget::mousePressEvent(event);
        return;
    }
    choose(valueForClickAt(static_cast<int>(event->position().x())));
    event->accept();
}

void RatingControl::keyPressEvent(QKeyEvent *event)
{
    const int step = event->key() == Qt::Key_Right || event->key() == Qt::Key_Up     ? kStepPerStar
                     : event->key() == Qt::Key_Left || event->key() == Qt::Key_Down ? -kStepPerStar
                                                                                     : 0;
    if (step == 0 || readOnly_) {
        QWidget::keyPressEvent(event);
        return;
    }
    choose((value_ / kStepPerStar) * kStepPerStar + step);
}

void RatingControl::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const int filled = value_ / kStepPerStar;
    const QColor on = readOnly_ || !isEnabled() ? QColor(170, 150, 90) : QColor(255, 196, 40);
    const QColor off = QColor(120, 120, 128);
    for (int star = 0; star < kStars; ++star) {
        const QRectF box(star * (starSize() + kStarGap) + 1, 2, starSize() - 2, starSize() - 2);
        const QPainterPath path = starPath(box);
        if (star < filled)
            painter.fillPath(path, on);
        painter.setPen(QPen(star < filled ? on : off, 1.2));
        painter.drawPath(path);
    }
}

} // namespace kestrabel::app
