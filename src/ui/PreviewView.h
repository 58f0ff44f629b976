#pragma once

#include <QImage>
#include <QRectF>
#include <QWidget>
#include <cstdint>

// Shows the newest picture of one camera, aspect-fit inside the view on black,
// with the moved pixels the motion detection marked red. The picture is
// copied into a buffer of its own, so the camera's picture goes back to the
// capture side's pool at once; the buffer is remade only when the picture's
// size changes.
class PreviewView : public QWidget {
    Q_OBJECT

public:
    explicit PreviewView(QWidget* parent = nullptr);

    // A new picture (main thread). Draws at the next paint.
    void setImage(const QImage& image);
    void clear();

    // Where the picture is drawn, in view coordinates; empty before the first picture.
    const QRectF& pictureRect() const { return pictureRect_; }
    QSize pictureSize() const { return buffer_.size(); }

    // Counters for tests and benchmarks.
    int buffersMade() const { return buffersMade_; }
    std::uint64_t framesReceived() const { return framesReceived_; }
    std::uint64_t framesDrawn() const { return framesDrawn_; }

    // The largest rectangle of `picture`'s aspect inside `bounds`, centred.
    static QRectF aspectFit(const QSize& picture, const QRectF& bounds);

Q_SIGNALS:
    void pictureRectChanged(const QRectF& rect);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void copyIntoBuffer(const QImage& image);
    void updatePictureRect();

    QImage buffer_;
    QRectF pictureRect_;
    int buffersMade_ = 0;
    std::uint64_t framesReceived_ = 0;
    std::uint64_t framesDrawn_ = 0;
};
