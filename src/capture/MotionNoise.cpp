#include "MotionNoise.h"

#include "MotionBlur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace {

constexpr std::int32_t one = 1 << MotionBlur::weightShift;  // one luma level, scaled
constexpr std::int32_t fixedScaled = MotionNoise::fixedThreshold * one;
constexpr std::int32_t floorScaled = static_cast<std::int32_t>(MotionNoise::floorLevels * one);
constexpr std::int32_t topScaled = 255 * one;
// A point that has learned nothing yet is as sensitive as the fixed threshold.
// The multiple of the noise, in sixteenths.
constexpr std::int64_t multiple = static_cast<std::int64_t>(MotionNoise::noiseMultiple * 16);
constexpr std::int32_t unlearnedNoise =
    static_cast<std::int32_t>((fixedScaled - floorScaled) * 16 / multiple);
constexpr int fullAverage = 1 << MotionNoise::averageShift;
constexpr std::int64_t areaMultipleSixteenths =
    static_cast<std::int64_t>(MotionNoise::areaMultiple * 16);
// The brightness change is modelled as a line in the luma; its halves must lie
// this far apart for its slope to be trusted, and the slope stays within a
// quarter (a gain change of 25 % between two frames).
constexpr std::int32_t slopeSpread = 8 * one;
constexpr int slopeShift = 16;

constexpr int lumaBinShift = MotionBlur::weightShift - 2;
constexpr int lumaBins = 256 << 2;
constexpr int changeBinShift = MotionBlur::weightShift - 3;
constexpr int changeBins = 2 * (256 << 3);

int lumaBin(std::int32_t luma) {
    return std::clamp(luma >> lumaBinShift, 0, lumaBins - 1);
}
std::int64_t lumaOfBin(int bin) {
    return (std::int64_t{bin} << lumaBinShift) + (1 << (lumaBinShift - 1));
}
int changeBin(std::int32_t change) {
    return std::clamp((change >> changeBinShift) + changeBins / 2, 0, changeBins - 1);
}
std::int64_t changeOfBin(int bin) {
    return (std::int64_t{bin - changeBins / 2} << changeBinShift) + (1 << (changeBinShift - 1));
}

// The bin that holds the value of this rank (0 = the smallest).
int binOfRank(const std::vector<int>& counts, int rank) {
    int seen = 0;
    for (std::size_t bin = 0; bin < counts.size(); ++bin) {
        seen += counts[bin];
        if (seen > rank) {
            return static_cast<int>(bin);
        }
    }
    return static_cast<int>(counts.size()) - 1;
}

// The bin of the median of two histograms together (`total` values).
int medianOfBoth(const std::vector<int>& first, const std::vector<int>& second, int total) {
    int seen = 0;
    for (std::size_t bin = 0; bin < first.size(); ++bin) {
        seen += first[bin] + second[bin];
        if (seen > total / 2) {
            return static_cast<int>(bin);
        }
    }
    return static_cast<int>(first.size()) - 1;
}

}  // namespace

void MotionNoise::resize(const MotionGrid& grid, double framesPerSecond) {
    grid_ = grid;
    const auto points = static_cast<std::size_t>(grid.points());
    noise_.assign(points, 0);
    samples_.assign(points, 0);
    commonChange_.assign(points, 0);
    upper_.assign(points, 0);
    lower_.assign(points, 0);
    rowNoise_.assign(points, 0);
    areaNoise_.assign(points, 0);
    deviation_.assign(points, 0);
    rowChange_.assign(points, 0);
    rowAreaNoise_.assign(points, 0);
    changed_.assign(points, 0);
    lumaCounts_.assign(lumaBins, 0);
    darkChangeCounts_.assign(changeBins, 0);
    brightChangeCounts_.assign(changeBins, 0);
    const double rate = framesPerSecond > 0 ? framesPerSecond : 30.0;
    settleFrames_ =
        std::max(minimumSettleFrames, static_cast<int>(std::lround(settleSeconds * rate)));
    startOver();
}

void MotionNoise::startOver() {
    std::fill(noise_.begin(), noise_.end(), unlearnedNoise);
    std::fill(samples_.begin(), samples_.end(), 0);
    framesLearned_ = 0;
    setFixedBounds();
}

double MotionNoise::thresholdLevels(int point) const {
    return (static_cast<double>(upper_[point]) - lower_[point]) / 2 / one;
}

void MotionNoise::judgeSameFrame(MotionImage& out) {
    setFixedBounds();
    std::fill(out.moved.begin(), out.moved.end(), 0);
}

void MotionNoise::judge(const BlurredGrid& before, const BlurredGrid& now, MotionImage& out) {
    findCommonChange(before, now);
    findDeviations(before, now);
    if (settled()) {
        setLearnedBounds();
        lowerWhereNeighboursChanged();
        lowerWhereTheAreaChanged();
    } else {
        setFixedBounds();
    }
    for (std::size_t i = 0; i < out.moved.size(); ++i) {
        const std::int32_t change = now.values[i] - before.values[i];
        out.moved[i] = change > upper_[i] || change < lower_[i] ? 1 : 0;
    }
    learn(out);
    if (framesLearned_ < settleFrames_) {
        ++framesLearned_;
    }
}

// The frame's common change at each point's brightness: a line through the
// median change of the darker half of the points and that of the brighter
// half, each at its median luma. Medians ignore whatever moves in a minority
// of the points; the line follows both a lamp adding light everywhere and an
// exposure step scaling it. Where the change would take the luma past black or
// white, it stops there, as the sensor does. The medians are read from
// histograms (luma in quarter levels, changes in eighths), which costs a
// fraction of sorting.
void MotionNoise::findCommonChange(const BlurredGrid& before, const BlurredGrid& now) {
    const int n = grid_.points();
    if (n == 0) {
        return;
    }
    std::fill(lumaCounts_.begin(), lumaCounts_.end(), 0);
    for (int i = 0; i < n; ++i) {
        ++lumaCounts_[lumaBin(before.values[i])];
    }
    const int split = binOfRank(lumaCounts_, n / 2);
    int darkCount = 0;
    for (int bin = 0; bin < split; ++bin) {
        darkCount += lumaCounts_[bin];
    }
    const int brightCount = n - darkCount;
    std::fill(darkChangeCounts_.begin(), darkChangeCounts_.end(), 0);
    std::fill(brightChangeCounts_.begin(), brightChangeCounts_.end(), 0);
    for (int i = 0; i < n; ++i) {
        auto& counts = lumaBin(before.values[i]) < split ? darkChangeCounts_ : brightChangeCounts_;
        ++counts[changeBin(now.values[i] - before.values[i])];
    }
    const std::int64_t brightLuma = lumaOfBin(binOfRank(lumaCounts_, darkCount + brightCount / 2));
    const std::int64_t brightChange = changeOfBin(binOfRank(brightChangeCounts_, brightCount / 2));
    std::int64_t slope = 0;  // scaled by 2^slopeShift
    std::int64_t base = 0;
    std::int64_t baseLuma = 0;
    // A picture mostly of one brightness has no darker half worth the name
    // (a plain wall with a dark object on it): one median change for all.
    if (darkCount < n / 4) {
        base = changeOfBin(medianOfBoth(darkChangeCounts_, brightChangeCounts_, n));
    } else {
        const std::int64_t darkLuma = lumaOfBin(binOfRank(lumaCounts_, darkCount / 2));
        const std::int64_t darkChange = changeOfBin(binOfRank(darkChangeCounts_, darkCount / 2));
        const std::int64_t spread = brightLuma - darkLuma;
        // Through the middle of the two, so that a slope held back turns about it.
        base = (darkChange + brightChange) / 2;
        baseLuma = (darkLuma + brightLuma) / 2;
        if (spread >= slopeSpread) {
            slope = ((brightChange - darkChange) << slopeShift) / spread;
            slope = std::clamp<std::int64_t>(slope, -(1 << slopeShift) / 4, (1 << slopeShift) / 4);
        }
    }
    for (int i = 0; i < n; ++i) {
        const std::int64_t luma = before.values[i];
        const std::int64_t change = base + ((slope * (luma - baseLuma)) >> slopeShift);
        commonChange_[i] =
            static_cast<std::int32_t>(std::clamp<std::int64_t>(luma + change, 0, topScaled) - luma);
    }
}

void MotionNoise::findDeviations(const BlurredGrid& before, const BlurredGrid& now) {
    for (std::size_t i = 0; i < deviation_.size(); ++i) {
        deviation_[i] = std::abs(now.values[i] - before.values[i] - commonChange_[i]);
    }
}

// Points that did not move teach their noise: a running mean of their
// absolute change less the common one, plain over the first frames and
// weighing the last `fullAverage` after that.
void MotionNoise::learn(const MotionImage& moved) {
    for (std::size_t i = 0; i < noise_.size(); ++i) {
        if (moved.moved[i]) {
            continue;
        }
        const std::int32_t step = deviation_[i] - noise_[i];
        if (samples_[i] < fullAverage) {
            ++samples_[i];
            noise_[i] += step / samples_[i];
        } else {
            noise_[i] += step >> MotionNoise::averageShift;
        }
    }
}

void MotionNoise::setFixedBounds() {
    std::fill(upper_.begin(), upper_.end(), fixedScaled);
    std::fill(lower_.begin(), lower_.end(), -fixedScaled);
}

// Each point's noise is the mean over the 3 x 3 grid points around it (edges
// repeated), or its own when that is higher: nine points' worth of frames make
// a steadier figure than one, and noise varies slowly across a picture, but
// not at its edges, where the blur repeats the edge pixels and averages fewer.
void MotionNoise::setLearnedBounds() {
    const int columns = grid_.columns;
    const int rows = grid_.rows;
    for (int row = 0; row < rows; ++row) {
        const std::int32_t* noise = noise_.data() + row * columns;
        std::int32_t* sums = rowNoise_.data() + row * columns;
        for (int column = 0; column < columns; ++column) {
            sums[column] = noise[std::max(column - 1, 0)] + noise[column] +
                           noise[std::min(column + 1, columns - 1)];
        }
    }
    for (int row = 0; row < rows; ++row) {
        const std::int32_t* above = rowNoise_.data() + std::max(row - 1, 0) * columns;
        const std::int32_t* here = rowNoise_.data() + row * columns;
        const std::int32_t* below = rowNoise_.data() + std::min(row + 1, rows - 1) * columns;
        for (int column = 0; column < columns; ++column) {
            const int i = row * columns + column;
            const std::int64_t mean = std::max<std::int64_t>(
                noise_[i],
                (static_cast<std::int64_t>(above[column]) + here[column] + below[column]) / 9);
            areaNoise_[i] = static_cast<std::int32_t>(mean);
            const auto threshold = static_cast<std::int32_t>(
                std::min<std::int64_t>(fixedScaled, ((multiple * mean) >> 4) + floorScaled));
            upper_[i] = commonChange_[i] + threshold;
            lower_[i] = commonChange_[i] - threshold;
        }
    }
}

// A point whose grid neighbour also changed by more than three quarters of
// that neighbour's threshold needs only three quarters of its own: something
// larger than one point is changing there. Sensor noise rarely takes two
// points that far at once, a person or an object does.
void MotionNoise::lowerWhereNeighboursChanged() {
    const int columns = grid_.columns;
    const int rows = grid_.rows;
    const int points = grid_.points();
    for (int i = 0; i < points; ++i) {
        const std::int64_t threshold = upper_[i] - commonChange_[i];
        changed_[i] = std::int64_t{deviation_[i]} * 4 > threshold * 3 ? 1 : 0;
    }
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            const int i = row * columns + column;
            const bool supported =
                (column > 0 && changed_[i - 1]) || (column + 1 < columns && changed_[i + 1]) ||
                (row > 0 && changed_[i - columns]) || (row + 1 < rows && changed_[i + columns]);
            if (supported) {
                const std::int32_t threshold = (upper_[i] - commonChange_[i]) * 3 / 4;
                upper_[i] = commonChange_[i] + threshold;
                lower_[i] = commonChange_[i] - threshold;
            }
        }
    }
}

// Something faint but wider than a point (a distant person against a wall of
// nearly their shade) changes each point by less than its threshold, but
// changes all of them: the 3 x 3 points around a point that together changed
// well more than their noise allows lower its threshold to `areaMultiple`
// times its noise. Noise averages out over nine points, a person does not.
// Each deviation counts up to `areaCap` times its noise (what a point needs to
// move on its own), so one point that changed a lot cannot make its
// neighbours move.
void MotionNoise::lowerWhereTheAreaChanged() {
    const int columns = grid_.columns;
    const int rows = grid_.rows;
    // 1 + areaMargin / sqrt(points), in 256ths, for 1 to 9 points.
    static const std::array<std::int64_t, 10> margins = [] {
        std::array<std::int64_t, 10> table{};
        for (int count = 1; count < 10; ++count) {
            table[count] = std::lround(256 * (1 + MotionNoise::areaMargin / std::sqrt(count)));
        }
        return table;
    }();
    for (int row = 0; row < rows; ++row) {
        const int first = row * columns;
        for (int column = 0; column < columns; ++column) {
            std::int64_t change = 0;
            std::int64_t noise = 0;
            for (int c = std::max(column - 1, 0); c <= std::min(column + 1, columns - 1); ++c) {
                const std::int64_t cap = std::int64_t{areaNoise_[first + c]} * areaCap;
                change += std::min<std::int64_t>(deviation_[first + c], cap);
                noise += areaNoise_[first + c];
            }
            rowChange_[first + column] = change;
            rowAreaNoise_[first + column] = noise;
        }
    }
    for (int row = 0; row < rows; ++row) {
        const int top = std::max(row - 1, 0);
        const int bottom = std::min(row + 1, rows - 1);
        for (int column = 0; column < columns; ++column) {
            std::int64_t change = 0;
            std::int64_t noise = 0;
            for (int r = top; r <= bottom; ++r) {
                change += rowChange_[r * columns + column];
                noise += rowAreaNoise_[r * columns + column];
            }
            const int count = (bottom - top + 1) *
                              (std::min(column + 1, columns - 1) - std::max(column - 1, 0) + 1);
            if (change * 256 <= noise * margins[count]) {
                continue;
            }
            const int i = row * columns + column;
            const auto threshold = static_cast<std::int32_t>(std::min<std::int64_t>(
                upper_[i] - commonChange_[i],
                ((areaMultipleSixteenths * areaNoise_[i]) >> 4) + floorScaled));
            upper_[i] = commonChange_[i] + threshold;
            lower_[i] = commonChange_[i] - threshold;
        }
    }
}
