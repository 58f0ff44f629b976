#include "StreamClock.h"

#include <QTest>
#include <cmath>
#include <cstdint>
#include <random>

namespace {

constexpr std::int64_t ms = 1'000'000;
constexpr std::int64_t second = 1000 * ms;

}  // namespace

class tst_StreamClock : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // The first sample lands on its arrival; the camera's spacing is kept.
    void theCamerasSpacingIsKept() {
        StreamClock clock;
        QCOMPARE(clock.map(5 * second, 100 * second), 100 * second);
        QCOMPARE(clock.map(5 * second + 33 * ms, 100 * second + 33 * ms), 100 * second + 33 * ms);
        // Network jitter moves a frame by a tiny fraction of it only.
        const std::int64_t mapped = clock.map(5 * second + 66 * ms, 100 * second + 86 * ms);
        QVERIFY(mapped > 100 * second + 66 * ms);
        QVERIFY(mapped < 100 * second + 67 * ms);
    }

    // A sender whose clock runs 0.1 % fast, for a whole day at 30 frames a
    // second with 20 ms of jitter: its frames stay within a few milliseconds
    // of when they arrived, and always in order.
    void aCameraClockThatRunsFastDoesNotDriftOverADay() {
        StreamClock clock;
        std::mt19937 random(7);
        std::uniform_int_distribution<std::int64_t> jitter(0, 20 * ms);
        const std::int64_t frame = second / 30;
        std::int64_t previous = 0;
        std::int64_t worst = 0;
        const std::int64_t frames = 24LL * 3600 * 30;
        for (std::int64_t i = 0; i < frames; ++i) {
            const std::int64_t sent = i * frame + i * frame / 1000;  // 0.1 % fast
            const std::int64_t arrival = 50 * second + i * frame + jitter(random);
            const std::int64_t mapped = clock.map(sent, arrival);
            if (i > 0) {
                QVERIFY(mapped > previous);
            }
            previous = mapped;
            if (i > 30 * 60) {
                worst = std::max(worst, std::abs(arrival - mapped));
            }
        }
        QVERIFY2(worst < 40 * ms, qPrintable(QString::number(worst / ms)));
    }

    // A camera that reconnects starts its clock anew: taken at once.
    void aJumpIsTakenAtOnce() {
        StreamClock clock;
        clock.map(3600 * second, 10 * second);
        clock.map(3600 * second + 33 * ms, 10 * second + 33 * ms);
        QCOMPARE(clock.map(0, 30 * second), 30 * second);
        QCOMPARE(clock.sameOffset(-10 * ms), 30 * second - 10 * ms);
    }
};

QTEST_APPLESS_MAIN(tst_StreamClock)
#include "tst_StreamClock.moc"
