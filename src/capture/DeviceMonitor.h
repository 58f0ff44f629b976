#pragma once

#include "CaptureDevices.h"
#include "GstHandle.h"
#include "SoundServerInput.h"

#include <gst/gst.h>
#include <QString>
#include <atomic>

// Cameras and microphones found by GStreamer's device monitor ("Video/Source"
// and "Audio/Source": the v4l2, PipeWire and PulseAudio providers, or any
// other registered one). Added, removed and changed devices arrive as bus
// messages, taken by a sync handler that hands them to the owner's queue; the
// device list is confined to that queue. The system input is the sound
// server's default source when a sound server answers, else the device the
// providers mark as the default.
class DeviceMonitor : public CaptureDevices {
public:
    DeviceMonitor();
    ~DeviceMonitor() override;

    bool start(SerialQueue& queue, CaptureDevicesListener& listener) override;
    void stop() override;
    std::vector<std::shared_ptr<CaptureSource>> devices(DeviceKind kind) const override;
    std::shared_ptr<CaptureSource> defaultInput() const override;

    // An ID that stays the same across replugging and reboots: the V4L2
    // /dev/v4l/by-id link of a camera, the sound server's source name, the
    // PipeWire node name; the display name when nothing better is known.
    static QString uniqueIDFor(GstDevice* device);

private:
    struct Entry {
        GstHandle<GstDevice> device;
        std::shared_ptr<CaptureSource> source;
        DeviceKind kind;
        bool isDefault;
    };
    static GstBusSyncReply onBusMessage(GstBus* bus, GstMessage* message, gpointer self);
    void handle(GstMessage* message);
    void add(GstDevice* device, bool announce);
    void remove(GstDevice* device);
    void changed(GstDevice* device, GstDevice* old);
    void serverInputChanged(const QString& sourceName);
    // Tells the listener when the system input is another device than `before`.
    void announceInputChange(const std::shared_ptr<CaptureSource>& before);
    static std::optional<DeviceKind> kindOf(GstDevice* device);
    static bool isDefault(GstDevice* device);

    GstHandle<GstDeviceMonitor> monitor_;
    SerialQueue* queue_ = nullptr;
    CaptureDevicesListener* listener_ = nullptr;
    std::atomic<bool> delivering_{false};
    SoundServerInput soundServer_;
    // Confined to the queue.
    std::vector<Entry> entries_;
    bool listed_ = false;                 // the devices present at the start are known
    std::optional<QString> serverInput_;  // the sound server's default source
};
