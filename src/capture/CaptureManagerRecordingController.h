#pragma once

#include "RecordingTarget.h"

#include <QDateTime>
#include <vector>

// What the capture manager needs of the recording controller. The armed
// state is given as its raw number (0 unarmed, 1 arming, 2 armed, 3 recording)
// so capture stays below control; the application implements this over the
// recording manager. Main thread only.
class CaptureManagerRecordingController {
public:
    enum RawState : int { unarmed = 0, arming = 1, armed = 2, recording = 3 };

    virtual ~CaptureManagerRecordingController() = default;

    // Absent only in a broken state, which the capture side treats as fatal.
    virtual std::optional<int> armedStateRaw() const = 0;
    virtual void startRecordings(const std::vector<RecordingTarget>& targets) = 0;
    virtual void stopRecording() = 0;
    virtual void setCameraAvailable(bool available) = 0;
    virtual void setMicrophoneAvailable(bool available) = 0;
    virtual bool motionDetectionStopped() const = 0;
    virtual void setMotionDetectionStopped(bool stopped) = 0;
    // Capture was not watching from `from` to `until`.
    virtual void reportGap(const QDateTime& from, const QDateTime& until) = 0;
    // The devices were set up or changed.
    virtual void devicesChanged() = 0;
};
