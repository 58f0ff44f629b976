#include "LevelPeakWindow.h"

#include <algorithm>

namespace {

std::int64_t secondOf(std::int64_t ms) {
    return ms / 1000;
}

}  // namespace

void LevelPeakWindow::report(double level, std::int64_t atMs) {
    const std::int64_t second = secondOf(atMs);
    Second& slot = seconds_[static_cast<std::size_t>(second % seconds)];
    if (slot.index != second) {
        slot = {second, level};
    } else {
        slot.peak = std::max(slot.peak, level);
    }
    held_ = held_ ? std::max(*held_, level) : level;
}

std::optional<double> LevelPeakWindow::peak(std::int64_t nowMs) const {
    const std::int64_t now = secondOf(nowMs);
    std::optional<double> highest;
    for (const Second& slot : seconds_) {
        // The current second and the 59 before it.
        if (slot.index >= 0 && slot.index <= now && now - slot.index < seconds) {
            highest = highest ? std::max(*highest, slot.peak) : slot.peak;
        }
    }
    return highest;
}
