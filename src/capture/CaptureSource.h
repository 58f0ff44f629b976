#pragma once

#include "GstHandle.h"

class CameraPipelineSink;

#include <QString>

// A camera or a microphone a capture pipeline can open: a device, a
// GStreamer source description, a video file or the built-in demo.
class CaptureSource {
public:
    CaptureSource(QString uniqueID, QString name)
        : uniqueID_(std::move(uniqueID)), name_(std::move(name)) {}
    virtual ~CaptureSource() = default;
    CaptureSource(const CaptureSource&) = delete;
    CaptureSource& operator=(const CaptureSource&) = delete;

    const QString& uniqueID() const { return uniqueID_; }
    const QString& name() const { return name_; }

    // A new source element (or bin with one source pad); null when it cannot
    // be made. Called on the session queue each time the pipeline is built.
    virtual GstHandle<GstElement> makeElement() = 0;

    // A live source delivers at its own pace and frames not taken in time are
    // dropped; otherwise the source waits for the pipeline (tests, soaks).
    virtual bool isLive() const { return true; }

    // A camera that sends its own compressed video (a network camera) hands
    // it to `recorder` itself, as it comes, and its element gives decoded
    // pictures for measuring only: the pipeline then encodes nothing. Asked
    // before each makeElement; false for a camera of raw frames.
    virtual bool feedsRecorder(CameraPipelineSink* /*recorder*/) { return false; }

    // Around the capture session running, on the session queue.
    virtual void sessionStarted() {}
    virtual void sessionStopping() {}
    virtual void sessionStopped() {}

private:
    QString uniqueID_;
    QString name_;
};

// A source given as a GStreamer description such as "v4l2src
// device=/dev/video0", "pipewiresrc path=42", "pulsesrc device=..." or
// "videotestsrc is-live=true".
class LaunchSource : public CaptureSource {
public:
    LaunchSource(QString uniqueID, QString name, QString description, bool live = true)
        : CaptureSource(std::move(uniqueID), std::move(name)),
          description_(std::move(description)),
          live_(live) {}

    GstHandle<GstElement> makeElement() override;
    bool isLive() const override { return live_; }

private:
    QString description_;
    bool live_;
};

// A device found by the device monitor (v4l2, PipeWire, PulseAudio providers).
class DeviceSource : public CaptureSource {
public:
    DeviceSource(QString uniqueID, GstHandle<GstDevice> device);
    GstHandle<GstElement> makeElement() override;

private:
    GstHandle<GstDevice> device_;
};
