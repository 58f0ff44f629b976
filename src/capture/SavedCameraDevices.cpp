#include "SavedCameraDevices.h"

#include "Defaults.h"
#include "DeviceMonitor.h"
#include "NetworkCameraSource.h"
#include "SecretStore.h"
#include "SerialQueue.h"

#include <algorithm>

SavedCameraDevices::SavedCameraDevices(std::unique_ptr<CaptureDevices> devices,
                                       const Defaults& defaults, CredentialsLookup lookup,
                                       NetworkCameraFacts* facts)
    : devices_(std::move(devices)),
      defaults_(defaults),
      lookup_(std::move(lookup)),
      facts_(facts) {}

std::unique_ptr<CaptureDevices> SavedCameraDevices::withDeviceMonitor(const Defaults& defaults,
                                                                      NetworkCameraFacts* facts) {
    return std::make_unique<SavedCameraDevices>(std::make_unique<DeviceMonitor>(), defaults,
                                                &SecretStore::lookup, facts);
}

SavedCameraDevices::~SavedCameraDevices() {
    stop();
}

bool SavedCameraDevices::start(SerialQueue& queue, CaptureDevicesListener& listener) {
    queue_ = &queue;
    listener_ = &listener;
    delivering_ = true;
    const bool started = devices_->start(queue, *this);
    refresh(false);
    QObject::connect(&defaults_, &Defaults::changed, &context_, [this] {
        if (delivering_) {
            queue_->async([this] { refresh(true); });
        }
    });
    return started;
}

void SavedCameraDevices::stop() {
    QObject::disconnect(&defaults_, nullptr, &context_, nullptr);
    delivering_ = false;
    devices_->stop();
}

std::vector<std::shared_ptr<CaptureSource>> SavedCameraDevices::devices(DeviceKind kind) const {
    std::vector<std::shared_ptr<CaptureSource>> listed = devices_->devices(kind);
    if (kind == DeviceKind::video) {
        for (const Saved& saved : saved_) {
            listed.push_back(saved.source);
        }
    }
    return listed;
}

std::shared_ptr<CaptureSource> SavedCameraDevices::defaultInput() const {
    return devices_->defaultInput();
}

void SavedCameraDevices::refresh(bool announce) {
    if (!delivering_) {
        return;
    }
    const std::vector<SavedNetworkCamera> wanted = SavedNetworkCameras::read(defaults_);
    std::vector<Saved> gone;
    std::erase_if(saved_, [&](const Saved& saved) {
        const bool kept = std::find(wanted.begin(), wanted.end(), saved.camera) != wanted.end();
        if (!kept) {
            gone.push_back(saved);
        }
        return !kept;
    });
    std::vector<std::shared_ptr<CaptureSource>> arrived;
    for (const SavedNetworkCamera& camera : wanted) {
        const bool listed = std::any_of(saved_.begin(), saved_.end(),
                                        [&](const Saved& saved) { return saved.camera == camera; });
        if (!listed) {
            if (std::shared_ptr<CaptureSource> source = sourceFor(camera)) {
                saved_.push_back({camera, source});
                arrived.push_back(source);
            }
        }
    }
    if (!announce) {
        return;
    }
    for (const Saved& saved : gone) {
        listener_->deviceDisconnected(saved.source, DeviceKind::video);
    }
    for (const auto& source : arrived) {
        listener_->deviceConnected(source, DeviceKind::video);
    }
}

std::shared_ptr<CaptureSource> SavedCameraDevices::sourceFor(
    const SavedNetworkCamera& camera) const {
    const std::optional<NetworkCameraUrl> url = NetworkCameraUrl::parse(camera.address);
    if (!url) {
        return nullptr;
    }
    const std::optional<NetworkCredentials> credentials = lookup_(camera.uniqueID);
    return std::make_shared<NetworkCameraSource>(*url, credentials.value_or(NetworkCredentials{}),
                                                 facts_, camera.name);
}

void SavedCameraDevices::deviceConnected(const std::shared_ptr<CaptureSource>& device,
                                         DeviceKind kind) {
    listener_->deviceConnected(device, kind);
}

void SavedCameraDevices::deviceDisconnected(const std::shared_ptr<CaptureSource>& device,
                                            DeviceKind kind) {
    listener_->deviceDisconnected(device, kind);
}

void SavedCameraDevices::defaultInputChanged() {
    listener_->defaultInputChanged();
}
