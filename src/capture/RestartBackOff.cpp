#include "RestartBackOff.h"

#include <algorithm>

std::chrono::milliseconds RestartBackOff::failed(const QDateTime& now) {
    const bool longAgo = lastFailure_ && lastFailure_->msecsTo(now) >=
                                             std::chrono::milliseconds(forgetAfter).count();
    if (longAgo || framesSinceFailure_ >= goodStretch) {
        next_ = firstWait;
    }
    const std::chrono::milliseconds wait = next_;
    next_ = std::min(next_ * 2, longestWait);
    framesSinceFailure_ = 0;
    lastFailure_ = now;
    return wait;
}

void RestartBackOff::delivered(std::int64_t frames) {
    framesSinceFailure_ += frames;
}
