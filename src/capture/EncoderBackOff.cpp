#include "EncoderBackOff.h"

bool EncoderBackOff::mayReplace(Clock::time_point now) {
    if (lastReplaced_) {
        const Clock::duration since = now - *lastReplaced_;
        if (since < wait_) {
            return false;
        }
        if (since >= forgetAfter) {
            waits_.startOver();
        }
    }
    wait_ = waits_.next();
    lastReplaced_ = now;
    return true;
}
