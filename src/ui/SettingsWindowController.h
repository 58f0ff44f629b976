#pragma once

#include <QWidget>

class CaptureManager;
class LoginItemService;
class NetworkCameraFacts;
class RecordingManager;
class SettingsViewController;

// The settings window. It only holds the window; its content and all the
// work are the SettingsViewController's.
class SettingsWindowController : public QWidget {
    Q_OBJECT
public:
    SettingsWindowController(RecordingManager& recordingManager, CaptureManager& captureManager,
                             LoginItemService& loginItemService,
                             const NetworkCameraFacts& cameraFacts, QWidget* parent = nullptr);

    // Reads the settings afresh, shows the window and brings it to the front.
    void showWindow();

    SettingsViewController& viewController() const { return *viewController_; }

private:
    SettingsViewController* viewController_;
};
