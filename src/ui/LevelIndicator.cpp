#include "LevelIndicator.h"

#include "MenuBarIcon.h"

#include <QPainter>
#include <algorithm>

LevelIndicator::LevelIndicator(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void LevelIndicator::setValue(double value) {
    const double clamped = std::clamp(value, 0.0, maximum);
    if (clamped == value_) {
        return;
    }
    value_ = clamped;
    update();
}

void LevelIndicator::setThreshold(double threshold) {
    criticalValue_ = threshold;
    warningValue_ = threshold * warningShare;
    update();
}

LevelIndicator::Level LevelIndicator::levelOf(double value, double warningValue,
                                              double criticalValue) {
    if (value >= criticalValue) {
        return Level::critical;
    }
    if (value >= warningValue) {
        return Level::warning;
    }
    return Level::normal;
}

QColor LevelIndicator::color(Level level, const QPalette& palette) {
    // The palette has no warning or critical roles; those take the tray's
    // own orange and red, which read on light and dark themes alike.
    switch (level) {
        case Level::normal:
            return palette.color(QPalette::Highlight);
        case Level::warning:
            return MenuBarIcon::color(MenuBarIcon::Tint::orange);
        case Level::critical:
            return MenuBarIcon::color(MenuBarIcon::Tint::red);
    }
    return palette.color(QPalette::Highlight);
}

QSize LevelIndicator::sizeHint() const {
    return QSize(160, 8);
}

QSize LevelIndicator::minimumSizeHint() const {
    return QSize(40, 8);
}

void LevelIndicator::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRect track = rect();
    painter.fillRect(track, palette().color(QPalette::Base));
    const int filled = qRound(track.width() * value_ / maximum);
    painter.fillRect(QRect(track.topLeft(), QSize(filled, track.height())),
                     color(level(), palette()));
    painter.setPen(palette().color(QPalette::Mid));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(track.adjusted(0, 0, -1, -1));
}
