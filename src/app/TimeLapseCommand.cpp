#include "TimeLapseCommand.h"

#include "ArmedStretch.h"
#include "Defaults.h"
#include "FileOutputManager.h"
#include "GstHandle.h"
#include "LaunchDefaults.h"
#include "RecordingsFolder.h"
#include "SettingsKeys.h"
#include "TimeLapseRenderer.h"
#include "Translations.h"
#include "WhatHappened.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QTextStream>
#include <cstring>
#include <thread>

namespace TimeLapseCommand {

namespace {

std::vector<Event> eventsOf(const ArmedStretch& stretch, const QString& folder,
                            const Defaults& defaults) {
    if (!QFileInfo(folder).isDir()) {
        return {};
    }
    const double preRoll =
        SettingsKeys::clampedPreRollSeconds(defaults.real(SettingsKeys::preRollSeconds));
    return WhatHappened::eventsOf(FileOutputManager(folder).recordings(), stretch, preRoll);
}

// Rewrites one line as the work goes on, a whole percent at a time.
class ProgressLine {
public:
    void show(double fraction) {
        const int percent = static_cast<int>(fraction * 100);
        if (percent == shown_) {
            return;
        }
        shown_ = percent;
        out_ << '\r'
             << QCoreApplication::translate("TimeLapseCommand", "Making the time-lapse: %1%")
                    .arg(percent)
             << Qt::flush;
    }
    void end() { out_ << '\n' << Qt::flush; }

private:
    QTextStream out_{stdout};
    int shown_ = -1;
};

int report(const TimeLapseRenderer::Outcome& outcome) {
    QTextStream out(stdout);
    QTextStream err(stderr);
    if (!outcome.failure) {
        out << outcome.path << '\n';
        return 0;
    }
    if (outcome.failure->kind == TimeLapse::Failure::Kind::nothingReadable) {
        err << QCoreApplication::translate(
                   "TimeLapseCommand",
                   "Nothing in that stretch could be read, so no time-lapse was made")
            << '\n';
        return nothingReadable;
    }
    err << QCoreApplication::translate("TimeLapseCommand", "Time-lapse not written: %1")
               .arg(outcome.failure->reason)
        << '\n';
    return couldNotWrite;
}

}  // namespace

bool isRequested(int argc, char** argv) {
    return argc >= 2 && std::strcmp(argv[1], "timelapse") == 0;
}

int run(int argc, char** argv) {
    // Drawing the labels needs Qt's font machinery, not a display.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Nelvo"));
    Translations::install(app);
    if (argc > 2) {
        QTextStream(stderr) << QCoreApplication::translate("TimeLapseCommand",
                                                           "Usage: nelvo timelapse")
                            << '\n';
        return 2;
    }
    Gst::ensureInitialised();

    Defaults defaults(Defaults::standardFilePath());
    LaunchDefaults::registerDefaults(defaults);
    const std::optional<ArmedStretch> stretch = ArmedStretch::last(defaults);
    if (!stretch) {
        QTextStream(stderr) << QCoreApplication::translate(
                                   "TimeLapseCommand",
                                   "Nelvo has no armed stretch to make a time-lapse of yet")
                            << '\n';
        return noStretch;
    }
    const QString folder = RecordingsFolder::resolve(defaults).folder;
    const TimeLapseRenderer::Request request{*stretch, eventsOf(*stretch, folder, defaults), folder,
                                             QTimeZone::systemTimeZone(), QLocale::system()};

    // The rendering runs on a thread of its own; its progress comes back to
    // this one to be printed.
    ProgressLine line;
    TimeLapseRenderer::Outcome outcome;
    std::thread worker([&] {
        outcome = TimeLapseRenderer::render(request, [&](double fraction) {
            QMetaObject::invokeMethod(
                &app, [&line, fraction] { line.show(fraction); }, Qt::QueuedConnection);
        });
        QMetaObject::invokeMethod(&app, &QCoreApplication::quit, Qt::QueuedConnection);
    });
    app.exec();
    worker.join();
    line.end();
    return report(outcome);
}

}  // namespace TimeLapseCommand
