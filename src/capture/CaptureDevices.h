#pragma once

#include "CaptureSource.h"

#include <memory>
#include <vector>

class SerialQueue;

enum class DeviceKind { video, audio };

// Told about devices coming and going, on the queue given to CaptureDevices::start.
class CaptureDevicesListener {
public:
    virtual ~CaptureDevicesListener() = default;
    virtual void deviceConnected(const std::shared_ptr<CaptureSource>& device, DeviceKind kind) = 0;
    virtual void deviceDisconnected(const std::shared_ptr<CaptureSource>& device,
                                    DeviceKind kind) = 0;
    virtual void defaultInputChanged() = 0;
};

// Where the capture manager finds its cameras and microphones: the device
// monitor, or a fixed set (the demo camera, a video file).
class CaptureDevices {
public:
    virtual ~CaptureDevices() = default;

    // Starts discovery; the current devices are known when it returns false
    // or true. Events are delivered on `queue`. False when discovery failed.
    virtual bool start(SerialQueue& queue, CaptureDevicesListener& listener) = 0;
    // No event is delivered after this returns.
    virtual void stop() = 0;

    // On the event queue.
    virtual std::vector<std::shared_ptr<CaptureSource>> devices(DeviceKind kind) const = 0;
    // The system's default input; null when there is none or it is unknown.
    virtual std::shared_ptr<CaptureSource> defaultInput() const = 0;
};
