#pragma once

#include <QLabel>

// A wrapping label that can be made clickable: while it is, it shows the
// pointing-hand cursor and a click emits `clicked`; otherwise it is a plain label.
class ClickableLabel : public QLabel {
    Q_OBJECT

public:
    explicit ClickableLabel(QWidget* parent = nullptr);

    bool isClickable() const { return isClickable_; }
    void setClickable(bool clickable);

Q_SIGNALS:
    void clicked();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    bool isClickable_ = false;
    bool pressed_ = false;
};
