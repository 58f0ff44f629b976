#include "Defaults.h"
#include "FakeMovieRecorder.h"
#include "FileOutputManager.h"
#include "LaunchDefaults.h"
#include "ManualClock.h"
#include "MovieProbe.h"
#include "MovieWriter.h"
#include "PreRollRecorder.h"
#include "RecorderFeed.h"
#include "RecordingManager.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <sys/mount.h>
#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <memory>

using namespace std::chrono_literals;
using namespace SettingsKeys;

class tst_RecordingManager : public QObject {
    Q_OBJECT

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
    static int failureOf(const RecordingManager& manager) {
        const auto failure = manager.recordingFailure();
        return failure ? int(failure->value()) : -1;
    }

    // Runs the recorders' completions, which come back through the main thread.
    static void deliver(FakeMovieRecorder& recorder, std::optional<Error> error = std::nullopt,
                        qint64 bytes = 1024) {
        recorder.finishNext(std::move(error), bytes);
        QCoreApplication::processEvents();
    }

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

    void startsUnarmed() {
        Fixture f;
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        QCOMPARE(f.manager->armedStateRaw(), QVariant(0));
        QCOMPARE(f.manager->armedStateDescription(), QString("Unarmed"));
        QCOMPARE(f.manager->armedButtonText(), QString("Arm"));
        QCOMPARE(f.manager->armedStateColor(), StateColor::label);
    }

    void motionWithoutCameraAndSoundOffCannotArm() {
        Fixture f;
        f.manager->setCameraAvailable(false);
        f.manager->setMicrophoneAvailable(true);
        QVERIFY(!f.manager->canTrigger());  // the Arm button is disabled
        f.manager->armFromPopover();
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        QCOMPARE(f.manager->armedStateDescription(), QString("Unarmed"));
        QCOMPARE(f.manager->armFromShortcut(), RecordingManager::ArmRequest::nothingCanTrigger);
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
    }

    void canTriggerFollowsEachTrigger() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        QVERIFY(f.manager->canTrigger());
        f.manager->setMotionDetectionStopped(true);
        QVERIFY(!f.manager->canTrigger());
        f.defaults.set(audioTriggerEnabled, true);
        QVERIFY(!f.manager->canTrigger());  // no microphone
        f.manager->setMicrophoneAvailable(true);
        QVERIFY(f.manager->canTrigger());
    }

    void countdownOf15CountsDownThenArms() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.defaults.set(armAtLogin, true);
        f.manager->armAtLaunch();
        QCOMPARE(f.manager->armedState(), ArmState::arming);
        QCOMPARE(f.manager->armedStateColor(), StateColor::orange);
        QCOMPARE(f.manager->armedButtonText(), QString("Disarm"));
        QSignalSpy descriptionChanges(f.manager.get(),
                                      &RecordingManager::armedStateDescriptionChanged);
        QStringList seen{f.manager->armedStateDescription()};
        connect(f.manager.get(), &RecordingManager::armedStateDescriptionChanged, this, [&] {
            if (seen.last() != f.manager->armedStateDescription()) {
                seen << f.manager->armedStateDescription();
            }
        });
        f.clock.advance(14s);
        QCOMPARE(f.manager->armedState(), ArmState::arming);
        QCOMPARE(f.manager->armedStateDescription(), QString("Arming… 1"));
        f.clock.advance(1s);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QStringList expected;
        for (int n = 15; n >= 1; --n) {
            expected << QString("Arming… %1").arg(n);
        }
        expected << "Armed";
        QCOMPARE(seen, expected);
        QVERIFY(descriptionChanges.count() >= 15);
        QCOMPARE(f.manager->armedStateColor(), StateColor::red);
        f.clock.advance(10s);
        QCOMPARE(f.manager->armedState(), ArmState::armed);  // the countdown timer is gone
        QCOMPARE(f.manager->armingCountdown(), 0);
    }

    void popoverArmsWithFiveSecondsAndDisarmsWhenPressedAgain() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        QSignalSpy raw(f.manager.get(), &RecordingManager::armedStateRawChanged);
        f.manager->armFromPopover();
        QCOMPARE(f.manager->armingCountdown(), 5);
        QCOMPARE(f.manager->armedStateRaw(), QVariant(1));
        f.clock.advance(5s);
        QCOMPARE(f.manager->armedStateRaw(), QVariant(2));
        f.manager->armFromPopover();
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        QCOMPARE(raw.count(), 3);
    }

    void shortcutArmsOnceAndAnswersAlreadyArmed() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        QCOMPARE(f.manager->armFromShortcut(), RecordingManager::ArmRequest::armed);
        QCOMPARE(f.manager->armingCountdown(), 5);
        QCOMPARE(f.manager->armFromShortcut(), RecordingManager::ArmRequest::alreadyArmed);
        QCOMPARE(f.manager->armedState(), ArmState::arming);
    }

    void armAtLaunchRunsAtMostOncePerRun() {
        Fixture f;
        f.defaults.set(armAtLogin, true);
        int launchNotices = 0;
        f.manager->onArmedAtLaunch = [&] { ++launchNotices; };
        f.manager->devicesChanged();  // no camera yet: nothing to arm with
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        f.manager->setCameraAvailable(true);
        f.manager->devicesChanged();
        QCOMPARE(f.manager->armedState(), ArmState::arming);
        QCOMPARE(f.manager->armingCountdown(), 15);
        QVERIFY(f.manager->armedAtLaunch());
        f.clock.advance(15s);
        f.manager->disarm();
        // The camera goes away and comes back.
        f.manager->setCameraAvailable(false);
        f.manager->devicesChanged();
        f.manager->setCameraAvailable(true);
        f.manager->devicesChanged();
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        QCOMPARE(launchNotices, 1);
    }

    void armAtLaunchNeedsTheSettingAndIgnoresStoppedMotion() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.manager->armAtLaunch();
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        f.defaults.set(armAtLogin, true);
        f.manager->setMotionDetectionStopped(true);
        f.manager->armAtLaunch();
        QCOMPARE(f.manager->armedState(), ArmState::arming);
    }

    void turningOffTheOnlyUsableTriggerDisarms() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.manager->setMicrophoneAvailable(false);
        f.defaults.set(audioTriggerEnabled, true);  // on, but no microphone
        f.manager->armFromPopover();
        f.clock.advance(5s);
        f.settle();
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        f.defaults.set(motionTriggerEnabled, false);
        QTRY_COMPARE(f.manager->armedState(), ArmState::unarmed);
    }

    void turningOffOneOfTwoTriggersKeepsArmed() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.manager->setMicrophoneAvailable(true);
        f.defaults.set(audioTriggerEnabled, true);
        f.manager->armFromPopover();
        f.defaults.set(motionTriggerEnabled, false);
        f.settle();
        QTest::qWait(50);
        QCOMPARE(f.manager->armedState(), ArmState::arming);
    }

    void losingTheCameraDisarmsWhenNothingElseCanTrigger() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.manager->armFromPopover();
        f.manager->setCameraAvailable(false);
        f.manager->devicesChanged();
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
    }

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

    void focusArmsOnlyFromUnarmedAndDisarmsOnlyItsOwnStretch() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        int notices = 0;
        f.manager->onArmedAtLaunch = [&] { ++notices; };
        f.manager->focusChanged(true);
        QVERIFY(f.manager->armedByFocus());
        QCOMPARE(f.manager->armingCountdown(), 15);
        QCOMPARE(notices, 1);
        f.clock.advance(15s);
        QCOMPARE(f.manager->armedStateDescription(), QString("Armed by Focus"));
        f.manager->focusChanged(false);
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        QVERIFY(!f.manager->armedByFocus());

        f.manager->armFromPopover();  // armed by hand
        f.manager->focusChanged(true);
        QVERIFY(!f.manager->armedByFocus());
        f.manager->focusChanged(false);
        QCOMPARE(f.manager->armedState(), ArmState::arming);
    }

    void armingWritesTheArmedRecordAndDisarmRemovesIt() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.manager->armFromPopover();
        QCOMPARE(f.defaults.date(armedRecordLastSeen), f.clock.now());
        QCOMPARE(f.defaults.hasStoredValue(armedRecordBySchedule), true);
        QCOMPARE(f.defaults.date(armedStretchSince), f.clock.now());
        f.manager->disarm();
        QVERIFY(!f.defaults.date(armedRecordLastSeen));
        QVERIFY(!f.defaults.hasStoredValue(armedRecordBySchedule));
    }

    void scheduleBoundaryTexts() {
        const QDateTime now(QDate(2026, 11, 23), QTime(9, 0));  // Monday
        QCOMPARE(RecordingManager::scheduleBoundaryText(
                     QDateTime(QDate(2026, 11, 23), QTime(22, 0)), now),
                 QString("10:00 PM"));
        QCOMPARE(RecordingManager::scheduleBoundaryText(
                     QDateTime(QDate(2026, 11, 24), QTime(6, 30)), now),
                 QString("6:30 AM tomorrow"));
        QCOMPARE(RecordingManager::scheduleBoundaryText(QDateTime(QDate(2026, 11, 27), QTime(8, 0)),
                                                        now),
                 QString("8:00 AM on Friday"));
        QCOMPARE(RecordingManager::scheduleBoundaryText(QDateTime(QDate(2026, 11, 30), QTime(8, 0)),
                                                        now),
                 QString("8:00 AM on Monday"));
    }

    void countdownStopsAtZero() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.manager->armFromPopover();
        f.clock.advance(5s);
        QCOMPARE(f.manager->armingCountdown(), 0);
        f.clock.advance(10s);
        QCOMPARE(f.manager->armingCountdown(), 0);  // the timer stopped at 0
    }

    // Recording control.

    void startWhileArmingIsIgnored() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.manager->armFromPopover();
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QCOMPARE(f.manager->armedState(), ArmState::arming);
        QVERIFY(front.recorder->started().isEmpty());
    }

    void startOpensOneFilePerCameraNamedAfterItsStart() {
        Fixture f;
        f.armNow();
        Camera front("Front Door");
        f.manager->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
        f.manager->startRecordings({front.target});
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        front.recorder->drain();
        QCOMPARE(front.recorder->started(),
                 QStringList{f.folder() + "/2026-11-23 08.59.55 - Front Door + Desk Mic.mov"});
        QCOMPARE(f.manager->currentFilePaths().size(), 1);
    }

    void twoCamerasReturnToArmedOnlyAfterBothFiles() {
        Fixture f;
        f.armNow();
        Camera front("Front Door"), back("Back Door");
        int finished = 0;
        f.manager->onRecordingsFinished = [&] { ++finished; };
        f.manager->startRecordings({front.target, back.target});
        front.recorder->drain();
        back.recorder->drain();
        QCOMPARE(f.manager->currentFilePaths().size(), 2);
        deliver(*front.recorder);  // both cameras stop by themselves
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        QCOMPARE(finished, 0);
        deliver(*back.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QCOMPARE(finished, 1);
        const QString path = front.recorder->started().first();
        QCOMPARE(QFileInfo(path).permissions() & 0x7777,
                 QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser |
                     QFileDevice::WriteUser);
    }

    void stopRecordingReturnsToArmedAtOnceAndStopsEveryRecorder() {
        Fixture f;
        f.armNow();
        Camera front("Front Door"), back("Back Door");
        f.manager->startRecordings({front.target, back.target});
        f.manager->stopRecording();
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QVERIFY(f.manager->currentFilePaths().isEmpty());
        front.recorder->drain();
        back.recorder->drain();
        QCOMPARE(front.recorder->stops(), 1);
        QCOMPARE(back.recorder->stops(), 1);
        deliver(*front.recorder);
        deliver(*back.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QVERIFY(!f.manager->recordingFailure());
    }

    void finishingRecordingsKeepsRecordingUntilTheLastFileIsWritten() {
        Fixture f;
        f.armNow();
        Camera front("Front Door"), back("Back Door");
        int finished = 0;
        f.manager->onRecordingsFinished = [&] { ++finished; };
        f.manager->startRecordings({front.target, back.target});
        f.manager->finishRecordings();
        front.recorder->drain();
        back.recorder->drain();
        QCOMPARE(front.recorder->stops(), 1);
        QCOMPARE(back.recorder->stops(), 1);
        // Still recording: a trigger meanwhile cannot start another recording.
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QCOMPARE(front.recorder->started().size(), 1);
        deliver(*front.recorder);
        QCOMPARE(finished, 0);
        deliver(*back.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QCOMPARE(finished, 1);
    }

    void finishingRecordingsWhileArmedDoesNothing() {
        Fixture f;
        f.armNow();
        Camera front("Front Door");
        f.manager->finishRecordings();
        front.recorder->drain();
        QCOMPARE(front.recorder->stops(), 0);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
    }

    void fileAbandonedBeforeItsFirstKeyframeIsNoFailure() {
        Fixture f;
        f.armNow();
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        deliver(*front.recorder, Error{Error::writerDomain, MovieWriter::noDataCode,
                                       "No keyframe arrived", nullptr});
        QVERIFY(!f.manager->recordingFailure());
        QCOMPARE(f.manager->recordingFailureCount(), 0);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
    }

    void failedFilesAreClassifiedAndCountedOncePerRecording() {
        Fixture f;
        f.armNow();
        Camera front("Front Door"), back("Back Door");
        f.manager->startRecordings({front.target, back.target});
        front.recorder->drain();
        back.recorder->drain();
        deliver(*front.recorder, Error::posix(ENOSPC));
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));
        QCOMPARE(f.manager->recordingFailureCount(), 1);
        deliver(*back.recorder, Error::posix(EACCES));  // the same recording: not counted again
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::notPermitted));
        QCOMPARE(f.manager->recordingFailureCount(), 1);
        QCOMPARE(f.manager->recordingFailedAt(), f.clock.now());
        // The next recording fails too: two in a row.
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        f.manager->stopRecording();
        deliver(*front.recorder, Error::posix(ENOENT));
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::destinationMissing));
        QCOMPARE(f.manager->recordingFailureCount(), 2);
        // A recording that succeeds clears the record.
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        f.manager->stopRecording();
        deliver(*front.recorder);
        QVERIFY(!f.manager->recordingFailure());
        QCOMPARE(f.manager->recordingFailureCount(), 0);
        QVERIFY(!f.manager->recordingFailedAt().isValid());
    }

    void freeSpaceJustBelowTheThresholdRefusesAStart() {
        Fixture f;
        f.armNow();
        Camera front("Front Door");
        f.manager->freeSpace = [] { return std::optional<qint64>(2147483647); };
        f.manager->startRecordings({front.target});
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));
        QCOMPARE(f.manager->recordingFailureCount(), 1);
        f.manager->freeSpace = [] { return std::optional<qint64>(2147483648); };
        f.manager->startRecordings({front.target});
        QCOMPARE(f.manager->armedState(), ArmState::recording);
    }

    void freeSpaceOfARealSmallVolumeDecidesTheStart() {
        if (geteuid() != 0) {
            QSKIP("mounting a small file system for the recordings needs root");
        }
        Fixture f;
        const QString mountPoint = f.env.home() + "/Videos";
        QDir().mkpath(mountPoint);
        if (::mount("tmpfs", mountPoint.toLocal8Bit().constData(), "tmpfs", 0, "size=2g") != 0) {
            QSKIP("this machine does not allow mounting a tmpfs");
        }
        auto unmount =
            qScopeGuard([&] { ::umount2(mountPoint.toLocal8Bit().constData(), MNT_DETACH); });
        f.armNow();
        f.manager->fileOutputManager().setFolder(f.folder());
        QCOMPARE(f.manager->fileOutputManager().availableCapacity(),
                 std::optional<qint64>(2147483648));
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        front.recorder->drain();
        deliver(*front.recorder, std::nullopt, 1);  // one byte takes a page: below 2 GiB now
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        f.manager->startRecordings({front.target});
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));
    }

    void runningOutOfSpaceWhileRecordingStopsAndReportsDiskFull() {
        Fixture f;
        f.armNow();
        Camera front("Front Door"), back("Back Door");
        std::optional<qint64> free = 1LL << 40;
        f.manager->freeSpace = [&] { return free; };
        f.manager->startRecordings({front.target, back.target});
        free = 1LL << 30;
        f.clock.advance(30s);
        QVERIFY(f.manager->stoppingForSpace());
        front.recorder->drain();
        back.recorder->drain();
        QCOMPARE(front.recorder->stops(), 1);
        QCOMPARE(back.recorder->stops(), 1);
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        deliver(*front.recorder);
        QVERIFY(!f.manager->recordingFailure());
        deliver(*back.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));
        QVERIFY(!f.manager->stoppingForSpace());
    }

    void aLimitOfZeroNeverRolls() {
        Fixture f;
        f.armNow();
        f.manager->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QFile big(front.recorder->started().first());
        QVERIFY(big.open(QIODevice::WriteOnly));
        QVERIFY(big.resize(3LL << 30));  // sparse: takes no real space
        f.defaults.set("recordingsLimitGB", 0);
        f.clock.advance(30s);
        front.recorder->drain();
        QVERIFY(front.recorder->rolled().isEmpty());
        f.defaults.set("recordingsLimitGB", 2);
        f.clock.advance(30s);
        front.recorder->drain();
        QCOMPARE(front.recorder->rolled().size(), 1);
        QCOMPARE(f.manager->currentFilePaths().size(), 2);
    }

    void aLimitOf20000ActsAs10000() {
        Fixture f;
        f.armNow();
        f.manager->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QFile big(front.recorder->started().first());
        QVERIFY(big.open(QIODevice::WriteOnly));
        if (!big.resize((10000LL << 30) + 1)) {
            QSKIP("this file system cannot hold a sparse file above 10 000 GiB");
        }
        f.defaults.set("recordingsLimitGB", 20000);
        f.clock.advance(30s);
        front.recorder->drain();
        QCOMPARE(front.recorder->rolled().size(), 1);  // above 10 000 GiB, though below 20 000
    }

    void sizeLimitDeletesTheOldestRecordingsAndCountsThem() {
        Fixture f;
        f.armNow();
        f.manager->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
        QDir().mkpath(f.folder());
        const QStringList old{"2026-11-20 10.00.00 - Front Door.mov",
                              "2026-11-20 10.00.00 - Front Door.jpg",
                              "2026-11-21 10.00.00 - Front Door.mov"};
        for (const QString& name : old) {
            QFile file(f.folder() + "/" + name);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize(name.endsWith("jpg")            ? 1024
                                : name.startsWith("2026-11-20") ? (1LL << 30)
                                                                : (1 << 20)));
        }
        f.defaults.set("recordingsLimitGB", 1);
        QSignalSpy deletedSpy(f.manager.get(), &RecordingManager::deletedChanged);
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        deliver(*front.recorder);  // the last file finished: the limit is enforced
        QVERIFY(!QFile::exists(f.folder() + "/" + old[0]));
        QVERIFY(!QFile::exists(f.folder() + "/" + old[1]));
        QVERIFY(QFile::exists(f.folder() + "/" + old[2]));
        QCOMPARE(f.manager->deletedCount(), 2);
        QCOMPARE(f.manager->deletedAt(), f.clock.now());
        QCOMPARE(deletedSpy.count(), 1);
        f.manager->disarm();  // a disarm clears the notices
        QCOMPARE(f.manager->deletedCount(), 0);
        QVERIFY(!f.manager->deletedAt().isValid());
    }

    void disarmWhileRecordingStopsTheRecordersAndEmptiesTheFiles() {
        Fixture f;
        f.armNow();
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        f.manager->disarm();
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        QVERIFY(f.manager->currentFilePaths().isEmpty());
        front.recorder->drain();
        QCOMPARE(front.recorder->stops(), 1);
        deliver(*front.recorder);
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

    // Real recorders fed by real encoded streams: a start, a roll-over and a
    // stop for space make two files per camera that an independent reader reads.
    void twoRealRecordersStartRollAndStop() {
        Fixture f;
        f.defaults.set(preRollSeconds, 1);
        f.armNow();
        const RecorderMedia media = RecorderMedia::make(6.0);
        auto front = std::make_shared<PreRollRecorder>(f.defaults);
        auto back = std::make_shared<PreRollRecorder>(f.defaults);
        media.feed(*front, 0, 2);
        media.feed(*back, 0, 2);
        front->setNewestFrame(EncodedStream::rawFrame(320, 240, "I420"));
        back->setNewestFrame(EncodedStream::rawFrame(320, 240, "I420"));
        int finished = 0;
        f.manager->onRecordingsFinished = [&] { ++finished; };
        f.manager->startRecordings(
            {{front, QStringLiteral("Front Door"), QStringLiteral("Desk Mic")},
             {back, QStringLiteral("Back Door"), std::nullopt}});
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        media.feed(*front, 2, 3.5);
        media.feed(*back, 2, 3.5);
        f.manager->rollOver();
        QCOMPARE(f.manager->currentFilePaths().size(), 4);
        media.feed(*front, 3.5, 6);
        media.feed(*back, 3.5, 6);
        f.manager->stopForSpace();
        // The rolled-over files finish first; the state waits for every file.
        QTRY_COMPARE_WITH_TIMEOUT(finished, 1, 20000);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QVERIFY(f.manager->currentFilePaths().isEmpty());
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));

        const QDir folder(f.folder());
        const QStringList movies = folder.entryList({"*.mov"}, QDir::Files, QDir::Name);
        QCOMPARE(movies.size(), 4);
        // Beside the first file of each camera only.
        QTRY_COMPARE(folder.entryList({"*.jpg"}, QDir::Files).size(), 2);
        const QRegularExpression named(
            R"(^\d{4}-\d\d-\d\d \d\d\.\d\d\.\d\d - (Front Door \+ Desk Mic|Back Door)( \d+)?\.mov$)");
        const int expectedFrames =
            media.videoFramesFrom(media.keyframeAtOrBefore(2.0 - 1 / 30.0 - 1.0), 6.0);
        int frontFrames = 0;
        int backFrames = 0;
        for (const QString& name : movies) {
            QVERIFY2(named.match(name).hasMatch(), qPrintable(name));
            const QString path = folder.filePath(name);
            QCOMPARE(QFileInfo(path).permissions() & 0x7777,
                     QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser |
                         QFileDevice::WriteUser);
            const MovieProbe probe(path);
            QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
            QCOMPARE(probe.codec("video"), QString("h264"));
            QCOMPARE(probe.codec("audio"), QString("aac"));
            QVERIFY(probe.firstFrameIsKeyframe());
            QCOMPARE(probe.firstTime("video").value_or(-1), 0.0);
            QVERIFY(probe.timestampsMonotonic());
            (name.contains("Front Door") ? frontFrames : backFrames) += probe.frameCount();
        }
        // The two files of a camera neither overlap nor leave out a frame.
        QCOMPARE(frontFrames, expectedFrames);
        QCOMPARE(backFrames, expectedFrames);
    }

    void recordingCostNeedsTenRecordingsOfTheLastDay() {
        Fixture f;
        QDir().mkpath(f.folder());
        auto make = [&](const QDateTime& start, qint64 bytes) {
            QFile file(f.folder() + "/" + start.toString("yyyy-MM-dd HH.mm.ss") + " - Cam.mov");
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize(bytes));
        };
        for (int i = 0; i < 9; ++i) {
            make(f.clock.now().addSecs(-3600 * (i + 1)), 1000000LL * (i + 1));
        }
        make(f.clock.now().addSecs(600), 1000000);  // in the future: not counted
        QVERIFY(!f.manager->recordingCost());
        make(f.clock.now().addSecs(-86400), 10000000);
        const auto cost = f.manager->recordingCost();
        QVERIFY(cost);
        QCOMPARE(cost->count, 10);
        QCOMPARE(cost->typicalSeconds, 6.0);   // sizes 1..10 MB: the upper median is 6 MB = 6 s
        QCOMPARE(cost->minimumSeconds, 10.0);  // pre-roll 5 + timeout 5
    }
};

QTEST_GUILESS_MAIN(tst_RecordingManager)
#include "tst_RecordingManager.moc"
