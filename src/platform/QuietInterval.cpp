#include "QuietInterval.h"

#include <algorithm>

std::chrono::milliseconds QuietInterval::left(std::chrono::milliseconds now) const {
    if (!lastSaid_) {
        return std::chrono::milliseconds(0);
    }
    return std::clamp(*lastSaid_ + length_ - now, std::chrono::milliseconds(0), length_);
}
