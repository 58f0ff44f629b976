#pragma once

#include "CaptureSource.h"

#include <gst/app/gstappsrc.h>
#include <condition_variable>
#include <mutex>
#include <thread>

// A source whose frames or audio Nelvo makes itself (the demo camera and
// microphone, a video file played as a camera) and pushes into an appsrc from
// its own thread, as a device driver would. In real time it waits for each
// buffer's moment and the capture clock stamps it on arrival; otherwise it
// produces as fast as the pipeline takes buffers, with stream times from 0.
class FeederSource : public CaptureSource {
public:
    FeederSource(QString uniqueID, QString name, bool realTime);
    ~FeederSource() override;

    GstHandle<GstElement> makeElement() override;
    bool isLive() const override { return realTime_; }
    void sessionStarted() override;
    void sessionStopping() override;
    void sessionStopped() override;

protected:
    // The caps of what `produce` makes, or null when they are set later with
    // gst_app_src_set_caps from `produce`.
    virtual GstHandle<GstCaps> caps() = 0;
    // The next buffer, with its stream time (from 0) and duration; null ends
    // the stream. Runs on the feeder thread.
    virtual GstBuffer* produce(GstAppSrc* source) = 0;
    // The feeder stops: anything `produce` may wait on must return.
    virtual void interrupt() {}
    // Before a new run starts from time 0.
    virtual void rewind() {}

    bool stopRequested() const;

private:
    void run(GstHandle<GstElement> source);

    const bool realTime_;
    GstHandle<GstElement> source_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    std::thread thread_;
};
