#include "NetworkCameraKeyframes.h"

#include <algorithm>
#include <cstdlib>

std::optional<std::int64_t> NetworkCameraKeyframes::frame(std::int64_t time, bool keyframe) {
    if (!keyframe) {
        return std::nullopt;
    }
    const std::optional<std::int64_t> previous = lastKeyframe_;
    lastKeyframe_ = time;
    if (!previous || time <= *previous) {
        return std::nullopt;
    }
    // Newest first.
    std::copy_backward(intervals_, intervals_ + remembered - 1, intervals_ + remembered);
    intervals_[0] = time - *previous;
    count_ = std::min(count_ + 1, remembered);
    const std::int64_t a = intervals_[0];
    const std::int64_t b = intervals_[1];
    const std::int64_t c = intervals_[2];
    // The median of three; of two, the longer; of one, itself.
    const std::int64_t spacing = count_ == 1 ? a
                                 : count_ == 2
                                     ? std::max(a, b)
                                     : std::max(std::min(a, b), std::min(std::max(a, b), c));
    if (told_ && std::abs(spacing - *told_) < toldChange) {
        return std::nullopt;
    }
    told_ = spacing;
    return spacing;
}

void NetworkCameraKeyframes::reset() {
    lastKeyframe_.reset();
}
