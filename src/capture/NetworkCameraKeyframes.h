#pragma once

#include <cstdint>
#include <optional>

// How far apart a network camera's keyframes are, from the times of the
// frames it sends. A recording's pre-roll can only begin at one of them, so
// Settings tells the user when they are far apart. The spacing is the
// median of the last three intervals between keyframes, so that one lost or
// one extra keyframe (a new connection begins with one) does not change it;
// it is told when first known and then whenever it moves by a quarter of a
// second or more. Times are nanoseconds.
class NetworkCameraKeyframes {
public:
    static constexpr int remembered = 3;  // the median below is of three
    static constexpr std::int64_t toldChange = 250'000'000;

    // One frame, in the order sent; the spacing in nanoseconds when it is to
    // be told.
    std::optional<std::int64_t> frame(std::int64_t time, bool keyframe);
    // A new connection: intervals never span it.
    void reset();

private:
    std::optional<std::int64_t> lastKeyframe_;
    std::int64_t intervals_[remembered] = {};
    int count_ = 0;
    std::optional<std::int64_t> told_;
};
