#include "PreviewView.h"

#include "Log.h"
#include "PreviewConverter.h"
#include "PreviewDrawingPath.h"
#include "PreviewGLView.h"

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QPainter>
#include <optional>

namespace {

bool openGLAllowed = true;

struct DrawingChoice {
    bool openGL = false;
    QString renderer;
};

// The renderer of a context made current on this platform, none when that fails.
std::optional<QString> probeRenderer() {
    QOpenGLContext context;
    if (!context.create()) {
        return std::nullopt;
    }
    QOffscreenSurface surface;
    surface.setFormat(context.format());
    surface.create();
    if (!context.makeCurrent(&surface)) {
        return std::nullopt;
    }
    const GLubyte* name = context.functions()->glGetString(GL_RENDERER);
    QString renderer = name ? QString::fromLatin1(reinterpret_cast<const char*>(name)) : QString();
    context.doneCurrent();
    return renderer;
}

const DrawingChoice& drawingChoice() {
    static const DrawingChoice choice = [] {
        const QString platform = QGuiApplication::platformName();
        const bool windowSystem =
            platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
        const QString setting = qEnvironmentVariable("NELVO_PREVIEW_OPENGL");
        if (!setting.isEmpty() && setting != QLatin1String("0") && setting != QLatin1String("1")) {
            Log::line(QStringLiteral("NELVO_PREVIEW_OPENGL is \"%1\", not 0 or 1: the preview "
                                     "chooses its drawing by the OpenGL renderer")
                          .arg(setting));
        }
        std::optional<QString> renderer;
        if (windowSystem && PreviewDrawingPath::needsRenderer(setting)) {
            renderer = probeRenderer();
        }
        return DrawingChoice{
            PreviewDrawingPath::choose(setting, renderer) == PreviewDrawingPath::openGL,
            renderer.value_or(QString())};
    }();
    return choice;
}

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
    return drawingChoice().openGL;
}

QString PreviewView::openGLRenderer() {
    return drawingChoice().renderer;
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
