#pragma once

#include "BlurredGrid.h"
#include "MotionGrid.h"
#include "MotionImage.h"

#include <cstdint>
#include <vector>

// Decides which grid points moved between two frames' blurred grids, against
// the camera's own noise. Each point learns how much its blurred luma changes
// from frame to frame while nothing moves there (a running mean of the
// absolute change; points that moved do not teach it). A point moved when its
// change, less the change the whole frame made at its brightness (a lamp, the
// camera's exposure), is more than `noiseMultiple` times that noise plus
// `floorLevels` (three quarters of that where a neighbouring grid point also
// changed by more than three quarters of its own, and `areaMultiple` times it
// where the points around it changed together by well more than their summed
// noise), and never needs more than `fixedThreshold`, so no camera is less
// sensitive than with the fixed threshold. Until about two seconds of frames
// have been seen, the fixed threshold alone decides. One owner thread.
class MotionNoise {
public:
    // Levels of 255.
    static constexpr int fixedThreshold = 15;
    static constexpr double noiseMultiple = 6;
    static constexpr double floorLevels = 0.25;
    static constexpr double settleSeconds = 2.0;
    static constexpr int minimumSettleFrames = 20;
    // The running mean weighs the last 64 still frames (a power of two: a shift).
    static constexpr int averageShift = 6;
    // Where the 3 x 3 points around a point changed together by more than
    // their noise can, `areaMultiple` times its noise plus the floor suffice
    // there. Together: their deviations, each counted up to `areaCap` times its
    // noise, sum to more than their noise by `areaMargin` / sqrt(points) of it
    // (the sum's spread falls with the square root of the points it adds).
    static constexpr double areaMultiple = 1.5;
    static constexpr int areaCap = 4;
    static constexpr double areaMargin = 5.0;

    // Where a point's blurred change (scaled by 2^20, as `BlurredGrid`) counts
    // as moved: above `upper` or below `lower`, per grid point.
    struct Bounds {
        const std::int32_t* upper = nullptr;
        const std::int32_t* lower = nullptr;
        MotionGrid grid;
    };

    // `fixedOnly` keeps the fixed threshold for good (to compare against it).
    explicit MotionNoise(bool fixedOnly = false) : fixedOnly_(fixedOnly) {}
    // Keeps the fixed threshold from the next judged pair on, or learns again.
    void setFixedOnly(bool fixedOnly) { fixedOnly_ = fixedOnly; }

    // For frames of this grid at this rate (0 when unknown); starts over.
    void resize(const MotionGrid& grid, double framesPerSecond);
    // Forgets what was learned, as when capture starts again.
    void startOver();

    // Marks `out` (of the grid's size) and learns from the points that stayed
    // still. Allocates nothing.
    void judge(const BlurredGrid& before, const BlurredGrid& now, MotionImage& out);
    // A frame compared with itself: nothing moved and nothing is learned.
    void judgeSameFrame(MotionImage& out);

    bool settled() const { return !fixedOnly_ && framesLearned_ >= settleFrames_; }
    int framesLearned() const { return framesLearned_; }
    // The decision of the last judged pair (the fixed one before any).
    Bounds bounds() const { return {upper_.data(), lower_.data(), grid_}; }
    // A point's moved threshold in levels, for the last judged pair.
    double thresholdLevels(int point) const;

private:
    void findCommonChange(const BlurredGrid& before, const BlurredGrid& now);
    void learn(const MotionImage& moved);
    void setFixedBounds();
    void setLearnedBounds();
    void findDeviations(const BlurredGrid& before, const BlurredGrid& now);
    void lowerWhereNeighboursChanged();
    void lowerWhereTheAreaChanged();

    bool fixedOnly_;
    MotionGrid grid_;
    int settleFrames_ = minimumSettleFrames;
    int framesLearned_ = 0;
    std::vector<std::int32_t> noise_;         // per point, scaled by 2^20
    std::vector<std::uint8_t> samples_;       // per point, up to 2^averageShift
    std::vector<std::int32_t> commonChange_;  // per point, of the pair being judged
    std::vector<std::int32_t> upper_;         // per point
    std::vector<std::int32_t> lower_;         // per point
    std::vector<std::int32_t> areaNoise_;     // per point: the noise its threshold is drawn from
    std::vector<std::int32_t> deviation_;     // per point: |change - common change|
    std::vector<std::uint8_t> changed_;       // scratch: per point
    std::vector<std::int32_t> rowNoise_;      // scratch: noise summed across 3 columns
    std::vector<std::int64_t> rowChange_;     // scratch: capped deviations across 3 columns
    std::vector<std::int64_t> rowAreaNoise_;  // scratch: `areaNoise_` across 3 columns
    // Scratch: histograms of the points' luma and of the changes of the
    // darker and the brighter half.
    std::vector<int> lumaCounts_;
    std::vector<int> darkChangeCounts_;
    std::vector<int> brightChangeCounts_;
};
