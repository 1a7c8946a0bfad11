// A borderless floating panel: frameless, translucent, above other windows, a tool window that
// takes typing, dragged by its background and never above the top of the main screen. It is on
// every workspace and in no taskbar; without a compositor it paints an opaque panel.
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
    // Whether it paints an opaque panel, for want of a compositor.
    bool isOpaquePanel() const { return opaque_; }

signals:
    void becameKey();
    void resignedKey();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    QPoint initialLocation;
    bool opaque_ = false;
};

} // namespace kestrabel::app
