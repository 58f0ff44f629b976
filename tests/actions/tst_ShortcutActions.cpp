#include "ManagerFixture.h"
#include "ShortcutActions.h"
#include "StdoutCapture.h"

#include <QTest>

using namespace ManagerFixture;

// The desktop's actions and scripts on a real recording manager: what each
// does to the armed state and the dialog it answers.
class tst_ShortcutActions : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void armingTwiceAnswersAlreadyArmed() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        ShortcutActions actions(*f.manager);
        const ShortcutActions::Answer first = actions.arm();
        QCOMPARE(first.dialog, QStringLiteral("Nelvo is arming."));
        QVERIFY(first.done);
        QCOMPARE(f.manager->armedState(), ArmState::arming);
        QCOMPARE(f.manager->armingCountdown(), 5);
        const ShortcutActions::Answer second = actions.arm();
        QCOMPARE(second.dialog, QStringLiteral("Nelvo is already armed."));
        QCOMPARE(f.manager->armedState(), ArmState::arming);
        QCOMPARE(f.manager->armingCountdown(), 5);
    }

    void armingWithNothingToTriggerIsRefused() {
        Fixture f;  // motion on, but no camera; sound off
        ShortcutActions actions(*f.manager);
        const ShortcutActions::Answer answer = actions.arm();
        QCOMPARE(answer.dialog,
                 QStringLiteral("Nelvo can't arm: nothing can trigger a recording. Check the "
                                "camera and microphone in Preferences."));
        QVERIFY(!answer.done);
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
    }

    void disarmingAnswersWhateverTheState() {
        Fixture f;
        ShortcutActions actions(*f.manager);
        QCOMPARE(actions.disarm().dialog, QStringLiteral("Nelvo is disarmed."));
        f.armNow();
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        const ShortcutActions::Answer answer = actions.disarm();
        QCOMPARE(answer.dialog, QStringLiteral("Nelvo is disarmed."));
        QVERIFY(answer.done);
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
    }

    void askingAnswersTheStateText() {
        Fixture f;
        ShortcutActions actions(*f.manager);
        QString dialog;
        QVERIFY(!actions.isArmed(dialog));
        QCOMPARE(dialog, QStringLiteral("Unarmed"));
        f.manager->setCameraAvailable(true);
        actions.arm();
        QVERIFY(actions.isArmed(dialog));
        QCOMPARE(dialog, QStringLiteral("Arming… 5"));
        f.clock.advance(5s);
        QVERIFY(actions.isArmed(dialog));
        QCOMPARE(dialog, QStringLiteral("Armed"));
    }

    void aTestWhileATestIsRunningCannotBeRecorded() {
        Fixture f;
        int wanted = 0;
        f.manager->onTestRecordingWanted = [&wanted] { ++wanted; };
        f.armNow();
        ShortcutActions actions(*f.manager);
        const ShortcutActions::Answer first = actions.recordTest();
        QCOMPARE(first.dialog, QStringLiteral("Nelvo is recording a test."));
        QVERIFY(first.done);
        QCOMPARE(wanted, 1);
        const ShortcutActions::Answer second = actions.recordTest();
        QCOMPARE(second.dialog, QStringLiteral("Nelvo can't record a test right now."));
        QVERIFY(!second.done);
        QCOMPARE(wanted, 1);
    }

    void aTestWhileArmingCannotBeRecorded() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        ShortcutActions actions(*f.manager);
        actions.arm();
        QCOMPARE(f.manager->armedState(), ArmState::arming);
        const ShortcutActions::Answer answer = actions.recordTest();
        QCOMPARE(answer.dialog, QStringLiteral("Nelvo can't record a test right now."));
        QVERIFY(!answer.done);
        QVERIFY(!f.manager->isRecordingTest());
    }

    void aTestWhileUnarmedArmsFirst() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        ShortcutActions actions(*f.manager);
        QCOMPARE(actions.recordTest().dialog, QStringLiteral("Nelvo is recording a test."));
        QCOMPARE(f.manager->armedState(), ArmState::arming);
        QVERIFY(f.manager->testArmedItself());
    }

    void aFocusTurningOnArmsWithTheLongCountdownAndOffDisarms() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        ShortcutActions actions(*f.manager);
        StdoutCapture output;
        QCOMPARE(actions.focus(true), QStringLiteral("Arming… 15"));
        QVERIFY(f.manager->armedByFocus());
        QCOMPARE(actions.focus(false), QStringLiteral("Unarmed"));
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        QCOMPARE(output.take().split(u'\n', Qt::SkipEmptyParts),
                 (QStringList{"focus filter performed, armed=true, manager=true",
                              "after focusChanged: state=arming armedByFocus=true",
                              "focus filter performed, armed=false, manager=true",
                              "after focusChanged: state=unarmed armedByFocus=false"}));
    }

    void aFocusOverAnArmByHandLeavesItArmedWhenItEnds() {
        Fixture f;
        f.armNow();
        ShortcutActions actions(*f.manager);
        actions.focus(true);
        QVERIFY(!f.manager->armedByFocus());
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        actions.focus(false);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
    }
};

QTEST_GUILESS_MAIN(tst_ShortcutActions)
#include "tst_ShortcutActions.moc"
