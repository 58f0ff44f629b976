#pragma once

// A camera that plays a clip held in memory over and over, like a driver
// handing over frames it already has: producing a frame costs nothing, so
// what is measured is Nelvo's own work.
#include "FeederSource.h"
#include "StudyClips.h"

class ClipCamera : public FeederSource {
public:
    // `frameLimit` -1: forever.
    ClipCamera(const StudyClips::Clip& clip, bool realTime, long long frameLimit = -1)
        : FeederSource(QStringLiteral("bench-clip-camera"), QStringLiteral("Clip Camera"),
                       realTime),
          clip_(clip),
          frameLimit_(frameLimit) {}
    ~ClipCamera() override {
        sessionStopping();
        sessionStopped();
    }

protected:
    GstHandle<GstCaps> caps() override { return clip_.caps; }
    GstBuffer* produce(GstAppSrc*) override {
        if (clip_.frames.empty() || (frameLimit_ >= 0 && frame_ >= frameLimit_)) {
            return nullptr;
        }
        // A new header over the same memory, for this frame's own time.
        GstBuffer* buffer = gst_buffer_copy(clip_.frames[frame_ % clip_.frames.size()].get());
        GST_BUFFER_PTS(buffer) =
            gst_util_uint64_scale(frame_, GST_SECOND, StudyClips::framesPerSecond);
        GST_BUFFER_DURATION(buffer) = GST_SECOND / StudyClips::framesPerSecond;
        ++frame_;
        return buffer;
    }
    void rewind() override { frame_ = 0; }

private:
    const StudyClips::Clip& clip_;
    const long long frameLimit_;
    long long frame_ = 0;
};
