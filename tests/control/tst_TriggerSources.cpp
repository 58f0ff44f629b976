#include "ManagerFixture.h"
#include "SettingsKeys.h"
#include "TriggerSources.h"

#include <QTest>

using namespace SettingsKeys;
using namespace ManagerFixture;

// What could trigger a recording, on its own and as the manager asks it.
class tst_TriggerSources : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void eachTriggerNeedsItsSettingAndItsDevice() {
        TestEnvironment env;
        Defaults defaults(env.settingsFilePath());
        LaunchDefaults::registerDefaults(defaults);
        TriggerSources triggers(defaults);
        QVERIFY(!triggers.canFire());
        QVERIFY(!triggers.ruleCanArm());
        triggers.setCameraAvailable(true);
        QVERIFY(triggers.canFire());
        QVERIFY(triggers.ruleCanArm());
        triggers.setMotionDetectionStopped(true);
        QVERIFY(!triggers.canFire());
        QVERIFY(triggers.ruleCanArm());  // rules ignore stopped detection
        defaults.set(motionTriggerEnabled, false);
        QVERIFY(!triggers.ruleCanArm());
        triggers.setMicrophoneAvailable(true);
        QVERIFY(!triggers.canFire());  // sound is off
        defaults.set(audioTriggerEnabled, true);
        QVERIFY(triggers.canFire());
        QVERIFY(triggers.ruleCanArm());
        triggers.setMicrophoneAvailable(false);
        QVERIFY(!triggers.canFire());
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
};

QTEST_GUILESS_MAIN(tst_TriggerSources)
#include "tst_TriggerSources.moc"
