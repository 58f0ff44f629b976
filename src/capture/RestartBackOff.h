#pragma once

#include "DoublingWait.h"

#include <QDateTime>
#include <chrono>
#include <cstdint>
#include <optional>

// How long a capture session that failed waits before it is restarted: half
// a second the first time, then twice as long each time it fails again, up
// to thirty seconds, so that a camera whose stream keeps failing is not
// rebuilt as fast as it fails. A stretch of good frames since the last
// failure, or a minute without one (a session without a camera delivers no
// frames), starts the count over.
class RestartBackOff {
public:
    static constexpr std::chrono::milliseconds firstWait{500};
    static constexpr std::chrono::milliseconds longestWait{30000};
    static constexpr std::int64_t goodStretch = 150;  // frames: ten seconds of a 15 fps camera
    static constexpr std::chrono::milliseconds forgetAfter{60000};

    // The session failed at `now`: the wait before restarting it.
    std::chrono::milliseconds failed(const QDateTime& now);
    // The session delivered `frames` more frames.
    void delivered(std::int64_t frames);

private:
    DoublingWait waits_{firstWait, longestWait};
    std::int64_t framesSinceFailure_ = 0;
    std::optional<QDateTime> lastFailure_;
};
