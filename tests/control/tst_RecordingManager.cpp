#include "ManagerFixture.h"
#include "SettingsKeys.h"

#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;
using namespace SettingsKeys;
using namespace ManagerFixture;

// Arming and disarming, and the states and texts the popover shows.
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
};

QTEST_GUILESS_MAIN(tst_RecordingManager)
#include "tst_RecordingManager.moc"
