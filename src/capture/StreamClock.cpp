#include "StreamClock.h"

std::int64_t StreamClock::map(std::int64_t cameraTime, std::int64_t arrival) {
    const std::int64_t error = offset_ ? arrival - (cameraTime + *offset_) : 0;
    if (!offset_ || error > jumpNs || error < -jumpNs) {
        offset_ = arrival - cameraTime;
    } else {
        *offset_ += error / followDivisor;
    }
    return cameraTime + *offset_;
}
