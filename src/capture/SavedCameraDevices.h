#pragma once

#include "CaptureDevices.h"
#include "NetworkCameraFacts.h"
#include "NetworkCameraLink.h"
#include "SavedNetworkCameras.h"

#include <QObject>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class Defaults;

// The cameras and microphones of another device list with the network
// cameras added in Settings among the cameras, so that a saved network
// camera is listed, chosen and followed like a plugged-in one. A camera
// added, changed or removed in Settings arrives or leaves as a device does.
// Its credentials are read from the secret service when it arrives; what
// its stream shows of it goes to the facts given.
//
// Threads: like the list it wraps, on the queue given to start; Settings'
// changes are taken from the main thread there.
class SavedCameraDevices : public CaptureDevices, private CaptureDevicesListener {
public:
    using CredentialsLookup =
        std::function<std::optional<NetworkCredentials>(const QString& uniqueID)>;

    SavedCameraDevices(std::unique_ptr<CaptureDevices> devices, const Defaults& defaults,
                       CredentialsLookup lookup, NetworkCameraFacts* facts);
    ~SavedCameraDevices() override;

    // The devices GStreamer's device monitor finds, with the saved network
    // cameras and their credentials from the secret service.
    static std::unique_ptr<CaptureDevices> withDeviceMonitor(const Defaults& defaults,
                                                             NetworkCameraFacts* facts);

    bool start(SerialQueue& queue, CaptureDevicesListener& listener) override;
    void stop() override;
    std::vector<std::shared_ptr<CaptureSource>> devices(DeviceKind kind) const override;
    std::shared_ptr<CaptureSource> defaultInput() const override;

private:
    struct Saved {
        SavedNetworkCamera camera;
        std::shared_ptr<CaptureSource> source;
    };

    // Compares Settings with the cameras listed; tells the listener of the
    // ones that left and arrived when `announce`.
    void refresh(bool announce);
    std::shared_ptr<CaptureSource> sourceFor(const SavedNetworkCamera& camera) const;

    void deviceConnected(const std::shared_ptr<CaptureSource>& device, DeviceKind kind) override;
    void deviceDisconnected(const std::shared_ptr<CaptureSource>& device, DeviceKind kind) override;
    void defaultInputChanged() override;

    const std::unique_ptr<CaptureDevices> devices_;
    const Defaults& defaults_;
    const CredentialsLookup lookup_;
    const QPointer<NetworkCameraFacts> facts_;  // made on the main thread, copied on the queue
    QObject context_;                           // Settings' changes reach the queue while it lives
    SerialQueue* queue_ = nullptr;
    CaptureDevicesListener* listener_ = nullptr;
    std::atomic<bool> delivering_{false};
    // Confined to the queue.
    std::vector<Saved> saved_;
};
