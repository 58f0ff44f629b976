#pragma once

#include <array>

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

}  // namespace MotionBlur
