#include "MotionDetectRenderer.h"

#include "Log.h"
#include "MappedVideoFrame.h"
#include "MotionBlur.h"

#include <algorithm>
#include <cstdlib>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

using MotionBlur::radius;
using MotionBlur::taps;
using MotionBlur::weights;
using Window = MotionBlur::Rows;

// The full-frame mask is the same blur done separably over every pixel: first
// down the 9 rows around an output row (column sums of the difference, as the
// grid makes them), then across. Exact integers throughout, so each pixel gets
// the very sum the grid gets at its points.
using ColumnSums = void (*)(const Window&, const Window&, int, std::int32_t*);
using RowBlur = void (*)(const std::int32_t*, int, const std::int32_t*, const std::int32_t*,
                         std::uint8_t*);

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

// `sums` holds `radius` readable values either side of the row; a pixel moved
// when its blurred change is above `upper` or below `lower` (per pixel).
void rowBlurPortable(const std::int32_t* sums, int width, const std::int32_t* upper,
                     const std::int32_t* lower, std::uint8_t* mask) {
    for (int x = 0; x < width; ++x) {
        int sum = 0;
        for (int j = 0; j < taps; ++j) {
            sum += weights[j] * sums[x + j - radius];
        }
        mask[x] = sum > upper[x] || sum < lower[x] ? 1 : 0;
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

void rowBlurSse2(const std::int32_t* sums, int width, const std::int32_t* upper,
                 const std::int32_t* lower, std::uint8_t* mask) {
    const __m128i one = _mm_set1_epi8(1);
    const auto moved = [&](int x) {
        const __m128i sum = blurredFour(sums + x);
        const __m128i above = _mm_loadu_si128(reinterpret_cast<const __m128i*>(upper + x));
        const __m128i below = _mm_loadu_si128(reinterpret_cast<const __m128i*>(lower + x));
        return _mm_or_si128(_mm_cmpgt_epi32(sum, above), _mm_cmplt_epi32(sum, below));
    };
    int x = 0;
    for (; x + 8 <= width; x += 8) {
        const __m128i words = _mm_packs_epi32(moved(x), moved(x + 4));
        const __m128i bytes = _mm_and_si128(_mm_packs_epi16(words, words), one);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(mask + x), bytes);
    }
    rowBlurPortable(sums + x, width - x, upper + x, lower + x, mask + x);
}
#endif

constexpr std::int32_t fixedBound = MotionNoise::fixedThreshold << MotionBlur::weightShift;

void fillFixedBounds(int start, int end, std::int32_t* upper, std::int32_t* lower) {
    std::fill(upper + start, upper + end, fixedBound);
    std::fill(lower + start, lower + end, -fixedBound);
}

// Each pixel is judged by the grid point nearest to it: fills one row's
// bounds from grid row `row`. Pixels past the last grid point and within the
// blur's reach of the frame's edge see the edge repeated, so more noise than
// any point learned: the fixed threshold judges them, as it does everything
// without grid points.
void fillRowBounds(const MotionNoise::Bounds& bounds, int row, int width, std::int32_t* upper,
                   std::int32_t* lower) {
    const MotionGrid& grid = bounds.grid;
    if (grid.points() == 0 || row < 0) {
        fillFixedBounds(0, width, upper, lower);
        return;
    }
    const int half = grid.step / 2;
    for (int column = 0; column < grid.columns; ++column) {
        const int start = std::clamp(column * grid.step - half, 0, width);
        const int end = column + 1 == grid.columns
                            ? width
                            : std::clamp(column * grid.step - half + grid.step, 0, width);
        const int point = row * grid.columns + column;
        std::fill(upper + start, upper + end, bounds.upper[point]);
        std::fill(lower + start, lower + end, bounds.lower[point]);
    }
    const int lastPoint = (grid.columns - 1) * grid.step;
    fillFixedBounds(std::clamp(std::max(lastPoint + 1, width - radius), 0, width), width, upper,
                    lower);
}

// `scratch` holds width + 2 * radius column sums (their ends repeat the edge
// columns), then a row of upper and a row of lower bounds.
template <ColumnSums columnSums, RowBlur rowBlur>
void renderFrame(const std::uint8_t* previous, int previousStride, const std::uint8_t* current,
                 int currentStride, int width, int height, const MotionNoise::Bounds& bounds,
                 std::int32_t* scratch, std::uint8_t* mask) {
    std::int32_t* sums = scratch + radius;
    std::int32_t* upper = sums + width + radius;
    std::int32_t* lower = upper + width;
    const MotionGrid& grid = bounds.grid;
    const int lastRowY = (grid.rows - 1) * grid.step;
    int boundsRow = -2;
    for (int y = 0; y < height; ++y) {
        const bool pastTheGrid = y > lastRowY && y >= height - radius;
        const int row = pastTheGrid     ? -1
                        : grid.rows > 0 ? std::min((y + grid.step / 2) / grid.step, grid.rows - 1)
                                        : 0;
        if (row != boundsRow) {
            fillRowBounds(bounds, row, width, upper, lower);
            boundsRow = row;
        }
        columnSums(MotionBlur::rowsAround(previous, previousStride, y, height),
                   MotionBlur::rowsAround(current, currentStride, y, height), width, sums);
        std::fill(scratch, sums, sums[0]);
        std::fill(sums + width, sums + width + radius, sums[width - 1]);
        rowBlur(sums, width, upper, lower, mask + static_cast<std::ptrdiff_t>(y) * width);
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
    columnSums_.assign(fullFrameScratch(width), 0);
    for (BlurredGrid& grid : grids_) {
        grid.resize(width, height, skipPixels);
    }
    noise_.resize(grids_[0], info.fps_d > 0 ? static_cast<double>(info.fps_n) / info.fps_d : 0);
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
    grids_ = {};
    noise_.resize(MotionGrid{}, 0);
    forgetFrames();
}

void MotionDetectRenderer::forgetFrames() {
    newestGridSample_.reset();
    noise_.startOver();
}

bool MotionDetectRenderer::fixedThresholdWanted() {
    return qEnvironmentVariable("NELVO_FIXED_MOTION_THRESHOLD") == QLatin1String("1");
}

std::size_t MotionDetectRenderer::fullFrameScratch(int width) {
    return static_cast<std::size_t>(width) * 3 + 2 * radius;
}

void MotionDetectRenderer::renderFullFrame(const std::uint8_t* previous, int previousStride,
                                           const std::uint8_t* current, int currentStride,
                                           int width, int height, const MotionNoise::Bounds& bounds,
                                           std::int32_t* scratch, std::uint8_t* mask) {
#if defined(__SSE2__)
    renderFrame<columnSumsSse2, rowBlurSse2>(previous, previousStride, current, currentStride,
                                             width, height, bounds, scratch, mask);
#else
    renderFullFramePortable(previous, previousStride, current, currentStride, width, height, bounds,
                            scratch, mask);
#endif
}

void MotionDetectRenderer::renderFullFramePortable(const std::uint8_t* previous, int previousStride,
                                                   const std::uint8_t* current, int currentStride,
                                                   int width, int height,
                                                   const MotionNoise::Bounds& bounds,
                                                   std::int32_t* scratch, std::uint8_t* mask) {
    renderFrame<columnSumsPortable, rowBlurPortable>(
        previous, previousStride, current, currentStride, width, height, bounds, scratch, mask);
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
    // The previous frame is read only when its grid is not kept from the last
    // call, or for the preview's full-frame mask.
    const bool previousKept = previous && previous == newestGridSample_.get();
    std::optional<MappedVideoFrame> before;
    if (!previousKept || wantsPreview) {
        before.emplace(*input_, previous);
    }
    const MappedVideoFrame now(*input_, current);
    if ((before && !before->mapped) || !now.mapped) {
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
    measureGrid(previousKept ? nullptr : &*before, now, previous == current, *motion);
    newestGridSample_ = GstHandle<GstSample>::ref(current);
    Images images{motion, std::nullopt};
    if (mask) {
        renderFullFrameMask(*before, now, mask->data());
        images.preview = PreviewFrame{GstHandle<GstSample>::ref(current), *input_, std::move(mask)};
    }
    return images;
}

// Blurs the previous frame's grid when it is not kept and the current one's
// unless it is the same frame, compares them, and keeps the current grid.
void MotionDetectRenderer::measureGrid(const MappedVideoFrame* previous,
                                       const MappedVideoFrame& current, bool sameFrame,
                                       MotionImage& out) {
    BlurredGrid& before = grids_[newestGrid_];
    if (previous) {
        before.blur(previous->plane(0), previous->stride(0));
        ++gridBlurs_;
    }
    if (sameFrame) {
        noise_.judgeSameFrame(out);
        return;
    }
    BlurredGrid& now = grids_[1 - newestGrid_];
    now.blur(current.plane(0), current.stride(0));
    ++gridBlurs_;
    noise_.judge(before, now, out);
    newestGrid_ = 1 - newestGrid_;
}

void MotionDetectRenderer::renderFullFrameMask(const MappedVideoFrame& previous,
                                               const MappedVideoFrame& current,
                                               std::uint8_t* mask) {
    ++fullFrameRenders_;
    const int width = current.width();
    const std::size_t scratch = fullFrameScratch(width);
    if (columnSums_.size() < scratch) {
        columnSums_.resize(scratch);  // only for frames of another size than prepared
    }
    renderFullFrame(previous.plane(0), previous.stride(0), current.plane(0), current.stride(0),
                    width, current.height(), noise_.bounds(), columnSums_.data(), mask);
}
