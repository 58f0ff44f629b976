#pragma once

#include "CaptureManager.h"
#include "Defaults.h"
#include "LoginItem.h"
#include "NelvoStatus.h"
#include "NetworkCameraFacts.h"
#include "NetworkCameraLink.h"
#include "PopoverMenu.h"
#include "RecordingControllerAdapter.h"
#include "RecordingManager.h"
#include "SystemClock.h"

#include <QElapsedTimer>
#include <QObject>
#include <QSet>
#include <QSize>
#include <QString>
#include <memory>

class GapNotifications;
class PopoverViewController;
class PopoverWindow;
class QuitAlert;
class SettingsWindowController;
class StatusItem;
class TrayHost;
class XdgAutostartLoginItemService;
class LogindSleepInhibitor;
class LogindSleepWatcher;
class DesktopNotifications;
class SleepRiskMonitor;
class UPowerClient;

// The top of Nelvo's object graph: the settings, the clock, the recording
// manager and the capture manager, wired in launch order. Main thread.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    struct Options {
        bool armAtLaunch = false;  // arm as "armAtLogin" does, whatever it says, for this run only
        bool demo = false;
        // The demo camera's picture size.
        QSize demoSize{640, 360};
        QString cameraFile;
        // A network camera: its address (without credentials), where its
        // credentials were read from, and the credentials themselves.
        QString cameraUrl;
        QString credentialsFile;
        NetworkCredentials networkCredentials;
        // The tray icon and its popover; without, Nelvo runs headless.
        bool withWindows = false;
    };

    explicit AppDelegate(Options options, QObject* parent = nullptr);
    ~AppDelegate() override;

    // Runs the launch sequence; capture reports its devices later.
    void launch();
    // Finishes a recording in progress, then quits cleanly and emits `finished`.
    void terminate();
    // The user's quit (the menu, the desktop's quit action): with windows,
    // quitting mid-recording first asks, and waits for the files.
    void quit();
    // The desktop asked to see Nelvo: the popover, or its own window.
    void activate();

    // The windows, once launched with them (tests look at them).
    StatusItem* statusItem() const { return statusItem_.get(); }
    PopoverWindow* popoverWindow() const { return popover_.get(); }
    PopoverViewController* popoverController() const { return popoverController_; }
    QuitAlert* quitAlert() const { return quitAlert_.get(); }
    SettingsWindowController* settingsWindow() const { return settingsWindow_.get(); }
    RecordingManager& recordingManager() { return recordingManager_; }
    CaptureManager* captureManager() const { return captureManager_.get(); }
    // What scripts' status reads beside the recording manager.
    NelvoStatus::Sources statusSources() const;

Q_SIGNALS:
    // Nelvo has quit cleanly; the event loop may end.
    void finished();
    // A recording's file is finished under its final name.
    void fileFinished(const QString& path);

private:
    std::unique_ptr<CaptureDevices> makeDevices();
    void devicesConfigured();
    void watchSleepRisk();
    void correctLoginEntry();
    void sleepRiskChanged();
    void stateChanged();
    void finishTermination();
    void launchWindows();
    void useTray(bool tray);
    void closeWindows();
    PopoverMenu::Operations menuOperations();
    void armedAtLaunch(ArmingCause cause);
    void showRecordings();
    void showPreferences();
    void testRecordingFinished(const QString& filePath);
    void quitAlertAnswered(bool quitNow);
    void recordingsFinishedForQuit();

    Options options_;
    Defaults defaults_;
    SystemClock clock_;
    RecordingManager recordingManager_;
    RecordingControllerAdapter controller_{recordingManager_};
    std::unique_ptr<DesktopNotifications> notifications_;
    std::unique_ptr<GapNotifications> gapNotifications_;
    std::unique_ptr<LogindSleepInhibitor> sleepInhibitor_;
    std::unique_ptr<LogindSleepWatcher> sleepWatcher_;
    std::unique_ptr<UPowerClient> power_;
    std::unique_ptr<SleepRiskMonitor> sleepRisk_;
    NetworkCameraFacts cameraFacts_;  // outlives the cameras that tell it
    std::unique_ptr<CaptureManager> captureManager_;
    std::unique_ptr<TrayHost> trayHost_;
    std::unique_ptr<StatusItem> statusItem_;  // while the desktop has a tray
    std::unique_ptr<PopoverWindow> popover_;
    PopoverViewController* popoverController_ = nullptr;  // the popover window's content
    std::unique_ptr<QuitAlert> quitAlert_;
    std::unique_ptr<XdgAutostartLoginItemService> loginItemService_;
    // Settings tells of the user's changes to the login item; the popover listens.
    LoginItemNotifier loginItemNotifier_;
    std::unique_ptr<SettingsWindowController> settingsWindow_;  // made on first use
    QElapsedTimer finishDeadline_;
    bool quitWithoutWaiting_ = false;
    bool terminating_ = false;
    std::optional<ArmState> lastState_;
};
