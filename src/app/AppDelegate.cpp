#include "AppDelegate.h"

#include "XdgAutostartLoginItemService.h"

#include "DemoCamera.h"
#include "DemoMicrophone.h"
#include "DesktopNotifications.h"
#include "FileCamera.h"
#include "FileManager.h"
#include "FixedDevices.h"
#include "GapNotifications.h"
#include "LaunchDefaults.h"
#include "Log.h"
#include "LogindSleepInhibitor.h"
#include "LogindSleepWatcher.h"
#include "MainThread.h"
#include "NetworkCameraSource.h"
#include "PlainText.h"
#include "PopoverViewController.h"
#include "PopoverWindow.h"
#include "QuitAlert.h"
#include "SavedCameraDevices.h"
#include "SettingsKeys.h"
#include "SettingsViewController.h"
#include "SettingsWindowController.h"
#include "ShortcutActions.h"
#include "SleepRiskMonitor.h"
#include "StatusItem.h"
#include "TrayHost.h"
#include "UPowerClient.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QThreadPool>
#include <QTimer>

namespace {

// How long quitting waits for a recording in progress to be finished.
constexpr int finishTimeoutMs = 20000;

DemoCamera::Options demoOptions(const QSize& size) {
    DemoCamera::Options options;
    options.width = size.width();
    options.height = size.height();
    return options;
}

}  // namespace

AppDelegate::AppDelegate(Options options, QObject* parent)
    : QObject(parent),
      options_(std::move(options)),
      defaults_(Defaults::standardFilePath()),
      recordingManager_(defaults_, clock_) {}

AppDelegate::~AppDelegate() {
    closeWindows();
    // Capture goes first: its pipelines feed recorders the recording manager drives.
    captureManager_.reset();
}

// The windows go before the capture manager they show: it stops reporting to
// the popover first.
void AppDelegate::closeWindows() {
    quitAlert_.reset();
    settingsWindow_.reset();
    if (captureManager_) {
        captureManager_->setActivityDelegate(nullptr);
    }
    popover_.reset();
    popoverController_ = nullptr;
    statusItem_.reset();
    trayHost_.reset();
}

std::unique_ptr<CaptureDevices> AppDelegate::makeDevices() {
    if (options_.demo) {
        return std::make_unique<FixedDevices>(
            std::vector<std::shared_ptr<CaptureSource>>{
                std::make_shared<DemoCamera>(demoOptions(options_.demoSize))},
            std::vector<std::shared_ptr<CaptureSource>>{std::make_shared<DemoMicrophone>()});
    }
    if (const auto url = NetworkCameraUrl::parse(options_.cameraUrl)) {
        return std::make_unique<FixedDevices>(
            std::vector<std::shared_ptr<CaptureSource>>{std::make_shared<NetworkCameraSource>(
                *url, options_.networkCredentials, &cameraFacts_)},
            std::vector<std::shared_ptr<CaptureSource>>{});
    }
    if (!options_.cameraFile.isEmpty()) {
        return std::make_unique<FixedDevices>(
            std::vector<std::shared_ptr<CaptureSource>>{
                std::make_shared<FileCamera>(options_.cameraFile)},
            std::vector<std::shared_ptr<CaptureSource>>{});
    }
    return SavedCameraDevices::withDeviceMonitor(defaults_, &cameraFacts_);
}

void AppDelegate::launch() {
    LaunchDefaults::registerDefaults(defaults_);
    LaunchDefaults::writeFirstLaunchValues(defaults_);
    Log::line(QStringLiteral("Nelvo %1: settings in %2")
                  .arg(QStringLiteral(NELVO_VERSION), defaults_.filePath()));

    connect(&recordingManager_, &RecordingManager::armedStateRawChanged, this,
            &AppDelegate::stateChanged);
    recordingManager_.onArmedAtLaunch = [this](ArmingCause cause) { armedAtLaunch(cause); };

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
    recordingManager_.onTestRecordingFinished = [this](const QString& filePath) {
        testRecordingFinished(filePath);
    };
    controller_.onFileFinished = [self = QPointer<AppDelegate>(this)](const QString& path) {
        MainThread::post([self, path] {
            if (self) {
                Q_EMIT self->fileFinished(path);
            }
        });
    };
    connect(&recordingManager_, &RecordingManager::armedStateRawChanged, captureManager_.get(),
            &CaptureManager::armedStateChanged);
    connect(captureManager_.get(), &CaptureManager::devicesConfigured, this,
            &AppDelegate::devicesConfigured);

    // `--arm` never touches the stored choice, so nothing of it outlives this run.
    recordingManager_.setArmAtLaunchForThisRun(options_.armAtLaunch);
    lastState_ = recordingManager_.armedState();
    Log::line(QStringLiteral("State: %1").arg(ShortcutActions::stateName(lastState_)));
    if (options_.withWindows) {
        launchWindows();
    }
    captureManager_->setUp();
}

NelvoStatus::Sources AppDelegate::statusSources() const {
    const QString program =
        XdgAutostartLoginItemService::launcherProgram(QCoreApplication::applicationFilePath());
    return {[this] { return sleepRisk_ && sleepRisk_->lidWouldStopWatching(); },
            [program] {
                XdgAutostartLoginItemService service(program, {});
                return LoginItem(service).state();
            }};
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
    // Names come from the devices: escaped, so that they cannot add lines to the log.
    Log::line(QStringLiteral("Devices: camera %1, microphone %2")
                  .arg(PlainText::escaped(camera), PlainText::escaped(microphone)));
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
    Log::line(QStringLiteral("State: %1").arg(ShortcutActions::stateName(state)));
    // The fresh-start notice goes once Nelvo has been armed.
    if (state && *state != ArmState::unarmed) {
        defaults_.set(SettingsKeys::freshStartNoticePending, false);
    }
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
    if (captureManager_ && captureManager_->anyMovieOpen() && !quitWithoutWaiting_ &&
        finishDeadline_.elapsed() < finishTimeoutMs) {
        QTimer::singleShot(100, this, [this] { finishTermination(); });
        return;
    }
    terminating_ = false;
    recordingManager_.onRecordingsFinished = nullptr;
    recordingManager_.cleanQuit();
    closeWindows();
    captureManager_.reset();
    defaults_.flush();
    Log::line(QStringLiteral("Nelvo quit"));
    Q_EMIT finished();
}

void AppDelegate::armedAtLaunch(ArmingCause cause) {
    Log::line(armingLine(cause, recordingManager_.armingCountdown()));
    if (!options_.withWindows) {
        return;
    }
    //: Notification title: Nelvo armed itself when it was opened
    notifications_->post(QStringLiteral("armed-at-launch"), tr("Nelvo is arming itself"),
                         //: Notification body: Nelvo armed itself when it was opened
                         tr("It will start watching in a few seconds. Open Nelvo to stop it."));
}

// The popover's content and its window, then the tray icon or, while the
// desktop has no tray, the window standing in for it. Capture reports to the
// popover from its first device on.
void AppDelegate::launchWindows() {
    PopoverViewController::Services services;
    services.sleepRisk = sleepRisk_.get();
    const QString program =
        XdgAutostartLoginItemService::launcherProgram(QCoreApplication::applicationFilePath());
    services.loginState = [program] {
        XdgAutostartLoginItemService service(program, {});
        return LoginItem(service).state();
    };
    services.loginItemNotifier = &loginItemNotifier_;
    services.revealFiles = [](const QStringList& files) { FileManager::showItems(files); };
    services.menu = menuOperations();
    popoverController_ = new PopoverViewController(recordingManager_, *captureManager_, services);

    PopoverViewController* controller = popoverController_;
    popover_ =
        std::make_unique<PopoverWindow>(controller, PopoverWindow::Placement::standalone,
                                        [controller] { return controller->popoverShouldClose(); });
    connect(popover_.get(), &PopoverWindow::didShow, controller,
            &PopoverViewController::popoverDidShow);
    connect(popover_.get(), &PopoverWindow::didClose, controller,
            &PopoverViewController::popoverDidClose);
    connect(controller, &PopoverViewController::floatPopoverChanged, popover_.get(),
            &PopoverWindow::setPinned);
    captureManager_->setActivityDelegate(controller);
    if (defaults_.boolValue(SettingsKeys::openPreviewWindowAtLaunch)) {
        controller->togglePreviewWindow();
    }

    // The panel's tray host may come after Nelvo at login, and may restart.
    trayHost_ = std::make_unique<TrayHost>();
    connect(trayHost_.get(), &TrayHost::availableChanged, this, &AppDelegate::useTray);
}

void AppDelegate::useTray(bool tray) {
    if (tray) {
        if (statusItem_) {
            return;
        }
        statusItem_ = std::make_unique<StatusItem>(recordingManager_);
        connect(&recordingManager_, &RecordingManager::armedStateDescriptionChanged,
                statusItem_.get(), &StatusItem::update, Qt::QueuedConnection);
        connect(&recordingManager_, &RecordingManager::recordingFailureChanged, statusItem_.get(),
                &StatusItem::update, Qt::QueuedConnection);
        statusItem_->setMenu(popoverController_->popoverMenu());
        connect(statusItem_.get(), &StatusItem::clicked, this,
                [this] { popover_->toggle(statusItem_->geometry()); });
        const bool placesItself =
            !QGuiApplication::platformName().startsWith(QStringLiteral("wayland"));
        popover_->setPlacement(placesItself ? PopoverWindow::Placement::underIcon
                                            : PopoverWindow::Placement::byCompositor);
        popover_->setHint({});
        Log::line(QStringLiteral("Nelvo is in the panel's tray"));
        return;
    }
    // Nothing would show Nelvo at all: its window opens instead.
    const bool hadTray = statusItem_ != nullptr;
    statusItem_.reset();
    popover_->setPlacement(PopoverWindow::Placement::standalone);
    const QString hint = StatusItem::missingTrayHint(qEnvironmentVariable("XDG_CURRENT_DESKTOP"));
    if (!hadTray) {
        Log::line(hint);
    } else {
        Log::line(QStringLiteral("The panel's tray went away; Nelvo opens in its window"));
    }
    popover_->setHint(hint);
    popover_->showPopover();
}

PopoverMenu::Operations AppDelegate::menuOperations() {
    PopoverMenu::Operations operations;
    operations.showRecordings = [this] { showRecordings(); };
    operations.showPreferences = [this] { showPreferences(); };
    operations.quitApp = [this] { quit(); };
    return operations;
}

// The newest movie selected, or the folder itself when it holds none. The
// folder is looked through (and made when missing) off the GUI thread: it
// may be large, or on a disk that has to wake up.
void AppDelegate::showRecordings() {
    const QString folder = recordingManager_.fileOutputManager().nelvoPath();
    QThreadPool::globalInstance()->start([folder] {
        const FileOutputManager files(folder);
        const std::optional<QString> newest = files.newestRecording();
        MainThread::post([folder, newest] {
            if (newest) {
                FileManager::showItems({*newest});
            } else {
                FileManager::showFolder(folder);
            }
        });
    });
}

// A test recording shows where its movie went: the file under its final
// name, which says so when it lost frames.
void AppDelegate::testRecordingFinished(const QString& filePath) {
    const QString finished = FileOutputManager::finishedPath(filePath);
    Log::line(QStringLiteral("Test recording written to %1").arg(finished));
    if (options_.withWindows) {
        FileManager::showItems({finished});
    }
}

void AppDelegate::showPreferences() {
    if (!settingsWindow_) {
        loginItemService_ = std::make_unique<XdgAutostartLoginItemService>(
            XdgAutostartLoginItemService::launcherProgram(QCoreApplication::applicationFilePath()),
            XdgAutostartLoginItemService::argumentsThatMatter(QCoreApplication::arguments()));
        settingsWindow_ = std::make_unique<SettingsWindowController>(
            recordingManager_, *captureManager_, *loginItemService_, cameraFacts_);
        settingsWindow_->viewController().setLoginItemNotifier(loginItemNotifier_);
    }
    settingsWindow_->showWindow();
}

void AppDelegate::activate() {
    if (popover_) {
        popover_->showPopover(statusItem_ ? statusItem_->geometry() : QRect());
        return;
    }
    Log::line(QStringLiteral("Nelvo is running without a window; its log is all there is to show"));
}

// Quitting while a recording is written asks first: the files are told to
// finish at once, and the alert goes by itself when they are written.
void AppDelegate::quit() {
    if (terminating_ || quitAlert_) {
        return;
    }
    if (!options_.withWindows || recordingManager_.armedState() != ArmState::recording) {
        terminate();
        return;
    }
    quitAlert_ = std::make_unique<QuitAlert>();
    connect(quitAlert_.get(), &QuitAlert::answered, this, &AppDelegate::quitAlertAnswered,
            Qt::QueuedConnection);
    // Queued: the hook is cleared there, never while it runs.
    recordingManager_.onRecordingsFinished = [this] {
        QMetaObject::invokeMethod(this, &AppDelegate::recordingsFinishedForQuit,
                                  Qt::QueuedConnection);
    };
    Log::line(QStringLiteral("Quitting after the recording in progress is finished"));
    recordingManager_.finishRecordings();
    quitAlert_->show();
}

void AppDelegate::quitAlertAnswered(bool quitNow) {
    quitAlert_.reset();
    if (!recordingManager_.onRecordingsFinished) {
        return;  // the files were written first and quitting is under way
    }
    recordingManager_.onRecordingsFinished = nullptr;
    if (quitNow) {
        Log::line(QStringLiteral("Quitting now, before the recording is written"));
        quitWithoutWaiting_ = true;
        terminating_ = true;
        finishTermination();
    } else {
        Log::line(QStringLiteral("Quitting cancelled; Nelvo keeps watching"));
    }
}

void AppDelegate::recordingsFinishedForQuit() {
    if (!recordingManager_.onRecordingsFinished) {
        return;  // the alert was answered first
    }
    recordingManager_.onRecordingsFinished = nullptr;
    if (quitAlert_) {
        quitAlert_->dismiss();
        quitAlert_.reset();
    }
    Log::line(QStringLiteral("The recording is written; quitting"));
    terminate();
}
