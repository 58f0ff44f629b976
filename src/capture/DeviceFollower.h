#pragma once

#include "CaptureDevices.h"
#include "CaptureManagerSettingsDelegate.h"
#include "DeviceChoice.h"
#include "Error.h"

#include <QString>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

class Defaults;
class SerialQueue;

// What the device follower asks of the capture manager, on the session queue.
class DeviceFollowerOwner {
public:
    virtual ~DeviceFollowerOwner() = default;

    // The devices the pipelines use, without a lost microphone.
    virtual DeviceSet devicesInUse() const = 0;
    virtual void configureWith(const DeviceSet& devices) = 0;
    // Whether the system refused capture; a device arriving then tries again.
    virtual bool captureRefused() const = 0;
    virtual void tryCaptureAgain(const DeviceSet& devices) = 0;
    // The devices in use stay; the settings' menus hear of the devices present.
    virtual void devicesListed() = 0;
    // The microphone in use was lost; its pipeline runs on without it.
    virtual void microphoneLost() = 0;
};

// Which devices the pipelines use as they come and go, whatever kind of
// device list the manager was given (local devices, a demo or file camera,
// saved network cameras): stores the user's choices, applies DeviceChoice's
// rules to every arrival, departure and change of the system input, and
// waits for a microphone lost with its sound server to open again.
//
// Threads: the choose operations write the settings on the main thread;
// everything else runs on the session queue, where the device events arrive.
class DeviceFollower : public CaptureDevicesListener {
public:
    // How often a microphone lost with its sound server is tried again.
    static constexpr std::chrono::milliseconds microphoneRetry{1000};

    DeviceFollower(Defaults& defaults, CaptureDevices& devices, SerialQueue& sessionQueue,
                   DeviceFollowerOwner& owner);

    // Store the user's choices; the owner reconfigures afterwards.
    void chooseCamera(const std::optional<QString>& uniqueID);
    void chooseSecondCamera(const std::optional<QString>& uniqueID);
    void chooseMicrophone(const QString& uniqueID);
    void chooseNoMicrophone();
    void followSystemInput();

    // The devices as chosen, with fallbacks for choices that are not present.
    DeviceSet chosen() const { return choice_.chosen(); }
    std::vector<CaptureManagerSettingsDelegate::Device> listed(DeviceKind kind) const;

    // The first pipeline's microphone failed while its camera goes on.
    void microphoneFailed(const std::optional<Error>& error);
    bool microphoneIsLost() const { return microphoneLost_; }
    // The first pipeline was configured anew: its microphone counts again.
    void microphoneConfigured() { microphoneLost_ = false; }

    void deviceConnected(const std::shared_ptr<CaptureSource>& device, DeviceKind kind) override;
    void deviceDisconnected(const std::shared_ptr<CaptureSource>& device, DeviceKind kind) override;
    void defaultInputChanged() override;

private:
    void apply(const DeviceChange& change);
    void awaitMicrophone(const std::shared_ptr<CaptureSource>& lost);

    Defaults& defaults_;
    CaptureDevices& devices_;
    SerialQueue& sessionQueue_;
    DeviceFollowerOwner& owner_;
    DeviceChoice choice_;
    bool microphoneLost_ = false;
};
