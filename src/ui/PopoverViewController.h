#pragma once

#include "CaptureManagerActivityDelegate.h"
#include "LoginItem.h"
#include "PopoverMenu.h"

#include "MeterRowView.h"
#include "NoticeLineView.h"
#include "PopoverButtonsView.h"
#include "StateLineView.h"
#include "TriggerCostLineView.h"
#include "TriggerMetersView.h"

#include <QStringList>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

class CaptureManager;
class PreviewWindowController;
class QCheckBox;
class QPushButton;
class RecordingManager;
class SleepRiskMonitor;

// Nelvo's main control surface, shown under the tray icon: the motion and
// sound checkboxes over a meter per camera and one for the microphone, the
// state line, the notice line, the line under the state, the arm button, and
// the bar with the preview, pin and menu buttons. Each part is a small view;
// this decides what they show and carries out the user's moves. It receives
// levels and device news as the capture manager's activity delegate. The window
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
    QLabel* armedTextField() const { return stateLine_; }
    QLabel* noticeLabel() const { return noticeLine_; }
    ClickableLabel* triggerCostLabel() const { return costLine_; }
    bool triggerCostShown() const { return costLine_->lineShown(); }
    const QStringList& whatHappenedFiles() const { return whatHappenedFiles_; }
    QSlider* thresholdSlider() const { return meters_->cameraRow(0)->slider(); }
    QSlider* secondThresholdSlider() const { return meters_->cameraRow(1)->slider(); }
    QSlider* audioThresholdSlider() const { return meters_->soundRow()->slider(); }
    QCheckBox* motionTriggerCheckbox() const { return meters_->motionTriggerCheckbox(); }
    QCheckBox* audioTriggerCheckbox() const { return meters_->audioTriggerCheckbox(); }
    LevelIndicator* motionLevelIndicator() const { return meters_->cameraRow(0)->levelIndicator(); }
    LevelIndicator* secondMotionLevelIndicator() const {
        return meters_->cameraRow(1)->levelIndicator();
    }
    LevelIndicator* soundLevelIndicator() const { return meters_->soundRow()->levelIndicator(); }
    QLabel* motionDeviceLabel() const { return meters_->cameraRow(0)->deviceLabel(); }
    QLabel* secondMotionDeviceLabel() const { return meters_->cameraRow(1)->deviceLabel(); }
    QLabel* soundDeviceLabel() const { return meters_->soundRow()->deviceLabel(); }
    QToolButton* pinButton() const { return buttons_->pinButton(); }
    QToolButton* menuButton() const { return buttons_->menuButton(); }
    QPushButton* previewButton() const { return buttons_->previewButton(); }
    bool secondRowShown() const { return meters_->secondRowShown(); }
    LoginItem::State loginState() const { return loginState_; }

    // The fixed width of the content.
    static constexpr int baseWidth = 340;

private:
    void buildControls();
    void observe();
    PopoverMenu::Operations menuOperations(PopoverMenu::Operations given);
    PopoverMenu::State menuState() const;

    // Actions.
    void arm();
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
    void relayout(bool rowsChanged = false);

    RecordingManager& recordingManager_;
    CaptureManager& captureManager_;
    Services services_;

    bool floatPopover_ = false;
    std::unique_ptr<PreviewWindowController> previewWindowController_;  // made on first use
    PopoverMenu* popoverMenu_ = nullptr;

    TriggerMetersView* meters_ = nullptr;
    StateLineView* stateLine_ = nullptr;
    NoticeLineView* noticeLine_ = nullptr;
    TriggerCostLineView* costLine_ = nullptr;
    QPushButton* armedButton_ = nullptr;
    PopoverButtonsView* buttons_ = nullptr;

    QStringList whatHappenedFiles_;
    // Why the last time-lapse asked for from the menu was not written; shown
    // until the popover closes.
    std::optional<QString> timeLapseNotWritten_;
    LoginItem::State loginState_ = LoginItem::State::on;
    QSize preferredSize_;
};
