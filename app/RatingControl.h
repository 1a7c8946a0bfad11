// Five stars over the player's rating scale, 0 to 100: each star is 20.
#pragma once

#include <QWidget>

namespace kestrabel::app {

class RatingControl : public QWidget {
    Q_OBJECT
    Q_PROPERTY(int value READ value WRITE setValue USER true)
public:
    static constexpr int kStars = 5;
    static constexpr int kStepPerStar = 20;
    static constexpr int kMaximum = kStars * kStepPerStar;

    explicit RatingControl(QWidget *parent = nullptr);

    int value() const { return value_; }
    // Clamped to 0 to 100; a value between stars shows the star it reaches by rounding down.
    void setValue(int value);
    int intValue() const { return value_; }
    bool isReadOnly() const { return readOnly_; }
    void setReadOnly(bool readOnly);

    // The value a click at x would choose: the star under it, or none left of the first star.
    // Clicking the star that is already the rating takes it back to none.
    int valueForClickAt(int x) const;

    QSize sizeHint() const override;

signals:
    // The user's choice only, as a control's action.
    void action();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void choose(int value);
    int starSize() const;

    int value_ = 0;
    bool readOnly_ = false;
};

} // namespace kestrabel::app
