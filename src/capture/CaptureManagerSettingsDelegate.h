#pragma once

#include <QString>
#include <QStringList>

// The settings window's side of the capture manager: the device lists it
// offers. Called on the main thread.
class CaptureManagerSettingsDelegate {
public:
    virtual ~CaptureManagerSettingsDelegate() = default;

    struct Device {
        QString uniqueID;
        QString name;
    };
    // The cameras and microphones present now.
    virtual void devicesListed(const std::vector<Device>& cameras,
                               const std::vector<Device>& microphones) = 0;
};
