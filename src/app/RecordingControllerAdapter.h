#pragma once

#include "CaptureManagerRecordingController.h"

#include <QString>
#include <functional>

class RecordingManager;

// The capture manager's view of the recording manager.
class RecordingControllerAdapter : public CaptureManagerRecordingController {
public:
    explicit RecordingControllerAdapter(RecordingManager& manager) : manager_(manager) {}

    std::optional<int> armedStateRaw() const override;
    void startRecordings(const std::vector<RecordingTarget>& targets) override;
    void stopRecording() override;
    void setCameraAvailable(bool available) override;
    void setMicrophoneAvailable(bool available) override;
    bool motionDetectionStopped() const override;
    void setMotionDetectionStopped(bool stopped) override;
    void reportGap(const QDateTime& from, const QDateTime& until) override;
    void devicesChanged() override;

    // Told of each finished file under its final name, on the recorder's queue.
    std::function<void(const QString& finishedPath)> onFileFinished;

private:
    RecordingManager& manager_;
};
