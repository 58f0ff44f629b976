#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

// The Gaussian the motion measure blurs luma with (sigma 1.5, 9 taps; the
// weights beyond are below 1 %), as integer weights summing to 1024 in one
// dimension, so the 2-D weights sum to 2^20 and a blurred value needs no
// division. The grid and the preview's full-frame mask share them, so both say
// the same at every grid point.
namespace MotionBlur {

inline constexpr int radius = 4;
inline constexpr int taps = 2 * radius + 1;
inline constexpr std::array<int, taps> weights{8, 37, 112, 219, 272, 219, 112, 37, 8};
inline constexpr int weightShift = 20;

static_assert([] {
    int sum = 0;
    for (int w : weights) {
        sum += w;
    }
    return sum == 1 << (weightShift / 2);
}());

// The 9 rows of a plane around row `y`; rows past the top or bottom edge are
// the edge row, as the blur treats them.
using Rows = std::array<const std::uint8_t*, taps>;

inline Rows rowsAround(const std::uint8_t* plane, int stride, int y, int height) {
    Rows rows;
    for (int i = 0; i < taps; ++i) {
        const int line = std::clamp(y + i - radius, 0, height - 1);
        rows[i] = plane + static_cast<std::ptrdiff_t>(line) * stride;
    }
    return rows;
}

}  // namespace MotionBlur
