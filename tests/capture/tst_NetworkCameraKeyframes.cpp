#include "NetworkCameraKeyframes.h"

#include <QTest>
#include <cstdint>
#include <optional>

namespace {

constexpr std::int64_t ms = 1'000'000;
constexpr std::int64_t second = 1000 * ms;

// Feeds `frames` frames at 30 fps from `start` with a keyframe every
// `keyInterval` frames; the last spacing told.
std::optional<std::int64_t> feed(NetworkCameraKeyframes& keyframes, std::int64_t start, int frames,
                                 int keyInterval) {
    std::optional<std::int64_t> told;
    for (int i = 0; i < frames; ++i) {
        if (auto spacing = keyframes.frame(start + i * second / 30, i % keyInterval == 0)) {
            told = spacing;
        }
    }
    return told;
}

}  // namespace

class tst_NetworkCameraKeyframes : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // A camera with a keyframe every 120 frames at 30 fps: 4 s, told once.
    void theSpacingIsTheTimeBetweenKeyframes() {
        NetworkCameraKeyframes keyframes;
        QVERIFY(!keyframes.frame(0, true));
        QVERIFY(!keyframes.frame(33 * ms, false));
        const std::optional<std::int64_t> first = keyframes.frame(4 * second, true);
        QVERIFY(first);
        QCOMPARE(*first, 4 * second);
        QVERIFY(!keyframes.frame(8 * second, true));
        QVERIFY(!feed(keyframes, 10 * second, 30 * 40, 120));
    }

    // One keyframe lost on the way, or one extra, does not change it.
    void oneOddIntervalIsIgnored() {
        NetworkCameraKeyframes keyframes;
        QCOMPARE(feed(keyframes, 0, 30 * 13, 60).value_or(0), 2 * second);
        QVERIFY(!keyframes.frame(13 * second, true));
        QVERIFY(!keyframes.frame(17 * second, true));
        QVERIFY(!keyframes.frame(19 * second, true));
        QVERIFY(!keyframes.frame(19 * second + 100 * ms, true));
        QVERIFY(!keyframes.frame(21 * second + 100 * ms, true));
    }

    // A camera whose keyframes move apart is told of again, once.
    void aNewSpacingIsTold() {
        NetworkCameraKeyframes keyframes;
        QCOMPARE(feed(keyframes, 0, 30 * 10, 30).value_or(0), 1 * second);
        std::optional<std::int64_t> told = feed(keyframes, 10 * second, 30 * 40, 150);
        QVERIFY(told);
        QCOMPARE(*told, 5 * second);
    }

    // The interval over a reconnection is not one of the camera's.
    void aNewConnectionDoesNotCount() {
        NetworkCameraKeyframes keyframes;
        QCOMPARE(feed(keyframes, 0, 30 * 20, 90).value_or(0), 3 * second);
        keyframes.reset();
        // The new connection's first keyframe comes 0.5 s after the last of
        // the old one, and another 0.5 s later: one short interval only.
        QVERIFY(!keyframes.frame(18 * second + 500 * ms, true));
        QVERIFY(!keyframes.frame(19 * second, true));
    }
};

QTEST_GUILESS_MAIN(tst_NetworkCameraKeyframes)
#include "tst_NetworkCameraKeyframes.moc"
