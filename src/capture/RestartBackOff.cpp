#include "RestartBackOff.h"

std::chrono::milliseconds RestartBackOff::failed(const QDateTime& now) {
    const bool longAgo = lastFailure_ && lastFailure_->msecsTo(now) >=
                                             std::chrono::milliseconds(forgetAfter).count();
    if (longAgo || framesSinceFailure_ >= goodStretch) {
        waits_.startOver();
    }
    framesSinceFailure_ = 0;
    lastFailure_ = now;
    return waits_.next();
}

void RestartBackOff::delivered(std::int64_t frames) {
    framesSinceFailure_ += frames;
}
