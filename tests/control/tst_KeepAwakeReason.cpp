#include "KeepAwakeReason.h"

#include <QTest>

// Why Nelvo keeps the computer awake, by armed state and schedule.
class tst_KeepAwakeReason : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void reasonRule() {
        QCOMPARE(KeepAwake::reasonFor(ArmState::armed, false, false), KeepAwakeReason::armed);
        QCOMPARE(KeepAwake::reasonFor(ArmState::arming, true, true), KeepAwakeReason::armed);
        QCOMPARE(KeepAwake::reasonFor(ArmState::recording, false, false), KeepAwakeReason::armed);
        QCOMPARE(KeepAwake::reasonFor(ArmState::unarmed, true, true), KeepAwakeReason::schedule);
        QCOMPARE(KeepAwake::reasonFor(ArmState::unarmed, true, false), std::nullopt);
        QCOMPARE(KeepAwake::reasonFor(ArmState::unarmed, false, true), std::nullopt);
        QCOMPARE(KeepAwake::reasonFor(std::nullopt, false, false), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(tst_KeepAwakeReason)
#include "tst_KeepAwakeReason.moc"
