#include "FeederPool.h"

FeederPool::FeederPool(GstCaps* caps, guint bufferBytes, guint minimum, guint maximum)
    : pool_(GstHandle<GstBufferPool>::adopt(gst_buffer_pool_new())) {
    GstStructure* config = gst_buffer_pool_get_config(pool_.get());
    gst_buffer_pool_config_set_params(config, caps, bufferBytes, minimum, maximum);
    gst_buffer_pool_set_config(pool_.get(), config);
    gst_buffer_pool_set_active(pool_.get(), TRUE);
}

FeederPool::~FeederPool() {
    gst_buffer_pool_set_active(pool_.get(), FALSE);
}

GstBuffer* FeederPool::acquire() {
    GstBuffer* buffer = nullptr;
    if (gst_buffer_pool_acquire_buffer(pool_.get(), &buffer, nullptr) != GST_FLOW_OK) {
        return nullptr;
    }
    return buffer;
}

void FeederPool::interrupt() {
    gst_buffer_pool_set_flushing(pool_.get(), TRUE);
}

void FeederPool::resume() {
    gst_buffer_pool_set_flushing(pool_.get(), FALSE);
}
