#pragma once

#include "MotionGrid.h"

#include <cstdint>
#include <vector>

// One frame's luma blurred with the motion measure's Gaussian, at the grid
// points only (the points a `MotionImage` has), scaled by 2^20. The blur is
// linear and exact in integers, so the difference of two frames' grids is the
// blurred difference of the frames: each frame is blurred once, when it
// arrives, and its grid is kept for the comparison with the next frame.
struct BlurredGrid : MotionGrid {
    std::vector<std::int32_t> values;  // rows * columns, row by row

    void resize(int frameWidth, int frameHeight, int gridStep) {
        resizeGrid(frameWidth, frameHeight, gridStep);
        values.assign(static_cast<std::size_t>(points()), 0);
    }
    std::int32_t at(int column, int row) const { return values[row * columns + column]; }

    // Fills the grid from a luma plane of the grid's size, with SSE2 where the
    // processor has it (every x86-64). Rows and columns beyond the frame's
    // edges repeat the edge.
    void blur(const std::uint8_t* luma, int stride);
    // The same in plain C++, for processors without SSE2; same results.
    void blurPortable(const std::uint8_t* luma, int stride);
};
