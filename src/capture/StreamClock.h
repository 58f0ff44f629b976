#pragma once

#include <cstdint>
#include <optional>

// Maps a network camera's timestamps onto the capture session's clock. The
// camera's own spacing of frames is kept, so its movie plays as it was sent;
// the offset between the two clocks follows the session clock slowly, so a
// camera whose clock runs fast or slow never drifts away from Nelvo's
// microphone and the wall clock. A jump (the camera reconnected, its clock
// was reset) is taken at once. Times are nanoseconds.
class StreamClock {
public:
    // A jump larger than this starts the mapping over.
    static constexpr std::int64_t jumpNs = 1'000'000'000;
    // Each sample moves the offset by this fraction of its error.
    static constexpr std::int64_t followDivisor = 256;

    // The session time of a camera sample stamped `cameraTime` that arrived
    // at session time `arrival`.
    std::int64_t map(std::int64_t cameraTime, std::int64_t arrival);
    // The session time of another timestamp of the same sample (its
    // decoding time), with the offset of the last map.
    std::int64_t sameOffset(std::int64_t cameraTime) const {
        return cameraTime + offset_.value_or(0);
    }
    void reset() { offset_.reset(); }

private:
    std::optional<std::int64_t> offset_;
};
