#include "PreviewView.h"

#include <QPainter>
#include <cstring>

PreviewView::PreviewView(QWidget* parent) : QWidget(parent) {
    // Every pixel is painted, black around the picture.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumSize(160, 90);
}

void PreviewView::setImage(const QImage& image) {
    if (image.isNull()) {
        return;
    }
    ++framesReceived_;
    copyIntoBuffer(image);
    updatePictureRect();
    update();
}

void PreviewView::clear() {
    buffer_ = QImage();
    updatePictureRect();
    update();
}

void PreviewView::copyIntoBuffer(const QImage& image) {
    if (buffer_.size() != image.size()) {
        buffer_ = QImage(image.size(), QImage::Format_RGB32);
        ++buffersMade_;
    }
    if (image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32) {
        const std::size_t lineBytes = static_cast<std::size_t>(image.width()) * 4;
        for (int y = 0; y < image.height(); ++y) {
            std::memcpy(buffer_.scanLine(y), image.constScanLine(y), lineBytes);
        }
        return;
    }
    QPainter painter(&buffer_);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawImage(0, 0, image);
}

QRectF PreviewView::aspectFit(const QSize& picture, const QRectF& bounds) {
    if (picture.isEmpty() || bounds.isEmpty()) {
        return {};
    }
    const double scale =
        std::min(bounds.width() / picture.width(), bounds.height() / picture.height());
    const QSizeF size(picture.width() * scale, picture.height() * scale);
    return QRectF(bounds.left() + (bounds.width() - size.width()) / 2,
                  bounds.top() + (bounds.height() - size.height()) / 2, size.width(),
                  size.height());
}

void PreviewView::updatePictureRect() {
    const QRectF fitted = aspectFit(buffer_.size(), QRectF(rect()));
    if (fitted != pictureRect_) {
        pictureRect_ = fitted;
        Q_EMIT pictureRectChanged(pictureRect_);
    }
}

void PreviewView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    updatePictureRect();
}

void PreviewView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (buffer_.isNull()) {
        return;
    }
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(pictureRect_, buffer_);
    ++framesDrawn_;
}
