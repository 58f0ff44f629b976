#include "DoublingWait.h"

#include <algorithm>

std::chrono::milliseconds DoublingWait::next() {
    const std::chrono::milliseconds wait = next_;
    next_ = std::min(next_ * 2, longest_);
    return wait;
}
