#pragma once

#include "GstHandle.h"

// Why the camera pipeline lost a video frame before the recorder saw it.
enum class CaptureLoss {
    encoderBehind,   // two frames were already in the encoder
    encodeFailed,    // the encoder failed or gave no sample for the frame
    captureDropped,  // capture dropped the frame before delivering it
};

// What a camera pipeline feeds: the recorder's rings. Calls arrive on the
// pipeline's capture and encoder threads; an implementation hands them to its
// own queue and returns at once.
class CameraPipelineSink {
public:
    virtual ~CameraPipelineSink() = default;

    // video/x-h264, stream-format avc, alignment au; keyframes lack
    // GST_BUFFER_FLAG_DELTA_UNIT; times are the capture session's running time.
    virtual void appendVideo(GstHandle<GstSample> encodedH264) = 0;
    // audio/x-raw S16LE interleaved, capture session times.
    virtual void appendAudio(GstHandle<GstSample> pcm) = 0;
    // The newest raw frame (for stills), as captured.
    virtual void setNewestFrame(GstHandle<GstSample> rawFrame) = 0;
    virtual void recordLoss(CaptureLoss reason) = 0;
    virtual void reset() = 0;
};
