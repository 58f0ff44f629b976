#include "PreviewGLView.h"

#include "Log.h"
#include "MappedVideoFrame.h"

#include <QOpenGLContext>

namespace {

const char* const vertexShader = R"(
attribute vec2 position;
attribute vec2 texturePosition;
varying vec2 coordinate;
void main() {
    coordinate = texturePosition;
    gl_Position = vec4(position, 0.0, 1.0);
}
)";

// Values in levels of 255, as the QPainter path computes them.
const char* const fragmentShader = R"(
#ifdef GL_ES
precision mediump float;
#endif
varying vec2 coordinate;
uniform sampler2D lumaPlane;
uniform sampler2D uPlane;
uniform sampler2D vPlane;
uniform sampler2D movedPlane;
uniform vec4 uSelect;
uniform vec4 vSelect;
uniform float hasChroma;
uniform vec2 luma;          // offset, weight
uniform vec4 chromaWeights; // red from V, green from U, green from V, blue from U
void main() {
    if (texture2D(movedPlane, coordinate).r > 0.5 / 255.0) {
        gl_FragColor = vec4(1.0, 0.0, 0.0, 1.0);
        return;
    }
    float y = texture2D(lumaPlane, coordinate).r * 255.0;
    float u = hasChroma * (dot(texture2D(uPlane, coordinate), uSelect) * 255.0 - 128.0);
    float v = hasChroma * (dot(texture2D(vPlane, coordinate), vSelect) * 255.0 - 128.0);
    float l = luma.y * (y - luma.x);
    vec3 rgb = vec3(l + chromaWeights.x * v, l - chromaWeights.y * u - chromaWeights.z * v,
                    l + chromaWeights.w * u);
    gl_FragColor = vec4(clamp(rgb / (256.0 * 255.0), 0.0, 1.0), 1.0);
}
)";

// The picture fills the viewport: x, y, then the texture's s, t (t = 0 is the
// frame's first row).
constexpr std::array<float, 16> quadVertices{-1, -1, 0, 1, 1, -1, 1, 1, -1, 1, 0, 0, 1, 1, 1, 0};

}  // namespace

PreviewGLView::PreviewGLView(QWidget* parent) : QOpenGLWidget(parent) {}

PreviewGLView::~PreviewGLView() {
    // The base class destroys the context after this object is gone: its
    // signal must not reach this object then.
    if (QOpenGLContext* current = context()) {
        disconnect(current, nullptr, this, nullptr);
    }
    releaseContext();
}

// The context goes when the widget moves to another window or is destroyed;
// a new one starts from nothing in initializeGL.
void PreviewGLView::releaseContext() {
    if (!isValid()) {
        return;
    }
    makeCurrent();
    releaseTextures();
    quad_.destroy();
    program_.reset();
    layout_ = {};
    hasPicture_ = false;
    doneCurrent();
}

void PreviewGLView::setFrame(const PreviewFrame& frame) {
    if (isValid()) {
        makeCurrent();
        upload(frame);
        doneCurrent();
    } else {
        pending_ = frame;
    }
    update();
}

void PreviewGLView::clear() {
    pending_ = {};
    hasPicture_ = false;
    update();
}

void PreviewGLView::setPictureRect(const QRectF& rect) {
    if (rect != pictureRect_) {
        pictureRect_ = rect;
        update();
    }
}

void PreviewGLView::initializeGL() {
    initializeOpenGLFunctions();
    connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, &PreviewGLView::releaseContext,
            Qt::UniqueConnection);
    program_ = std::make_unique<QOpenGLShaderProgram>();
    if (!program_->addShaderFromSourceCode(QOpenGLShader::Vertex, vertexShader) ||
        !program_->addShaderFromSourceCode(QOpenGLShader::Fragment, fragmentShader) ||
        !program_->link()) {
        Log::line(QStringLiteral("Could not build the preview's OpenGL program: ") +
                  program_->log());
        program_.reset();
        return;
    }
    quad_.create();
    quad_.bind();
    quad_.allocate(quadVertices.data(), static_cast<int>(sizeof(quadVertices)));
    quad_.release();
    if (!pending_.isNull()) {
        upload(pending_);
        pending_ = {};
    }
}

void PreviewGLView::releaseTextures() {
    if (textures_[luma]) {
        glDeleteTextures(textureCount, textures_.data());
        textures_.fill(0);
    }
}

void PreviewGLView::makeTextures(const GstVideoFrame& frame) {
    releaseTextures();
    glGenTextures(textureCount, textures_.data());
    const GstVideoFormatInfo* format = frame.info.finfo;
    hasChroma_ = GST_VIDEO_FORMAT_INFO_N_COMPONENTS(format) >= 3;
    chromaInterleaved_ = hasChroma_ && GST_VIDEO_FORMAT_INFO_PLANE(format, 1) ==
                                           GST_VIDEO_FORMAT_INFO_PLANE(format, 2);
    vFirst_ = chromaInterleaved_ &&
              GST_VIDEO_FORMAT_INFO_POFFSET(format, 2) < GST_VIDEO_FORMAT_INFO_POFFSET(format, 1);
    for (int i = 0; i < textureCount; ++i) {
        glBindTexture(GL_TEXTURE_2D, textures_[i]);
        // The mask keeps its pixels sharp; the picture is smoothed when scaled.
        const GLint filter = i == mask ? GL_NEAREST : GL_LINEAR;
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    }
    const int width = GST_VIDEO_FRAME_WIDTH(&frame);
    const int height = GST_VIDEO_FRAME_HEIGHT(&frame);
    const auto allocate = [this](unsigned texture, GLenum textureFormat, int w, int h) {
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(textureFormat), w, h, 0, textureFormat,
                     GL_UNSIGNED_BYTE, nullptr);
    };
    allocate(textures_[luma], GL_LUMINANCE, width, height);
    allocate(textures_[mask], GL_LUMINANCE, width, height);
    if (hasChroma_) {
        for (const int component : {1, 2}) {
            const int w = GST_VIDEO_FRAME_COMP_WIDTH(&frame, component);
            const int h = GST_VIDEO_FRAME_COMP_HEIGHT(&frame, component);
            allocate(textures_[component], chromaInterleaved_ ? GL_LUMINANCE_ALPHA : GL_LUMINANCE,
                     w, h);
            if (chromaInterleaved_) {
                break;  // one texture serves both
            }
        }
    }
    ++texturesMade_;
}

// Rows of `stride` bytes: whole when the rows are packed or the context can
// skip the padding, else row by row.
void PreviewGLView::uploadPlane(unsigned texture, int format, int bytesPerTexel, int width,
                                int height, const void* data, int stride) {
    glBindTexture(GL_TEXTURE_2D, texture);
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    const bool packed = stride == width * bytesPerTexel;
    const bool canSkip = !context()->isOpenGLES() && stride % bytesPerTexel == 0;
    if (packed || canSkip) {
        if (!packed) {
            glPixelStorei(GL_UNPACK_ROW_LENGTH, stride / bytesPerTexel);
        }
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, static_cast<GLenum>(format),
                        GL_UNSIGNED_BYTE, bytes);
        if (!packed) {
            glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
        }
        return;
    }
    for (int y = 0; y < height; ++y) {
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, y, width, 1, static_cast<GLenum>(format),
                        GL_UNSIGNED_BYTE, bytes + static_cast<std::ptrdiff_t>(y) * stride);
    }
}

void PreviewGLView::upload(const PreviewFrame& frame) {
    if (!program_ || frame.isNull()) {
        return;
    }
    const MappedVideoFrame mapped(frame.info, frame.sample.get());
    if (!mapped.mapped) {
        return;
    }
    const GstVideoFrame& f = mapped.frame;
    const int width = GST_VIDEO_FRAME_WIDTH(&f);
    const int height = GST_VIDEO_FRAME_HEIGHT(&f);
    if (frame.mask->size() < static_cast<std::size_t>(width) * height) {
        return;
    }
    const Layout layout{QSize(width, height), GST_VIDEO_FRAME_FORMAT(&f)};
    if (layout != layout_ || !textures_[luma]) {
        makeTextures(f);
        layout_ = layout;
    }
    colour_ = PreviewColour::of(frame.info);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    uploadPlane(textures_[luma], GL_LUMINANCE, 1, width, height, GST_VIDEO_FRAME_COMP_DATA(&f, 0),
                GST_VIDEO_FRAME_COMP_STRIDE(&f, 0));
    uploadPlane(textures_[mask], GL_LUMINANCE, 1, width, height, frame.mask->data(), width);
    if (chromaInterleaved_) {
        const int plane = GST_VIDEO_FORMAT_INFO_PLANE(f.info.finfo, 1);
        uploadPlane(textures_[chromaU], GL_LUMINANCE_ALPHA, 2, GST_VIDEO_FRAME_COMP_WIDTH(&f, 1),
                    GST_VIDEO_FRAME_COMP_HEIGHT(&f, 1), GST_VIDEO_FRAME_PLANE_DATA(&f, plane),
                    GST_VIDEO_FRAME_PLANE_STRIDE(&f, plane));
    } else if (hasChroma_) {
        for (const int component : {1, 2}) {
            uploadPlane(textures_[component], GL_LUMINANCE, 1,
                        GST_VIDEO_FRAME_COMP_WIDTH(&f, component),
                        GST_VIDEO_FRAME_COMP_HEIGHT(&f, component),
                        GST_VIDEO_FRAME_COMP_DATA(&f, component),
                        GST_VIDEO_FRAME_COMP_STRIDE(&f, component));
        }
    }
    hasPicture_ = true;
    ++uploads_;
}

void PreviewGLView::paintGL() {
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    if (!program_ || !hasPicture_ || pictureRect_.isEmpty()) {
        return;
    }
    const qreal ratio = devicePixelRatioF();
    const QRect target(
        QPointF(pictureRect_.left() * ratio, (height() - pictureRect_.bottom()) * ratio).toPoint(),
        (pictureRect_.size() * ratio).toSize());
    glViewport(target.x(), target.y(), target.width(), target.height());

    program_->bind();
    const std::array<const char*, textureCount> samplers{"lumaPlane", "uPlane", "vPlane",
                                                         "movedPlane"};
    for (int i = 0; i < textureCount; ++i) {
        glActiveTexture(GL_TEXTURE0 + i);
        // Interleaved chroma: the V sampler reads the U texture's other channel.
        const unsigned texture =
            i == chromaV && chromaInterleaved_ ? textures_[chromaU] : textures_[i];
        glBindTexture(GL_TEXTURE_2D, texture);
        program_->setUniformValue(samplers[i], i);
    }
    const QVector4D first(1, 0, 0, 0);
    const QVector4D second(0, 0, 0, 1);
    program_->setUniformValue("uSelect", chromaInterleaved_ && vFirst_ ? second : first);
    program_->setUniformValue("vSelect", chromaInterleaved_ && !vFirst_ ? second : first);
    program_->setUniformValue("hasChroma", hasChroma_ ? 1.0f : 0.0f);
    program_->setUniformValue("luma", QVector2D(colour_.lumaOffset, colour_.lumaWeight));
    program_->setUniformValue("chromaWeights", QVector4D(colour_.redFromV, colour_.greenFromU,
                                                         colour_.greenFromV, colour_.blueFromU));
    quad_.bind();
    program_->enableAttributeArray("position");
    program_->enableAttributeArray("texturePosition");
    program_->setAttributeBuffer("position", GL_FLOAT, 0, 2, 4 * sizeof(float));
    program_->setAttributeBuffer("texturePosition", GL_FLOAT, 2 * sizeof(float), 2,
                                 4 * sizeof(float));
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    program_->disableAttributeArray("position");
    program_->disableAttributeArray("texturePosition");
    quad_.release();
    program_->release();
    glActiveTexture(GL_TEXTURE0);
    ++framesDrawn_;
}
