#include "AppDelegate.h"
#include "GstHandle.h"
#include "Log.h"
#include "SignalQuit.h"
#include "TimeLapseCommand.h"
#include "Translations.h"

#include <QCommandLineParser>
#include <QCoreApplication>

int main(int argc, char** argv) {
    if (TimeLapseCommand::isRequested(argc, argv)) {
        return TimeLapseCommand::run(argc, argv);
    }
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Nelvo"));
    QCoreApplication::setApplicationVersion(QStringLiteral(NELVO_VERSION));
    Translations::install(app);
    Gst::ensureInitialised();

    QCommandLineParser parser;
    parser.setApplicationDescription(QCoreApplication::translate(
        "main", "Nelvo records movies when its cameras see motion or its microphone hears sound."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption({QStringLiteral("headless"),
                      QCoreApplication::translate("main", "Run without any window.")});
    parser.addOption(
        {QStringLiteral("demo"),
         QCoreApplication::translate("main", "Use the built-in demo camera and microphone.")});
    parser.addOption(
        {QStringLiteral("arm"),
         QCoreApplication::translate("main", "Arm at launch, after a 15-second countdown.")});
    parser.addOption({QStringLiteral("camera-file"),
                      QCoreApplication::translate("main", "Play a video file as the camera."),
                      QCoreApplication::translate("main", "path")});
    parser.process(app);

    // The tray icon and its windows are not part of Nelvo yet, so every
    // start is headless; with a display that is said once.
    const bool hasDisplay =
        qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
    if (!parser.isSet(QStringLiteral("headless")) && hasDisplay) {
        Log::line(QStringLiteral("The tray icon is not available yet; running headless"));
    }

    AppDelegate::Options options;
    options.armAtLaunch = parser.isSet(QStringLiteral("arm"));
    options.demo = parser.isSet(QStringLiteral("demo"));
    options.cameraFile = parser.value(QStringLiteral("camera-file"));
    AppDelegate delegate(options);
    SignalQuit signals;
    QObject::connect(&signals, &SignalQuit::quitRequested, &delegate, &AppDelegate::terminate);
    delegate.launch();
    return app.exec();
}
