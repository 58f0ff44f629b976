#include "ClickableLabel.h"

#include <QMouseEvent>

ClickableLabel::ClickableLabel(QWidget* parent) : QLabel(parent) {
    setWordWrap(true);
}

void ClickableLabel::setClickable(bool clickable) {
    if (clickable == isClickable_) {
        return;
    }
    isClickable_ = clickable;
    pressed_ = false;
    if (clickable) {
        setCursor(Qt::PointingHandCursor);
    } else {
        unsetCursor();
    }
}

void ClickableLabel::mousePressEvent(QMouseEvent* event) {
    pressed_ = isClickable_ && event->button() == Qt::LeftButton;
    QLabel::mousePressEvent(event);
}

// A click is a press and a release on the label, as with a button.
void ClickableLabel::mouseReleaseEvent(QMouseEvent* event) {
    const bool click = pressed_ && isClickable_ && event->button() == Qt::LeftButton &&
                       rect().contains(event->position().toPoint());
    pressed_ = false;
    QLabel::mouseReleaseEvent(event);
    if (click) {
        Q_EMIT clicked();
    }
}
