#pragma once

#include "CaptureManagerActivityDelegate.h"
#include "LoginItem.h"
#include "PopoverMenu.h"

#include <QPointer>
#include <QStringList>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

class CaptureManager;
class PreviewWindowController;
class ClickableLabel;
class LevelIndicator;
class QCheckBox;
class QLabel;
class QPushButton;
class QSlider;
class QToolButton;
class RecordingManager;
class SleepRiskMonitor;

// Nelvo's main control surface, shown under the tray icon: the arm button
// and the state line, a motion row per camera, the sound row, the notice,
// the line under the state, the pin and the menu button. It receives levels
// and device news as the capture manager's activity delegate. The window
// that holds it (a popup under the icon, or an ordinary window) belongs to
// the application; it only tells this widget when it shows and closes.
class PopoverViewController : public QWidget, public CaptureManagerActivityDelegate {
    Q_OBJECT

public:
    // What the popover needs from the application beside the two managers.
    struct Services {
        // The lid risk; may be absent (no power information).
        SleepRiskMonitor* sleepRisk = nullptr;
        // Reads the open-at-login state; called off the GUI thread.
        std::function<LoginItem::State()> loginState;
        // Tells of the user's changes to the login item (in Settings).
        LoginItemNotifier* loginItemNotifier = nullptr;
        // Shows files in the file manager.
        std::function<void(const QStringList& filePaths)> revealFiles;
        // The menu's operations that live outside the popover (the recordings
        // folder, preferences, quitting); the popover fills in the rest.
        PopoverMenu::Operations menu;
    };

    PopoverViewController(RecordingManager& recordingManager, CaptureManager& captureManager,
                          Services services, QWidget* parent = nullptr);
    ~PopoverViewController() override;

    // The holding window calls these as it shows and closes.
    void popoverDidShow();
    void popoverDidClose();
    // False while pinned: the window must then stay open on outside clicks.
    bool popoverShouldClose() const { return !floatPopover_; }
    bool floatPopover() const { return floatPopover_; }

    PopoverMenu* popoverMenu() const { return popoverMenu_; }
    // Shows the preview window, or closes it when it is open.
    void togglePreviewWindow();
    PreviewWindowController* previewWindowController() const {
        return previewWindowController_.get();
    }

    // CaptureManagerActivityDelegate
    void motionLevel(int index, double level) override;
    void soundLevel(double level) override;
    void soundMeterStopped() override;
    void devicesInUse(const std::optional<QString>& camera,
                      const std::optional<QString>& secondCamera,
                      const std::optional<QString>& microphone) override;
    void motionDetectionStoppedChanged(bool stopped) override;

    QSize sizeHint() const override;

Q_SIGNALS:
    // The content's preferred size changed (a row or a line appeared or went).
    void preferredSizeChanged();
    // The pin was turned on or off.
    void floatPopoverChanged(bool pinned);

public:
    // The controls, for the window that holds the popover and for tests.
    QPushButton* armedButton() const { return armedButton_; }
    QLabel* armedTextField() const { return armedTextField_; }
    QLabel* noticeLabel() const { return noticeLabel_; }
    ClickableLabel* triggerCostLabel() const { return triggerCostLabel_; }
    bool triggerCostShown() const { return triggerCostShown_; }
    const QStringList& whatHappenedFiles() const { return whatHappenedFiles_; }
    QSlider* thresholdSlider() const { return thresholdSlider_; }
    QSlider* secondThresholdSlider() const { return secondThresholdSlider_; }
    QSlider* audioThresholdSlider() const { return audioThresholdSlider_; }
    QCheckBox* motionTriggerCheckbox() const { return motionTriggerCheckbox_; }
    QCheckBox* audioTriggerCheckbox() const { return audioTriggerCheckbox_; }
    LevelIndicator* motionLevelIndicator() const { return motionLevelIndicator_; }
    LevelIndicator* secondMotionLevelIndicator() const { return secondMotionLevelIndicator_; }
    LevelIndicator* soundLevelIndicator() const { return soundLevelIndicator_; }
    QLabel* motionDeviceLabel() const { return motionDeviceLabel_; }
    QLabel* secondMotionDeviceLabel() const { return secondMotionDeviceLabel_; }
    QLabel* soundDeviceLabel() const { return soundDeviceLabel_; }
    QToolButton* pinButton() const { return pinButton_; }
    QToolButton* menuButton() const { return menuButton_; }
    QPushButton* previewButton() const { return previewButton_; }
    bool secondRowShown() const { return secondRowShown_; }
    LoginItem::State loginState() const { return loginState_; }

    // The fixed width of the content.
    static constexpr int baseWidth = 340;

private:
    void buildControls();
    QWidget* buildMotionColumn();
    QWidget* buildSoundColumn();
    QWidget* buildButtonBar();
    void observe();
    PopoverMenu::Operations menuOperations(PopoverMenu::Operations given);
    PopoverMenu::State menuState() const;

    // Actions.
    void arm();
    void thresholdSliderValueChanged(int index, int value);
    void audioThresholdSliderValueChanged(int value);
    void motionTriggerToggled(bool on);
    void audioTriggerToggled(bool on);
    void toggleFloatMode(bool on);
    void showPopoverMenu();
    void showWhatHappened();
    void showLastStretchFiles();
    void revealFiles(const QStringList& files);
    void makeTimeLapse();

    // Updates.
    void refreshArmedState();
    void refreshArmButton();
    void refreshTriggerCost();
    void chooseNotice();
    void readLoginState();
    void setSecondRowShown(bool shown);
    void setThresholdFromSettings(int index);
    void relayout(bool rowsChanged = false);
    double cameraThreshold(int index) const;

    RecordingManager& recordingManager_;
    CaptureManager& captureManager_;
    Services services_;

    bool floatPopover_ = false;
    std::unique_ptr<PreviewWindowController> previewWindowController_;  // made on first use
    PopoverMenu* popoverMenu_ = nullptr;

    QPushButton* armedButton_ = nullptr;
    QLabel* armedTextField_ = nullptr;
    QLabel* noticeLabel_ = nullptr;
    ClickableLabel* triggerCostLabel_ = nullptr;
    QSlider* thresholdSlider_ = nullptr;
    QSlider* secondThresholdSlider_ = nullptr;
    QSlider* audioThresholdSlider_ = nullptr;
    QCheckBox* motionTriggerCheckbox_ = nullptr;
    QCheckBox* audioTriggerCheckbox_ = nullptr;
    LevelIndicator* motionLevelIndicator_ = nullptr;
    LevelIndicator* secondMotionLevelIndicator_ = nullptr;
    LevelIndicator* soundLevelIndicator_ = nullptr;
    QLabel* motionDeviceLabel_ = nullptr;
    QLabel* secondMotionDeviceLabel_ = nullptr;
    QLabel* soundDeviceLabel_ = nullptr;
    QWidget* secondRow_ = nullptr;
    QPushButton* previewButton_ = nullptr;
    QToolButton* pinButton_ = nullptr;
    QToolButton* menuButton_ = nullptr;

    bool secondRowShown_ = false;
    bool triggerCostShown_ = false;
    QStringList whatHappenedFiles_;
    // Why the last time-lapse asked for from the menu was not written; shown
    // until the popover closes.
    std::optional<QString> timeLapseNotWritten_;
    LoginItem::State loginState_ = LoginItem::State::on;
    std::optional<QString> secondCameraName_;
    QSize preferredSize_;
};
