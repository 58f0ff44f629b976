#include "RestartBackOff.h"

#include <QTest>

using namespace std::chrono_literals;

class tst_RestartBackOff : public QObject {
    Q_OBJECT

    const QDateTime start{QDate(2026, 3, 2), QTime(9, 0)};

    // Fails again as soon as each wait is over; the waits it was given.
    static std::vector<std::chrono::milliseconds> failRepeatedly(RestartBackOff& backOff,
                                                                 QDateTime& now, int times) {
        std::vector<std::chrono::milliseconds> waits;
        for (int i = 0; i < times; ++i) {
            waits.push_back(backOff.failed(now));
            now = now.addMSecs(waits.back().count());
        }
        return waits;
    }

private Q_SLOTS:
    void theWaitsDoubleFromHalfASecondUpToThirtySeconds() {
        RestartBackOff backOff;
        QDateTime now = start;
        const std::vector<std::chrono::milliseconds> expected{500ms, 1s, 2s, 4s, 8s, 16s, 30s, 30s};
        QCOMPARE(failRepeatedly(backOff, now, 8), expected);
    }

    // A few frames between failures are not a good stretch.
    void aFewFramesBetweenFailuresKeepTheWaitGrowing() {
        RestartBackOff backOff;
        QCOMPARE(backOff.failed(start), 500ms);
        backOff.delivered(20);
        QCOMPARE(backOff.failed(start.addSecs(2)), 1000ms);
        backOff.delivered(RestartBackOff::goodStretch - 1);
        QCOMPARE(backOff.failed(start.addSecs(14)), 2000ms);
    }

    void aStretchOfGoodFramesStartsTheCountOver() {
        RestartBackOff backOff;
        QDateTime now = start;
        failRepeatedly(backOff, now, 5);
        backOff.delivered(RestartBackOff::goodStretch / 2);
        backOff.delivered(RestartBackOff::goodStretch - RestartBackOff::goodStretch / 2);
        QCOMPARE(backOff.failed(now.addSecs(10)), 500ms);
        QCOMPARE(backOff.failed(now.addSecs(11)), 1000ms);
    }

    // A session without a camera delivers no frames: a minute without a
    // failure counts as a good stretch.
    void aMinuteWithoutAFailureStartsTheCountOver() {
        RestartBackOff backOff;
        QDateTime now = start;
        failRepeatedly(backOff, now, 5);
        const QDateTime last = now.addMSecs(-8000);  // the fifth failure
        QCOMPARE(backOff.failed(last.addMSecs(59999)), 16000ms);
        QCOMPARE(backOff.failed(last.addMSecs(59999 + 60000)), 500ms);
    }
};

QTEST_APPLESS_MAIN(tst_RestartBackOff)
#include "tst_RestartBackOff.moc"
