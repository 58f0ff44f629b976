#pragma once

#include "CaptureDevices.h"

// A set of devices that never changes: the demo camera and microphone or a
// video file played as the camera.
class FixedDevices : public CaptureDevices {
public:
    FixedDevices(std::vector<std::shared_ptr<CaptureSource>> cameras,
                 std::vector<std::shared_ptr<CaptureSource>> microphones)
        : cameras_(std::move(cameras)), microphones_(std::move(microphones)) {}

    bool start(SerialQueue&, CaptureDevicesListener&) override { return true; }
    void stop() override {}
    std::vector<std::shared_ptr<CaptureSource>> devices(DeviceKind kind) const override {
        return kind == DeviceKind::video ? cameras_ : microphones_;
    }
    std::shared_ptr<CaptureSource> defaultInput() const override {
        return microphones_.empty() ? nullptr : microphones_.front();
    }

private:
    std::vector<std::shared_ptr<CaptureSource>> cameras_;
    std::vector<std::shared_ptr<CaptureSource>> microphones_;
};
