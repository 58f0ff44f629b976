#pragma once

#include "Error.h"
#include "PreviewFrame.h"

#include <optional>
#include <utility>

class CameraPipeline;

// What a camera pipeline reports to its owner (the capture manager).
class CameraPipelineDelegate {
public:
    virtual ~CameraPipelineDelegate() = default;

    // Once per measured frame, on the pipeline's "DetectionQueue".
    virtual void motionMeasured(CameraPipeline& pipeline, double level, bool triggered) = 0;
    // When the capture session fails at run time, on the thread that noticed it.
    virtual void sessionError(CameraPipeline& pipeline, std::optional<Error> error) = 0;
    // When the microphone fails at run time (MicrophoneErrors) while the
    // camera goes on, on the thread that noticed it; without a handler of
    // its own, a failure of the session.
    virtual void microphoneError(CameraPipeline& pipeline, std::optional<Error> error) {
        sessionError(pipeline, std::move(error));
    }
    // The camera's frame and its moved pixels, only while a preview is
    // wanted; on the pipeline's "VideoDataQueue".
    virtual void previewImage(CameraPipeline& pipeline, const PreviewFrame& frame) {
        Q_UNUSED(pipeline);
        Q_UNUSED(frame);
    }
};
