#include "MotionDetectRenderer.h"

#include "Log.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

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

// Blurred luma difference at one point, clamping reads at the frame's edges.
int blurredDifferenceClamped(const std::uint8_t* previous, int previousStride,
                             const std::uint8_t* current, int currentStride, int width, int height,
                             int x, int y) {
    int sum = 0;
    for (int i = 0; i < taps; ++i) {
        const int row = std::clamp(y + i - radius, 0, height - 1);
        const std::uint8_t* p = previous + row * previousStride;
        const std::uint8_t* c = current + row * currentStride;
        int line = 0;
        for (int j = 0; j < taps; ++j) {
            const int column = std::clamp(x + j - radius, 0, width - 1);
            line += weights[j] * (c[column] - p[column]);
        }
        sum += weights[i] * line;
    }
    return sum;
}

// The same away from the edges, with fixed trip counts the compiler unrolls.
int blurredDifferenceInside(const std::uint8_t* previous, int previousStride,
                            const std::uint8_t* current, int currentStride, int x, int y) {
    int sum = 0;
    const std::uint8_t* p = previous + (y - radius) * previousStride + x - radius;
    const std::uint8_t* c = current + (y - radius) * currentStride + x - radius;
    for (int i = 0; i < taps; ++i) {
        int line = 0;
        for (int j = 0; j < taps; ++j) {
            line += weights[j] * (c[j] - p[j]);
        }
        sum += weights[i] * line;
        p += previousStride;
        c += currentStride;
    }
    return sum;
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
    const int width = out.width;
    const int height = out.height;
    for (int row = 0; row < out.rows; ++row) {
        const int y = row * out.step;
        const bool rowInside = y >= radius && y + radius < height;
        std::uint8_t* flags = out.moved.data() + row * out.columns;
        for (int column = 0; column < out.columns; ++column) {
            const int x = column * out.step;
            const int sum = rowInside && x >= radius && x + radius < width
                                ? blurredDifferenceInside(previous, previousStride, current,
                                                          currentStride, x, y)
                                : blurredDifferenceClamped(previous, previousStride, current,
                                                           currentStride, width, height, x, y);
            flags[column] = std::abs(sum) > scaledThreshold ? 1 : 0;
        }
    }
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
