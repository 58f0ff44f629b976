#include "Defaults.h"
#include "KeepAwakeReason.h"
#include "LaunchDefaults.h"
#include "LogindSleepInhibitor.h"
#include "ManualClock.h"
#include "PrivateBus.h"
#include "RecordingManager.h"
#include "Schedule.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <QTest>

using namespace std::chrono_literals;

namespace {
const QString logind = QStringLiteral("org.freedesktop.login1");
}

// The keep-awake inhibitor as logind sees it: the mock lists what is held.
class tst_KeepAwakeReason : public QObject {
    Q_OBJECT

private:
    TestEnvironment environment_;
    PrivateBus bus_;

    QStringList reasons() {
        QStringList why;
        for (const QStringList& inhibitor : bus_.logindInhibitors()) {
            why.append(inhibitor.at(2));
        }
        return why;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(bus_.isRunning());
        QVERIFY(bus_.startTemplate(QStringLiteral("logind"), logind));
    }

    void reasonRule() {
        QCOMPARE(KeepAwake::reasonFor(ArmState::armed, false, false), KeepAwakeReason::armed);
        QCOMPARE(KeepAwake::reasonFor(ArmState::arming, true, true), KeepAwakeReason::armed);
        QCOMPARE(KeepAwake::reasonFor(ArmState::recording, false, false), KeepAwakeReason::armed);
        QCOMPARE(KeepAwake::reasonFor(ArmState::unarmed, true, true), KeepAwakeReason::schedule);
        QCOMPARE(KeepAwake::reasonFor(ArmState::unarmed, true, false), std::nullopt);
        QCOMPARE(KeepAwake::reasonFor(ArmState::unarmed, false, true), std::nullopt);
        QCOMPARE(KeepAwake::reasonFor(std::nullopt, false, false), std::nullopt);
    }

    void armingAndDisarmingWithScheduleOff() {
        Defaults defaults(environment_.settingsFilePath());
        LaunchDefaults::registerDefaults(defaults);
        ManualClock clock(QDateTime(QDate(2024, 1, 1), QTime(12, 0)));
        LogindSleepInhibitor inhibitor(bus_.connection());
        RecordingManager manager(defaults, clock);
        manager.setSleepInhibitor(&inhibitor);
        manager.setCameraAvailable(true);
        QCOMPARE(manager.keepAwakeReason(), std::nullopt);
        QCOMPARE(reasons(), QStringList());

        manager.armFromPopover();
        QCOMPARE(manager.keepAwakeReason(), KeepAwakeReason::armed);
        QTRY_COMPARE(
            bus_.logindInhibitors(),
            (QList<QStringList>{{QStringLiteral("sleep:idle"), QStringLiteral("Nelvo"),
                                 QStringLiteral("Nelvo is armed"), QStringLiteral("block")}}));
        clock.advance(5s);  // arming to armed keeps the same inhibitor
        QCOMPARE(reasons(), QStringList{QStringLiteral("Nelvo is armed")});

        manager.disarm();
        QCOMPARE(manager.keepAwakeReason(), std::nullopt);
        QTRY_COMPARE(reasons(), QStringList());
    }

    void disarmingWithScheduleOnWaitsForTheSchedule() {
        Defaults defaults(environment_.settingsFilePath());
        LaunchDefaults::registerDefaults(defaults);
        Schedule{{ScheduleWindow{{2}, 22 * 60, 6 * 60}}}.save(defaults);
        defaults.set(SettingsKeys::scheduledArmingEnabled, true);
        ManualClock clock(QDateTime(QDate(2024, 1, 1), QTime(12, 0)));
        LogindSleepInhibitor inhibitor(bus_.connection());
        RecordingManager manager(defaults, clock);
        manager.setSleepInhibitor(&inhibitor);
        manager.setCameraAvailable(true);
        QCOMPARE(manager.keepAwakeReason(), KeepAwakeReason::schedule);
        QTRY_COMPARE(reasons(), QStringList{QStringLiteral("Nelvo is waiting for its schedule")});

        manager.armFromPopover();
        QTRY_COMPARE(reasons(), QStringList{QStringLiteral("Nelvo is armed")});
        manager.disarm();
        QTRY_COMPARE(reasons(), QStringList{QStringLiteral("Nelvo is waiting for its schedule")});

        // Turning the schedule off lets the computer sleep.
        defaults.set(SettingsKeys::scheduledArmingEnabled, false);
        QTRY_COMPARE(manager.keepAwakeReason(), std::nullopt);
        QTRY_COMPARE(reasons(), QStringList());
        defaults.remove(SettingsKeys::scheduleWindows);
        defaults.remove(SettingsKeys::scheduledArmingEnabled);
        defaults.flush();
    }

    void withoutLogindNelvoRunsOn() {
        bus_.stopTemplate(logind);
        Defaults defaults(environment_.settingsFilePath());
        LaunchDefaults::registerDefaults(defaults);
        ManualClock clock(QDateTime(QDate(2024, 1, 1), QTime(12, 0)));
        LogindSleepInhibitor inhibitor(bus_.connection());
        RecordingManager manager(defaults, clock);
        manager.setSleepInhibitor(&inhibitor);
        manager.setCameraAvailable(true);
        manager.armFromPopover();
        QTest::qWait(200);
        clock.advance(5s);
        QCOMPARE(manager.armedState(), ArmState::armed);
        QCOMPARE(manager.keepAwakeReason(), KeepAwakeReason::armed);
        manager.disarm();
        QCOMPARE(manager.armedState(), ArmState::unarmed);
        QVERIFY(bus_.startTemplate(QStringLiteral("logind"), logind));
    }
};

QTEST_GUILESS_MAIN(tst_KeepAwakeReason)
#include "tst_KeepAwakeReason.moc"
