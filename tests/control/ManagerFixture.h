#pragma once

#include "Defaults.h"
#include "FakeMovieRecorder.h"
#include "LaunchDefaults.h"
#include "ManualClock.h"
#include "RecordingManager.h"
#include "TestEnvironment.h"

#include <QCoreApplication>
#include <memory>

// A recording manager on a settings file of its own and a clock the test
// advances, with fake cameras whose files end when the test says so.
namespace ManagerFixture {

using namespace std::chrono_literals;

struct Fixture {
    TestEnvironment env;
    Defaults defaults{env.settingsFilePath()};
    ManualClock clock{QDateTime(QDate(2026, 11, 23), QTime(9, 0))};  // a Monday
    std::unique_ptr<RecordingManager> manager;

    Fixture() {
        LaunchDefaults::registerDefaults(defaults);
        LaunchDefaults::writeFirstLaunchValues(defaults);
        manager = std::make_unique<RecordingManager>(defaults, clock);
    }
    // Lets queued change notices of the settings store arrive.
    void settle() { QCoreApplication::processEvents(); }

    // Armed with a camera, ready for a trigger.
    void armNow() {
        manager->setCameraAvailable(true);
        manager->armFromPopover();
        clock.advance(5s);
    }

    QString folder() const { return env.home() + "/Videos/Nelvo"; }
};

struct Camera {
    std::shared_ptr<FakeMovieRecorder> recorder;
    RecordingTarget target;
    explicit Camera(const QString& name,
                    QDateTime start = QDateTime(QDate(2026, 11, 23), QTime(8, 59, 55)))
        : recorder(std::make_shared<FakeMovieRecorder>(start)),
          target{recorder, name, QStringLiteral("Desk Mic")} {}
};

// The failure on record as a number (-1: none), for comparing.
inline int failureOf(const RecordingManager& manager) {
    const auto failure = manager.recordingFailure();
    return failure ? int(failure->value()) : -1;
}

// Runs the recorders' completions, which come back through the main thread.
inline void deliver(FakeMovieRecorder& recorder, std::optional<Error> error = std::nullopt,
                    qint64 bytes = 1024) {
    recorder.finishNext(std::move(error), bytes);
    QCoreApplication::processEvents();
}

}  // namespace ManagerFixture
