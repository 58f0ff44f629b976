#include "DevicesInUse.h"

#include <optional>
#include <utility>

DevicesInUse::DevicesInUse(CaptureManagerRecordingController& controller,
                           CaptureManagerActivityDelegate* const& activityDelegate,
                           CaptureManagerSettingsDelegate* const& settingsDelegate,
                           std::function<void(int index)> cameraChanged,
                           std::function<void()> announced)
    : controller_(controller),
      activityDelegate_(activityDelegate),
      settingsDelegate_(settingsDelegate),
      cameraChanged_(std::move(cameraChanged)),
      announced_(std::move(announced)) {}

void DevicesInUse::configured(const Pipelines& pipelines, const Devices& cameras,
                              const Devices& microphones) {
    const bool changed = pipelines[0].camera != pipelines_[0].camera ||
                         pipelines[1].camera != pipelines_[1].camera ||
                         pipelines[0].microphone != pipelines_[0].microphone;
    const Pipelines before = std::exchange(pipelines_, pipelines);
    for (int i = 0; i < static_cast<int>(pipelines.size()); ++i) {
        if (pipelines[i].camera != before[i].camera) {
            cameraChanged_(i);
        }
    }
    if (!changed && configuredOnce_) {
        return;
    }
    configuredOnce_ = true;
    controller_.setCameraAvailable(pipelines_[0].camera || pipelines_[1].camera);
    controller_.setMicrophoneAvailable(pipelines_[0].microphone != nullptr);
    auto name = [](const std::shared_ptr<CaptureSource>& source) {
        return source ? std::optional(source->name()) : std::nullopt;
    };
    if (activityDelegate_) {
        activityDelegate_->devicesInUse(name(pipelines_[0].camera), name(pipelines_[1].camera),
                                        name(pipelines_[0].microphone));
    }
    listed(cameras, microphones);
    controller_.devicesChanged();
    announced_();
}

void DevicesInUse::listed(const Devices& cameras, const Devices& microphones) const {
    if (settingsDelegate_) {
        settingsDelegate_->devicesListed(cameras, microphones);
    }
}
