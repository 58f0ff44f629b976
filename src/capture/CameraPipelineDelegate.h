#pragma once

#include "Error.h"

#include <QImage>
#include <optional>

class CameraPipeline;

// What a camera pipeline reports to its owner (the capture manager).
class CameraPipelineDelegate {
public:
    virtual ~CameraPipelineDelegate() = default;

    // Once per measured frame, on the pipeline's "DetectionQueue".
    virtual void motionMeasured(CameraPipeline& pipeline, double level, bool triggered) = 0;
    // When the capture session fails at run time, on the thread that noticed it.
    virtual void sessionError(CameraPipeline& pipeline, std::optional<Error> error) = 0;
    // The camera picture with moved pixels marked red, only while a preview is
    // wanted; on the pipeline's "VideoDataQueue".
    virtual void previewImage(CameraPipeline& pipeline, const QImage& image) {
        Q_UNUSED(pipeline);
        Q_UNUSED(image);
    }
};
