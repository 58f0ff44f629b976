#include "ZoneEditorView.h"

#include "ZoneEditorGeometry.h"

#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <algorithm>

static_assert(ZoneEditorView::minimumZone == ZoneEditorGeometry::minimumZone);

namespace {

// The system yellow of the selected zone's outline.
const QColor selectedColor(255, 204, 0);

}  // namespace

ZoneEditorView::ZoneEditorView(Defaults& defaults, QWidget* parent)
    : QWidget(parent),
      defaults_(defaults),
      hint_(new QLabel(tr("Drag to draw a zone. With none drawn, the whole frame is used."), this)),
      clearButton_(new QPushButton(tr("Clear zones"), this)) {
    setFocusPolicy(Qt::ClickFocus);
    hint_->setWordWrap(true);
    hint_->setAlignment(Qt::AlignCenter);
    hint_->setAutoFillBackground(false);
    hint_->setStyleSheet(
        QStringLiteral("QLabel { color: white; background: rgba(0, 0, 0, 140); "
                       "border-radius: 4px; }"));
    clearButton_->setFocusPolicy(Qt::NoFocus);
    connect(clearButton_, &QPushButton::clicked, this, &ZoneEditorView::clearZones);
    layOut();
}

void ZoneEditorView::setCameraID(const std::optional<QString>& cameraID) {
    cameraID_ = cameraID;
    zones_ = cameraID ? DetectionZones::storedZones(*cameraID, defaults_) : DetectionZones::Rects{};
    selected_.reset();
    drag_ = {};
    layOut();
    update();
}

void ZoneEditorView::setPictureRect(const QRectF& rect) {
    if (rect == pictureRect_) {
        return;
    }
    pictureRect_ = rect;
    layOut();
    update();
}

void ZoneEditorView::mousePressEvent(QMouseEvent* event) {
    setFocus(Qt::MouseFocusReason);
    const auto point = ZoneEditorGeometry::normalised(pictureRect_, event->position());
    if (!cameraID_ || !point) {
        return;
    }
    if (const auto index = ZoneEditorGeometry::hit(zones_, *point)) {
        selected_ = index;
        drag_ = Moving{*index, *point};
    } else {
        selected_.reset();
        drag_ = Drawing{event->position(), event->position()};
    }
    update();
}

void ZoneEditorView::mouseMoveEvent(QMouseEvent* event) {
    if (auto* drawing = std::get_if<Drawing>(&drag_)) {
        drawing->to = event->position();
        update();
    } else if (auto* moving = std::get_if<Moving>(&drag_)) {
        moveZone(*moving, event->position());
    }
}

void ZoneEditorView::moveZone(Moving& moving, const QPointF& viewPoint) {
    const auto point = ZoneEditorGeometry::normalised(pictureRect_, viewPoint);
    if (!point || moving.index >= static_cast<int>(zones_.size())) {
        return;
    }
    QRectF& zone = zones_[moving.index];
    zone = ZoneEditorGeometry::moved(zone, *point - moving.last);
    moving.last = *point;
    update();
}

void ZoneEditorView::mouseReleaseEvent(QMouseEvent*) {
    if (const auto* drawing = std::get_if<Drawing>(&drag_)) {
        const auto from = ZoneEditorGeometry::normalised(pictureRect_, drawing->from);
        const auto to = ZoneEditorGeometry::normalised(pictureRect_, drawing->to);
        if (from && to) {
            if (const auto zone = ZoneEditorGeometry::drawn(*from, *to)) {
                zones_.push_back(*zone);
                selected_ = static_cast<int>(zones_.size()) - 1;
                save();
                layOut();
            }
        }
    } else if (std::holds_alternative<Moving>(drag_)) {
        save();
    }
    drag_ = {};
    update();
}

void ZoneEditorView::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Delete:
        case Qt::Key_Backspace:
            if (selected_ && *selected_ >= 0 && *selected_ < static_cast<int>(zones_.size())) {
                zones_.erase(zones_.begin() + *selected_);
                selected_.reset();
                save();
                layOut();
                update();
            }
            return;
        case Qt::Key_Escape:
            selected_.reset();
            update();
            return;
        default:
            QWidget::keyPressEvent(event);
    }
}

void ZoneEditorView::clearZones() {
    zones_.clear();
    selected_.reset();
    save();
    layOut();
    update();
}

void ZoneEditorView::save() {
    if (cameraID_) {
        DetectionZones::save(*cameraID_, defaults_, zones_);
    }
}

void ZoneEditorView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    layOut();
}

void ZoneEditorView::layOut() {
    const bool hasPicture = !pictureRect_.isEmpty();
    hint_->setVisible(zones_.empty() && hasPicture);
    clearButton_->setVisible(!zones_.empty() && hasPicture);
    if (!hasPicture) {
        return;
    }
    const int lineWidth = std::max(40, static_cast<int>(pictureRect_.width()) - 28);
    const QRect text = hint_->fontMetrics().boundingRect(QRect(0, 0, lineWidth, 10000),
                                                         Qt::TextWordWrap, hint_->text());
    const QSize hintSize(text.width() + 12, text.height() + 4);
    hint_->setGeometry(static_cast<int>(pictureRect_.center().x() - hintSize.width() / 2.0),
                       static_cast<int>(pictureRect_.bottom() - 8 - hintSize.height()),
                       hintSize.width(), hintSize.height());
    const QSize buttonSize = clearButton_->sizeHint();
    clearButton_->setGeometry(static_cast<int>(pictureRect_.right() - 8 - buttonSize.width()),
                              static_cast<int>(pictureRect_.top() + 8), buttonSize.width(),
                              buttonSize.height());
}

void ZoneEditorView::paintEvent(QPaintEvent*) {
    if (pictureRect_.isEmpty()) {
        return;
    }
    QPainter painter(this);
    if (!zones_.empty()) {
        QPainterPath outside;
        outside.setFillRule(Qt::OddEvenFill);
        outside.addRect(pictureRect_);
        for (const QRectF& zone : zones_) {
            outside.addRect(ZoneEditorGeometry::viewRect(pictureRect_, zone));
        }
        painter.fillPath(outside, QColor::fromRgbF(0, 0, 0, dimming));
    }
    for (int i = 0; i < static_cast<int>(zones_.size()); ++i) {
        const QRectF rect =
            ZoneEditorGeometry::viewRect(pictureRect_, zones_[i]).adjusted(1, 1, -1, -1);
        painter.setPen(QPen(selected_ == i ? selectedColor : QColor(Qt::white), 2));
        painter.drawRect(rect);
    }
    if (const auto* drawing = std::get_if<Drawing>(&drag_)) {
        QPen dashed(Qt::white, 1);
        dashed.setDashPattern({4, 3});
        painter.setPen(dashed);
        painter.drawRect(QRectF(drawing->from, drawing->to).normalized());
    }
}
