#include "MeterRowView.h"

#include "LevelIndicator.h"

#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>
#include <algorithm>

MeterRowView::MeterRowView(int nameWidth, const QString& sliderTip, QWidget* parent)
    : QWidget(parent), nameWidth_(nameWidth) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);

    // The small secondary text of a device's name.
    deviceLabel_ = new QLabel(this);
    QFont font = deviceLabel_->font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    deviceLabel_->setFont(font);
    deviceLabel_->setForegroundRole(QPalette::PlaceholderText);
    deviceLabel_->setAlignment(Qt::AlignCenter);
    deviceLabel_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    layout->addWidget(deviceLabel_);

    levelIndicator_ = new LevelIndicator(this);
    layout->addWidget(levelIndicator_);

    slider_ = new QSlider(Qt::Horizontal, this);
    slider_->setRange(0, 100);
    slider_->setToolTip(sliderTip);
    layout->addWidget(slider_);
    connect(slider_, &QSlider::valueChanged, this, [this](int value) {
        showThreshold(value);
        Q_EMIT thresholdMoved(value);
    });
}

void MeterRowView::setDeviceName(const QString& name) {
    deviceLabel_->setText(
        deviceLabel_->fontMetrics().elidedText(name, Qt::ElideMiddle, nameWidth_));
    deviceLabel_->setToolTip(name);
}

void MeterRowView::addLevel(double level) {
    levelIndicator_->setValue((level + levelIndicator_->value()) / 2);
}

void MeterRowView::clearLevel() {
    levelIndicator_->setValue(0);
}

double MeterRowView::level() const {
    return levelIndicator_->value();
}

void MeterRowView::setLevel(double level) {
    levelIndicator_->setValue(level);
}

void MeterRowView::showThreshold(double threshold) {
    levelIndicator_->setThreshold(std::max(threshold, 0.0));
}

void MeterRowView::setSliderThreshold(int threshold) {
    const QSignalBlocker quiet(slider_);
    slider_->setValue(threshold);
}
