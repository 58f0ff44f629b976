#pragma once

class Defaults;

// What could trigger a recording: motion while it is on and a camera is
// there, sound while it is on and a microphone is there. The capture side
// keeps the devices up to date; the settings are read afresh each time.
// Main thread only.
class TriggerSources {
public:
    explicit TriggerSources(const Defaults& defaults) : defaults_(defaults) {}

    bool cameraAvailable() const { return cameraAvailable_; }
    bool microphoneAvailable() const { return microphoneAvailable_; }
    bool motionDetectionStopped() const { return motionDetectionStopped_; }
    void setCameraAvailable(bool available) { cameraAvailable_ = available; }
    void setMicrophoneAvailable(bool available) { microphoneAvailable_ = available; }
    void setMotionDetectionStopped(bool stopped) { motionDetectionStopped_ = stopped; }

    // Whether a trigger could fire now; motion only while its detection runs.
    bool canFire() const;
    // The same for the arms Nelvo makes by rule (launch, Focus, schedule),
    // which deliberately ignore whether motion detection has stopped.
    bool ruleCanArm() const;

private:
    bool motionCanFire() const;
    bool soundCanFire() const;

    const Defaults& defaults_;
    bool cameraAvailable_ = false;
    bool microphoneAvailable_ = false;
    bool motionDetectionStopped_ = false;
};
