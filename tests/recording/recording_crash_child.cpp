// Records from real encoded media at real-time pace until it is killed; the
// recorder test kills it to prove that a movie cut short stays readable.
#include "Defaults.h"
#include "PreRollRecorder.h"
#include "RecorderFeed.h"
#include "SettingsKeys.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        return 2;
    }
    const RecorderMedia media = RecorderMedia::make(20);
    QTemporaryDir dir;
    Defaults defaults(dir.filePath("Nelvo.conf"));
    defaults.set(SettingsKeys::preRollSeconds, 0.0);
    PreRollRecorder recorder(defaults);
    recorder.start(QString::fromLocal8Bit(argv[1]), nullptr);
    std::puts("recording");
    std::fflush(stdout);
    media.feed(recorder, 0, 20, true);
    return 0;
}
