#include "CommandLine.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <cstring>

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("main", text);
}

}  // namespace

CommandLine::CommandLine(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        tr("Nelvo records movies when its cameras see motion or its microphone hears sound.") +
        u'\n' + commandsText());
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    parser.addOption({QStringLiteral("headless"), tr("Run without any window.")});
    parser.addOption({QStringLiteral("demo"), tr("Use the built-in demo camera and microphone.")});
    parser.addOption({QStringLiteral("arm"), tr("Arm at launch, after a 15-second countdown.")});
    parser.addOption(
        {QStringLiteral("camera-file"), tr("Play a video file as the camera."), tr("path")});
    parser.addOption({QStringLiteral("camera-url"),
                      tr("Watch a network camera (rtsp://, rtsps://, http:// or https:// MJPEG)."),
                      tr("url")});
    parser.addOption(
        {QStringLiteral("credentials-file"),
         tr("Read the network camera's user name and password from this file (mode 0600): "
            "lines user=NAME and password=SECRET."),
         tr("path")});
    if (!parser.parse(arguments)) {
        problem_ = parser.errorText();
        return;
    }
    if (parser.isSet(help)) {
        parser.showHelp(0);
    }
    if (parser.isSet(version)) {
        parser.showVersion();
    }
    if (!parser.positionalArguments().isEmpty()) {
        problem_ = tr("Unknown argument '%1'.").arg(parser.positionalArguments().first());
        return;
    }
    headless_ = parser.isSet(QStringLiteral("headless"));
    options_.armAtLaunch = parser.isSet(QStringLiteral("arm"));
    options_.demo = parser.isSet(QStringLiteral("demo"));
    options_.cameraFile = parser.value(QStringLiteral("camera-file"));
    options_.cameraUrl = parser.value(QStringLiteral("camera-url"));
    options_.credentialsFile = parser.value(QStringLiteral("credentials-file"));
}

bool CommandLine::asksForHeadless(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--headless") == 0) {
            return true;
        }
        if (std::strcmp(argv[i], "--") == 0) {
            return false;
        }
    }
    return false;
}

QString CommandLine::usage() {
    return tr(
        "Usage: nelvo [--headless] [--demo] [--arm] [--camera-file PATH] [--camera-url URL "
        "[--credentials-file PATH]] [--help] [--version] | nelvo "
        "arm|disarm|test [--verify]|status|watch|focus on|off|timelapse");
}

QString CommandLine::commandsText() {
    //: --help: the commands that drive a running Nelvo; keep the command words as they are
    return tr(
        "\nCommands for the Nelvo that is running:\n"
        "  nelvo arm            Arm, after a 5-second countdown.\n"
        "  nelvo disarm         Disarm.\n"
        "  nelvo test           Record a short test movie.\n"
        "  nelvo test --verify  Record a test, read its movies back and judge them.\n"
        "  nelvo status         Say the state, the notice, the last armed stretch,\n"
        "                       the levels of the last minute and recording failures.\n"
        "  nelvo watch          Print each change of state, each finished file and\n"
        "                       each change of the recording failures.\n"
        "  nelvo focus on|off   Arm while a focus is on, as the schedule does.\n"
        "  nelvo timelapse      Make a time-lapse of the last armed stretch.\n"
        "status and watch take --json for scripts. These commands never start Nelvo.");
}
