#pragma once

#include "PreviewFrame.h"

#include <QRectF>
#include <QWidget>
#include <cstdint>

class PreviewConverter;
class PreviewGLView;

// Shows the newest frame of one camera, aspect-fit inside the view on black,
// with the moved pixels the motion detection marked red. Draws with OpenGL
// where the platform offers it (the frame's planes go to textures and a
// shader converts them), else with QPainter (the frame is converted to RGB
// on a worker queue, newest frame only, and the GUI thread only draws the
// finished picture). Either way the camera's frame is let go as soon as it is
// converted or uploaded, and buffers are remade only when the frame's size
// changes.
class PreviewView : public QWidget {
    Q_OBJECT

public:
    explicit PreviewView(QWidget* parent = nullptr);

    // A new frame (main thread). Drawn at the next paint once uploaded, or
    // once converted on the QPainter path.
    void setFrame(const PreviewFrame& frame);
    void clear();

    // Where the picture is drawn, in view coordinates; empty before the first frame.
    const QRectF& pictureRect() const { return pictureRect_; }
    QSize pictureSize() const { return pictureSize_; }

    // Which way this view draws, and its OpenGL surface (null on the QPainter path).
    bool usesOpenGL() const { return glView_ != nullptr; }
    PreviewGLView* glView() const { return glView_; }

    // Counters for tests and benchmarks: buffers (the image, or the textures)
    // made, frames converted or uploaded into them, received and drawn.
    int buffersMade() const;
    std::uint64_t framesFilled() const;
    // The QPainter path's converter (null on the OpenGL path).
    const PreviewConverter* converter() const { return converter_; }
    std::uint64_t framesReceived() const { return framesReceived_; }
    std::uint64_t framesDrawn() const;

    // The largest rectangle of `picture`'s aspect inside `bounds`, centred.
    static QRectF aspectFit(const QSize& picture, const QRectF& bounds);

    // Whether views draw with OpenGL here: a window system (not the offscreen
    // or minimal platform) on which an OpenGL context can be made current,
    // with a renderer that is not a software rasteriser, unless
    // NELVO_PREVIEW_OPENGL says otherwise (PreviewDrawingPath). Decided once
    // per process, at the first view.
    static bool openGLAvailable();
    // The renderer that decision saw (empty when no context was made).
    static QString openGLRenderer();
    // Lets views made afterwards use OpenGL when available (the default), or
    // not: for comparing the two ways in one process.
    static void setOpenGLAllowed(bool allowed);

Q_SIGNALS:
    void pictureRectChanged(const QRectF& rect);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void updatePictureRect();

    PreviewGLView* glView_ = nullptr;
    PreviewConverter* converter_ = nullptr;
    QSize pictureSize_;
    QRectF pictureRect_;
    std::uint64_t framesReceived_ = 0;
    std::uint64_t framesDrawn_ = 0;
};
