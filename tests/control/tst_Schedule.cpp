#include "Defaults.h"
#include "LaunchDefaults.h"
#include "ManualClock.h"
#include "RecordingManager.h"
#include "Schedule.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <QSignalSpy>
#include <QTest>
#include <ctime>

using namespace std::chrono_literals;

namespace {

// 2024-01-01 is a Monday.
QDateTime monday(int hour, int minute = 0) {
    return QDateTime(QDate(2024, 1, 1), QTime(hour, minute));
}
QDateTime tuesday(int hour, int minute = 0) {
    return QDateTime(QDate(2024, 1, 2), QTime(hour, minute));
}

const Schedule mondayNight{{ScheduleWindow{{2}, 22 * 60, 6 * 60 + 30}}};

}  // namespace

class tst_Schedule : public QObject {
    Q_OBJECT

private:
    TestEnvironment environment_;
    std::unique_ptr<Defaults> defaults_;

    std::unique_ptr<RecordingManager> managerAt(ManualClock& clock, const Schedule& schedule) {
        defaults_ = std::make_unique<Defaults>(environment_.settingsFilePath());
        LaunchDefaults::registerDefaults(*defaults_);
        schedule.save(*defaults_);
        defaults_->set(SettingsKeys::scheduledArmingEnabled, true);
        auto manager = std::make_unique<RecordingManager>(*defaults_, clock);
        manager->setCameraAvailable(true);
        return manager;
    }

private Q_SLOTS:
    void initTestCase() {
        qputenv("TZ", "Europe/Berlin");
        tzset();
    }

    void cleanup() {
        if (defaults_) {
            for (const QString& key :
                 {SettingsKeys::scheduleWindows, SettingsKeys::scheduledArmingEnabled,
                  SettingsKeys::armedRecordLastSeen, SettingsKeys::armedRecordBySchedule,
                  SettingsKeys::armedStretchSince}) {
                defaults_->remove(key);
            }
            defaults_->flush();
        }
        defaults_.reset();
    }

    void overMidnightWindowContains() {
        QVERIFY(mondayNight.contains(monday(23)));
        QVERIFY(mondayNight.contains(tuesday(5)));
        QVERIFY(!mondayNight.contains(monday(5)));
        QVERIFY(!mondayNight.contains(tuesday(23)));
        QVERIFY(mondayNight.contains(monday(22)));
        QVERIFY(!mondayNight.contains(tuesday(6, 30)));
    }

    void emptyWindowNeverAppliesAndNeverStarts() {
        const Schedule schedule{{ScheduleWindow{{1, 2, 3, 4, 5, 6, 7}, 600, 600}}};
        for (int hour = 0; hour < 24; ++hour) {
            QVERIFY(!schedule.contains(monday(hour)));
        }
        QVERIFY(!schedule.contains(monday(10)));
        QCOMPARE(schedule.nextStart(monday(9)), std::nullopt);
        QCOMPARE(schedule.endOfCurrentWindow(monday(10)), std::nullopt);
        QCOMPARE(Schedule{}.nextStart(monday(9)), std::nullopt);
        QVERIFY(!Schedule{}.contains(monday(9)));
    }

    void nextStartOfStartedWindowIsAWeekLater() {
        const Schedule schedule{{ScheduleWindow{{2}, 8 * 60, 10 * 60}}};
        QCOMPARE(schedule.nextStart(monday(9)), QDateTime(QDate(2024, 1, 8), QTime(8, 0)));
        QCOMPARE(schedule.nextStart(monday(7, 59)), monday(8));
    }

    void nextStartIsTheEarliestOfAllWindows() {
        const Schedule schedule{{ScheduleWindow{{4}, 60, 120}, ScheduleWindow{{3}, 23 * 60, 60}}};
        QCOMPARE(schedule.nextStart(monday(12)), tuesday(23));
    }

    void endOfCurrentWindow() {
        QCOMPARE(mondayNight.endOfCurrentWindow(monday(23)), tuesday(6, 30));
        QCOMPARE(mondayNight.endOfCurrentWindow(tuesday(5)), tuesday(6, 30));
        QCOMPARE(mondayNight.endOfCurrentWindow(monday(12)), std::nullopt);
        const Schedule overlapping{{ScheduleWindow{{2}, 22 * 60, 6 * 60 + 30},
                                    ScheduleWindow{{2}, 21 * 60, 23 * 60 + 30}}};
        QCOMPARE(overlapping.endOfCurrentWindow(monday(23)), tuesday(6, 30));
    }

    void windowsFollowTheClockAcrossDaylightSaving() {
        // Berlin springs forward on 2024-03-31 at 02:00 and falls back on 2024-10-27 at 03:00.
        const Schedule saturdayNight{{ScheduleWindow{{7}, 22 * 60, 6 * 60 + 30}}};
        const QDateTime springNight(QDate(2024, 3, 30), QTime(23, 0));
        QVERIFY(saturdayNight.contains(springNight));
        const auto springEnd = saturdayNight.endOfCurrentWindow(springNight);
        QCOMPARE(springEnd, QDateTime(QDate(2024, 3, 31), QTime(6, 30)));
        QCOMPARE(springNight.secsTo(*springEnd), qint64(6.5 * 3600));  // an hour less of real time
        const QDateTime autumnNight(QDate(2024, 10, 26), QTime(23, 0));
        QCOMPARE(autumnNight.secsTo(*saturdayNight.endOfCurrentWindow(autumnNight)),
                 qint64(8.5 * 3600));

        const Schedule sundayMorning{{ScheduleWindow{{1}, 8 * 60, 10 * 60}}};
        const auto start = sundayMorning.nextStart(QDateTime(QDate(2024, 3, 30), QTime(12, 0)));
        QCOMPARE(start->time(), QTime(8, 0));
        QCOMPARE(start->date(), QDate(2024, 3, 31));
        QVERIFY(sundayMorning.contains(QDateTime(QDate(2024, 3, 31), QTime(9, 59))));
        // 03:00 in the morning of the change is inside a window from 02:00.
        const Schedule earlySunday{{ScheduleWindow{{1}, 2 * 60, 4 * 60}}};
        QVERIFY(earlySunday.contains(QDateTime(QDate(2024, 3, 31), QTime(3, 0))));
    }

    void storedFormDecodesTheExample() {
        const Schedule schedule =
            Schedule::fromJson(R"({"windows":[{"days":[2,3,4,5,6],"start":1320,"end":390}]})");
        QCOMPARE(schedule, (Schedule{{ScheduleWindow{{2, 3, 4, 5, 6}, 1320, 390}}}));
        QCOMPARE(Schedule::fromJson(R"({"windows":[{"days":[6,2,4,3,5],"start":1320,"end":390}]})"),
                 schedule);
        QCOMPARE(Schedule::fromJson(schedule.toJson()), schedule);
        QCOMPARE(schedule.toJson(),
                 QByteArray(R"({"windows":[{"days":[2,3,4,5,6],"end":390,"start":1320}]})"));
    }

    void undecodableDataReadsAsEmpty() {
        QCOMPARE(Schedule::fromJson("not json"), Schedule{});
        QCOMPARE(Schedule::fromJson(R"({"windows":[{"days":[2],"start":"x","end":1}]})"),
                 Schedule{});
        QCOMPARE(Schedule::fromJson(R"({"windows":[{"days":[2],"start":1.5,"end":1}]})"),
                 Schedule{});
        QCOMPARE(Schedule::fromJson(R"({"windows":[{"start":1,"end":2}]})"), Schedule{});
        QCOMPARE(Schedule::fromJson(R"([1,2])"), Schedule{});
        Defaults defaults(environment_.settingsFilePath());
        QCOMPARE(Schedule::load(defaults), Schedule{});
        defaults.set(SettingsKeys::scheduleWindows, QByteArray("{broken"));
        QCOMPARE(Schedule::load(defaults), Schedule{});
        defaults.remove(SettingsKeys::scheduleWindows);
        defaults.flush();
    }

    void userWhoDisarmsInsideWindowStaysUnarmed() {
        ManualClock clock(monday(21, 59));
        auto manager = managerAt(clock, mondayNight);
        manager->devicesChanged();
        QCOMPARE(manager->armedState(), ArmState::unarmed);
        clock.advance(1min);  // 22:00, the minute timer opens the window
        QCOMPARE(manager->armedState(), ArmState::arming);
        QVERIFY(manager->armedBySchedule());
        QCOMPARE(manager->armingCountdown(), 15);
        clock.advance(90min);  // 23:30
        QCOMPARE(manager->armedState(), ArmState::armed);
        manager->armFromPopover();  // the button disarms
        QCOMPARE(manager->armedState(), ArmState::unarmed);
        clock.advance(7h);  // through the rest of the window and its end
        QCOMPARE(manager->armedState(), ArmState::unarmed);
        // The next window (a week later) arms again.
        clock.advance(std::chrono::milliseconds(
            clock.now().msecsTo(QDateTime(QDate(2024, 1, 8), QTime(21, 59)))));
        QCOMPARE(manager->armedState(), ArmState::unarmed);
        clock.advance(1min);
        QCOMPARE(manager->armedState(), ArmState::arming);
    }

    void handArmedStretchOutlastsTheWindow() {
        ManualClock clock(monday(21));
        auto manager = managerAt(clock, mondayNight);
        manager->devicesChanged();
        manager->armFromPopover();
        clock.advance(5s);
        QCOMPARE(manager->armedState(), ArmState::armed);
        QVERIFY(!manager->armedBySchedule());
        clock.advance(1h);  // 22:00: the window opens
        QCOMPARE(manager->armedState(), ArmState::armed);
        QVERIFY(!manager->armedBySchedule());
        clock.advance(9h);  // past 06:30
        QCOMPARE(manager->armedState(), ArmState::armed);
    }

    void scheduleArmedStretchEndsWithTheWindow() {
        ManualClock clock(monday(21, 59));
        auto manager = managerAt(clock, mondayNight);
        manager->devicesChanged();
        clock.advance(1min);
        clock.advance(15s);
        QCOMPARE(manager->armedState(), ArmState::armed);
        QCOMPARE(manager->armedStateDescription(),
                 QStringLiteral("Armed on schedule until %1 tomorrow")
                     .arg(QLocale().toString(QTime(6, 30), QLocale::ShortFormat)));
        clock.advance(8h + 30min);  // 06:30 Tuesday
        QCOMPARE(manager->armedState(), ArmState::unarmed);
        QVERIFY(!manager->armedBySchedule());
    }

    void launchInsideWindowArmsWithFifteenSecondCountdown() {
        ManualClock clock(monday(23));
        auto manager = managerAt(clock, mondayNight);
        std::vector<ArmingCause> causes;
        manager->onArmedAtLaunch = [&](ArmingCause cause) { causes.push_back(cause); };
        QCOMPARE(manager->insideScheduleWindow(), std::nullopt);
        manager->devicesChanged();
        QCOMPARE(manager->armedState(), ArmState::arming);
        QCOMPARE(manager->armingCountdown(), 15);
        QVERIFY(manager->armedBySchedule());
        QCOMPARE(causes, std::vector{ArmingCause::schedule});
        clock.advance(15s);
        QCOMPARE(manager->armedState(), ArmState::armed);
    }

    void minuteTimerFallsOnTheWallClockMinute() {
        ManualClock clock(QDateTime(QDate(2024, 1, 1), QTime(21, 59, 42, 500)));
        auto manager = managerAt(clock, mondayNight);
        manager->devicesChanged();
        clock.advance(17s);  // 21:59:59.5
        QCOMPARE(manager->armedState(), ArmState::unarmed);
        clock.advance(500ms);  // 22:00:00.000
        QCOMPARE(manager->armedState(), ArmState::arming);
    }

    // After a sleep a timer's remaining wait resumes off the minute; each tick
    // puts the next one back on the wall clock's minute.
    void everyTickFallsBackOnTheWallClockMinute() {
        ManualClock clock(monday(21, 50));
        auto manager = managerAt(clock, mondayNight);
        manager->devicesChanged();
        clock.advance(20s + 500ms);  // 21:50:20.5
        clock.sleepFor(5min + 17s);  // 21:55:37.5, the tick now comes at 21:56:17
        clock.advance(4min + 22s);   // 21:59:59.5
        QCOMPARE(manager->armedState(), ArmState::unarmed);
        clock.advance(500ms);  // 22:00:00.000
        QCOMPARE(manager->armedState(), ArmState::arming);
    }

    // Waking puts the next tick on the next whole minute at once.
    void wakingRealignsTheMinuteTimer() {
        ManualClock clock(monday(21, 50));
        auto manager = managerAt(clock, mondayNight);
        manager->devicesChanged();
        clock.advance(20s + 500ms);  // 21:50:20.5
        clock.sleepFor(9min + 29s);  // 21:59:49.5, the tick now comes at 22:00:29
        manager->didWake();
        QCOMPARE(manager->armedState(), ArmState::unarmed);
        clock.advance(10s);  // 21:59:59.5
        QCOMPARE(manager->armedState(), ArmState::unarmed);
        clock.advance(500ms);  // 22:00:00.000
        QCOMPARE(manager->armedState(), ArmState::arming);
    }

    void reloadBumpsGenerationAndReevaluates() {
        ManualClock clock(monday(23));
        auto manager = managerAt(clock, Schedule{});
        manager->devicesChanged();
        QCOMPARE(manager->armedState(), ArmState::unarmed);
        QSignalSpy generation(manager.get(), &RecordingManager::scheduleGenerationChanged);
        mondayNight.save(*defaults_);
        QTRY_COMPARE(manager->armedState(), ArmState::arming);
        QVERIFY(generation.count() >= 1);
        const qint64 before = manager->scheduleGeneration();
        defaults_->set(SettingsKeys::armAtLogin, false);  // unrelated: no reload
        QTest::qWait(100);
        QCOMPARE(manager->scheduleGeneration(), before);
        defaults_->remove(SettingsKeys::armAtLogin);
    }

    void unarmedTextNamesTheNextStart() {
        ManualClock clock(monday(12));
        auto manager = managerAt(clock, mondayNight);
        const QString at = QLocale().toString(QTime(22, 0), QLocale::ShortFormat);
        QCOMPARE(manager->armedStateDescription(), QStringLiteral("Unarmed until %1").arg(at));
        const qint64 generation = manager->scheduleGeneration();
        clock.advance(1min);
        QCOMPARE(manager->scheduleGeneration(), generation + 1);  // recomputed every minute
    }
};

QTEST_GUILESS_MAIN(tst_Schedule)
#include "tst_Schedule.moc"
