#include "Defaults.h"
#include "LaunchDefaults.h"
#include "ManagerFixture.h"
#include "ManualClock.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"
#include "TestRecording.h"

#include <QTest>

using namespace std::chrono_literals;
using namespace SettingsKeys;
using namespace ManagerFixture;

// The test recording the user asks for: on its own, and as the recording
// manager arms and records for it.
class tst_TestRecording : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void armCountdownIsThePreRollAtLeastFive_data() {
        QTest::addColumn<QVariant>("preRoll");
        QTest::addColumn<int>("countdown");
        QTest::newRow("12 s pre-roll") << QVariant(12.0) << 12;
        QTest::newRow("2 s pre-roll uses 5") << QVariant(2.0) << 5;
        QTest::newRow("7.2 s rounds up") << QVariant(7.2) << 8;
        QTest::newRow("45 s is clamped to 30") << QVariant(45.0) << 30;
        QTest::newRow("negative is clamped to 0") << QVariant(-3.0) << 5;
        QTest::newRow("stored as an integer") << QVariant(12) << 12;
    }

    void armCountdownIsThePreRollAtLeastFive() {
        QFETCH(QVariant, preRoll);
        QFETCH(int, countdown);
        TestEnvironment env;
        Defaults defaults(env.settingsFilePath());
        LaunchDefaults::registerDefaults(defaults);
        if (preRoll.typeId() == QMetaType::Int) {
            defaults.set(preRollSeconds, preRoll.toInt());
        } else {
            defaults.set(preRollSeconds, preRoll.toDouble());
        }
        QCOMPARE(TestRecording::armCountdown(defaults), countdown);
    }

    void theDeadlineEndsATestThatOpenedNoFile() {
        ManualClock clock(QDateTime(QDate(2026, 11, 23), QTime(9, 0)));
        int deadlines = 0;
        TestRecording test(clock, [&] { ++deadlines; });
        int changes = 0;
        test.onRunningChanged = [&] { ++changes; };
        test.begin(true);
        QVERIFY(test.running());
        QVERIFY(test.armedItself());
        QCOMPARE(changes, 1);
        clock.advance(60s);  // the deadline runs only once armed
        QCOMPARE(deadlines, 0);
        test.awaitFiles();
        clock.advance(14s);
        QCOMPARE(deadlines, 0);
        clock.advance(1s);
        QCOMPARE(deadlines, 1);
        QVERIFY(test.end());  // it armed by itself: the manager disarms
        QVERIFY(!test.running());
        QVERIFY(!test.armedItself());
        QCOMPARE(changes, 2);
        QVERIFY(!test.end());
        QCOMPARE(changes, 2);
    }

    void opensFilesThenShowsTheFirstGoodOneAndEndsWithTheLast() {
        ManualClock clock(QDateTime(QDate(2026, 11, 23), QTime(9, 0)));
        int deadlines = 0;
        TestRecording test(clock, [&] { ++deadlines; });
        test.begin(false);
        test.awaitFiles();
        test.filesOpened(2);
        QCOMPARE(test.pendingFiles(), 2);
        clock.advance(20s);  // the deadline is off once files are open
        QCOMPARE(deadlines, 0);
        QVERIFY(test.reveal());
        QVERIFY(!test.fileDone());
        QVERIFY(!test.reveal());  // only the first is shown
        QVERIFY(test.fileDone());
        QVERIFY(!test.end());  // armed by hand: stays armed
        QCOMPARE(test.pendingFiles(), 0);
    }

    void cancelNeverDisarms() {
        ManualClock clock(QDateTime(QDate(2026, 11, 23), QTime(9, 0)));
        int deadlines = 0;
        TestRecording test(clock, [&] { ++deadlines; });
        test.begin(true);
        test.awaitFiles();
        test.cancel();
        QVERIFY(!test.running());
        QVERIFY(!test.armedItself());
        clock.advance(20s);
        QCOMPARE(deadlines, 0);
        QVERIFY(!test.end());
    }

    // As the recording manager runs it.

    void testWhileUnarmedCountsDownThePreRoll_data() {
        QTest::addColumn<double>("preRoll");
        QTest::addColumn<int>("countdown");
        QTest::newRow("12 s pre-roll") << 12.0 << 12;
        QTest::newRow("2 s pre-roll uses 5") << 2.0 << 5;
        QTest::newRow("7.2 s rounds up") << 7.2 << 8;
        QTest::newRow("45 s is clamped to 30") << 45.0 << 30;
        QTest::newRow("negative is clamped to 0") << -3.0 << 5;
    }

    void testWhileUnarmedCountsDownThePreRoll() {
        QFETCH(double, preRoll);
        QFETCH(int, countdown);
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.defaults.set(preRollSeconds, preRoll);
        int wanted = 0;
        f.manager->onTestRecordingWanted = [&] { ++wanted; };
        f.manager->startTestRecording();
        QVERIFY(f.manager->isRecordingTest());
        QVERIFY(f.manager->testArmedItself());
        QCOMPARE(f.manager->armedState(), ArmState::arming);
        QCOMPARE(f.manager->armingCountdown(), countdown);
        f.clock.advance(std::chrono::seconds(countdown - 1));
        QCOMPARE(wanted, 0);
        f.clock.advance(1s);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QCOMPARE(wanted, 1);
    }

    void testPreRollStoredAsIntegerIsReadAsSeconds() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.defaults.set(preRollSeconds, 12);
        f.manager->startTestRecording();
        QCOMPARE(f.manager->armingCountdown(), 12);
    }

    void testThatOpensNoFileEndsAfter15SecondsAndDisarms() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.manager->startTestRecording();
        f.clock.advance(5s);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        f.clock.advance(14s);
        QVERIFY(f.manager->isRecordingTest());
        f.clock.advance(1s);
        QVERIFY(!f.manager->isRecordingTest());
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        QVERIFY(!f.manager->testArmedItself());
    }

    void testIsRefusedWhileArmingRecordingOrRunning() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.manager->armFromPopover();
        f.manager->startTestRecording();
        QVERIFY(!f.manager->isRecordingTest());  // arming
        f.clock.advance(5s);
        f.manager->startTestRecording();
        QVERIFY(f.manager->isRecordingTest());
        QVERIFY(!f.manager->testArmedItself());
        int wanted = 0;
        f.manager->onTestRecordingWanted = [&] { ++wanted; };
        f.manager->startTestRecording();  // already running
        QCOMPARE(wanted, 0);
        f.clock.advance(15s);
        QVERIFY(!f.manager->isRecordingTest());
        QCOMPARE(f.manager->armedState(), ArmState::armed);  // armed by hand: stays armed
    }

    void testWhileUnarmedWithNothingToTriggerIsRefused() {
        Fixture f;
        f.manager->startTestRecording();
        QVERIFY(!f.manager->isRecordingTest());
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
    }

    void testWhileUnarmedWithPreRoll8RecordsAfter8Seconds() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.defaults.set(preRollSeconds, 8);
        Camera front("Front Door");
        QStringList revealed;
        f.manager->onTestRecordingWanted = [&] { f.manager->startRecordings({front.target}); };
        f.manager->onTestRecordingFinished = [&](const QString& path) { revealed << path; };
        f.manager->startTestRecording();
        QCOMPARE(f.manager->armingCountdown(), 8);
        f.clock.advance(7s);
        QCOMPARE(f.manager->armedState(), ArmState::arming);
        f.clock.advance(1s);
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        QCOMPARE(f.manager->pendingTestFiles(), 1);
        f.clock.advance(20s);  // the deadline is off once files are open
        QVERIFY(f.manager->isRecordingTest());
        front.recorder->drain();
        f.manager->stopRecording();
        deliver(*front.recorder);
        QCOMPARE(revealed, front.recorder->started());
        QVERIFY(!f.manager->isRecordingTest());
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);  // the test armed by itself
    }

    void testThatOpensNoFileDisarmsWithoutClearingNotices() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.defaults.set(preRollSeconds, 8);
        f.manager->freeSpace = [] { return std::optional<qint64>(100); };
        Camera front("Front Door");
        // An earlier failure is on show.
        f.armNow();
        f.manager->startRecordings({front.target});
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));
        f.manager->stopRecording();
        f.manager->disarm(true);
        f.manager->startTestRecording();  // nothing opens a file
        f.clock.advance(8s);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        f.clock.advance(15s);
        QVERIFY(!f.manager->isRecordingTest());
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));
        QCOMPARE(f.manager->recordingFailureCount(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_TestRecording)
#include "tst_TestRecording.moc"
