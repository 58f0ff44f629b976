#pragma once

#include "CaptureManagerActivityDelegate.h"
#include "CaptureManagerRecordingController.h"
#include "CaptureManagerSettingsDelegate.h"
#include "CaptureSource.h"

#include <array>
#include <functional>
#include <memory>
#include <vector>

// The devices the pipelines use, as last configured, and who hears of them:
// when a configuration reaches the main thread and the devices in use
// changed (or for the first configuration), the recording controller learns
// whether a camera and a microphone are there, the activity delegate their
// names and the settings delegate the devices present.
//
// Threads: the main thread. The delegates are the capture manager's, read
// through references so that a delegate set later is the one told.
class DevicesInUse {
public:
    struct Pipeline {
        std::shared_ptr<CaptureSource> camera;
        std::shared_ptr<CaptureSource> microphone;
        bool running = false;
    };
    static constexpr int pipelineCount = 2;
    using Pipelines = std::array<Pipeline, pipelineCount>;
    using Devices = std::vector<CaptureManagerSettingsDelegate::Device>;

    DevicesInUse(CaptureManagerRecordingController& controller,
                 CaptureManagerActivityDelegate* const& activityDelegate,
                 CaptureManagerSettingsDelegate* const& settingsDelegate,
                 std::function<void(int index)> cameraChanged, std::function<void()> announced);

    // A configuration reached the main thread.
    void configured(const Pipelines& pipelines, const Devices& cameras, const Devices& microphones);
    // The devices present changed, not the ones in use.
    void listed(const Devices& cameras, const Devices& microphones) const;

    const Pipeline& pipeline(int index) const { return pipelines_[index]; }

private:
    CaptureManagerRecordingController& controller_;
    CaptureManagerActivityDelegate* const& activityDelegate_;
    CaptureManagerSettingsDelegate* const& settingsDelegate_;
    const std::function<void(int index)> cameraChanged_;
    const std::function<void()> announced_;
    Pipelines pipelines_;
    bool configuredOnce_ = false;
};
