#pragma once

#include "PreviewColour.h"
#include "PreviewFrame.h"

#include <QOpenGLBuffer>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>
#include <QOpenGLWidget>
#include <array>
#include <cstdint>
#include <memory>

// The preview's OpenGL path: the camera's Y, U and V planes (or Y and the
// interleaved UV plane) and the moved-pixel mask go to textures as they are;
// a shader turns them into RGB (the same BT.601 weights as the QPainter path)
// and paints moved pixels red, inside the picture rectangle, on black.
// Textures are made when a frame of a new size or layout arrives; frames of
// the same size are only uploaded. A frame is uploaded as it arrives and let
// go at once, so the camera's buffer goes back to its pool.
class PreviewGLView : public QOpenGLWidget, protected QOpenGLFunctions {
    Q_OBJECT

public:
    explicit PreviewGLView(QWidget* parent = nullptr);
    ~PreviewGLView() override;

    void setFrame(const PreviewFrame& frame);
    void clear();
    // Where the picture goes, in this widget's coordinates.
    void setPictureRect(const QRectF& rect);

    // Counters for tests and benchmarks.
    int texturesMade() const { return texturesMade_; }
    std::uint64_t uploads() const { return uploads_; }
    std::uint64_t framesDrawn() const { return framesDrawn_; }

protected:
    void initializeGL() override;
    void paintGL() override;

private:
    // The frame's planes as textures: which plane each holds and how it is read.
    struct Layout {
        QSize size;
        GstVideoFormat format = GST_VIDEO_FORMAT_UNKNOWN;
        bool operator==(const Layout&) const = default;
    };

    void upload(const PreviewFrame& frame);
    void makeTextures(const GstVideoFrame& frame);
    void uploadPlane(unsigned texture, int format, int bytesPerTexel, int width, int height,
                     const void* data, int stride);
    void releaseTextures();
    void releaseContext();

    enum Texture { luma, chromaU, chromaV, mask, textureCount };
    std::array<unsigned, textureCount> textures_{};
    std::unique_ptr<QOpenGLShaderProgram> program_;
    QOpenGLBuffer quad_{QOpenGLBuffer::VertexBuffer};
    Layout layout_;
    PreviewColour colour_{};
    bool hasChroma_ = false;
    bool chromaInterleaved_ = false;
    bool vFirst_ = false;  // interleaved chroma as V, U
    bool hasPicture_ = false;
    PreviewFrame pending_;  // a frame that arrived before OpenGL was ready
    QRectF pictureRect_;
    int texturesMade_ = 0;
    std::uint64_t uploads_ = 0;
    std::uint64_t framesDrawn_ = 0;
};
