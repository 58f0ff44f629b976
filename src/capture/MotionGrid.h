#pragma once

// The points the motion measure reads: every `step`th pixel of every `step`th
// row (x = 0, step, ... while x < width - 1, the same down the rows).
struct MotionGrid {
    int width = 0;
    int height = 0;
    int step = 20;
    int columns = 0;
    int rows = 0;

    void resizeGrid(int frameWidth, int frameHeight, int gridStep) {
        width = frameWidth;
        height = frameHeight;
        step = gridStep;
        columns = frameWidth > 1 ? (frameWidth - 2) / gridStep + 1 : 0;
        rows = frameHeight > 1 ? (frameHeight - 2) / gridStep + 1 : 0;
    }
    int points() const { return columns * rows; }
};
