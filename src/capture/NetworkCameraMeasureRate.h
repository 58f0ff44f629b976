#pragma once

#include <cstddef>
#include <cstdint>

// Which of a network camera's frames the motion measure looks at. The
// camera's whole stream is recorded, but measuring motion needs only about
// a dozen pictures a second: a frame is measured when leaving it out would
// leave more than `longestGap` between measured frames, so a 30 fps camera
// is measured at 15 fps, a 25 fps one at 12.5 fps, and one of 11 fps or less
// at every frame. A frame that is not measured and that no other frame is
// decoded from is not decoded at all; the others are decoded without being
// handed on. Times are nanoseconds; a time that goes back or jumps by more
// than a second starts over.
class NetworkCameraMeasureRate {
public:
    static constexpr std::int64_t longestGap = 90'000'000;
    static constexpr std::int64_t startOverAfter = 1'000'000'000;

    // Whether the frame at `time` is to be measured. Called once per frame,
    // in the order they come.
    bool measure(std::int64_t time);
    void reset();

    // Whether an access unit of length-prefixed NAL units (`lengthSize` bytes
    // each, as in the avc and hvc1 formats) holds a picture no other picture
    // is decoded from (H.264 nal_ref_idc 0; H.265 sub-layer non-reference).
    static bool isDisposable(const std::uint8_t* data, std::size_t size, int lengthSize, bool h265);

private:
    bool started_ = false;
    std::int64_t lastMeasured_ = 0;
    std::int64_t lastSeen_ = 0;
};
