#include "EncoderBackOff.h"

#include <QTest>

using namespace std::chrono_literals;

class tst_EncoderBackOff : public QObject {
    Q_OBJECT

    using Clock = EncoderBackOff::Clock;
    const Clock::time_point start = Clock::now();

private Q_SLOTS:
    void theFirstReplacementIsAtOnce() {
        EncoderBackOff backOff;
        QVERIFY(backOff.mayReplace(start));
    }

    void theWaitsDoubleUpToThirtySeconds() {
        EncoderBackOff backOff;
        QVERIFY(backOff.mayReplace(start));
        Clock::time_point last = start;
        for (auto wait : {1s, 2s, 4s, 8s, 16s, 30s, 30s}) {
            QVERIFY(!backOff.mayReplace(last + 1ms));
            QVERIFY2(!backOff.mayReplace(last + wait - 1ms),
                     qPrintable(QString::number(wait.count())));
            QVERIFY(backOff.mayReplace(last + wait));
            last += wait;
        }
    }

    // Frames keep coming while the encoder stays failed: about thirty a
    // second ask, and only the back-off's few get a new encoder.
    void anEncoderFailingOnEveryFrameIsReplacedRarely() {
        EncoderBackOff backOff;
        int replaced = 0;
        for (int frame = 0; frame < 30 * 60; ++frame) {
            replaced += backOff.mayReplace(start + frame * 33ms);
        }
        QCOMPARE(replaced, 6);  // at 0, 1, 3, 7, 15 and 31 seconds
    }

    void aMinuteWithoutFailingStartsOver() {
        EncoderBackOff backOff;
        QVERIFY(backOff.mayReplace(start));
        QVERIFY(backOff.mayReplace(start + 1s));
        QVERIFY(backOff.mayReplace(start + 3s));  // the next wait is 4 s
        const Clock::time_point later = start + 3s + 60s;
        QVERIFY(backOff.mayReplace(later));
        QVERIFY(!backOff.mayReplace(later + 999ms));
        QVERIFY(backOff.mayReplace(later + 1s));
    }
};

QTEST_APPLESS_MAIN(tst_EncoderBackOff)
#include "tst_EncoderBackOff.moc"
