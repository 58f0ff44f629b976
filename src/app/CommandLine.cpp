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
        tr("Nelvo records movies when its cameras see motion or its microphone hears sound."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    parser.addOption({QStringLiteral("headless"), tr("Run without any window.")});
    parser.addOption({QStringLiteral("demo"), tr("Use the built-in demo camera and microphone.")});
    parser.addOption({QStringLiteral("arm"), tr("Arm at launch, after a 15-second countdown.")});
    parser.addOption(
        {QStringLiteral("camera-file"), tr("Play a video file as the camera."), tr("path")});
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
        "Usage: nelvo [--headless] [--demo] [--arm] [--camera-file PATH] [--help] "
        "[--version]");
}
