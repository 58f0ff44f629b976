#pragma once

#include "CaptureManagerSettingsDelegate.h"
#include "LoginItem.h"
#include "Schedule.h"

#include <QWidget>
#include <functional>
#include <vector>

class CaptureManager;
class DeviceMenusSection;
class LoginSection;
class NetworkCameraFacts;
struct NumberField;
class QFormLayout;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class RecordingLengthsSection;
class RecordingManager;
class RecordingsFolderSection;
class ScheduleRowView;
class ScheduleSection;
class StorageSection;

// The settings window's content, one section under the other: the cameras and
// microphone, the recording lengths, the storage with its forecast, the
// recordings folder, the login choices and the weekly schedule. Each section
// reads and writes its own settings; this wires them together (a new folder
// renews the forecast, the login state changes the schedule's note) and
// receives the device lists for the menus. Main thread only.
class SettingsViewController : public QWidget, public CaptureManagerSettingsDelegate {
    Q_OBJECT
public:
    // Wide enough for a schedule row with "next day" beside it.
    static constexpr int minimumWidth = 600;

    SettingsViewController(RecordingManager& recordingManager, CaptureManager& captureManager,
                           LoginItemService& loginItemService,
                           const NetworkCameraFacts& cameraFacts, QWidget* parent = nullptr);
    ~SettingsViewController() override;

    // Reads everything afresh, as the window is about to show.
    void viewWillAppear();

    void handleChooseFolder();

    // The window "Add a window" inserts: weekday nights, 22:00 to 07:00.
    static ScheduleWindow defaultScheduleWindow();

    // CaptureManagerSettingsDelegate: the device menus follow the devices.
    void devicesListed(const std::vector<Device>& cameras,
                       const std::vector<Device>& microphones) override;

    // How a folder is picked; the desktop's folder chooser unless replaced.
    std::function<QString(QWidget* parent, const QString& start)> pickFolder;
    // Opens the desktop's settings where background apps are allowed.
    std::function<void()> openLoginItemsSettings;

    // Where the login-state change is posted: the application's notifier
    // once it hands one over, else one of the window's own.
    LoginItemNotifier& loginItemNotifier();
    void setLoginItemNotifier(LoginItemNotifier& notifier);
    LoginItem::State loginState() const;
    const Schedule& schedule() const;

    // The controls, for the window and its tests.
    QComboBox* cameraSelectPopup() const;
    QComboBox* secondCameraSelectPopup() const;
    QComboBox* microphoneSelectPopup() const;
    QLineEdit* recordingsFolderField() const;
    QLabel* recordingsFolderNote() const;
    QCheckBox* openAtLoginCheckbox() const;
    QCheckBox* armAtLoginCheckbox() const;
    QCheckBox* doNotDisturbCheckbox() const;
    QLineEdit* timeoutField() const;
    QLineEdit* preRollField() const;
    QLineEdit* recordingsLimitField() const;
    QLabel* storageForecastLabel() const;
    QCheckBox* scheduleCheckbox() const;
    QPushButton* addWindowButton() const;
    QLabel* scheduleNote() const;
    std::vector<ScheduleRowView*> scheduleRows() const;

Q_SIGNALS:
    // The forecast under the size limit was drawn anew.
    void storageForecastShown();

private:
    void buildLayout(QFormLayout* form);
    void fillNumberFields();
    void numberRejected(const NumberField& range);

    RecordingManager& recordingManager_;
    CaptureManager& captureManager_;

    DeviceMenusSection* devices_ = nullptr;
    RecordingLengthsSection* lengths_ = nullptr;
    StorageSection* storage_ = nullptr;
    RecordingsFolderSection* folder_ = nullptr;
    LoginSection* login_ = nullptr;
    ScheduleSection* schedule_ = nullptr;
};
