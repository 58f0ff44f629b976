#pragma once

#include "CameraPipelineSink.h"

class PreRollRecorder;

// Feeds a camera pipeline's output into its pre-roll recorder: every call is
// passed straight on, and the pipeline's loss reasons become the recorder's.
class RecorderSink : public CameraPipelineSink {
public:
    explicit RecorderSink(PreRollRecorder& recorder) : recorder_(recorder) {}

    void appendVideo(GstHandle<GstSample> encodedH264) override;
    void appendAudio(GstHandle<GstSample> pcm) override;
    void setNewestFrame(GstHandle<GstSample> rawFrame) override;
    void recordLoss(CaptureLoss reason) override;
    void reset() override;

private:
    PreRollRecorder& recorder_;
};
