#pragma once

#include <chrono>

// How long something that keeps failing waits before it is tried again: the
// first wait, then twice as long each time, up to the longest, until the
// owner decides it is going well again and the count starts over. The
// owners (a camera that stopped answering, a capture session or an encoder
// that keeps failing) decide when that is; the doubling is the same for all.
class DoublingWait {
public:
    constexpr DoublingWait(std::chrono::milliseconds first, std::chrono::milliseconds longest)
        : first_(first), longest_(longest), next_(first) {}

    // The wait for this failure; the next one is twice as long, up to the longest.
    std::chrono::milliseconds next();
    // The next wait is the first one again.
    void startOver() { next_ = first_; }

private:
    std::chrono::milliseconds first_;
    std::chrono::milliseconds longest_;
    std::chrono::milliseconds next_;
};
