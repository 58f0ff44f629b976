#include "ReconnectBackOff.h"

#include <algorithm>

std::chrono::milliseconds ReconnectBackOff::failed() {
    const std::chrono::milliseconds wait = next_;
    next_ = std::min(next_ * 2, longestWait);
    return wait;
}

bool ReconnectBackOff::shouldLog(Clock::time_point now) {
    if (lastLogged_ && now - *lastLogged_ < logInterval) {
        return false;
    }
    lastLogged_ = now;
    return true;
}
