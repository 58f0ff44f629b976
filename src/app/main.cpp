#include "Defaults.h"
#include "LaunchDefaults.h"
#include "Log.h"
#include "RecordingManager.h"
#include "SystemClock.h"
#include "Translations.h"

#include <QCommandLineParser>
#include <QCoreApplication>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Nelvo"));
    QCoreApplication::setApplicationVersion(QStringLiteral(NELVO_VERSION));
    Translations::install(app);

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

    Defaults defaults(Defaults::standardFilePath());
    LaunchDefaults::registerDefaults(defaults);
    LaunchDefaults::writeFirstLaunchValues(defaults);
    SystemClock clock;
    RecordingManager recordingManager(defaults, clock);

    Log::line(QStringLiteral("Nelvo %1: settings in %2")
                  .arg(QStringLiteral(NELVO_VERSION), defaults.filePath()));
    Log::line(QStringLiteral("Capture and recording are not built yet; nothing is watched."));
    return 0;
}
