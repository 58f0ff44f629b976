#pragma once

#include "DoublingWait.h"

#include <chrono>
#include <optional>

// When a failed encoder may be replaced: at once the first time, then only
// after a wait that doubles from one second up to thirty, so that an encoder
// that keeps failing is not rebuilt for every frame. A failure a minute or
// more after the last replacement starts the count over.
class EncoderBackOff {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds firstWait{1000};
    static constexpr std::chrono::milliseconds longestWait{30000};
    static constexpr std::chrono::milliseconds forgetAfter{60000};

    // Whether a failed encoder may be replaced at `now`; a yes counts as a replacement.
    bool mayReplace(Clock::time_point now);

private:
    DoublingWait waits_{firstWait, longestWait};
    std::optional<Clock::time_point> lastReplaced_;
    std::chrono::milliseconds wait_{};  // before the next replacement
};
