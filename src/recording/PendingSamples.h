#pragma once

#include "GstHandle.h"

#include <cstddef>
#include <vector>

// Samples accepted for the open movie but not yet appended, oldest first.
// Keeps its storage between files so that taking and pushing allocate
// nothing once it has grown. Confined to the recorder's queue.
class PendingSamples {
public:
    using Sample = GstHandle<GstSample>;

    void push(Sample sample) { items_.push_back(std::move(sample)); }
    bool empty() const { return head_ == items_.size(); }
    // The oldest sample; only when not empty.
    Sample take();
    void clear();

private:
    std::vector<Sample> items_;
    std::size_t head_ = 0;
};
