#pragma once

#include "CameraPipelineDelegate.h"

#include <atomic>

// The pipelines' delegate on behalf of their owner. The pipelines hold it
// weakly and call it from their capture threads; it forwards to the owner
// until the owner, beginning to go away, closes it.
class PipelineEvents : public CameraPipelineDelegate {
public:
    explicit PipelineEvents(CameraPipelineDelegate& owner) : owner_(owner) {}

    // Nothing is forwarded once this returns to the thread that called it.
    void close() { open_ = false; }

    void motionMeasured(CameraPipeline& pipeline, double level, bool triggered) override {
        if (open_) {
            owner_.motionMeasured(pipeline, level, triggered);
        }
    }
    void sessionError(CameraPipeline& pipeline, std::optional<Error> error) override {
        if (open_) {
            owner_.sessionError(pipeline, std::move(error));
        }
    }
    void microphoneError(CameraPipeline& pipeline, std::optional<Error> error) override {
        if (open_) {
            owner_.microphoneError(pipeline, std::move(error));
        }
    }
    void previewImage(CameraPipeline& pipeline, const PreviewFrame& frame) override {
        if (open_) {
            owner_.previewImage(pipeline, frame);
        }
    }

private:
    CameraPipelineDelegate& owner_;
    std::atomic<bool> open_{true};
};
