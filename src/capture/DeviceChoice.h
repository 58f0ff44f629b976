#pragma once

#include "CaptureDevices.h"

#include <QString>
#include <memory>
#include <optional>

class Defaults;

// The devices of the two pipelines: the first camera with the microphone,
// and the second camera.
struct DeviceSet {
    std::shared_ptr<CaptureSource> camera;
    std::shared_ptr<CaptureSource> secondCamera;
    std::shared_ptr<CaptureSource> microphone;
};

// What a device event changes: the devices to configure (absent: keep the
// ones in use) and the line to print about it (empty: none).
struct DeviceChange {
    std::optional<DeviceSet> devices;
    QString line;
};

// Which devices the pipelines use: the user's stored choices ("selectedCameraID",
// "secondCameraID", "selectedMicrophoneID") against the devices present, and
// whether a device arriving, leaving or becoming the system input changes
// that. Settings are read at every call. Runs where the devices' events are
// delivered (the session queue).
class DeviceChoice {
public:
    DeviceChoice(const Defaults& defaults, const CaptureDevices& devices);

    // Whether a device that was just connected takes over a pipeline, given
    // the pipeline's device and the user's stored choice (absent: nothing
    // stored; empty: the user chose none).
    static bool shouldSwitch(const QString& connected, const std::optional<QString>& current,
                             const std::optional<QString>& chosen);

    // The devices as chosen, with fallbacks for choices that are not present.
    DeviceSet chosen() const;

    DeviceChange connected(const std::shared_ptr<CaptureSource>& device, DeviceKind kind,
                           const DeviceSet& inUse) const;
    DeviceChange disconnected(const std::shared_ptr<CaptureSource>& device, DeviceKind kind,
                              const DeviceSet& inUse) const;
    DeviceChange defaultInputChanged(const DeviceSet& inUse) const;

private:
    std::shared_ptr<CaptureSource> find(DeviceKind kind, const QString& uniqueID) const;
    std::shared_ptr<CaptureSource> chosenCamera() const;
    std::shared_ptr<CaptureSource> chosenSecondCamera(
        const std::shared_ptr<CaptureSource>& first) const;
    std::shared_ptr<CaptureSource> chosenMicrophone() const;

    const Defaults& defaults_;
    const CaptureDevices& devices_;
};
