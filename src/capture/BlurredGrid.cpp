#include "BlurredGrid.h"

#include "MotionBlur.h"

#include <algorithm>
#include <array>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

using MotionBlur::radius;
using MotionBlur::taps;
using MotionBlur::weights;
using Window = MotionBlur::Rows;

// The 9 rows around a grid row; a grid point's window starts `left` bytes
// into each (4 columns left of the point) and has `windowBytes` readable bytes.
constexpr int windowBytes = 16;

// Blurred luma at one grid point, scaled by 2^20: down each of the 9 columns
// first, then across the 9 column sums. Every partial sum fits in 32 bits.
int blurredPortable(const Window& rows, int left) {
    std::array<int, taps> columns{};
    for (int i = 0; i < taps; ++i) {
        for (int j = 0; j < taps; ++j) {
            columns[j] += weights[i] * rows[i][left + j];
        }
    }
    int sum = 0;
    for (int j = 0; j < taps; ++j) {
        sum += weights[j] * columns[j];
    }
    return sum;
}

#if defined(__SSE2__)
// The same with one 16-byte load per row, pixels as 16-bit lanes, and two rows
// weighted and added by one multiply-add per 4 columns.
int blurredSse2(const Window& rows, int left) {
    const __m128i zero = _mm_setzero_si128();
    // Column sums of columns 0-3, 4-7 and 8 (lanes 9-11 unused).
    __m128i columns0to3 = zero;
    __m128i columns4to7 = zero;
    __m128i column8 = zero;
    for (int i = 0; i < taps; i += 2) {
        const __m128i row = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[i] + left));
        const __m128i next =
            i + 1 < taps ? _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[i + 1] + left))
                         : zero;
        const int nextWeight = i + 1 < taps ? weights[i + 1] : 0;
        const __m128i pairWeights = _mm_set1_epi32((nextWeight << 16) | weights[i]);
        const __m128i low = _mm_unpacklo_epi8(row, zero);
        const __m128i nextLow = _mm_unpacklo_epi8(next, zero);
        columns0to3 = _mm_add_epi32(columns0to3,
                                    _mm_madd_epi16(_mm_unpacklo_epi16(low, nextLow), pairWeights));
        columns4to7 = _mm_add_epi32(columns4to7,
                                    _mm_madd_epi16(_mm_unpackhi_epi16(low, nextLow), pairWeights));
        const __m128i high = _mm_unpackhi_epi8(row, zero);
        const __m128i nextHigh = _mm_unpackhi_epi8(next, zero);
        column8 =
            _mm_add_epi32(column8, _mm_madd_epi16(_mm_unpacklo_epi16(high, nextHigh), pairWeights));
    }
    alignas(16) std::array<int, 12> columns;
    _mm_store_si128(reinterpret_cast<__m128i*>(columns.data()), columns0to3);
    _mm_store_si128(reinterpret_cast<__m128i*>(columns.data() + 4), columns4to7);
    _mm_store_si128(reinterpret_cast<__m128i*>(columns.data() + 8), column8);
    int sum = 0;
    for (int j = 0; j < taps; ++j) {
        sum += weights[j] * columns[j];
    }
    return sum;
}
#endif

// Walks the grid. Rows beyond the frame's edges read the edge row (the
// window's row pointers are clamped once per grid row); a window that would
// cross the left or right edge is copied with clamped columns first.
template <int (*blurred)(const Window&, int)>
void blurGrid(const std::uint8_t* luma, int stride, BlurredGrid& out) {
    std::array<std::array<std::uint8_t, windowBytes>, taps> edge;
    Window edgeRows;
    for (int i = 0; i < taps; ++i) {
        edgeRows[i] = edge[i].data();
    }
    for (int row = 0; row < out.rows; ++row) {
        const Window lines = MotionBlur::rowsAround(luma, stride, row * out.step, out.height);
        std::int32_t* values = out.values.data() + row * out.columns;
        for (int column = 0; column < out.columns; ++column) {
            const int left = column * out.step - radius;
            if (left >= 0 && left + windowBytes <= out.width) {
                values[column] = blurred(lines, left);
                continue;
            }
            for (int i = 0; i < taps; ++i) {
                for (int j = 0; j < windowBytes; ++j) {
                    edge[i][j] = lines[i][std::clamp(left + j, 0, out.width - 1)];
                }
            }
            values[column] = blurred(edgeRows, 0);
        }
    }
}

}  // namespace

void BlurredGrid::blur(const std::uint8_t* luma, int stride) {
#if defined(__SSE2__)
    blurGrid<blurredSse2>(luma, stride, *this);
#else
    blurPortable(luma, stride);
#endif
}

void BlurredGrid::blurPortable(const std::uint8_t* luma, int stride) {
    blurGrid<blurredPortable>(luma, stride, *this);
}
