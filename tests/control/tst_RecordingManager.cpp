#include "FileOutputManager.h"
#include "FolderReads.h"
#include "ManagerFixture.h"
#include "RecordingsFolder.h"
#include "SettingsKeys.h"
#include "StdoutCapture.h"

#include <sys/stat.h>
#include <QDir>
#include <QSignalSpy>
#include <QTest>
#include <cerrno>

using namespace std::chrono_literals;
using namespace SettingsKeys;
using namespace ManagerFixture;

// Arming and disarming, the states and texts the popover shows, and recording
// into the folder.
class tst_RecordingManager : public QObject {
    Q_OBJECT

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
        std::vector<ArmingCause> causes;
        f.manager->onArmedAtLaunch = [&](ArmingCause cause) { causes.push_back(cause); };
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
        QCOMPARE(causes, std::vector{ArmingCause::launch});
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

    void focusArmsOnlyFromUnarmedAndDisarmsOnlyItsOwnStretch() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        std::vector<ArmingCause> causes;
        f.manager->onArmedAtLaunch = [&](ArmingCause cause) { causes.push_back(cause); };
        f.manager->focusChanged(true);
        QVERIFY(f.manager->armedByFocus());
        QCOMPARE(f.manager->armingCountdown(), 15);
        QCOMPARE(causes, std::vector{ArmingCause::focus});
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

    // The line the headless program prints names what armed Nelvo.
    void armingLineNamesTheCause() {
        QCOMPARE(armingLine(ArmingCause::launch, 15), QString("Arming at launch in 15 seconds"));
        QCOMPARE(armingLine(ArmingCause::crash, 15), QString("Arming after a crash in 15 seconds"));
        QCOMPARE(armingLine(ArmingCause::focus, 15), QString("Arming for Focus in 15 seconds"));
        QCOMPARE(armingLine(ArmingCause::schedule, 15),
                 QString("Arming for the schedule in 15 seconds"));
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

    // The main thread (the interface's) never reads the recordings folder:
    // arming, recording, disarming and everything the popover, its menu and
    // Settings ask for come from the manager's last reading of it, which is
    // made on a queue of its own and announced when it changes.
    void theMainThreadNeverReadsTheFolder() {
        Fixture f;
        QDir().mkpath(f.folder());
        // Ten recordings of the last day, six of them in a kept stretch.
        for (int i = 1; i <= 10; ++i) {
            QFile file(f.folder() + u'/' +
                       FileOutputManager::recordingName(f.clock.now().addSecs(-600 * i),
                                                        QStringLiteral("Cam"), std::nullopt) +
                       QStringLiteral(".mov"));
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize(2'000'000));
        }
        ArmedStretch{f.clock.now().addSecs(-3600), f.clock.now().addSecs(-1)}.storeAsLast(
            f.defaults);
        // A size limit, kept when a recording ends, well above what is there.
        f.defaults.set(recordingsLimitGB, 100);
        FolderReads::watch(QFile::encodeName(f.folder()));
        QSignalSpy listed(f.manager.get(), &RecordingManager::recordingsChanged);
        f.manager->refreshRecordings();
        QTRY_VERIFY(f.manager->recordingsListing().isCurrent());
        QVERIFY(listed.count() > 0);
        QVERIFY(f.manager->recordingCost());
        QCOMPARE(f.manager->lastWhatHappened()->events.size(), 6u);
        QVERIFY(f.manager->lastStretch());
        f.manager->checkFolder();
        QTRY_COMPARE(f.manager->recordingsListing().writable(f.folder()), std::optional(true));
        QCOMPARE(f.manager->folderState(), FolderState::inUse(f.folder()));

        f.armNow();
        Camera front(QStringLiteral("Front"));
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        f.clock.advance(30s);  // the size limit's check while recording
        f.manager->stopRecording();
        deliver(*front.recorder);
        // The new file is seen, read on the listing's queue.
        QTRY_COMPARE(f.manager->recordingsListing().recordings().size(), 11);
        f.manager->disarm();
        QTRY_VERIFY(f.manager->recordingsListing().isCurrent());
        QVERIFY(f.manager->lastWhatHappened());
        QCOMPARE(FolderReads::onMainThread().load(), 0);
        FolderReads::watch({});
    }

    // A folder that vanished while armed: the default folder is Nelvo's own
    // and is made again, owner-only, before the next recording starts.
    void aVanishedDefaultFolderIsMadeAgainBeforeTheNextRecording() {
        Fixture f;
        f.armNow();
        QVERIFY(QFileInfo(f.folder()).isDir());
        QVERIFY(QDir(f.folder()).removeRecursively());
        Camera front(QStringLiteral("Front"));
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QCOMPARE(front.recorder->started().size(), 1);
        QCOMPARE(QFileInfo(front.recorder->started().first()).absolutePath(), f.folder());
        struct stat info {};
        QCOMPARE(stat(QFile::encodeName(f.folder()).constData(), &info), 0);
        QVERIFY(S_ISDIR(info.st_mode));
        QCOMPARE(info.st_mode & 07777, mode_t(0700));
        f.manager->stopRecording();
        deliver(*front.recorder);
        QVERIFY(!f.manager->recordingFailure());
    }

    // A chosen folder that vanished is not made again: recordings go to the
    // default folder until it is back.
    void aVanishedChosenFolderFallsBackToTheDefault() {
        Fixture f;
        const QString chosen = f.env.home() + QStringLiteral("/Chosen");
        QVERIFY(QDir().mkpath(chosen));
        QVERIFY(!RecordingsFolder::choose(chosen, f.defaults));
        f.settle();
        f.armNow();
        QVERIFY(QDir(chosen).removeRecursively());
        Camera front(QStringLiteral("Front"));
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QCOMPARE(QFileInfo(front.recorder->started().first()).absolutePath(), f.folder());
        QVERIFY(!QFileInfo::exists(chosen));
        f.manager->stopRecording();
        deliver(*front.recorder);
    }

    // Every trigger tries again and every failure is counted, but the log says
    // a failure that keeps repeating once a minute, with how often it happened.
    void aRepeatingFailureIsLoggedOnceAMinuteWithItsCount() {
        Fixture f;
        f.armNow();
        // Each recording's file fails when it is finished.
        auto failOne = [&f] {
            Camera front(QStringLiteral("Front"));
            f.manager->startRecordings({front.target});
            front.recorder->drain();
            f.manager->stopRecording();
            deliver(*front.recorder, Error::posix(EACCES, QStringLiteral("Permission denied")));
        };
        StdoutCapture capture;
        QList<qint64> counts;
        for (int i = 0; i < 5; ++i) {
            failOne();
            counts << f.manager->recordingFailureCount();
            f.clock.advance(10s);
        }
        f.clock.advance(20s);  // a minute after the first
        failOne();
        counts << f.manager->recordingFailureCount();
        const QString printed = capture.take();
        QCOMPARE(counts, (QList<qint64>{1, 2, 3, 4, 5, 6}));
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QStringList failures;
        for (const QString& line : printed.split(u'\n')) {
            if (line.contains(QStringLiteral("ended with an error"))) {
                failures << line;
            }
        }
        QCOMPARE(failures.size(), 2);
        QVERIFY2(failures[0].endsWith(QStringLiteral("ended with an error: Permission denied")),
                 qPrintable(failures[0]));
        QVERIFY2(failures[1].endsWith(QStringLiteral(
                     "ended with an error: Permission denied (5 times since 09:00:15)")),
                 qPrintable(failures[1]));
    }
};

QTEST_GUILESS_MAIN(tst_RecordingManager)
#include "tst_RecordingManager.moc"
