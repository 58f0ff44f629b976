#pragma once

#include "MotionImage.h"
#include "PreviewFrame.h"

#include <gst/video/video.h>
#include <QString>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

// Compares two consecutive camera frames and marks what moved. Only the grid
// the level is read from is computed: at each grid point the difference of the
// two frames' luma, blurred with a Gaussian of sigma 1.5, is compared with a
// per-pixel threshold. The blur is linear, so blurring the difference equals
// the difference of the blurred frames. The full-frame mask of moved pixels is
// made only when a preview is wanted, and handed over with the camera's frame.
class MotionDetectRenderer {
public:
    // Sampling step of the grid in both directions.
    static constexpr int skipPixels = 20;
    // A pixel moved when its blurred luma changed by more than this many
    // levels (of 255). After the blur, sensor noise of a few levels per pixel
    // changes a point by about one level; a person or an object against its
    // background changes it by tens.
    static constexpr int movedThreshold = 15;
    static constexpr double sigma = 1.5;
    static constexpr int blurRadius = 4;  // 9 taps; weights beyond are below 1 %

    const QString description = QStringLiteral("Motion Detect");

    struct Images {
        std::shared_ptr<const MotionImage> motion;  // absent on any failure
        std::optional<PreviewFrame> preview;        // only when wanted and made
    };

    bool isPrepared() const { return prepared_; }
    // Whether a motion image is free (none is held by a reader).
    bool hasFreeMotionImage() const;
    const std::optional<GstVideoInfo>& inputFormat() const { return input_; }

    // Accepts formats whose first plane is 8-bit luma (I420, NV12, Y444, GRAY8
    // and the like); the pools keep `retainedBufferCountHint` images each.
    bool prepare(GstCaps* inputCaps, int retainedBufferCountHint);
    void reset();

    // Frames must be of the prepared format. Prints what failed.
    Images render(GstSample* previous, GstSample* current, bool wantsPreview);

    // The same contract at every pixel, for the preview: one mask byte per
    // pixel (1 = moved), rows of `width` bytes. Each pixel gets exactly the
    // sum the grid gets at its points. Allocates only for frames of another
    // size than prepared.
    void renderFullFrameMask(const GstVideoFrame& previous, const GstVideoFrame& current,
                             std::uint8_t* mask);
    // The full-frame mask from two luma planes; `scratch` holds width + 2 *
    // blurRadius values. With SSE2 where the processor has it.
    static void renderFullFrame(const std::uint8_t* previous, int previousStride,
                                const std::uint8_t* current, int currentStride, int width,
                                int height, std::int32_t* scratch, std::uint8_t* mask);
    // The same in plain C++; same results.
    static void renderFullFramePortable(const std::uint8_t* previous, int previousStride,
                                        const std::uint8_t* current, int currentStride, int width,
                                        int height, std::int32_t* scratch, std::uint8_t* mask);

    // The grid of moved flags from two luma planes of `out`'s size, in exact
    // integer arithmetic, with SSE2 where the processor has it (every x86-64).
    static void renderSparse(const std::uint8_t* previous, int previousStride,
                             const std::uint8_t* current, int currentStride, MotionImage& out);
    // The same in plain C++, for processors without SSE2; same results.
    static void renderSparsePortable(const std::uint8_t* previous, int previousStride,
                                     const std::uint8_t* current, int currentStride,
                                     MotionImage& out);

    // How many full-frame masks were made (the preview's cost).
    std::uint64_t fullFrameRenders() const { return fullFrameRenders_; }

private:
    std::shared_ptr<MotionImage> takeMotionImage();
    std::shared_ptr<std::vector<std::uint8_t>> takeMask();
    QString poolDescription() const;

    bool prepared_ = false;
    std::optional<GstVideoInfo> input_;
    std::vector<std::shared_ptr<MotionImage>> motionPool_;
    std::vector<std::shared_ptr<std::vector<std::uint8_t>>> maskPool_;
    std::vector<std::int32_t> columnSums_;  // one row of the full-frame blur
    std::uint64_t fullFrameRenders_ = 0;
};
