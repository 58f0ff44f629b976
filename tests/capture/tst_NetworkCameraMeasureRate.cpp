#include "NetworkCameraMeasureRate.h"

#include <QTest>
#include <cstdint>
#include <vector>

namespace {

constexpr std::int64_t ms = 1'000'000;

// How many of `seconds` of frames at `fps` are measured, and the longest
// time between two measured frames.
struct Outcome {
    int measured = 0;
    std::int64_t longestGap = 0;
};

Outcome run(double fps, int seconds) {
    NetworkCameraMeasureRate rate;
    Outcome outcome;
    std::int64_t last = -1;
    const auto frames = static_cast<int>(fps * seconds);
    for (int i = 0; i < frames; ++i) {
        const auto time = static_cast<std::int64_t>(i * 1e9 / fps);
        if (rate.measure(time)) {
            ++outcome.measured;
            if (last >= 0) {
                outcome.longestGap = std::max(outcome.longestGap, time - last);
            }
            last = time;
        }
    }
    return outcome;
}

// One access unit of 4-byte length-prefixed NAL units.
std::vector<std::uint8_t> accessUnit(const std::vector<std::vector<std::uint8_t>>& units) {
    std::vector<std::uint8_t> data;
    for (const auto& unit : units) {
        const auto length = static_cast<std::uint32_t>(unit.size());
        data.insert(data.end(), {std::uint8_t(length >> 24), std::uint8_t(length >> 16),
                                 std::uint8_t(length >> 8), std::uint8_t(length)});
        data.insert(data.end(), unit.begin(), unit.end());
    }
    return data;
}

bool disposable(const std::vector<std::uint8_t>& data, bool h265) {
    return NetworkCameraMeasureRate::isDisposable(data.data(), data.size(), 4, h265);
}

}  // namespace

class tst_NetworkCameraMeasureRate : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // About a dozen frames a second are measured, never fewer than 10.
    void measuresAtLeastTenFramesASecond_data() {
        QTest::addColumn<double>("fps");
        QTest::addColumn<int>("expected");
        QTest::newRow("60 fps") << 60.0 << 12 * 10;
        QTest::newRow("30 fps") << 30.0 << 15 * 10;
        QTest::newRow("25 fps") << 25.0 << 125;
        QTest::newRow("17 fps") << 17.0 << 170;
        QTest::newRow("10 fps") << 10.0 << 100;
        QTest::newRow("5 fps") << 5.0 << 50;
    }
    void measuresAtLeastTenFramesASecond() {
        QFETCH(double, fps);
        QFETCH(int, expected);
        const Outcome outcome = run(fps, 10);
        QVERIFY2(std::abs(outcome.measured - expected) <= 1,
                 qPrintable(QString::number(outcome.measured)));
        if (fps >= 10) {
            QVERIFY(outcome.longestGap <= 100 * ms);
        }
    }

    // A camera whose clock starts over (a new connection) is measured at
    // once, and so is one that paused for more than a second.
    void aJumpStartsOver() {
        NetworkCameraMeasureRate rate;
        QVERIFY(rate.measure(10'000 * ms));
        QVERIFY(!rate.measure(10'033 * ms));
        QVERIFY(rate.measure(5 * ms));
        QVERIFY(!rate.measure(38 * ms));
        QVERIFY(rate.measure(2'000 * ms));
        QVERIFY(!rate.measure(2'033 * ms));
        rate.reset();
        QVERIFY(rate.measure(2'066 * ms));
    }

    // H.264: the slice's nal_ref_idc decides; parameter sets and SEI in
    // front of it do not.
    void h264PicturesNoOneReferencesAreDisposable() {
        const std::vector<std::uint8_t> sei{0x06, 0x05, 0x01};
        QVERIFY(disposable(accessUnit({{0x09, 0x10}, sei, {0x01, 0x9a, 0x00}}), false));
        QVERIFY(!disposable(accessUnit({{0x09, 0x10}, {0x21, 0x9a, 0x00}}), false));
        QVERIFY(!disposable(accessUnit({{0x67, 0x64}, {0x68, 0xee}, {0x65, 0x88, 0x84}}), false));
    }

    // H.265: the sub-layer non-reference picture types (even types below 16).
    void h265SubLayerNonReferencePicturesAreDisposable() {
        // TRAIL_N (0), TRAIL_R (1), RASL_N (8), IDR_W_RADL (19); type sits in
        // bits 1-6 of the first header byte.
        QVERIFY(disposable(accessUnit({{0x00, 0x01, 0xaf}}), true));
        QVERIFY(!disposable(accessUnit({{0x02, 0x01, 0xaf}}), true));
        QVERIFY(disposable(accessUnit({{0x4e, 0x01, 0x05}, {0x10, 0x01, 0xaf}}), true));
        QVERIFY(!disposable(accessUnit({{0x40, 0x01, 0x0c}, {0x26, 0x01, 0xaf}}), true));
    }

    // Anything that cannot be read is decoded.
    void aDamagedUnitIsNotDisposable() {
        std::vector<std::uint8_t> data = accessUnit({{0x01, 0x9a, 0x00}});
        data[3] = 0x40;  // longer than what follows
        QVERIFY(!disposable(data, false));
        QVERIFY(!NetworkCameraMeasureRate::isDisposable(data.data(), 2, 4, false));
        QVERIFY(!NetworkCameraMeasureRate::isDisposable(data.data(), data.size(), 0, false));
    }
};

QTEST_GUILESS_MAIN(tst_NetworkCameraMeasureRate)
#include "tst_NetworkCameraMeasureRate.moc"
