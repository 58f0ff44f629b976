#include "AppDelegate.h"
#include "ApplicationService.h"
#include "CameraFileCheck.h"
#include "CommandLine.h"
#include "GstHandle.h"
#include "Log.h"
#include "SignalQuit.h"
#include "TimeLapseCommand.h"
#include "Translations.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <cstdio>
#include <memory>

namespace {

bool hasDisplay() {
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
}

// With a display Nelvo follows the screens in use (they decide whether
// closing the lid would stop it); headless, or without a display, it needs
// no connection to one.
std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv) {
    if (hasDisplay() && !CommandLine::asksForHeadless(argc, argv)) {
        return std::make_unique<QGuiApplication>(argc, argv);
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
    if (TimeLapseCommand::isRequested(argc, argv)) {
        return TimeLapseCommand::run(argc, argv);
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

    // The tray icon and its windows are not part of Nelvo yet, so every
    // start is headless; with a display that is said once.
    if (!commandLine.headless() && hasDisplay()) {
        Log::line(QStringLiteral("The tray icon is not available yet; running headless"));
    }

    // One Nelvo per user: a second launch shows the first and leaves.
    ApplicationService service;
    if (service.registerOnBus() == ApplicationService::Registration::alreadyRunning) {
        ApplicationService::activateRunningInstance();
        Log::line(QStringLiteral("Nelvo is already running"));
        return 0;
    }
    QObject::connect(&service, &ApplicationService::activated, [] {
        Log::line(
            QStringLiteral("Nelvo is running without a window; its log is all there is to show"));
    });

    AppDelegate delegate(commandLine.options());
    SignalQuit signals;
    QObject::connect(&signals, &SignalQuit::quitRequested, &delegate, &AppDelegate::terminate);
    delegate.launch();
    return QCoreApplication::exec();
}
