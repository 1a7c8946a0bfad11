#include "Images.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QSvgRenderer>

// The resources live in a static library: nothing would pull them in without this.
static void initialiseApplicationResources()
{
    Q_INIT_RESOURCE(app);
}

namespace kestrabel::app {

namespace {

QString resourcePath(const QString &name)
{
    static const bool initialised = (initialiseApplicationResources(), true);
    Q_UNUSED(initialised);
    return QStringLiteral(":/images/%1.svg").arg(name);
}

QPixmap render(const QString &name, QSize size, qreal ratio)
{
    QSvgRenderer renderer(resourcePath(name));
    if (!renderer.isValid() || size.isEmpty())
        return {};
    QPixmap pixmap(size * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(size)));
    return pixmap;
}

// Renders at whatever size a button asks for, so the icons stay sharp on any screen.
class SvgIconEngine : public QIconEngine {
public:
    explicit SvgIconEngine(QString name) : name_(std::move(name)) {}
    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State) override
    {
        QSvgRenderer renderer(resourcePath(name_));
        painter->save();
        if (mode == QIcon::Disabled)
            painter->setOpacity(0.35);
        renderer.render(painter, rect);
        painter->restore();
    }
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, QRect(QPoint(0, 0), size), mode, state);
        return pixmap;
    }
    QIconEngine *clone() const override { return new SvgIconEngine(name_); }
    QString key() const override { return QStringLiteral("kestrabel-svg"); }

private:
    QString name_;
};

} // namespace

QPixmap imageNamed(const QString &name, QSize size)
{
    const qreal ratio = qGuiApp ? qGuiApp->devicePixelRatio() : 1.0;
    return render(name, size, ratio);
}

QIcon iconNamed(const QString &name)
{
    if (!QSvgRenderer(resourcePath(name)).isValid())
        return {};
    return QIcon(new SvgIconEngine(name));
}

} // namespace kestrabel::app
