#pragma once

#include "CaptureManagerSettingsDelegate.h"

#include <QObject>
#include <vector>

class CaptureManager;
class Defaults;
class NetworkCameraSheet;
class QComboBox;
class QPushButton;
class QFormLayout;
class QWidget;

// The settings window's cameras and microphone: a menu for the camera, one
// for the second camera and one for the microphone. The menus list the
// devices last heard of and show the choice in force; a pick goes to the
// capture manager. Beside each camera menu, "Network Camera..." adds a
// network camera (or edits the one chosen) and makes it that menu's choice.
// It adds its rows to the form it is given, so that its menus line up with
// the other sections' fields.
class DeviceMenusSection : public QObject {
    Q_OBJECT
public:
    using Device = CaptureManagerSettingsDelegate::Device;

    // Represented objects of the menus' special items.
    static inline const QString noSecondCamera = QStringLiteral("no-second-camera");
    static inline const QString systemDefault = QStringLiteral("system-default");

    DeviceMenusSection(CaptureManager& captureManager, Defaults& defaults, QFormLayout* form,
                       QWidget* parent);

    // Lists these devices from now on.
    void devicesListed(const std::vector<Device>& cameras, const std::vector<Device>& microphones);
    // Lists the devices again with the choices in force.
    void rebuild();

    QComboBox* cameraSelectPopup() const { return cameraSelectPopup_; }
    QComboBox* secondCameraSelectPopup() const { return secondCameraSelectPopup_; }
    QComboBox* microphoneSelectPopup() const { return microphoneSelectPopup_; }
    // Index 0: beside the camera menu; 1: beside the second camera's.
    QPushButton* networkCameraButton(int index) const { return networkCameraButtons_[index]; }

    // Opens the network camera sheet of camera `index` (0 or 1).
    NetworkCameraSheet* openNetworkCameraSheet(int index);

private:
    void rebuildCameraMenu();
    void rebuildSecondCameraMenu();
    void rebuildMicrophoneMenu();
    void handleCameraSelection();
    void handleSecondCameraSelection();
    void handleMicrophoneSelection();

    CaptureManager& captureManager_;
    Defaults& defaults_;
    std::vector<Device> cameras_;
    std::vector<Device> microphones_;
    QComboBox* cameraSelectPopup_ = nullptr;
    QComboBox* secondCameraSelectPopup_ = nullptr;
    QComboBox* microphoneSelectPopup_ = nullptr;
    QPushButton* networkCameraButtons_[2] = {nullptr, nullptr};
};
