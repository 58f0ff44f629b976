#include "MotionDetectRenderer.h"

#include "Log.h"
#include "MappedVideoFrame.h"

#include <algorithm>
#include <cstdlib>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

constexpr int radius = MotionDetectRenderer::blurRadius;
constexpr int taps = 2 * radius + 1;

// Gaussian weights for sigma 1.5, scaled to sum to 1024 in one dimension, so
// the 2-D weights sum to 2^20 and a blurred value needs no division.
constexpr std::array<int, taps> weights{8, 37, 112, 219, 272, 219, 112, 37, 8};
constexpr int weightShift = 20;
constexpr int scaledThreshold = MotionDetectRenderer::movedThreshold << weightShift;

static_assert([] {
    int sum = 0;
    for (int w : weights) {
        sum += w;
    }
    return sum == 1024;
}());

// The 9 rows around a grid row; a grid point's window starts `left` bytes
// into each (4 columns left of the point) and has `windowBytes` readable bytes.
constexpr int windowBytes = 16;
using Window = std::array<const std::uint8_t*, taps>;

// Blurred luma difference (current - previous) at one grid point, scaled by
// 2^20: the difference is blurred down each of the 9 columns first, then the
// 9 column sums are blurred across. Exact integer arithmetic: |difference| is
// at most 255, so every partial sum fits in 32 bits.
int blurredDifferencePortable(const Window& previous, const Window& current, int left) {
    std::array<int, taps> columns{};
    for (int i = 0; i < taps; ++i) {
        for (int j = 0; j < taps; ++j) {
            columns[j] += weights[i] * (current[i][left + j] - previous[i][left + j]);
        }
    }
    int sum = 0;
    for (int j = 0; j < taps; ++j) {
        sum += weights[j] * columns[j];
    }
    return sum;
}

#if defined(__SSE2__)
// The same with SSE2 (every x86-64 has it): one 16-byte load per row and
// frame, differences as 16-bit lanes, and two rows at a time weighted and
// added by one multiply-add per 4 columns.
int blurredDifferenceSse2(const Window& previous, const Window& current, int left) {
    const __m128i zero = _mm_setzero_si128();
    const auto difference = [zero](const std::uint8_t* now, const std::uint8_t* before,
                                   __m128i& low, __m128i& high) {
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(now));
        const __m128i p = _mm_loadu_si128(reinterpret_cast<const __m128i*>(before));
        low = _mm_sub_epi16(_mm_unpacklo_epi8(c, zero), _mm_unpacklo_epi8(p, zero));
        high = _mm_sub_epi16(_mm_unpackhi_epi8(c, zero), _mm_unpackhi_epi8(p, zero));
    };
    // Column sums of columns 0-3, 4-7 and 8 (lanes 9-11 unused).
    __m128i columns0to3 = zero;
    __m128i columns4to7 = zero;
    __m128i column8 = zero;
    for (int i = 0; i < taps; i += 2) {
        __m128i low, high;
        difference(current[i] + left, previous[i] + left, low, high);
        __m128i nextLow = zero;
        __m128i nextHigh = zero;
        int nextWeight = 0;
        if (i + 1 < taps) {
            difference(current[i + 1] + left, previous[i + 1] + left, nextLow, nextHigh);
            nextWeight = weights[i + 1];
        }
        const __m128i pairWeights = _mm_set1_epi32((nextWeight << 16) | weights[i]);
        columns0to3 = _mm_add_epi32(columns0to3,
                                    _mm_madd_epi16(_mm_unpacklo_epi16(low, nextLow), pairWeights));
        columns4to7 = _mm_add_epi32(columns4to7,
                                    _mm_madd_epi16(_mm_unpackhi_epi16(low, nextLow), pairWeights));
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
template <int (*blurredDifference)(const Window&, const Window&, int)>
void renderGrid(const std::uint8_t* previous, int previousStride, const std::uint8_t* current,
                int currentStride, MotionImage& out) {
    const int width = out.width;
    const int height = out.height;
    std::array<std::array<std::uint8_t, windowBytes>, taps> edgePrevious;
    std::array<std::array<std::uint8_t, windowBytes>, taps> edgeCurrent;
    Window edgePreviousRows;
    Window edgeCurrentRows;
    for (int i = 0; i < taps; ++i) {
        edgePreviousRows[i] = edgePrevious[i].data();
        edgeCurrentRows[i] = edgeCurrent[i].data();
    }
    for (int row = 0; row < out.rows; ++row) {
        const int y = row * out.step;
        Window previousLines;
        Window currentLines;
        for (int i = 0; i < taps; ++i) {
            const int line = std::clamp(y + i - radius, 0, height - 1);
            previousLines[i] = previous + line * previousStride;
            currentLines[i] = current + line * currentStride;
        }
        std::uint8_t* flags = out.moved.data() + row * out.columns;
        for (int column = 0; column < out.columns; ++column) {
            const int left = column * out.step - radius;
            int sum;
            if (left >= 0 && left + windowBytes <= width) {
                sum = blurredDifference(previousLines, currentLines, left);
            } else {
                for (int i = 0; i < taps; ++i) {
                    for (int j = 0; j < windowBytes; ++j) {
                        const int x = std::clamp(left + j, 0, width - 1);
                        edgePrevious[i][j] = previousLines[i][x];
                        edgeCurrent[i][j] = currentLines[i][x];
                    }
                }
                sum = blurredDifference(edgePreviousRows, edgeCurrentRows, 0);
            }
            flags[column] = std::abs(sum) > scaledThreshold ? 1 : 0;
        }
    }
}

// The full-frame mask is the same blur done separably over every pixel: first
// down the 9 rows around an output row (column sums of the difference, as the
// grid makes them), then across. Exact integers throughout, so each pixel gets
// the very sum the grid gets at its points.
using ColumnSums = void (*)(const Window&, const Window&, int, std::int32_t*);
using RowBlur = void (*)(const std::int32_t*, int, std::uint8_t*);

void columnSumsPortable(const Window& previous, const Window& current, int width,
                        std::int32_t* out) {
    for (int x = 0; x < width; ++x) {
        int sum = 0;
        for (int i = 0; i < taps; ++i) {
            sum += weights[i] * (current[i][x] - previous[i][x]);
        }
        out[x] = sum;
    }
}

// `sums` holds `radius` readable values either side of the row.
void rowBlurPortable(const std::int32_t* sums, int width, std::uint8_t* mask) {
    for (int x = 0; x < width; ++x) {
        int sum = 0;
        for (int j = 0; j < taps; ++j) {
            sum += weights[j] * sums[x + j - radius];
        }
        mask[x] = std::abs(sum) > scaledThreshold ? 1 : 0;
    }
}

#if defined(__SSE2__)
// Eight columns at a time: 8-byte loads, differences as 16-bit lanes, two rows
// weighted and added by one multiply-add.
void columnSumsSse2(const Window& previous, const Window& current, int width, std::int32_t* out) {
    const __m128i zero = _mm_setzero_si128();
    const auto difference = [zero](const std::uint8_t* now, const std::uint8_t* before) {
        const __m128i c = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(now));
        const __m128i p = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(before));
        return _mm_sub_epi16(_mm_unpacklo_epi8(c, zero), _mm_unpacklo_epi8(p, zero));
    };
    __m128i pairWeights[(taps + 1) / 2];
    for (int i = 0; i < taps; i += 2) {
        const int next = i + 1 < taps ? weights[i + 1] : 0;
        pairWeights[i / 2] = _mm_set1_epi32((next << 16) | weights[i]);
    }
    int x = 0;
    for (; x + 8 <= width; x += 8) {
        __m128i low = zero;
        __m128i high = zero;
        for (int i = 0; i < taps; i += 2) {
            const __m128i first = difference(current[i] + x, previous[i] + x);
            const __m128i second =
                i + 1 < taps ? difference(current[i + 1] + x, previous[i + 1] + x) : zero;
            const __m128i w = pairWeights[i / 2];
            low = _mm_add_epi32(low, _mm_madd_epi16(_mm_unpacklo_epi16(first, second), w));
            high = _mm_add_epi32(high, _mm_madd_epi16(_mm_unpackhi_epi16(first, second), w));
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x), low);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x + 4), high);
    }
    Window previousRest;
    Window currentRest;
    for (int i = 0; i < taps; ++i) {
        previousRest[i] = previous[i] + x;
        currentRest[i] = current[i] + x;
    }
    columnSumsPortable(previousRest, currentRest, width - x, out + x);
}

// The weights are symmetric and SSE2 has no 32-bit multiply, so the mirrored
// pairs are added first and weighted by shifts and adds (8, 37 = 32 + 4 + 1,
// 112 = 128 - 16, 219 = 256 - 32 - 4 - 1, 272 = 256 + 16).
__m128i blurredFour(const std::int32_t* sums) {
    const auto at = [sums](int offset) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(sums + offset));
    };
    const __m128i outer = _mm_add_epi32(at(-4), at(4));
    const __m128i third = _mm_add_epi32(at(-3), at(3));
    const __m128i second = _mm_add_epi32(at(-2), at(2));
    const __m128i first = _mm_add_epi32(at(-1), at(1));
    const __m128i centre = at(0);
    __m128i sum = _mm_slli_epi32(outer, 3);
    sum = _mm_add_epi32(sum, _mm_add_epi32(_mm_slli_epi32(third, 5), _mm_slli_epi32(third, 2)));
    sum = _mm_add_epi32(sum, third);
    sum = _mm_add_epi32(sum, _mm_sub_epi32(_mm_slli_epi32(second, 7), _mm_slli_epi32(second, 4)));
    sum = _mm_add_epi32(sum, _mm_sub_epi32(_mm_slli_epi32(first, 8), _mm_slli_epi32(first, 5)));
    sum = _mm_sub_epi32(sum, _mm_add_epi32(_mm_slli_epi32(first, 2), first));
    sum = _mm_add_epi32(sum, _mm_add_epi32(_mm_slli_epi32(centre, 8), _mm_slli_epi32(centre, 4)));
    return sum;
}

void rowBlurSse2(const std::int32_t* sums, int width, std::uint8_t* mask) {
    const __m128i above = _mm_set1_epi32(scaledThreshold);
    const __m128i below = _mm_set1_epi32(-scaledThreshold);
    const __m128i one = _mm_set1_epi8(1);
    const auto moved = [&](const __m128i sum) {
        return _mm_or_si128(_mm_cmpgt_epi32(sum, above), _mm_cmplt_epi32(sum, below));
    };
    int x = 0;
    for (; x + 8 <= width; x += 8) {
        const __m128i words =
            _mm_packs_epi32(moved(blurredFour(sums + x)), moved(blurredFour(sums + x + 4)));
        const __m128i bytes = _mm_and_si128(_mm_packs_epi16(words, words), one);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(mask + x), bytes);
    }
    rowBlurPortable(sums + x, width - x, mask + x);
}
#endif

// `scratch` holds width + 2 * radius values; its ends repeat the edge columns.
template <ColumnSums columnSums, RowBlur rowBlur>
void renderFrame(const std::uint8_t* previous, int previousStride, const std::uint8_t* current,
                 int currentStride, int width, int height, std::int32_t* scratch,
                 std::uint8_t* mask) {
    std::int32_t* sums = scratch + radius;
    for (int y = 0; y < height; ++y) {
        Window previousLines;
        Window currentLines;
        for (int i = 0; i < taps; ++i) {
            const int line = std::clamp(y + i - radius, 0, height - 1);
            previousLines[i] = previous + static_cast<std::ptrdiff_t>(line) * previousStride;
            currentLines[i] = current + static_cast<std::ptrdiff_t>(line) * currentStride;
        }
        columnSums(previousLines, currentLines, width, sums);
        std::fill(scratch, sums, sums[0]);
        std::fill(sums + width, sums + width + radius, sums[width - 1]);
        rowBlur(sums, width, mask + static_cast<std::ptrdiff_t>(y) * width);
    }
}

bool hasLumaPlane(const GstVideoInfo& info) {
    const GstVideoFormatInfo* format = info.finfo;
    return GST_VIDEO_FORMAT_INFO_IS_YUV(format) && GST_VIDEO_FORMAT_INFO_DEPTH(format, 0) == 8 &&
           GST_VIDEO_FORMAT_INFO_PSTRIDE(format, 0) == 1 &&
           GST_VIDEO_FORMAT_INFO_PLANE(format, 0) == 0 && !GST_VIDEO_FORMAT_INFO_IS_TILED(format);
}

}  // namespace

bool MotionDetectRenderer::prepare(GstCaps* inputCaps, int retainedBufferCountHint) {
    reset();
    GstVideoInfo info;
    if (!inputCaps || !gst_video_info_from_caps(&info, inputCaps) || !hasLumaPlane(info)) {
        return false;
    }
    const int width = GST_VIDEO_INFO_WIDTH(&info);
    const int height = GST_VIDEO_INFO_HEIGHT(&info);
    for (int i = 0; i < retainedBufferCountHint; ++i) {
        auto image = std::make_shared<MotionImage>();
        image->resize(width, height, skipPixels);
        motionPool_.push_back(std::move(image));
        maskPool_.push_back(
            std::make_shared<std::vector<std::uint8_t>>(static_cast<std::size_t>(width) * height));
    }
    columnSums_.assign(static_cast<std::size_t>(width) + 2 * blurRadius, 0);
    input_ = info;
    prepared_ = true;
    return true;
}

void MotionDetectRenderer::reset() {
    prepared_ = false;
    input_.reset();
    motionPool_.clear();
    maskPool_.clear();
    columnSums_ = {};
}

void MotionDetectRenderer::renderSparse(const std::uint8_t* previous, int previousStride,
                                        const std::uint8_t* current, int currentStride,
                                        MotionImage& out) {
#if defined(__SSE2__)
    renderGrid<blurredDifferenceSse2>(previous, previousStride, current, currentStride, out);
#else
    renderSparsePortable(previous, previousStride, current, currentStride, out);
#endif
}

void MotionDetectRenderer::renderSparsePortable(const std::uint8_t* previous, int previousStride,
                                                const std::uint8_t* current, int currentStride,
                                                MotionImage& out) {
    renderGrid<blurredDifferencePortable>(previous, previousStride, current, currentStride, out);
}

void MotionDetectRenderer::renderFullFrame(const std::uint8_t* previous, int previousStride,
                                           const std::uint8_t* current, int currentStride,
                                           int width, int height, std::int32_t* scratch,
                                           std::uint8_t* mask) {
#if defined(__SSE2__)
    renderFrame<columnSumsSse2, rowBlurSse2>(previous, previousStride, current, currentStride,
                                             width, height, scratch, mask);
#else
    renderFullFramePortable(previous, previousStride, current, currentStride, width, height,
                            scratch, mask);
#endif
}

void MotionDetectRenderer::renderFullFramePortable(const std::uint8_t* previous, int previousStride,
                                                   const std::uint8_t* current, int currentStride,
                                                   int width, int height, std::int32_t* scratch,
                                                   std::uint8_t* mask) {
    renderFrame<columnSumsPortable, rowBlurPortable>(previous, previousStride, current,
                                                     currentStride, width, height, scratch, mask);
}

bool MotionDetectRenderer::hasFreeMotionImage() const {
    return std::any_of(motionPool_.begin(), motionPool_.end(),
                       [](const auto& image) { return image.use_count() == 1; });
}

std::shared_ptr<MotionImage> MotionDetectRenderer::takeMotionImage() {
    for (const auto& image : motionPool_) {
        if (image.use_count() == 1) {
            return image;
        }
    }
    return nullptr;
}

std::shared_ptr<std::vector<std::uint8_t>> MotionDetectRenderer::takeMask() {
    for (const auto& mask : maskPool_) {
        if (mask.use_count() == 1) {
            return mask;
        }
    }
    return nullptr;
}

QString MotionDetectRenderer::poolDescription() const {
    return QStringLiteral("%1 images of %2x%3")
        .arg(motionPool_.size())
        .arg(input_ ? GST_VIDEO_INFO_WIDTH(&*input_) : 0)
        .arg(input_ ? GST_VIDEO_INFO_HEIGHT(&*input_) : 0);
}

MotionDetectRenderer::Images MotionDetectRenderer::render(GstSample* previous, GstSample* current,
                                                          bool wantsPreview) {
    if (!prepared_) {
        return {};
    }
    const std::shared_ptr<MotionImage> motion = takeMotionImage();
    if (!motion) {
        Log::line(QStringLiteral("Allocation failure: Could not get pixel buffer from pool. (") +
                  poolDescription() + u')');
        return {};
    }
    const MappedVideoFrame before(*input_, previous);
    const MappedVideoFrame now(*input_, current);
    if (!before.mapped || !now.mapped) {
        return {};
    }
    std::shared_ptr<std::vector<std::uint8_t>> mask;
    if (wantsPreview) {
        mask = takeMask();
        if (!mask) {
            Log::line(
                QStringLiteral("Allocation failure: Could not get a preview buffer from pool. (") +
                poolDescription() + u')');
            return {};
        }
    }
    renderSparse(static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&before.frame, 0)),
                 GST_VIDEO_FRAME_PLANE_STRIDE(&before.frame, 0),
                 static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&now.frame, 0)),
                 GST_VIDEO_FRAME_PLANE_STRIDE(&now.frame, 0), *motion);
    Images images{motion, std::nullopt};
    if (mask) {
        renderFullFrameMask(before.frame, now.frame, mask->data());
        images.preview = PreviewFrame{GstHandle<GstSample>::ref(current), *input_, std::move(mask)};
    }
    return images;
}

void MotionDetectRenderer::renderFullFrameMask(const GstVideoFrame& previous,
                                               const GstVideoFrame& current, std::uint8_t* mask) {
    ++fullFrameRenders_;
    const int width = GST_VIDEO_FRAME_WIDTH(&current);
    const std::size_t scratch = static_cast<std::size_t>(width) + 2 * radius;
    if (columnSums_.size() < scratch) {
        columnSums_.resize(scratch);  // only for frames of another size than prepared
    }
    renderFullFrame(static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&previous, 0)),
                    GST_VIDEO_FRAME_PLANE_STRIDE(&previous, 0),
                    static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&current, 0)),
                    GST_VIDEO_FRAME_PLANE_STRIDE(&current, 0), width,
                    GST_VIDEO_FRAME_HEIGHT(&current), columnSums_.data(), mask);
}
