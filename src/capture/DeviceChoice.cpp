#include "DeviceChoice.h"

#include "Defaults.h"
#include "SettingsKeys.h"

namespace {

std::optional<QString> idOf(const std::shared_ptr<CaptureSource>& source) {
    return source ? std::optional(source->uniqueID()) : std::nullopt;
}

bool same(const std::shared_ptr<CaptureSource>& inUse, const CaptureSource& device) {
    return inUse && inUse->uniqueID() == device.uniqueID();
}

}  // namespace

DeviceChoice::DeviceChoice(const Defaults& defaults, const CaptureDevices& devices)
    : defaults_(defaults), devices_(devices) {}

bool DeviceChoice::shouldSwitch(const QString& connected, const std::optional<QString>& current,
                                const std::optional<QString>& chosen) {
    if (!chosen) {
        return !current;
    }
    if (chosen->isEmpty()) {
        return false;
    }
    if (!current) {
        return true;
    }
    return connected == *chosen && *current != *chosen;
}

DeviceSet DeviceChoice::chosen() const {
    auto first = chosenCamera();
    auto second = chosenSecondCamera(first);
    return {std::move(first), std::move(second), chosenMicrophone()};
}

std::shared_ptr<CaptureSource> DeviceChoice::find(DeviceKind kind, const QString& uniqueID) const {
    for (const auto& device : devices_.devices(kind)) {
        if (device->uniqueID() == uniqueID) {
            return device;
        }
    }
    return nullptr;
}

std::shared_ptr<CaptureSource> DeviceChoice::chosenCamera() const {
    const std::optional<QString> chosen = defaults_.string(SettingsKeys::selectedCameraID);
    if (chosen && chosen->isEmpty()) {
        return nullptr;
    }
    if (chosen) {
        if (auto device = find(DeviceKind::video, *chosen)) {
            return device;
        }
    }
    const auto cameras = devices_.devices(DeviceKind::video);
    return cameras.empty() ? nullptr : cameras.front();
}

std::shared_ptr<CaptureSource> DeviceChoice::chosenSecondCamera(
    const std::shared_ptr<CaptureSource>& first) const {
    const std::optional<QString> chosen = defaults_.string(SettingsKeys::secondCameraID);
    if (!chosen || chosen->isEmpty() || !first || first->uniqueID() == *chosen) {
        return nullptr;
    }
    return find(DeviceKind::video, *chosen);
}

std::shared_ptr<CaptureSource> DeviceChoice::chosenMicrophone() const {
    const std::optional<QString> chosen = defaults_.string(SettingsKeys::selectedMicrophoneID);
    if (chosen && chosen->isEmpty()) {
        return nullptr;
    }
    if (chosen) {
        if (auto device = find(DeviceKind::audio, *chosen)) {
            return device;
        }
    }
    if (auto fallback = devices_.defaultInput()) {
        return fallback;
    }
    const auto microphones = devices_.devices(DeviceKind::audio);
    return microphones.empty() ? nullptr : microphones.front();
}

DeviceChange DeviceChoice::connected(const std::shared_ptr<CaptureSource>& device, DeviceKind kind,
                                     const DeviceSet& inUse) const {
    if (kind == DeviceKind::audio) {
        if (!shouldSwitch(device->uniqueID(), idOf(inUse.microphone),
                          defaults_.string(SettingsKeys::selectedMicrophoneID))) {
            return {};
        }
        return {DeviceSet{inUse.camera, inUse.secondCamera, device},
                QStringLiteral("%1 connected, switching to it").arg(device->name())};
    }
    const std::optional<QString> second = defaults_.string(SettingsKeys::secondCameraID);
    if (!inUse.secondCamera && second && device->uniqueID() == *second &&
        idOf(inUse.camera) != *second) {
        return {DeviceSet{inUse.camera, device, inUse.microphone},
                QStringLiteral("%1 connected, adding it as the second camera").arg(device->name())};
    }
    if (!shouldSwitch(device->uniqueID(), idOf(inUse.camera),
                      defaults_.string(SettingsKeys::selectedCameraID))) {
        return {};
    }
    // A camera moving to the first pipeline leaves the second.
    auto secondCamera = same(inUse.secondCamera, *device) ? nullptr : inUse.secondCamera;
    return {DeviceSet{device, std::move(secondCamera), inUse.microphone},
            QStringLiteral("%1 connected, switching to it").arg(device->name())};
}

DeviceChange DeviceChoice::disconnected(const std::shared_ptr<CaptureSource>& device,
                                        DeviceKind kind, const DeviceSet& inUse) const {
    DeviceSet left = inUse;
    if (kind == DeviceKind::video) {
        if (!same(inUse.camera, *device) && !same(inUse.secondCamera, *device)) {
            return {};
        }
        if (same(left.camera, *device)) {
            left.camera = nullptr;
        }
        if (same(left.secondCamera, *device)) {
            left.secondCamera = nullptr;
        }
    } else {
        if (!same(inUse.microphone, *device)) {
            return {};
        }
        left.microphone = nullptr;
    }
    return {std::move(left),
            QStringLiteral("Lost %1, reconfiguring with what's left").arg(device->name())};
}

DeviceChange DeviceChoice::defaultInputChanged(const DeviceSet& inUse) const {
    if (defaults_.string(SettingsKeys::selectedMicrophoneID)) {
        return {};
    }
    auto input = devices_.defaultInput();
    if (!input) {
        return {std::nullopt, QStringLiteral("Could not follow the system input: ") +
                                  QStringLiteral("no default input is known")};
    }
    if (same(inUse.microphone, *input)) {
        return {};
    }
    return {DeviceSet{inUse.camera, inUse.secondCamera, input},
            QStringLiteral("System input changed to %1, switching to it").arg(input->name())};
}
