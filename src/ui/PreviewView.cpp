#include "PreviewView.h"

#include "PreviewConverter.h"
#include "PreviewGLView.h"

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QPainter>

namespace {

bool openGLAllowed = true;

}  // namespace

PreviewView::PreviewView(QWidget* parent) : QWidget(parent) {
    // Every pixel is painted, black around the picture.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumSize(160, 90);
    if (openGLAllowed && openGLAvailable()) {
        // Made first, so widgets laid over this view (the zone editor) stay above it.
        glView_ = new PreviewGLView(this);
        glView_->setGeometry(rect());
    } else {
        converter_ = new PreviewConverter(this);
        connect(converter_, &PreviewConverter::converted, this, qOverload<>(&QWidget::update));
    }
}

bool PreviewView::openGLAvailable() {
    static const bool available = [] {
        const QString platform = QGuiApplication::platformName();
        if (platform == QLatin1String("offscreen") || platform == QLatin1String("minimal") ||
            qEnvironmentVariable("NELVO_PREVIEW_OPENGL") == QLatin1String("0")) {
            return false;
        }
        QOpenGLContext context;
        if (!context.create()) {
            return false;
        }
        QOffscreenSurface surface;
        surface.setFormat(context.format());
        surface.create();
        if (!context.makeCurrent(&surface)) {
            return false;
        }
        context.doneCurrent();
        return true;
    }();
    return available;
}

void PreviewView::setOpenGLAllowed(bool allowed) {
    openGLAllowed = allowed;
}

void PreviewView::setFrame(const PreviewFrame& frame) {
    if (frame.isNull()) {
        return;
    }
    ++framesReceived_;
    if (glView_) {
        glView_->setFrame(frame);  // it asks for its own paint
    } else {
        converter_->convert(frame);  // asks for a paint when converted
    }
    pictureSize_ = frame.size();
    updatePictureRect();
}

void PreviewView::clear() {
    if (glView_) {
        glView_->clear();
    }
    if (converter_) {
        converter_->clear();
    }
    pictureSize_ = QSize();
    updatePictureRect();
    update();
}

int PreviewView::buffersMade() const {
    return glView_ ? glView_->texturesMade() : converter_->imagesMade();
}

std::uint64_t PreviewView::framesFilled() const {
    return glView_ ? glView_->uploads() : converter_->conversions();
}

std::uint64_t PreviewView::framesDrawn() const {
    return glView_ ? glView_->framesDrawn() : framesDrawn_;
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
    const QRectF fitted = aspectFit(pictureSize_, QRectF(rect()));
    if (fitted != pictureRect_) {
        pictureRect_ = fitted;
        if (glView_) {
            glView_->setPictureRect(pictureRect_);
        }
        Q_EMIT pictureRectChanged(pictureRect_);
    }
}

void PreviewView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (glView_) {
        glView_->setGeometry(rect());
    }
    updatePictureRect();
}

void PreviewView::paintEvent(QPaintEvent*) {
    if (glView_) {
        return;  // the OpenGL surface covers the view
    }
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    const QImage& image = converter_->image();
    if (image.isNull() || pictureSize_.isEmpty()) {
        return;
    }
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(pictureRect_, image);
    ++framesDrawn_;
}
