// A borderless floating panel: frameless, translucent, above other windows, a tool window that
// takes typing, dragged by its background and never above the top of the main screen.
#pragma once

#include <QPoint>
#include <QWidget>

namespace kestrabel::app {

class CustomWindow : public QWidget {
    Q_OBJECT
public:
    explicit CustomWindow(QWidget *parent = nullptr);

    bool canBecomeKeyWindow() const { return true; }
    // Where a drag with the mouse-down offset initialLocation ends for the mouse at this point.
    QPoint draggedOrigin(QPoint mouseOnScreen) const;

signals:
    void becameKey();
    void resignedKey();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QPoint initialLocation;
};

} // namespace kestrabel::app
