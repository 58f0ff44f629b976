#pragma once

#include "BlurredGrid.h"
#include "GstHandle.h"
#include "MappedVideoFrame.h"
#include "MotionBlur.h"
#include "MotionImage.h"
#include "MotionNoise.h"
#include "PreviewFrame.h"

#include <gst/video/video.h>
#include <QString>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

// Compares two consecutive camera frames and marks what moved. Only the grid
// the level is read from is computed: at each grid point the two frames' luma,
// blurred with a Gaussian of sigma 1.5, are compared, and `MotionNoise`
// decides from the camera's own noise whether the change is movement. Each
// frame's grid is blurred once and kept for the comparison with the next
// frame, so a frame is read once. The full-frame mask of moved pixels is made
// only when a preview is wanted, with the same decision, and handed over with
// the camera's frame. NELVO_FIXED_MOTION_THRESHOLD=1 in the environment keeps
// the fixed threshold of 15 levels, to compare against it.
class MotionDetectRenderer {
public:
    // Sampling step of the grid in both directions.
    static constexpr int skipPixels = 20;
    static constexpr double sigma = 1.5;
    static constexpr int blurRadius = MotionBlur::radius;

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
    // Lets go of the frame whose grid is kept and starts learning the noise
    // over (for when capture stops).
    void forgetFrames();

    // Frames must be of the prepared format. Prints what failed.
    Images render(GstSample* previous, GstSample* current, bool wantsPreview);

    // The same contract at every pixel, for the preview: one mask byte per
    // pixel (1 = moved), rows of `width` bytes, decided as the last rendered
    // pair was. Each pixel gets exactly the sum the grid gets at its points
    // and is judged by the bounds of the grid point nearest to it. Allocates
    // only for frames of another size than prepared.
    void renderFullFrameMask(const MappedVideoFrame& previous, const MappedVideoFrame& current,
                             std::uint8_t* mask);
    // The full-frame mask from two luma planes; `scratch` holds
    // `fullFrameScratch(width)` values. With SSE2 where the processor has it.
    static void renderFullFrame(const std::uint8_t* previous, int previousStride,
                                const std::uint8_t* current, int currentStride, int width,
                                int height, const MotionNoise::Bounds& bounds,
                                std::int32_t* scratch, std::uint8_t* mask);
    // The same in plain C++; same results.
    static void renderFullFramePortable(const std::uint8_t* previous, int previousStride,
                                        const std::uint8_t* current, int currentStride, int width,
                                        int height, const MotionNoise::Bounds& bounds,
                                        std::int32_t* scratch, std::uint8_t* mask);
    static std::size_t fullFrameScratch(int width);

    // For a camera whose frames are decoded from its own H.264: its encoder
    // leaves most blocks untouched from frame to frame and refreshes a few in
    // bursts, so a threshold learned from the quiet frames would take every
    // burst for motion. Such a camera keeps the fixed threshold.
    void keepFixedThreshold(bool fixed) { noise_.setFixedOnly(fixed || fixedThresholdWanted()); }
    // What the camera's noise taught the decision so far.
    const MotionNoise& noise() const { return noise_; }

    // How many full-frame masks were made (the preview's cost).
    std::uint64_t fullFrameRenders() const { return fullFrameRenders_; }
    // How many frames' grids were blurred (once per frame when frames come in
    // order).
    std::uint64_t gridBlurs() const { return gridBlurs_; }

private:
    static bool fixedThresholdWanted();
    std::shared_ptr<MotionImage> takeMotionImage();
    std::shared_ptr<std::vector<std::uint8_t>> takeMask();
    QString poolDescription() const;
    void measureGrid(const MappedVideoFrame* previous, const MappedVideoFrame& current,
                     bool sameFrame, MotionImage& out);

    bool prepared_ = false;
    std::optional<GstVideoInfo> input_;
    std::vector<std::shared_ptr<MotionImage>> motionPool_;
    std::vector<std::shared_ptr<std::vector<std::uint8_t>>> maskPool_;
    std::vector<std::int32_t> columnSums_;  // the full-frame blur's scratch
    std::uint64_t fullFrameRenders_ = 0;
    std::uint64_t gridBlurs_ = 0;
    // The grids of the last two frames; the newest one is that of
    // `newestGridSample_`, held so that no other frame can share its address.
    std::array<BlurredGrid, 2> grids_;
    int newestGrid_ = 0;
    GstHandle<GstSample> newestGridSample_;
    MotionNoise noise_{fixedThresholdWanted()};
};
