#pragma once

#include "CaptureManager.h"
#include "Defaults.h"
#include "RecordingControllerAdapter.h"
#include "RecordingManager.h"
#include "SystemClock.h"

#include <QElapsedTimer>
#include <QObject>
#include <QSet>
#include <QString>
#include <memory>

class GapNotifications;
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
        QString cameraFile;
    };

    explicit AppDelegate(Options options, QObject* parent = nullptr);
    ~AppDelegate() override;

    // Runs the launch sequence; capture reports its devices later.
    void launch();
    // Finishes a recording in progress, then quits cleanly and ends the event loop.
    void terminate();

private:
    std::unique_ptr<CaptureDevices> makeDevices() const;
    void devicesConfigured();
    void watchSleepRisk();
    void correctLoginEntry();
    void sleepRiskChanged();
    void stateChanged();
    void finishTermination();

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
    std::unique_ptr<CaptureManager> captureManager_;
    QElapsedTimer finishDeadline_;
    bool terminating_ = false;
    std::optional<ArmState> lastState_;
};
