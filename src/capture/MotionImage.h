#pragma once

#include "MotionGrid.h"

#include <cstdint>
#include <vector>

// The motion image of one pair of frames, kept only where it is read: one
// byte per grid point, 1 where the pixel moved (the point the full-frame image
// would paint pure red), 0 elsewhere.
struct MotionImage : MotionGrid {
    std::vector<std::uint8_t> moved;  // rows * columns, row by row

    void resize(int frameWidth, int frameHeight, int gridStep) {
        resizeGrid(frameWidth, frameHeight, gridStep);
        moved.assign(static_cast<std::size_t>(points()), 0);
    }
    std::uint8_t at(int column, int row) const { return moved[row * columns + column]; }
};
