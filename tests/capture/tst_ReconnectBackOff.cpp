#include "ReconnectBackOff.h"

#include <QTest>

using namespace std::chrono_literals;

class tst_ReconnectBackOff : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // One second, doubling, up to a minute, and on for ever.
    void theWaitsDoubleFromOneSecondToAMinuteForEver() {
        ReconnectBackOff backOff;
        std::vector<std::chrono::milliseconds> waits;
        for (int i = 0; i < 12; ++i) {
            waits.push_back(backOff.failed());
        }
        const std::vector<std::chrono::milliseconds> expected{1s,  2s,  4s,  8s,  16s, 32s,
                                                              60s, 60s, 60s, 60s, 60s, 60s};
        QCOMPARE(waits, expected);
    }

    void aCameraThatDeliveredStartsTheCountOver() {
        ReconnectBackOff backOff;
        backOff.failed();
        backOff.failed();
        backOff.failed();
        backOff.connected();
        QCOMPARE(backOff.failed(), 1000ms);
    }

    // A camera away for an hour leaves about one line a minute, not one per attempt.
    void attemptsAreLoggedAtMostOnceAMinute() {
        ReconnectBackOff backOff;
        auto now = ReconnectBackOff::Clock::time_point{} + 1000h;
        int logged = 0;
        const auto end = now + 1h;
        while (now < end) {
            logged += backOff.shouldLog(now) ? 1 : 0;
            now += backOff.failed();
        }
        QVERIFY2(logged >= 55 && logged <= 61, qPrintable(QString::number(logged)));
        // The first failure is always logged.
        ReconnectBackOff fresh;
        QVERIFY(fresh.shouldLog(now));
        QVERIFY(!fresh.shouldLog(now + 59s));
        QVERIFY(fresh.shouldLog(now + 60s));
    }
};

QTEST_APPLESS_MAIN(tst_ReconnectBackOff)
#include "tst_ReconnectBackOff.moc"
