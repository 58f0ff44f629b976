#pragma once

#include "CaptureManagerActivityDelegate.h"
#include "LoginItem.h"
#include "PopoverMenu.h"

#include <QWidget>
#include <functional>
#include <optional>

class CaptureManager;
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

    // CaptureManagerActivityDelegate
    void motionLevel(int index, double level) override;
    void soundLevel(double level) override;
    void soundMeterStopped() override;
    void devicesInUse(const std::optional<QString>& camera,
                      const std::optional<QString>& secondCamera,
                      const std::optional<QString>& microphone) override;
    void motionDetectionStoppedChanged(bool stopped) override;

Q_SIGNALS:
    // The content's preferred size changed (a row or a line appeared or went).
    void preferredSizeChanged();
    // The pin was turned on or off.
    void floatPopoverChanged(bool pinned);

private:
    bool floatPopover_ = false;
    PopoverMenu* popoverMenu_ = nullptr;
};
