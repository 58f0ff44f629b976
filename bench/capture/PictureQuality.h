#pragma once

// Picture quality of a decoded frame against its source, on the luma plane:
// SSIM over 8x8 windows every 4 pixels (the usual constants, k1 0.01 and
// k2 0.03 of 255), and the mean squared error for PSNR.
#include <cmath>
#include <cstdint>
#include <vector>

namespace PictureQuality {

struct BlockSums {
    std::int64_t a = 0;
    std::int64_t b = 0;
    std::int64_t squares = 0;  // a² + b²
    std::int64_t products = 0;
};

inline BlockSums sums4x4(const std::uint8_t* a, int strideA, const std::uint8_t* b, int strideB) {
    BlockSums s;
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            const int pa = a[y * strideA + x];
            const int pb = b[y * strideB + x];
            s.a += pa;
            s.b += pb;
            s.squares += pa * pa + pb * pb;
            s.products += pa * pb;
        }
    }
    return s;
}

inline double windowSsim(const BlockSums& s) {
    constexpr double c1 = 0.01 * 0.01 * 255 * 255 * 64;
    constexpr double c2 = 0.03 * 0.03 * 255 * 255 * 64 * 63;
    const double sa = static_cast<double>(s.a);
    const double sb = static_cast<double>(s.b);
    const double variances = static_cast<double>(s.squares) * 64 - sa * sa - sb * sb;
    const double covariance = static_cast<double>(s.products) * 64 - sa * sb;
    return (2 * sa * sb + c1) * (2 * covariance + c2) /
           ((sa * sa + sb * sb + c1) * (variances + c2));
}

// Mean SSIM of two luma planes of the same size.
inline double ssim(const std::uint8_t* a, int strideA, const std::uint8_t* b, int strideB,
                   int width, int height) {
    const int columns = width / 4;
    const int rows = height / 4;
    std::vector<BlockSums> above(columns);
    std::vector<BlockSums> below(columns);
    for (int x = 0; x < columns; ++x) {
        above[x] = sums4x4(a + 4 * x, strideA, b + 4 * x, strideB);
    }
    double total = 0;
    for (int y = 1; y < rows; ++y) {
        for (int x = 0; x < columns; ++x) {
            below[x] =
                sums4x4(a + 4 * y * strideA + 4 * x, strideA, b + 4 * y * strideB + 4 * x, strideB);
        }
        for (int x = 0; x + 1 < columns; ++x) {
            BlockSums w;
            for (const BlockSums* part : {&above[x], &above[x + 1], &below[x], &below[x + 1]}) {
                w.a += part->a;
                w.b += part->b;
                w.squares += part->squares;
                w.products += part->products;
            }
            total += windowSsim(w);
        }
        above.swap(below);
    }
    return total / (static_cast<double>(rows - 1) * (columns - 1));
}

inline double meanSquaredError(const std::uint8_t* a, int strideA, const std::uint8_t* b,
                               int strideB, int width, int height) {
    std::int64_t total = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int d = int(a[y * strideA + x]) - int(b[y * strideB + x]);
            total += d * d;
        }
    }
    return static_cast<double>(total) / (static_cast<double>(width) * height);
}

inline double psnr(double meanSquaredError) {
    return meanSquaredError > 0 ? 10 * std::log10(255.0 * 255.0 / meanSquaredError) : 99.0;
}

}  // namespace PictureQuality
