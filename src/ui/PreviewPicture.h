#pragma once

#include "PreviewColour.h"
#include "PreviewFrame.h"

#include <QImage>
#include <array>
#include <optional>

// The preview's picture for the QPainter path: a camera frame converted to
// RGB on the GUI thread, row by row with integer tables, its moved pixels pure
// red. The image is reused and remade only when the frame's size changes.
class PreviewPicture {
public:
    // False when the frame cannot be read; the image is then unchanged.
    bool convert(const PreviewFrame& frame);

    const QImage& image() const { return image_; }
    void clear() { image_ = QImage(); }

    // How often the image was (re)made, and how many frames were converted.
    int imagesMade() const { return imagesMade_; }
    int conversions() const { return conversions_; }

private:
    void useColour(const PreviewColour& colour);

    QImage image_;
    int imagesMade_ = 0;
    int conversions_ = 0;
    // Each channel's part per Y, U or V value, scaled by 256 and rounded.
    std::optional<PreviewColour> colour_;
    std::array<int, 256> luma_{}, redV_{}, greenU_{}, greenV_{}, blueU_{};
};
