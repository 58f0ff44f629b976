#include "DeviceMenusSection.h"

#include "CaptureManager.h"
#include "Defaults.h"
#include "NetworkCameraSheet.h"
#include "SettingsKeys.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QPushButton>
#include <QSignalBlocker>
#include <algorithm>

namespace {

// Selects the item carrying `data`, or the first item when none does.
void selectData(QComboBox* menu, const QVariant& data) {
    const int index = menu->findData(data);
    menu->setCurrentIndex(index >= 0 ? index : 0);
}

bool listed(const std::vector<DeviceMenusSection::Device>& devices, const QString& uniqueID) {
    return std::any_of(devices.begin(), devices.end(),
                       [&](const auto& device) { return device.uniqueID == uniqueID; });
}

}  // namespace

DeviceMenusSection::DeviceMenusSection(CaptureManager& captureManager, Defaults& defaults,
                                       QFormLayout* form, QWidget* parent)
    : QObject(parent), captureManager_(captureManager), defaults_(defaults) {
    cameraSelectPopup_ = new QComboBox(parent);
    secondCameraSelectPopup_ = new QComboBox(parent);
    microphoneSelectPopup_ = new QComboBox(parent);
    for (QComboBox* menu : {cameraSelectPopup_, secondCameraSelectPopup_, microphoneSelectPopup_}) {
        menu->setSizeAdjustPolicy(QComboBox::AdjustToContents);
        menu->setMinimumWidth(240);
    }
    QComboBox* cameraMenus[] = {cameraSelectPopup_, secondCameraSelectPopup_};
    QWidget* cameraRows[2];
    for (int index = 0; index < 2; ++index) {
        //: Settings button beside a camera menu: adds a camera that is on the network
        networkCameraButtons_[index] = new QPushButton(tr("Network Camera..."), parent);
        connect(networkCameraButtons_[index], &QPushButton::clicked, this,
                [this, index] { openNetworkCameraSheet(index); });
        cameraRows[index] = new QWidget(parent);
        auto* row = new QHBoxLayout(cameraRows[index]);
        row->setContentsMargins(0, 0, 0, 0);
        row->addWidget(cameraMenus[index], 1);
        row->addWidget(networkCameraButtons_[index]);
    }
    //: Settings label
    form->addRow(tr("Camera:"), cameraRows[0]);
    //: Settings label
    form->addRow(tr("Second camera:"), cameraRows[1]);
    //: Settings label
    form->addRow(tr("Microphone:"), microphoneSelectPopup_);
    connect(cameraSelectPopup_, &QComboBox::currentIndexChanged, this,
            [this] { handleCameraSelection(); });
    connect(secondCameraSelectPopup_, &QComboBox::currentIndexChanged, this,
            [this] { handleSecondCameraSelection(); });
    connect(microphoneSelectPopup_, &QComboBox::currentIndexChanged, this,
            [this] { handleMicrophoneSelection(); });
}

void DeviceMenusSection::devicesListed(const std::vector<Device>& cameras,
                                       const std::vector<Device>& microphones) {
    cameras_ = cameras;
    microphones_ = microphones;
    rebuild();
}

void DeviceMenusSection::rebuild() {
    rebuildCameraMenu();
    rebuildSecondCameraMenu();
    rebuildMicrophoneMenu();
}

void DeviceMenusSection::rebuildCameraMenu() {
    const QSignalBlocker quiet(cameraSelectPopup_);
    cameraSelectPopup_->clear();
    //: Camera menu item
    cameraSelectPopup_->addItem(tr("No camera"), QVariant());
    for (const Device& camera : cameras_) {
        cameraSelectPopup_->addItem(camera.name, camera.uniqueID);
    }
    const std::optional<QString> chosen = defaults_.string(SettingsKeys::selectedCameraID);
    QVariant current;
    if (chosen && chosen->isEmpty()) {
        current = QVariant();
    } else if (const auto inUse = captureManager_.camera(0)) {
        current = inUse->uniqueID();
    } else if (chosen) {
        current = *chosen;
    }
    selectData(cameraSelectPopup_, current);
}

void DeviceMenusSection::rebuildSecondCameraMenu() {
    const QSignalBlocker quiet(secondCameraSelectPopup_);
    secondCameraSelectPopup_->clear();
    //: Second camera menu item
    secondCameraSelectPopup_->addItem(tr("No second camera"), noSecondCamera);
    // The first camera cannot be the second one too.
    const QVariant first = cameraSelectPopup_->currentData();
    for (const Device& camera : cameras_) {
        if (camera.uniqueID != first.toString()) {
            secondCameraSelectPopup_->addItem(camera.name, camera.uniqueID);
        }
    }
    QVariant current = noSecondCamera;
    if (const auto chosen = defaults_.string(SettingsKeys::secondCameraID)) {
        current = *chosen;
    } else if (const auto inUse = captureManager_.camera(1)) {
        current = inUse->uniqueID();
    }
    selectData(secondCameraSelectPopup_, current);
}

void DeviceMenusSection::rebuildMicrophoneMenu() {
    const QSignalBlocker quiet(microphoneSelectPopup_);
    microphoneSelectPopup_->clear();
    //: Microphone menu item
    microphoneSelectPopup_->addItem(tr("System default"), systemDefault);
    //: Microphone menu item
    microphoneSelectPopup_->addItem(tr("No microphone"), QVariant());
    for (const Device& microphone : microphones_) {
        microphoneSelectPopup_->addItem(microphone.name, microphone.uniqueID);
    }
    const std::optional<QString> chosen = defaults_.string(SettingsKeys::selectedMicrophoneID);
    if (!chosen) {
        selectData(microphoneSelectPopup_, systemDefault);
    } else if (chosen->isEmpty()) {
        selectData(microphoneSelectPopup_, QVariant());
    } else {
        selectData(microphoneSelectPopup_,
                   listed(microphones_, *chosen) ? QVariant(*chosen) : QVariant(systemDefault));
    }
}

void DeviceMenusSection::handleCameraSelection() {
    const QVariant data = cameraSelectPopup_->currentData();
    captureManager_.chooseCamera(data.isNull() ? std::nullopt
                                               : std::optional<QString>(data.toString()));
    rebuildSecondCameraMenu();
}

void DeviceMenusSection::handleSecondCameraSelection() {
    const QString data = secondCameraSelectPopup_->currentData().toString();
    captureManager_.chooseSecondCamera(data == noSecondCamera ? std::nullopt
                                                              : std::optional<QString>(data));
    rebuildSecondCameraMenu();
}

void DeviceMenusSection::handleMicrophoneSelection() {
    const QVariant data = microphoneSelectPopup_->currentData();
    if (data.isNull()) {
        captureManager_.chooseNoMicrophone();
    } else if (data.toString() == systemDefault) {
        captureManager_.followSystemInput();
    } else {
        captureManager_.chooseMicrophone(data.toString());
    }
    rebuildSecondCameraMenu();
}

NetworkCameraSheet* DeviceMenusSection::openNetworkCameraSheet(int index) {
    QComboBox* menu = index == 0 ? cameraSelectPopup_ : secondCameraSelectPopup_;
    auto* sheet = new NetworkCameraSheet(defaults_, menu->currentData().toString(), menu->window());
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    connect(sheet, &NetworkCameraSheet::saved, this, [this, index](const QString& uniqueID) {
        if (index == 0) {
            captureManager_.chooseCamera(uniqueID);
        } else {
            captureManager_.chooseSecondCamera(uniqueID);
        }
        rebuild();
    });
    connect(sheet, &NetworkCameraSheet::removed, this, [this](const QString& uniqueID) {
        // The choice goes with the camera, so its pipeline takes a camera present.
        for (const QString& key : {SettingsKeys::selectedCameraID, SettingsKeys::secondCameraID}) {
            if (defaults_.string(key) == uniqueID) {
                defaults_.remove(key);
            }
        }
        captureManager_.reconfigure();
        rebuild();
    });
    sheet->open();
    return sheet;
}
