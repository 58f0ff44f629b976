#pragma once

#include "DoublingWait.h"
#include "QuietInterval.h"

#include <chrono>

// How long a network camera that stopped answering waits before Nelvo tries
// it again: one second the first time, then twice as long after each failed
// attempt, up to a minute, for as long as it takes. A camera that delivered
// pictures again starts the count over. A log line per attempt would fill
// the log of a camera that stays away for days, so attempts are logged at
// most once a minute.
class ReconnectBackOff {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds firstWait{1000};
    static constexpr std::chrono::milliseconds longestWait{60000};
    static constexpr std::chrono::milliseconds logInterval{60000};

    // An attempt failed at `now`: the wait before the next one.
    std::chrono::milliseconds failed();
    // The camera delivered pictures: the next failure waits firstWait again.
    void connected() { waits_.startOver(); }
    // Whether a failure at `now` is to be logged; when it is, the next
    // failure is logged no sooner than a minute later.
    bool shouldLog(Clock::time_point now);

private:
    DoublingWait waits_{firstWait, longestWait};
    QuietInterval logQuiet_{logInterval};
};
