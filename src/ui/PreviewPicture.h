#pragma once

#include "PreviewColour.h"
#include "PreviewFrame.h"

#include <QImage>
#include <array>
#include <optional>

// The preview's picture for the QPainter path: a camera frame converted to
// RGB row by row with integer tables, its moved pixels pure red. Used by one
// thread at a time (the preview's conversion queue). Pictures come from a
// small pool: each frame is written into an image nobody else holds any more,
// so a picture handed out stays intact while it is drawn, and nothing is
// allocated per frame once the pool has its images. The pool is remade only
// when the frame's size changes.
class PreviewPicture {
public:
    static constexpr int poolSize = 3;

    // False when the frame cannot be read; the image is then unchanged.
    bool convert(const PreviewFrame& frame);

    // The last picture converted (shares its pixels with the pool).
    const QImage& image() const { return pool_[current_]; }
    void clear();

    // How often the pool was (re)made for a new size, and how many frames
    // were converted.
    int imagesMade() const { return imagesMade_; }
    int conversions() const { return conversions_; }

private:
    void useColour(const PreviewColour& colour);
    QImage& freeImage(const QSize& size);

    std::array<QImage, poolSize> pool_;
    int current_ = 0;
    QSize poolFrameSize_;
    int imagesMade_ = 0;
    int conversions_ = 0;
    // Each channel's part per Y, U or V value, scaled by 256 and rounded.
    std::optional<PreviewColour> colour_;
    std::array<int, 256> luma_{}, redV_{}, greenU_{}, greenV_{}, blueU_{};
};
