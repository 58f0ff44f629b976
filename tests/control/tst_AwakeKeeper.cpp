#include "AwakeKeeper.h"
#include "Defaults.h"
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
class tst_AwakeKeeper : public QObject {
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

    void holdsOneInhibitionForEachReason() {
        LogindSleepInhibitor inhibitor(bus_.connection());
        AwakeKeeper keeper;
        keeper.setInhibitor(&inhibitor);
        QVERIFY(!keeper.update(ArmState::unarmed, false, false));
        QCOMPARE(keeper.reason(), std::nullopt);
        QVERIFY(keeper.update(ArmState::arming, false, false));
        QCOMPARE(keeper.reason(), KeepAwakeReason::armed);
        QVERIFY(!keeper.update(ArmState::recording, false, false));  // the same reason
        QTRY_COMPARE(reasons(), QStringList{QStringLiteral("Nelvo is armed")});
        QVERIFY(keeper.update(ArmState::unarmed, true, true));
        QCOMPARE(keeper.reason(), KeepAwakeReason::schedule);
        QTRY_COMPARE(reasons(), QStringList{QStringLiteral("Nelvo is waiting for its schedule")});
        QVERIFY(keeper.update(ArmState::unarmed, true, false));
        QTRY_COMPARE(reasons(), QStringList());
    }

    void anotherInhibitorLetsGoOfWhatWasHeld() {
        LogindSleepInhibitor inhibitor(bus_.connection());
        AwakeKeeper keeper;
        keeper.setInhibitor(&inhibitor);
        QVERIFY(keeper.update(ArmState::armed, false, false));
        QTRY_COMPARE(reasons(), QStringList{QStringLiteral("Nelvo is armed")});
        keeper.setInhibitor(nullptr);
        QCOMPARE(keeper.reason(), std::nullopt);
        QTRY_COMPARE(reasons(), QStringList());
        // Without an inhibitor the reason is still followed.
        QVERIFY(keeper.update(ArmState::armed, false, false));
        QCOMPARE(keeper.reason(), KeepAwakeReason::armed);
        QTest::qWait(200);
        QCOMPARE(reasons(), QStringList());
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

QTEST_GUILESS_MAIN(tst_AwakeKeeper)
#include "tst_AwakeKeeper.moc"
