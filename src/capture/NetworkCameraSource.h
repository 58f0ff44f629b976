#pragma once

#include "CaptureSource.h"
#include "NetworkCameraFacts.h"
#include "NetworkCameraKeyframes.h"
#include "NetworkCameraLink.h"
#include "NetworkCameraMeasureRate.h"
#include "StreamClock.h"

#include <memory>
#include <mutex>

// A network camera as a capture source. Its stream comes in on its own link
// (NetworkCameraLink), which reconnects by itself, so a camera that goes away
// never stops the capture session it belongs to. In the session it is an
// appsrc fed with the camera's samples, decoded for the motion measure and
// the preview. An RTSP camera's H.264 or H.265 also goes to the recorder as
// the camera sent it, so the recording path decodes and encodes nothing;
// an MJPEG camera's decoded pictures are encoded like a local camera's.
//
// The camera's timestamps are mapped onto the session's clock (StreamClock).
// What it learns of the camera goes to `facts`, when there are any.
class NetworkCameraSource : public CaptureSource {
public:
    NetworkCameraSource(NetworkCameraUrl url, NetworkCredentials credentials,
                        QPointer<NetworkCameraFacts> facts, QString name = QString());
    ~NetworkCameraSource() override;

    const NetworkCameraUrl& url() const { return url_; }

    GstHandle<GstElement> makeElement() override;
    bool feedsRecorder(CameraPipelineSink* recorder) override;
    void sessionStarted() override;
    void sessionStopping() override;
    void sessionStopped() override;

private:
    void deliver(GstSample* sample);
    bool decodes(GstBuffer* buffer);
    void noteKeyframe(GstBuffer* buffer);
    std::optional<GstClockTime> sessionNow(GstElement* feed) const;

    const NetworkCameraUrl url_;
    const QPointer<NetworkCameraFacts> facts_;
    NetworkCameraLink link_;

    // Shared by the session queue and the link's stream thread.
    std::mutex mutex_;
    GstHandle<GstElement> feed_;
    CameraPipelineSink* recorder_ = nullptr;
    bool delivering_ = false;
    StreamClock clock_;
    GstHandle<GstCaps> feedCaps_;
    bool passedThrough_ = false;
    bool h265_ = false;
    int nalLengthSize_ = 0;
    NetworkCameraMeasureRate measureRate_;
    NetworkCameraKeyframes keyframes_;
};
