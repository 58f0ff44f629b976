#include "Defaults.h"
#include "LaunchDefaults.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <QTest>

using namespace SettingsKeys;

class tst_LaunchDefaults : public QObject {
    Q_OBJECT

    static void launch(Defaults& defaults) {
        LaunchDefaults::registerDefaults(defaults);
        LaunchDefaults::writeFirstLaunchValues(defaults);
    }

private Q_SLOTS:
    void firstLaunchHoldsTheStartingValues() {
        TestEnvironment env;
        Defaults defaults(Defaults::standardFilePath());
        LaunchDefaults::registerDefaults(defaults);
        QVERIFY(LaunchDefaults::writeFirstLaunchValues(defaults));
        QCOMPARE(defaults.integer(motionTriggerThreshold), 50);
        QCOMPARE(defaults.integer(timeoutValueInSeconds), 5);
        QCOMPARE(defaults.real(preRollSeconds), 5.0);
        QCOMPARE(defaults.integer(audioTriggerThreshold), 70);
        QCOMPARE(defaults.boolValue(motionTriggerEnabled), true);
        QCOMPARE(defaults.boolValue(audioTriggerEnabled), false);
        QCOMPARE(defaults.boolValue(freshStartNoticePending), true);
        QCOMPARE(defaults.boolValue(validateFirstlaunch), false);
        // Written, not registered: they are real stored values.
        QVERIFY(defaults.hasStoredValue(motionTriggerThreshold));
        QVERIFY(defaults.hasStoredValue(timeoutValueInSeconds));
        QVERIFY(!defaults.hasStoredValue(preRollSeconds));
    }

    void secondLaunchRewritesNothing() {
        TestEnvironment env;
        {
            Defaults defaults(Defaults::standardFilePath());
            launch(defaults);
            defaults.set(motionTriggerThreshold, 20);
            defaults.set(timeoutValueInSeconds, 30);
            defaults.set(freshStartNoticePending, false);
        }
        Defaults defaults(Defaults::standardFilePath());
        LaunchDefaults::registerDefaults(defaults);
        QVERIFY(!LaunchDefaults::writeFirstLaunchValues(defaults));
        QCOMPARE(defaults.integer(motionTriggerThreshold), 20);
        QCOMPARE(defaults.integer(timeoutValueInSeconds), 30);
        QCOMPARE(defaults.boolValue(freshStartNoticePending), false);
    }

    void registeredValuesNeverOverrideTheUsers() {
        TestEnvironment env;
        {
            Defaults defaults(Defaults::standardFilePath());
            defaults.set(preRollSeconds, 12);
            defaults.set(motionTriggerEnabled, false);
        }
        Defaults defaults(Defaults::standardFilePath());
        launch(defaults);
        QCOMPARE(defaults.real(preRollSeconds), 12.0);
        QCOMPARE(defaults.boolValue(motionTriggerEnabled), false);
    }
};

QTEST_GUILESS_MAIN(tst_LaunchDefaults)
#include "tst_LaunchDefaults.moc"
