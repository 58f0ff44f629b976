#include "ArmedStateText.h"
#include "Defaults.h"
#include "ScheduleRunner.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <QLocale>
#include <QTest>

// The line, colour and button text of each armed state, and when a schedule
// window starts or ends as the popover says it.
class tst_ArmedStateText : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

    void eachStateHasItsLineColourAndButton() {
        TestEnvironment env;
        Defaults defaults(env.settingsFilePath());
        const ScheduleRunner schedule(defaults);
        const QDateTime now(QDate(2026, 11, 23), QTime(9, 0));
        using ArmedStateText::description;
        QCOMPARE(description(ArmState::unarmed, 0, false, false, schedule, now),
                 QString("Unarmed"));
        QCOMPARE(description(std::nullopt, 0, false, false, schedule, now), QString("Unarmed"));
        QCOMPARE(description(ArmState::arming, 12, false, false, schedule, now),
                 QString("Arming… 12"));
        QCOMPARE(description(ArmState::armed, 0, false, false, schedule, now), QString("Armed"));
        QCOMPARE(description(ArmState::armed, 0, false, true, schedule, now),
                 QString("Armed by Focus"));
        // Armed by a schedule that is off: no window end to tell.
        QCOMPARE(description(ArmState::armed, 0, true, false, schedule, now), QString("Armed"));
        QCOMPARE(description(ArmState::recording, 0, false, true, schedule, now),
                 QString("Recording"));
        QCOMPARE(ArmedStateText::color(ArmState::unarmed), StateColor::label);
        QCOMPARE(ArmedStateText::color(ArmState::arming), StateColor::orange);
        QCOMPARE(ArmedStateText::color(ArmState::armed), StateColor::red);
        QCOMPARE(ArmedStateText::color(ArmState::recording), StateColor::red);
        QCOMPARE(ArmedStateText::buttonText(ArmState::unarmed), QString("Arm"));
        QCOMPARE(ArmedStateText::buttonText(ArmState::arming), QString("Disarm"));
        QCOMPARE(ArmedStateText::buttonText(ArmState::recording), QString("Disarm"));
    }

    void theScheduleTellsWhenItsWindowsStartAndEnd() {
        TestEnvironment env;
        Defaults defaults(env.settingsFilePath());
        Schedule{{ScheduleWindow{{2}, 22 * 60, 23 * 60}}}.save(defaults);  // Mondays 22:00-23:00
        defaults.set(SettingsKeys::scheduledArmingEnabled, true);
        const ScheduleRunner schedule(defaults);
        using ArmedStateText::description;
        const QDateTime morning(QDate(2026, 11, 23), QTime(9, 0));  // Monday
        QCOMPARE(description(ArmState::unarmed, 0, false, false, schedule, morning),
                 QString("Unarmed until 10:00 PM"));
        const QDateTime inside(QDate(2026, 11, 23), QTime(22, 30));
        QCOMPARE(description(ArmState::armed, 0, true, false, schedule, inside),
                 QString("Armed on schedule until 11:00 PM"));
        QCOMPARE(description(ArmState::armed, 0, false, false, schedule, inside), QString("Armed"));
    }

    void scheduleBoundaryTexts() {
        const QDateTime now(QDate(2026, 11, 23), QTime(9, 0));  // Monday
        QCOMPARE(
            ArmedStateText::scheduleBoundaryText(QDateTime(QDate(2026, 11, 23), QTime(22, 0)), now),
            QString("10:00 PM"));
        QCOMPARE(
            ArmedStateText::scheduleBoundaryText(QDateTime(QDate(2026, 11, 24), QTime(6, 30)), now),
            QString("6:30 AM tomorrow"));
        QCOMPARE(
            ArmedStateText::scheduleBoundaryText(QDateTime(QDate(2026, 11, 27), QTime(8, 0)), now),
            QString("8:00 AM on Friday"));
        QCOMPARE(
            ArmedStateText::scheduleBoundaryText(QDateTime(QDate(2026, 11, 30), QTime(8, 0)), now),
            QString("8:00 AM on Monday"));
    }
};

QTEST_GUILESS_MAIN(tst_ArmedStateText)
#include "tst_ArmedStateText.moc"
