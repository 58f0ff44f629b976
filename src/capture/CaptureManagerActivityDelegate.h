#pragma once

#include <QString>
#include <optional>

// The popover's side of the capture manager: meters and device labels.
// Called on the main thread.
class CaptureManagerActivityDelegate {
public:
    virtual ~CaptureManagerActivityDelegate() = default;

    // A motion level (0-100) measured by pipeline `index`.
    virtual void motionLevel(int index, double level) = 0;
    // The sound meter (0-100).
    virtual void soundLevel(double level) = 0;
    // The meter stopped with capture; the meters should rest.
    virtual void soundMeterStopped() = 0;
    // The devices in use after a reconfiguration; absent names are none.
    virtual void devicesInUse(const std::optional<QString>& camera,
                              const std::optional<QString>& secondCamera,
                              const std::optional<QString>& microphone) = 0;
    // Whether motion measurements stopped arriving from any camera.
    virtual void motionDetectionStoppedChanged(bool stopped) = 0;
};
