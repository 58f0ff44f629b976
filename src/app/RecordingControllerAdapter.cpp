#include "RecordingControllerAdapter.h"

#include "LoggingRecorder.h"
#include "RecordingManager.h"

std::optional<int> RecordingControllerAdapter::armedStateRaw() const {
    const std::optional<ArmState> state = manager_.armedState();
    return state ? std::optional(static_cast<int>(*state)) : std::nullopt;
}

void RecordingControllerAdapter::startRecordings(const std::vector<RecordingTarget>& targets) {
    // Each file's end is logged on its way back to the recording manager.
    std::vector<RecordingTarget> logged = targets;
    for (RecordingTarget& target : logged) {
        target.recorder = std::make_shared<LoggingRecorder>(target.recorder, onFileFinished);
    }
    manager_.startRecordings(logged);
}

void RecordingControllerAdapter::stopRecording() {
    manager_.stopRecording();
}

void RecordingControllerAdapter::setCameraAvailable(bool available) {
    manager_.setCameraAvailable(available);
}

void RecordingControllerAdapter::setMicrophoneAvailable(bool available) {
    manager_.setMicrophoneAvailable(available);
}

bool RecordingControllerAdapter::motionDetectionStopped() const {
    return manager_.motionDetectionStopped();
}

void RecordingControllerAdapter::setMotionDetectionStopped(bool stopped) {
    manager_.setMotionDetectionStopped(stopped);
}

void RecordingControllerAdapter::reportGap(const QDateTime& from, const QDateTime& until) {
    manager_.reportGap(from, until);
}

void RecordingControllerAdapter::devicesChanged() {
    manager_.devicesChanged();
}
