#pragma once

#include "GstHandle.h"

#include <gst/gst.h>

// The reusable buffers a feeder source fills: taking one allocates nothing
// once the pool has grown to what the pipeline keeps, and a stopping feeder
// can interrupt a wait for one.
class FeederPool {
public:
    // `maximum` 0: no upper bound, for buffers the pre-roll ring keeps.
    FeederPool(GstCaps* caps, guint bufferBytes, guint minimum, guint maximum);
    ~FeederPool();
    FeederPool(const FeederPool&) = delete;
    FeederPool& operator=(const FeederPool&) = delete;

    // A buffer to fill, or null while interrupted.
    GstBuffer* acquire();
    // Makes waits in acquire return, until resume.
    void interrupt();
    void resume();

private:
    GstHandle<GstBufferPool> pool_;
};
