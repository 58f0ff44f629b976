#include "PendingSamples.h"

PendingSamples::Sample PendingSamples::take() {
    Sample sample = std::move(items_[head_++]);
    if (empty()) {
        clear();
    }
    return sample;
}

void PendingSamples::clear() {
    items_.clear();
    head_ = 0;
}
