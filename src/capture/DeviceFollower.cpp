#include "DeviceFollower.h"

#include "Defaults.h"
#include "GstHandle.h"
#include "Log.h"
#include "SerialQueue.h"
#include "SettingsKeys.h"

#include <algorithm>

DeviceFollower::DeviceFollower(Defaults& defaults, CaptureDevices& devices,
                               SerialQueue& sessionQueue, DeviceFollowerOwner& owner)
    : defaults_(defaults),
      devices_(devices),
      sessionQueue_(sessionQueue),
      owner_(owner),
      choice_(defaults, devices) {}

void DeviceFollower::chooseCamera(const std::optional<QString>& uniqueID) {
    defaults_.set(SettingsKeys::selectedCameraID, uniqueID.value_or(QString()));
    if (!uniqueID) {
        defaults_.remove(SettingsKeys::secondCameraID);
    }
    defaults_.set(SettingsKeys::motionTriggerEnabled,
                  uniqueID ? defaults_.boolValue(SettingsKeys::motionTriggerEnabled) : false);
}

void DeviceFollower::chooseSecondCamera(const std::optional<QString>& uniqueID) {
    if (uniqueID) {
        defaults_.set(SettingsKeys::secondCameraID, *uniqueID);
    } else {
        defaults_.remove(SettingsKeys::secondCameraID);
    }
}

void DeviceFollower::chooseMicrophone(const QString& uniqueID) {
    defaults_.set(SettingsKeys::selectedMicrophoneID, uniqueID);
}

void DeviceFollower::chooseNoMicrophone() {
    defaults_.set(SettingsKeys::selectedMicrophoneID, QString());
    defaults_.set(SettingsKeys::audioTriggerEnabled, false);
}

void DeviceFollower::followSystemInput() {
    defaults_.remove(SettingsKeys::selectedMicrophoneID);
}

std::vector<CaptureManagerSettingsDelegate::Device> DeviceFollower::listed(DeviceKind kind) const {
    std::vector<CaptureManagerSettingsDelegate::Device> list;
    for (const auto& device : devices_.devices(kind)) {
        list.push_back({device->uniqueID(), device->name()});
    }
    return list;
}

void DeviceFollower::deviceConnected(const std::shared_ptr<CaptureSource>& device,
                                     DeviceKind kind) {
    const DeviceChange change = choice_.connected(device, kind, owner_.devicesInUse());
    if (owner_.captureRefused()) {
        Log::line(QStringLiteral("%1 connected, trying capture again").arg(device->name()));
        owner_.tryCaptureAgain(change.devices.value_or(owner_.devicesInUse()));
        return;
    }
    apply(change);
}

void DeviceFollower::deviceDisconnected(const std::shared_ptr<CaptureSource>& device,
                                        DeviceKind kind) {
    apply(choice_.disconnected(device, kind, owner_.devicesInUse()));
}

void DeviceFollower::defaultInputChanged() {
    apply(choice_.defaultInputChanged(owner_.devicesInUse()));
}

void DeviceFollower::apply(const DeviceChange& change) {
    if (!change.line.isEmpty()) {
        Log::line(change.line);
    }
    if (change.devices) {
        owner_.configureWith(*change.devices);
    } else {
        owner_.devicesListed();
    }
}

// The microphone failed while the camera goes on (its sound server went
// away): it is lost like an unplugged one, but its session is left running,
// so the movie being written keeps its picture without a gap. One loss
// reports several errors; the first one acts.
void DeviceFollower::microphoneFailed(const std::optional<Error>& error) {
    const std::shared_ptr<CaptureSource> lost = owner_.devicesInUse().microphone;
    if (!lost || microphoneLost_) {
        return;
    }
    Log::line(QStringLiteral("%1 failed: %2")
                  .arg(lost->name(), error ? error->description : QStringLiteral("unknown")));
    Log::line(choice_.disconnected(lost, DeviceKind::audio, owner_.devicesInUse()).line);
    microphoneLost_ = true;
    owner_.microphoneLost();
    awaitMicrophone(lost);
}

// A microphone lost with its sound server is still listed, so nothing
// announces its return: it is opened on its own now and then, and once it
// opens it counts as connected again. Waiting ends when it is unplugged or
// another microphone is in use.
void DeviceFollower::awaitMicrophone(const std::shared_ptr<CaptureSource>& lost) {
    sessionQueue_.asyncAfter(microphoneRetry, [this, lost] {
        const auto listed = devices_.devices(DeviceKind::audio);
        const auto present = std::find_if(listed.begin(), listed.end(), [&](const auto& device) {
            return device->uniqueID() == lost->uniqueID();
        });
        if (present == listed.end() || !microphoneLost_) {
            return;
        }
        GstHandle<GstElement> element = (*present)->makeElement();
        const bool opens = element && gst_element_set_state(element.get(), GST_STATE_READY) !=
                                          GST_STATE_CHANGE_FAILURE;
        if (element) {
            gst_element_set_state(element.get(), GST_STATE_NULL);
        }
        if (opens) {
            deviceConnected(*present, DeviceKind::audio);
        } else {
            awaitMicrophone(lost);
        }
    });
}
