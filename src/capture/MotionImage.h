#pragma once

#include <cstdint>
#include <vector>

// The motion image of one pair of frames, kept only where it is read: at every
// `step`th pixel of every `step`th row (x = 0, step, ... while x < width - 1,
// the same down the rows). One byte per grid point, 1 where the pixel moved
// (the point the full-frame image would paint pure red), 0 elsewhere.
struct MotionImage {
    int width = 0;
    int height = 0;
    int step = 20;
    int columns = 0;
    int rows = 0;
    std::vector<std::uint8_t> moved;  // rows * columns, row by row

    void resize(int frameWidth, int frameHeight, int gridStep) {
        width = frameWidth;
        height = frameHeight;
        step = gridStep;
        columns = frameWidth > 1 ? (frameWidth - 2) / gridStep + 1 : 0;
        rows = frameHeight > 1 ? (frameHeight - 2) / gridStep + 1 : 0;
        moved.assign(static_cast<std::size_t>(columns) * rows, 0);
    }
    std::uint8_t at(int column, int row) const { return moved[row * columns + column]; }
};
