#include "AppDelegate.h"
#include "ApplicationService.h"
#include "CameraFileCheck.h"
#include "CommandLine.h"
#include "DoNotDisturbFocus.h"
#include "GstHandle.h"
#include "HeapTrim.h"
#include "LevelMonitor.h"
#include "Log.h"
#include "LoggingRecorder.h"
#include "NetworkCameraLogin.h"
#include "ScriptingCommand.h"
#include "SignalQuit.h"
#include "TimeLapseCommand.h"
#include "Translations.h"

#include <QApplication>
#include <QCoreApplication>
#include <cstdio>
#include <memory>

namespace {

bool hasDisplay() {
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
}

bool withWindows(int argc, char** argv) {
    return hasDisplay() && !CommandLine::asksForHeadless(argc, argv);
}

// With a display Nelvo shows its tray icon and popover; headless, or without
// a display, it needs no connection to one.
std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv) {
    if (withWindows(argc, argv)) {
        auto app = std::make_unique<QApplication>(argc, argv);
        // Closing the popover or a window never ends Nelvo: only quitting does.
        QApplication::setQuitOnLastWindowClosed(false);
        return app;
    }
    return std::make_unique<QCoreApplication>(argc, argv);
}

void printError(const QString& line) {
    std::fprintf(stderr, "%s\n", line.toLocal8Bit().constData());
}

// Why the camera file of the command line cannot be played, as the one line
// that refuses it; nothing when there is none or it plays.
std::optional<QString> cameraFileRefusal(const QString& path) {
    if (path.isEmpty()) {
        return std::nullopt;
    }
    const std::optional<QString> reason = CameraFileCheck::problem(path);
    if (!reason) {
        return std::nullopt;
    }
    return QCoreApplication::translate("main", "Nelvo can't play %1 as a camera: %2")
        .arg(path, *reason);
}

}  // namespace

int main(int argc, char** argv) {
    HeapTrim::limitPools();
    if (TimeLapseCommand::isRequested(argc, argv)) {
        return TimeLapseCommand::run(argc, argv);
    }
    if (ScriptingCommand::isRequested(argc, argv)) {
        return ScriptingCommand::run(argc, argv);
    }
    const std::unique_ptr<QCoreApplication> app = makeApplication(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Nelvo"));
    QCoreApplication::setApplicationVersion(QStringLiteral(NELVO_VERSION));
    Translations::install(*app);
    Gst::ensureInitialised();

    const CommandLine commandLine(QCoreApplication::arguments());
    if (commandLine.problem()) {
        printError(*commandLine.problem());
        printError(CommandLine::usage());
        return CommandLine::badCommandLine;
    }
    // Checked before anything starts, so a file that cannot be played never arms.
    if (const std::optional<QString> refusal =
            cameraFileRefusal(commandLine.options().cameraFile)) {
        printError(*refusal);
        return CommandLine::badCommandLine;
    }

    AppDelegate::Options options = commandLine.options();
    if (const std::optional<QString> refusal = NetworkCameraLogin::problem(
            options.cameraUrl, options.credentialsFile, &options.networkCredentials)) {
        printError(*refusal);
        return CommandLine::badCommandLine;
    }

    // One Nelvo per user: a second launch shows the first and leaves.
    ApplicationService service;
    if (service.registerOnBus() == ApplicationService::Registration::alreadyRunning) {
        ApplicationService::activateRunningInstance();
        Log::line(QStringLiteral("Nelvo is already running"));
        return 0;
    }

    options.withWindows = qobject_cast<QApplication*>(app.get()) != nullptr;
    AppDelegate delegate(options);
    QObject::connect(&service, &ApplicationService::activated, &delegate, &AppDelegate::activate);
    QObject::connect(&service, &ApplicationService::quitRequested, &delegate, &AppDelegate::quit);
    QObject::connect(&delegate, &AppDelegate::finished, app.get(), &QCoreApplication::quit);
    SignalQuit signals;
    QObject::connect(&signals, &SignalQuit::quitRequested, &delegate, &AppDelegate::terminate);
    delegate.launch();
    // Scripts and the desktop's actions reach Nelvo once its devices are known.
    LevelMonitor levels(*delegate.captureManager(), delegate.recordingManager().defaults());
    std::unique_ptr<DoNotDisturbFocus> doNotDisturb;
    QObject::connect(delegate.captureManager(), &CaptureManager::devicesConfigured, &service, [&] {
        if (!service.hasManager()) {
            service.installManager(delegate.recordingManager(),
                                   {delegate.statusSources(), &levels, LoggingRecorder::preRollOf});
            doNotDisturb = DoNotDisturbFocus::forDesktop(delegate.recordingManager().defaults(),
                                                         *service.actions());
        }
    });
    QObject::connect(&delegate, &AppDelegate::fileFinished, &service,
                     &ScriptingService::fileFinished);
    return QCoreApplication::exec();
}
