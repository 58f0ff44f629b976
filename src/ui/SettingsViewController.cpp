#include "SettingsViewController.h"

#include "CaptureManager.h"
#include "DeviceMenusSection.h"
#include "LoginSection.h"
#include "NumberField.h"
#include "RecordingLengthsSection.h"
#include "RecordingManager.h"
#include "RecordingsFolderSection.h"
#include "ScheduleSection.h"
#include "SettingsAlert.h"
#include "SettingsLook.h"
#include "StorageSection.h"

#include <QFileDialog>
#include <QFormLayout>
#include <QFrame>
#include <QProcess>
#include <QVBoxLayout>

SettingsViewController::SettingsViewController(RecordingManager& recordingManager,
                                               CaptureManager& captureManager,
                                               LoginItemService& loginItemService,
                                               const NetworkCameraFacts& cameraFacts,
                                               QWidget* parent)
    : QWidget(parent), recordingManager_(recordingManager), captureManager_(captureManager) {
    pickFolder = [](QWidget* parent, const QString& start) {
        //: Folder chooser's message
        return QFileDialog::getExistingDirectory(parent,
                                                 tr("Choose where Nelvo saves its recordings."),
                                                 start, QFileDialog::ShowDirsOnly);
    };
    openLoginItemsSettings = [] {
        if (!QProcess::startDetached(QStringLiteral("gnome-control-center"),
                                     {QStringLiteral("applications")})) {
            QProcess::startDetached(QStringLiteral("systemsettings"), {});
        }
    };

    Defaults& defaults = recordingManager_.defaults();
    // One form for the devices and the numbers, so their fields line up.
    auto* form = new QFormLayout;
    devices_ = new DeviceMenusSection(captureManager_, defaults, form, this);
    form->addRow(SettingsLook::separator(this));
    lengths_ = new RecordingLengthsSection(defaults, cameraFacts, form, this);
    storage_ = new StorageSection(recordingManager_, form, this);
    // The hooks are read when used, so that what replaces them takes effect.
    folder_ = new RecordingsFolderSection(
        recordingManager_,
        [this](QWidget* parent, const QString& start) { return pickFolder(parent, start); }, this);
    login_ = new LoginSection(
        defaults, loginItemService, [this] { openLoginItemsSettings(); }, this);
    schedule_ = new ScheduleSection(recordingManager_, this);
    buildLayout(form);

    connect(lengths_, &RecordingLengthsSection::numberRejected, this,
            &SettingsViewController::numberRejected);
    connect(storage_, &StorageSection::numberRejected, this,
            &SettingsViewController::numberRejected);
    connect(storage_, &StorageSection::forecastShown, this,
            &SettingsViewController::storageForecastShown);
    connect(folder_, &RecordingsFolderSection::folderChanged, storage_,
            &StorageSection::refreshForecast);
    connect(login_, &LoginSection::loginStateChanged, schedule_, &ScheduleSection::setLoginState);
    captureManager_.setSettingsDelegate(this);
}

SettingsViewController::~SettingsViewController() {
    captureManager_.setSettingsDelegate(nullptr);
}

void SettingsViewController::buildLayout(QFormLayout* form) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 16, 20, 16);
    column->setSpacing(10);
    column->addLayout(form);
    for (QWidget* section : std::initializer_list<QWidget*>{folder_, login_, schedule_}) {
        column->addWidget(SettingsLook::separator(this));
        column->addWidget(section);
    }
    column->addStretch(1);
    setMinimumWidth(minimumWidth);
}

void SettingsViewController::viewWillAppear() {
    schedule_->reload();
    devices_->rebuild();
    captureManager_.listDevices();
    folder_->redraw();
    connect(&recordingManager_, &RecordingManager::recordingsChanged, folder_,
            &RecordingsFolderSection::redraw, Qt::UniqueConnection);
    recordingManager_.checkFolder();
    login_->reload();
    fillNumberFields();
    storage_->refreshForecast();
    resize(sizeHint());
}

void SettingsViewController::fillNumberFields() {
    lengths_->fill();
    storage_->fill();
}

// What the fields showed before stays in force.
void SettingsViewController::numberRejected(const NumberField& range) {
    fillNumberFields();
    SettingsAlert::inform(this, range.outOfRangeTitle(), QString());
}

void SettingsViewController::devicesListed(const std::vector<Device>& cameras,
                                           const std::vector<Device>& microphones) {
    devices_->devicesListed(cameras, microphones);
}

void SettingsViewController::handleChooseFolder() {
    folder_->handleChooseFolder();
}

ScheduleWindow SettingsViewController::defaultScheduleWindow() {
    return ScheduleSection::defaultScheduleWindow();
}

LoginItemNotifier& SettingsViewController::loginItemNotifier() {
    return login_->loginItemNotifier();
}

void SettingsViewController::setLoginItemNotifier(LoginItemNotifier& notifier) {
    login_->setLoginItemNotifier(notifier);
}

LoginItem::State SettingsViewController::loginState() const {
    return login_->loginState();
}

const Schedule& SettingsViewController::schedule() const {
    return schedule_->schedule();
}

QComboBox* SettingsViewController::cameraSelectPopup() const {
    return devices_->cameraSelectPopup();
}

QComboBox* SettingsViewController::secondCameraSelectPopup() const {
    return devices_->secondCameraSelectPopup();
}

QComboBox* SettingsViewController::microphoneSelectPopup() const {
    return devices_->microphoneSelectPopup();
}

QLineEdit* SettingsViewController::recordingsFolderField() const {
    return folder_->recordingsFolderField();
}

QLabel* SettingsViewController::recordingsFolderNote() const {
    return folder_->recordingsFolderNote();
}

QCheckBox* SettingsViewController::openAtLoginCheckbox() const {
    return login_->openAtLoginCheckbox();
}

QCheckBox* SettingsViewController::armAtLoginCheckbox() const {
    return login_->armAtLoginCheckbox();
}

QCheckBox* SettingsViewController::doNotDisturbCheckbox() const {
    return login_->doNotDisturbCheckbox();
}

QLineEdit* SettingsViewController::timeoutField() const {
    return lengths_->timeoutField();
}

QLineEdit* SettingsViewController::preRollField() const {
    return lengths_->preRollField();
}

QLineEdit* SettingsViewController::recordingsLimitField() const {
    return storage_->recordingsLimitField();
}

QLabel* SettingsViewController::storageForecastLabel() const {
    return storage_->forecastLabel();
}

QCheckBox* SettingsViewController::scheduleCheckbox() const {
    return schedule_->scheduleCheckbox();
}

QPushButton* SettingsViewController::addWindowButton() const {
    return schedule_->addWindowButton();
}

QLabel* SettingsViewController::scheduleNote() const {
    return schedule_->scheduleNote();
}

std::vector<ScheduleRowView*> SettingsViewController::scheduleRows() const {
    return schedule_->scheduleRows();
}
