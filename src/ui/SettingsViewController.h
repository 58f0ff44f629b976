#pragma once

#include "CaptureManagerSettingsDelegate.h"
#include "LoginItem.h"
#include "Recording.h"
#include "Schedule.h"
#include "SerialQueue.h"

#include <QWidget>
#include <functional>
#include <vector>

class CaptureManager;
class Defaults;
class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QMessageBox;
class QPushButton;
class QVBoxLayout;
class RecordingManager;
class ScheduleRowView;

// The settings window's content: the recording timeout, pre-roll and size
// limit; the camera, second camera and microphone; the recordings folder;
// open and arm at login; and the weekly schedule. It writes each setting to
// the settings store or hands it to its owner (the capture manager, the
// recording manager, the login item) and keeps nothing of its own beyond the
// login state it last read and the schedule being edited. Main thread only.
class SettingsViewController : public QWidget, public CaptureManagerSettingsDelegate {
    Q_OBJECT
public:
    // A number field's setting, the value an emptied field takes, and the
    // numbers it accepts.
    struct NumberField {
        QString key;
        int fallback;
        int minimum;
        int maximum;
    };
    static const NumberField timeoutRange;
    static const NumberField preRollRange;
    static const NumberField limitRange;

    // Wide enough for a schedule row with "next day" beside it.
    static constexpr int minimumWidth = 600;

    // Represented objects of the menus' special items.
    static inline const QString noSecondCamera = QStringLiteral("no-second-camera");
    static inline const QString systemDefault = QStringLiteral("system-default");

    SettingsViewController(RecordingManager& recordingManager, CaptureManager& captureManager,
                           LoginItemService& loginItemService, QWidget* parent = nullptr);
    ~SettingsViewController() override;

    // Reads everything afresh, as the window is about to show.
    void viewWillAppear();

    // Actions.
    void handleCameraSelection();
    void handleSecondCameraSelection();
    void handleMicrophoneSelection();
    void controlTextDidEndEditing(QLineEdit* field);
    void handleChooseFolder();
    void handleResetFolder();
    void handleOpenAtLogin();
    void handleArmAtLogin();
    void scheduleEnabledChanged();
    void addScheduleWindow();

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
    LoginItemNotifier& loginItemNotifier() { return *loginItemNotifier_; }
    void setLoginItemNotifier(LoginItemNotifier& notifier) { loginItemNotifier_ = &notifier; }
    LoginItem::State loginState() const { return loginState_; }
    const Schedule& schedule() const { return schedule_; }

    // The controls, for the window and its tests.
    QComboBox* cameraSelectPopup() const { return cameraSelectPopup_; }
    QComboBox* secondCameraSelectPopup() const { return secondCameraSelectPopup_; }
    QComboBox* microphoneSelectPopup() const { return microphoneSelectPopup_; }
    QLineEdit* recordingsFolderField() const { return recordingsFolderField_; }
    QLabel* recordingsFolderNote() const { return recordingsFolderNote_; }
    QCheckBox* openAtLoginCheckbox() const { return openAtLoginCheckbox_; }
    QCheckBox* armAtLoginCheckbox() const { return armAtLoginCheckbox_; }
    QCheckBox* doNotDisturbCheckbox() const { return doNotDisturbCheckbox_; }
    QLineEdit* timeoutField() const { return timeoutField_; }
    QLineEdit* preRollField() const { return preRollField_; }
    QLineEdit* recordingsLimitField() const { return recordingsLimitField_; }
    QLabel* storageForecastLabel() const { return storageForecastLabel_; }
    QCheckBox* scheduleCheckbox() const { return scheduleCheckbox_; }
    QPushButton* addWindowButton() const { return addWindowButton_; }
    QLabel* scheduleNote() const { return scheduleNote_; }
    std::vector<ScheduleRowView*> scheduleRows() const;

Q_SIGNALS:
    // The forecast under the size limit was drawn anew.
    void storageForecastShown();

private:
    void buildLayout();
    void buildDevices(QFormLayout* form);
    void buildNumbers(QFormLayout* form);
    QWidget* buildFolder();
    QWidget* buildLogin();
    QWidget* buildSchedule();
    QLineEdit* makeNumberField();

    void rebuildDeviceMenus();
    void rebuildCameraMenu();
    void rebuildSecondCameraMenu();
    void rebuildMicrophoneMenu();
    void fillNumberFields();
    const NumberField* numberFieldFor(const QLineEdit* field) const;
    void didFailToFormat(const NumberField& range);
    void redrawFolderLine();
    void refreshStorageForecast();
    void showStorageForecast();
    void rebuildScheduleSection();
    void scheduleWindowChanged(std::size_t index, const ScheduleWindow& window);
    void removeScheduleWindow(std::size_t index);
    void saveSchedule();
    void updateScheduleNote();
    QMessageBox* makeAlert(const QString& title, const QString& text);
    void alert(const QString& title, const QString& text);

    RecordingManager& recordingManager_;
    CaptureManager& captureManager_;
    Defaults& defaults_;
    LoginItem loginItem_;
    LoginItemNotifier ownLoginItemNotifier_;
    LoginItemNotifier* loginItemNotifier_ = &ownLoginItemNotifier_;
    LoginItem::State loginState_ = LoginItem::State::off;
    Schedule schedule_;
    std::vector<Device> cameras_;
    std::vector<Device> microphones_;
    QList<Recording> forecastRecordings_;

    QComboBox* cameraSelectPopup_ = nullptr;
    QComboBox* secondCameraSelectPopup_ = nullptr;
    QComboBox* microphoneSelectPopup_ = nullptr;
    QLineEdit* recordingsFolderField_ = nullptr;
    QLabel* recordingsFolderNote_ = nullptr;
    QCheckBox* openAtLoginCheckbox_ = nullptr;
    QCheckBox* armAtLoginCheckbox_ = nullptr;
    QCheckBox* doNotDisturbCheckbox_ = nullptr;
    QLineEdit* timeoutField_ = nullptr;
    QLineEdit* preRollField_ = nullptr;
    QLineEdit* recordingsLimitField_ = nullptr;
    QLabel* storageForecastLabel_ = nullptr;
    QCheckBox* scheduleCheckbox_ = nullptr;
    QVBoxLayout* scheduleRowsLayout_ = nullptr;
    QPushButton* addWindowButton_ = nullptr;
    QLabel* scheduleNote_ = nullptr;

    // Lists the recordings folder away from the main thread; declared last so
    // that it finishes before the rest goes.
    SerialQueue forecastQueue_{"StorageForecast"};
};
