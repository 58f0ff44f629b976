#include "ArmingCountdown.h"
#include "ManagerFixture.h"

#include <QTest>

using namespace std::chrono_literals;
using namespace ManagerFixture;

// The arming countdown, on its own and as the manager runs it.
class tst_ArmingCountdown : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void announcesEachSecondThenEndsAtZero() {
        ManualClock clock(QDateTime(QDate(2026, 11, 23), QTime(9, 0)));
        QList<qint64> seconds;
        int zeros = 0;
        ArmingCountdown countdown(
            clock, [&] { seconds << countdown.remaining(); }, [&] { ++zeros; });
        countdown.start(3);
        QCOMPARE(countdown.remaining(), 3);
        clock.advance(2s);
        QCOMPARE(seconds, (QList<qint64>{2, 1}));
        QCOMPARE(zeros, 0);
        clock.advance(1s);
        QCOMPARE(zeros, 1);
        QCOMPARE(countdown.remaining(), 0);
        clock.advance(10s);  // the timer stopped at 0
        QCOMPARE(zeros, 1);
        QCOMPARE(seconds.size(), 2);
        QCOMPARE(clock.activeTimers(), 0);
    }

    void stopHoldsTheCount() {
        ManualClock clock(QDateTime(QDate(2026, 11, 23), QTime(9, 0)));
        int calls = 0;
        ArmingCountdown countdown(
            clock, [&] { ++calls; }, [&] { ++calls; });
        countdown.start(5);
        clock.advance(2s);
        countdown.stop();
        clock.advance(10s);
        QCOMPARE(calls, 2);
        QCOMPARE(countdown.remaining(), 3);
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
};

QTEST_GUILESS_MAIN(tst_ArmingCountdown)
#include "tst_ArmingCountdown.moc"
