#include "ArmedRecord.h"
#include "ArmedStretch.h"
#include "Defaults.h"
#include "GapTracker.h"
#include "LaunchDefaults.h"
#include "ManualClock.h"
#include "RecordingManager.h"
#include "RecordingsListing.h"
#include "Recovery.h"
#include "Schedule.h"
#include "SettingsKeys.h"
#include "StretchKeeper.h"
#include "TestEnvironment.h"

#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;

namespace {
QDateTime at(int hour, int minute, int day = 1) {
    return QDateTime(QDate(2024, 1, day), QTime(hour, minute));  // 2024-01-01 is a Monday
}
}  // namespace

// The gaps on their own, and Nelvo's runs: each "run" is a settings store and
// a recording manager on the same settings file; a crash is the end of a run
// without the clean quit.
class tst_GapTracker : public QObject {
    Q_OBJECT

private:
    struct Run {
        std::unique_ptr<Defaults> defaults;
        std::unique_ptr<RecordingManager> manager;
        // Why the run armed itself, in order.
        std::shared_ptr<std::vector<ArmingCause>> causes =
            std::make_shared<std::vector<ArmingCause>>();
    };

    TestEnvironment environment_;

    Run launch(ManualClock& clock) {
        Run run;
        run.defaults = std::make_unique<Defaults>(environment_.settingsFilePath());
        LaunchDefaults::registerDefaults(*run.defaults);
        run.manager = std::make_unique<RecordingManager>(*run.defaults, clock);
        run.manager->setCameraAvailable(true);
        run.manager->onArmedAtLaunch = [causes = run.causes](ArmingCause cause) {
            causes->push_back(cause);
        };
        run.manager->devicesChanged();
        return run;
    }

    // Ends a run the way a kill does: nothing more is written, the file keeps
    // what was stored so far.
    static void kill(Run& run) {
        run.defaults->flush();
        run.manager.reset();
        run.defaults.reset();
    }

private Q_SLOTS:
    void init() { QFile::remove(environment_.settingsFilePath()); }

    void launchRecoveryConsumesTheRecordOnce() {
        Defaults defaults(environment_.settingsFilePath());
        ArmedRecord{at(10, 41), false}.store(defaults);
        defaults.set(SettingsKeys::armedStretchSince, at(10, 0));
        RecordingsListing listing;
        StretchKeeper stretches(defaults, listing);
        GapTracker gaps(defaults, stretches);
        QCOMPARE(gaps.recoverAtLaunch(false), (Recovery{true, false, at(10, 41)}));
        QVERIFY(gaps.recoveredAtLaunch());
        QCOMPARE(ArmedRecord::load(defaults), std::nullopt);
        QCOMPARE(ArmedStretch::since(defaults), std::nullopt);
        QCOMPARE(ArmedStretch::last(defaults), (ArmedStretch{at(10, 0), at(10, 41)}));
        // Publishing the gap is a step of its own, after any re-arm.
        QCOMPARE(gaps.quitUnexpectedlyUntil(), std::nullopt);
        ArmedRecord{at(11, 6), false}.store(defaults);
        QCOMPARE(gaps.recoverAtLaunch(false), std::nullopt);  // once per run
        QCOMPARE(ArmedRecord::load(defaults), (ArmedRecord{at(11, 6), false}));
    }

    void gapsArePublishedUntilCleared() {
        Defaults defaults(environment_.settingsFilePath());
        RecordingsListing listing;
        StretchKeeper stretches(defaults, listing);
        GapTracker gaps(defaults, stretches);
        bool armed = false;
        gaps.isArmed = [&] { return armed; };
        int changes = 0;
        gaps.onChanged = [&] { ++changes; };
        gaps.clear();
        QCOMPARE(changes, 0);  // nothing to forget
        // Unarmed, a sleep or a time not watching leaves no gap.
        gaps.willSleep(at(23, 0));
        QCOMPARE(gaps.sleptAt(), std::nullopt);
        gaps.notWatching(at(22, 0), at(23, 0));
        QCOMPARE(gaps.notWatchingFrom(), std::nullopt);
        QCOMPARE(changes, 0);
        armed = true;
        gaps.quitUnexpectedly(at(10, 41), at(11, 5));
        QCOMPARE(gaps.quitUnexpectedlyAt(), at(10, 41));
        QCOMPARE(gaps.quitUnexpectedlyUntil(), at(11, 5));
        gaps.willSleep(at(23, 10));
        QCOMPARE(changes, 1);  // a sleep is published only once it ends
        QCOMPARE(gaps.woke(), at(23, 10));
        QCOMPARE(gaps.woke(), std::nullopt);
        gaps.notWatching(at(23, 10), at(7, 0, 2));
        QCOMPARE(gaps.notWatchingFrom(), at(23, 10));
        QCOMPARE(gaps.notWatchingUntil(), at(7, 0, 2));
        QCOMPARE(changes, 2);
        gaps.clear();
        QCOMPARE(changes, 3);
        QCOMPARE(gaps.quitUnexpectedlyAt(), std::nullopt);
        QCOMPARE(gaps.notWatchingUntil(), std::nullopt);
    }

    void recoveryDecision() {
        QCOMPARE(Recovery::from({at(10, 41), false}, false), (Recovery{true, false, at(10, 41)}));
        QCOMPARE(Recovery::from({at(10, 41), true}, false), (Recovery{false, false, at(10, 41)}));
        QCOMPARE(Recovery::from({at(10, 41), true}, true), (Recovery{true, true, at(10, 41)}));
    }

    void heartbeatIsWrittenEveryMinuteWhileArmed() {
        ManualClock clock(at(10, 0));
        Run run = launch(clock);
        QCOMPARE(ArmedRecord::load(*run.defaults), std::nullopt);
        run.manager->armFromPopover();
        QCOMPARE(ArmedRecord::load(*run.defaults), (ArmedRecord{at(10, 0), false}));
        clock.advance(90s);
        QCOMPARE(ArmedRecord::load(*run.defaults), (ArmedRecord{at(10, 1), false}));
        run.manager->disarm();
        QCOMPARE(ArmedRecord::load(*run.defaults), std::nullopt);
        clock.advance(2min);
        QCOMPARE(ArmedRecord::load(*run.defaults), std::nullopt);
    }

    void cleanQuitLeavesNoRecordAndClosesTheStretch() {
        ManualClock clock(at(10, 0));
        Run run = launch(clock);
        run.manager->armFromPopover();
        clock.advance(30min);
        run.manager->cleanQuit();
        kill(run);

        clock.advance(1h);
        Run next = launch(clock);
        QCOMPARE(next.manager->armedState(), ArmState::unarmed);
        QCOMPARE(next.manager->quitUnexpectedlyAt(), std::nullopt);
        QCOMPARE(next.manager->quitUnexpectedlyUntil(), std::nullopt);
        QCOMPARE(ArmedStretch::last(*next.defaults), (ArmedStretch{at(10, 0), at(10, 30)}));
        QCOMPARE(ArmedStretch::since(*next.defaults), std::nullopt);
    }

    void killedWhileArmedByUserRearmsAndReportsTheGap() {
        ManualClock clock(at(10, 0));
        Run run = launch(clock);
        run.manager->armFromPopover();
        clock.advance(41min + 30s);  // last heartbeat at 10:41
        QCOMPARE(ArmedRecord::load(*run.defaults)->lastSeen, at(10, 41));
        kill(run);

        clock.setNow(at(11, 5));
        Run next = launch(clock);
        QCOMPARE(next.manager->armedState(), ArmState::arming);
        QCOMPARE(next.manager->armingCountdown(), 15);
        QVERIFY(next.manager->armedAtLaunch());
        QVERIFY(!next.manager->armedBySchedule());
        QCOMPARE(*next.causes, std::vector{ArmingCause::crash});
        QCOMPARE(next.manager->quitUnexpectedlyAt(), at(10, 41));
        QCOMPARE(next.manager->quitUnexpectedlyUntil(), at(11, 5));
        QCOMPARE(ArmedStretch::last(*next.defaults), (ArmedStretch{at(10, 0), at(10, 41)}));
        // The re-arm opens a new stretch and a new record.
        QCOMPARE(ArmedStretch::since(*next.defaults), at(11, 5));
        QCOMPARE(ArmedRecord::load(*next.defaults)->lastSeen, at(11, 5));
        // Arm at launch does not arm a second time; recovery runs once.
        next.defaults->set(SettingsKeys::armAtLogin, true);
        next.manager->disarm();
        QCOMPARE(next.manager->quitUnexpectedlyUntil(), std::nullopt);
        next.manager->devicesChanged();
        QCOMPARE(next.manager->armedState(), ArmState::unarmed);
    }

    void killedWhileArmedByScheduleAfterWindowEnded() {
        ManualClock clock(at(21, 59));
        {
            Defaults defaults(environment_.settingsFilePath());
            Schedule{{ScheduleWindow{{2}, 22 * 60, 23 * 60}}}.save(defaults);
            defaults.set(SettingsKeys::scheduledArmingEnabled, true);
        }
        Run run = launch(clock);
        clock.advance(1min);
        QVERIFY(run.manager->armedBySchedule());
        clock.advance(30min);  // last heartbeat 22:30
        kill(run);

        clock.setNow(at(23, 20));
        Run next = launch(clock);
        QCOMPARE(next.manager->armedState(), ArmState::unarmed);
        QCOMPARE(next.manager->quitUnexpectedlyAt(), at(22, 30));
        QCOMPARE(next.manager->quitUnexpectedlyUntil(), at(23, 20));
        QCOMPARE(ArmedStretch::last(*next.defaults), (ArmedStretch{at(22, 0), at(22, 30)}));
        QCOMPARE(ArmedRecord::load(*next.defaults), std::nullopt);
    }

    void killedWhileArmedByScheduleInsideWindowRearmsBySchedule() {
        ManualClock clock(at(21, 59));
        {
            Defaults defaults(environment_.settingsFilePath());
            Schedule{{ScheduleWindow{{2}, 22 * 60, 23 * 60}}}.save(defaults);
            defaults.set(SettingsKeys::scheduledArmingEnabled, true);
        }
        Run run = launch(clock);
        clock.advance(11min);
        kill(run);
        clock.setNow(at(22, 40));
        Run next = launch(clock);
        QCOMPARE(next.manager->armedState(), ArmState::arming);
        QVERIFY(next.manager->armedBySchedule());
        clock.advance(21min);  // the window ends at 23:00
        QCOMPARE(next.manager->armedState(), ArmState::unarmed);
    }

    void stretchWithoutRecordIsDropped() {
        ManualClock clock(at(10, 0));
        {
            Defaults defaults(environment_.settingsFilePath());
            defaults.set(SettingsKeys::armedStretchSince, at(9, 0));
        }
        Run run = launch(clock);
        QCOMPARE(ArmedStretch::since(*run.defaults), std::nullopt);
        QCOMPARE(ArmedStretch::last(*run.defaults), std::nullopt);
        QCOMPARE(run.manager->quitUnexpectedlyUntil(), std::nullopt);
    }

    void sleepingWhileUnarmedLeavesNoGap() {
        ManualClock clock(at(23, 10));
        Run run = launch(clock);
        run.manager->willSleep();
        clock.setNow(at(7, 0, 2));
        run.manager->didWake();
        QCOMPARE(run.manager->notWatchingFrom(), std::nullopt);
        QCOMPARE(run.manager->notWatchingUntil(), std::nullopt);
    }

    void sleepingWhileArmedReportsTheGap() {
        ManualClock clock(at(23, 0));
        Run run = launch(clock);
        run.manager->armFromPopover();
        clock.advance(10min);
        QSignalSpy gaps(run.manager.get(), &RecordingManager::gapsChanged);
        run.manager->willSleep();
        QCOMPARE(run.manager->sleptAt(), at(23, 10));
        clock.setNow(at(7, 0, 2));
        run.manager->didWake();
        QCOMPARE(run.manager->sleptAt(), std::nullopt);
        QCOMPARE(run.manager->notWatchingFrom(), at(23, 10));
        QCOMPARE(run.manager->notWatchingUntil(), at(7, 0, 2));
        QCOMPARE(gaps.count(), 1);
        // The wake also wrote a fresh heartbeat.
        QCOMPARE(ArmedRecord::load(*run.defaults)->lastSeen, at(7, 0, 2));
        run.manager->disarm();
        QCOMPARE(run.manager->notWatchingFrom(), std::nullopt);
        QCOMPARE(run.manager->notWatchingUntil(), std::nullopt);
    }

    void reportGapOnlyWhileArmed() {
        ManualClock clock(at(12, 0));
        Run run = launch(clock);
        run.manager->reportGap(at(11, 0), at(12, 0));
        QCOMPARE(run.manager->notWatchingUntil(), std::nullopt);
        run.manager->armFromPopover();
        run.manager->reportGap(at(11, 0), at(12, 0));
        QCOMPARE(run.manager->notWatchingFrom(), at(11, 0));
    }
};

QTEST_GUILESS_MAIN(tst_GapTracker)
#include "tst_GapTracker.moc"
