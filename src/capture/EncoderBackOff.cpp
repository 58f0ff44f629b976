#include "EncoderBackOff.h"

#include <algorithm>

bool EncoderBackOff::mayReplace(Clock::time_point now) {
    if (!lastReplaced_) {
        wait_ = firstWait;
    } else {
        const Clock::duration since = now - *lastReplaced_;
        if (since < wait_) {
            return false;
        }
        wait_ = since >= forgetAfter ? Clock::duration(firstWait)
                                     : std::min<Clock::duration>(wait_ * 2, longestWait);
    }
    lastReplaced_ = now;
    return true;
}
