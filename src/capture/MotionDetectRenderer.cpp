#include "MotionDetectRenderer.h"

#include "Log.h"

#include <algorithm>
#include <cmath>
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

bool hasLumaPlane(const GstVideoInfo& info) {
    const GstVideoFormatInfo* format = info.finfo;
    return GST_VIDEO_FORMAT_INFO_IS_YUV(format) && GST_VIDEO_FORMAT_INFO_DEPTH(format, 0) == 8 &&
           GST_VIDEO_FORMAT_INFO_PSTRIDE(format, 0) == 1 &&
           GST_VIDEO_FORMAT_INFO_PLANE(format, 0) == 0 && !GST_VIDEO_FORMAT_INFO_IS_TILED(format);
}

// Keeps the frames mapped for as long as the renderer reads them.
struct MappedFrame {
    GstVideoFrame frame{};
    bool mapped = false;
    MappedFrame(const GstVideoInfo& info, GstSample* sample) {
        GstBuffer* buffer = sample ? gst_sample_get_buffer(sample) : nullptr;
        mapped = buffer && gst_video_frame_map(&frame, const_cast<GstVideoInfo*>(&info), buffer,
                                               GST_MAP_READ);
    }
    ~MappedFrame() {
        if (mapped) {
            gst_video_frame_unmap(&frame);
        }
    }
    MappedFrame(const MappedFrame&) = delete;
    MappedFrame& operator=(const MappedFrame&) = delete;
};

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
        previewPool_.emplace_back(width, height, QImage::Format_RGB32);
    }
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    blurScratch_.assign(pixels, 0);
    blurredPrevious_.assign(pixels, 0);
    blurredCurrent_.assign(pixels, 0);
    mask_.assign(pixels, 0);
    input_ = info;
    prepared_ = true;
    return true;
}

void MotionDetectRenderer::reset() {
    prepared_ = false;
    input_.reset();
    motionPool_.clear();
    previewPool_.clear();
    blurScratch_ = {};
    blurredPrevious_ = {};
    blurredCurrent_ = {};
    mask_ = {};
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

QImage* MotionDetectRenderer::takePreviewImage() {
    for (QImage& image : previewPool_) {
        if (image.isDetached()) {
            return &image;
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
    const MappedFrame before(*input_, previous);
    const MappedFrame now(*input_, current);
    if (!before.mapped || !now.mapped) {
        return {};
    }
    QImage* preview = nullptr;
    if (wantsPreview) {
        preview = takePreviewImage();
        if (!preview) {
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
    if (preview) {
        renderFullFrameMask(before.frame, now.frame, mask_.data());
        drawPreview(now.frame, *preview);
        images.preview = *preview;
    }
    return images;
}

namespace {

// One direction of the separable blur over a whole plane of floats.
void blurPass(const float* in, float* out, int width, int height, bool horizontal) {
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            float sum = 0;
            for (int k = 0; k < taps; ++k) {
                const int offset = k - radius;
                const int xx = horizontal ? std::clamp(x + offset, 0, width - 1) : x;
                const int yy = horizontal ? y : std::clamp(y + offset, 0, height - 1);
                sum += weights[k] * in[yy * width + xx];
            }
            out[y * width + x] = sum / 1024.0f;
        }
    }
}

void blurLuma(const GstVideoFrame& frame, float* scratch, float* out) {
    const int width = GST_VIDEO_FRAME_WIDTH(&frame);
    const int height = GST_VIDEO_FRAME_HEIGHT(&frame);
    const auto* luma = static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0));
    const int stride = GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            out[y * width + x] = luma[y * stride + x];
        }
    }
    blurPass(out, scratch, width, height, true);
    blurPass(scratch, out, width, height, false);
}

}  // namespace

void MotionDetectRenderer::renderFullFrameMask(const GstVideoFrame& previous,
                                               const GstVideoFrame& current, std::uint8_t* mask) {
    ++fullFrameRenders_;
    const std::size_t pixels = static_cast<std::size_t>(GST_VIDEO_FRAME_WIDTH(&current)) *
                               GST_VIDEO_FRAME_HEIGHT(&current);
    if (blurScratch_.size() < pixels) {
        blurScratch_.resize(pixels);
        blurredPrevious_.resize(pixels);
        blurredCurrent_.resize(pixels);
    }
    blurLuma(previous, blurScratch_.data(), blurredPrevious_.data());
    blurLuma(current, blurScratch_.data(), blurredCurrent_.data());
    for (std::size_t i = 0; i < pixels; ++i) {
        mask[i] = std::abs(blurredCurrent_[i] - blurredPrevious_[i]) > movedThreshold ? 1 : 0;
    }
}

void MotionDetectRenderer::drawPreview(const GstVideoFrame& current, QImage& image) {
    const int width = GST_VIDEO_FRAME_WIDTH(&current);
    const int height = GST_VIDEO_FRAME_HEIGHT(&current);
    const GstVideoFormatInfo* format = current.info.finfo;
    const bool hasChroma = GST_VIDEO_FORMAT_INFO_N_COMPONENTS(format) >= 3;
    const auto* luma = static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&current, 0));
    const int lumaStride = GST_VIDEO_FRAME_COMP_STRIDE(&current, 0);
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            if (mask_[y * width + x]) {
                line[x] = qRgb(255, 0, 0);
                continue;
            }
            const float l = luma[y * lumaStride + x];
            float u = 0;
            float v = 0;
            if (hasChroma) {
                const auto chroma = [&](int c) {
                    const auto* plane =
                        static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&current, c));
                    return plane[(y >> GST_VIDEO_FORMAT_INFO_H_SUB(format, c)) *
                                     GST_VIDEO_FRAME_COMP_STRIDE(&current, c) +
                                 (x >> GST_VIDEO_FORMAT_INFO_W_SUB(format, c)) *
                                     GST_VIDEO_FRAME_COMP_PSTRIDE(&current, c)] -
                           128.0f;
                };
                u = chroma(1);
                v = chroma(2);
            }
            const auto clamp = [](float value) {
                return std::clamp(static_cast<int>(value), 0, 255);
            };
            line[x] = qRgb(clamp(l + 1.402f * v), clamp(l - 0.344f * u - 0.714f * v),
                           clamp(l + 1.772f * u));
        }
    }
}
