#include "AppDelegate.h"

#include "XdgAutostartLoginItemService.h"

#include "DemoCamera.h"
#include "DemoMicrophone.h"
#include "DesktopNotifications.h"
#include "DeviceMonitor.h"
#include "FileCamera.h"
#include "FixedDevices.h"
#include "GapNotifications.h"
#include "LaunchDefaults.h"
#include "Log.h"
#include "LogindSleepInhibitor.h"
#include "LogindSleepWatcher.h"
#include "SleepRiskMonitor.h"
#include "UPowerClient.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>

namespace {

QString stateName(std::optional<ArmState> state) {
    if (!state) {
        return QStringLiteral("none");
    }
    switch (*state) {
        case ArmState::unarmed:
            return QStringLiteral("unarmed");
        case ArmState::arming:
            return QStringLiteral("arming");
        case ArmState::armed:
            return QStringLiteral("armed");
        case ArmState::recording:
            return QStringLiteral("recording");
    }
    return {};
}

// How long quitting waits for a recording in progress to be finished.
constexpr int finishTimeoutMs = 20000;

// The demo scene at 640x360: its crossing object then moves far enough
// between frames to pass the default motion threshold.
DemoCamera::Options demoOptions() {
    DemoCamera::Options options;
    options.width = 640;
    options.height = 360;
    return options;
}

}  // namespace

AppDelegate::AppDelegate(Options options, QObject* parent)
    : QObject(parent),
      options_(std::move(options)),
      defaults_(Defaults::standardFilePath()),
      recordingManager_(defaults_, clock_) {}

AppDelegate::~AppDelegate() {
    // Capture goes first: its pipelines feed recorders the recording manager drives.
    captureManager_.reset();
}

std::unique_ptr<CaptureDevices> AppDelegate::makeDevices() const {
    if (options_.demo) {
        return std::make_unique<FixedDevices>(
            std::vector<std::shared_ptr<CaptureSource>>{
                std::make_shared<DemoCamera>(demoOptions())},
            std::vector<std::shared_ptr<CaptureSource>>{std::make_shared<DemoMicrophone>()});
    }
    if (!options_.cameraFile.isEmpty()) {
        return std::make_unique<FixedDevices>(
            std::vector<std::shared_ptr<CaptureSource>>{
                std::make_shared<FileCamera>(options_.cameraFile)},
            std::vector<std::shared_ptr<CaptureSource>>{});
    }
    return std::make_unique<DeviceMonitor>();
}

void AppDelegate::launch() {
    LaunchDefaults::registerDefaults(defaults_);
    LaunchDefaults::writeFirstLaunchValues(defaults_);
    Log::line(QStringLiteral("Nelvo %1: settings in %2")
                  .arg(QStringLiteral(NELVO_VERSION), defaults_.filePath()));

    connect(&recordingManager_, &RecordingManager::armedStateRawChanged, this,
            &AppDelegate::stateChanged);
    recordingManager_.onArmedAtLaunch = [this](ArmingCause cause) {
        Log::line(armingLine(cause, recordingManager_.armingCountdown()));
    };

    notifications_ = std::make_unique<DesktopNotifications>();
    gapNotifications_ = std::make_unique<GapNotifications>(recordingManager_, *notifications_);
    sleepInhibitor_ = std::make_unique<LogindSleepInhibitor>();
    recordingManager_.setSleepInhibitor(sleepInhibitor_.get());
    sleepWatcher_ = std::make_unique<LogindSleepWatcher>();
    connect(sleepWatcher_.get(), &LogindSleepWatcher::willSleep, &recordingManager_,
            &RecordingManager::willSleep);
    connect(sleepWatcher_.get(), &LogindSleepWatcher::didWake, &recordingManager_,
            &RecordingManager::didWake);
    watchSleepRisk();
    correctLoginEntry();

    captureManager_ =
        std::make_unique<CaptureManager>(defaults_, clock_, controller_, makeDevices());
    recordingManager_.onTestRecordingWanted = [this] { captureManager_->recordTest(); };
    connect(&recordingManager_, &RecordingManager::armedStateRawChanged, captureManager_.get(),
            &CaptureManager::armedStateChanged);
    connect(captureManager_.get(), &CaptureManager::devicesConfigured, this,
            &AppDelegate::devicesConfigured);

    // `--arm` never touches the stored choice, so nothing of it outlives this run.
    recordingManager_.setArmAtLaunchForThisRun(options_.armAtLaunch);
    lastState_ = recordingManager_.armedState();
    Log::line(QStringLiteral("State: %1").arg(stateName(lastState_)));
    captureManager_->setUp();
}

// An entry that opens Nelvo at login but was written by another copy of it
// (a build folder, a moved binary) is pointed at this one, the way the
// launcher starts it.
void AppDelegate::correctLoginEntry() {
    const QString program =
        XdgAutostartLoginItemService::launcherProgram(QCoreApplication::applicationFilePath());
    XdgAutostartLoginItemService service(
        program, XdgAutostartLoginItemService::argumentsThatMatter(QCoreApplication::arguments()));
    if (service.correctEntry()) {
        Log::line(QStringLiteral("Nelvo now opens at login as %1").arg(program));
    }
}

// The recording manager has already run its device-change sequence (the
// capture side calls it); here the devices are only reported.
void AppDelegate::devicesConfigured() {
    const QString camera =
        captureManager_->camera(0) ? captureManager_->camera(0)->name() : QStringLiteral("none");
    const QString microphone = captureManager_->microphone() ? captureManager_->microphone()->name()
                                                             : QStringLiteral("none");
    Log::line(QStringLiteral("Devices: camera %1, microphone %2").arg(camera, microphone));
}

// The lid risk follows UPower and, where there is a display, the screens in
// use. Headless no screen is known, and so none counts as external.
void AppDelegate::watchSleepRisk() {
    auto* gui = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    power_ = std::make_unique<UPowerClient>();
    sleepRisk_ = std::make_unique<SleepRiskMonitor>(*power_, [gui] {
        QStringList names;
        if (gui) {
            for (const QScreen* screen : QGuiApplication::screens()) {
                names << screen->name();
            }
        }
        return names;
    });
    if (gui) {
        // Queued: a screen being removed may still be listed while the signal runs.
        connect(gui, &QGuiApplication::screenAdded, sleepRisk_.get(), &SleepRiskMonitor::update,
                Qt::QueuedConnection);
        connect(gui, &QGuiApplication::screenRemoved, sleepRisk_.get(), &SleepRiskMonitor::update,
                Qt::QueuedConnection);
    }
    connect(sleepRisk_.get(), &SleepRiskMonitor::lidWouldStopWatchingChanged, this,
            &AppDelegate::sleepRiskChanged);
}

void AppDelegate::sleepRiskChanged() {
    Log::line(sleepRisk_->lidWouldStopWatching()
                  ? QStringLiteral("Closing the lid will stop Nelvo until it's opened again")
                  : QStringLiteral("Closing the lid no longer stops Nelvo"));
}

void AppDelegate::stateChanged() {
    const std::optional<ArmState> state = recordingManager_.armedState();
    if (state == lastState_) {
        return;
    }
    const std::optional<ArmState> old = lastState_;
    lastState_ = state;
    Log::line(QStringLiteral("State: %1").arg(stateName(state)));
    // Quitting mid-recording goes on once the recording has ended, after the
    // recording manager's own step is done.
    if (terminating_ && old == ArmState::recording) {
        QMetaObject::invokeMethod(this, &AppDelegate::finishTermination, Qt::QueuedConnection);
    }
}

void AppDelegate::terminate() {
    if (terminating_) {
        return;
    }
    terminating_ = true;
    if (recordingManager_.armedState() != ArmState::recording) {
        finishTermination();
        return;
    }
    Log::line(QStringLiteral("Quitting after the recording in progress is finished"));
    recordingManager_.finishRecordings();
}

// The state leaves recording when the last file is written, or earlier when
// the recording ends by its own timeout meanwhile; then this waits (without
// blocking the event loop, where the files' completions arrive) until no
// recorder has a movie open, or the time to finish is up.
void AppDelegate::finishTermination() {
    if (!terminating_) {
        return;
    }
    if (!finishDeadline_.isValid()) {
        finishDeadline_.start();
    }
    if (captureManager_ && captureManager_->anyMovieOpen() &&
        finishDeadline_.elapsed() < finishTimeoutMs) {
        QTimer::singleShot(100, this, [this] { finishTermination(); });
        return;
    }
    terminating_ = false;
    recordingManager_.cleanQuit();
    captureManager_.reset();
    defaults_.flush();
    Log::line(QStringLiteral("Nelvo quit"));
    QCoreApplication::quit();
}
