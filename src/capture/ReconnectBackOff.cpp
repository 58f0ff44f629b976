#include "ReconnectBackOff.h"

std::chrono::milliseconds ReconnectBackOff::failed() {
    return waits_.next();
}

bool ReconnectBackOff::shouldLog(Clock::time_point now) {
    const auto at = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
    if (logQuiet_.isQuiet(at)) {
        return false;
    }
    logQuiet_.said(at);
    return true;
}
