#include "SoundLevel.h"

#include <QTest>
#include <cmath>
#include <vector>

class tst_SoundLevel : public QObject {
    Q_OBJECT

    static std::vector<gint16> tone(double amplitude, int channels = 1, int loudChannel = 0) {
        std::vector<gint16> samples(4800 * channels, 0);
        for (int i = 0; i < 4800; ++i) {
            samples[i * channels + loudChannel] =
                static_cast<gint16>(amplitude * 32767 * std::sin(2 * M_PI * 1000 * i / 48000.0));
        }
        return samples;
    }

private Q_SLOTS:
    void silenceReadsZeroNeverNaN() {
        const std::vector<gint16> silence(4800, 0);
        const double level = SoundLevel::averagePowerLevel(silence.data(), 4800, 1);
        QVERIFY(std::isinf(level) && level < 0);
        QCOMPARE(SoundLevel::meterValue(level), 0.0);
        QCOMPARE(SoundLevel::meterValue(std::nan("")), 0.0);
        QCOMPARE(SoundLevel::meterValue(-60.0), 0.0);
    }

    void toneAtMinus6ReadsAbout90() {
        const auto samples = tone(0.5);
        const double level = SoundLevel::averagePowerLevel(samples.data(), 4800, 1);
        QVERIFY2(std::abs(level + 6.02) < 0.05, qPrintable(QString::number(level)));
        QVERIFY(std::abs(SoundLevel::meterValue(level) - 90.0) < 0.2);
    }

    void aboveFullScaleIsClampedTo100() {
        std::vector<gint16> square(4800);
        for (int i = 0; i < 4800; ++i) {
            square[i] = (i / 24) % 2 ? 32767 : -32768;
        }
        const double level = SoundLevel::averagePowerLevel(square.data(), 4800, 1);
        QVERIFY(level > 2.9);
        QCOMPARE(SoundLevel::meterValue(level), 100.0);
        QCOMPARE(SoundLevel::meterValue(-30.0), 50.0);
    }

    void theLoudestChannelCounts() {
        const auto samples = tone(0.5, 2, 1);
        QVERIFY(std::abs(SoundLevel::averagePowerLevel(samples.data(), 4800, 2) + 6.02) < 0.05);
    }

    void disabledTriggerStillMetersButNeverTriggers() {
        QVERIFY(SoundLevel::triggers(90, 70, true));
        QVERIFY(!SoundLevel::triggers(90, 70, false));
        QVERIFY(!SoundLevel::triggers(70, 70, true));  // strictly above
    }
};

QTEST_GUILESS_MAIN(tst_SoundLevel)
#include "tst_SoundLevel.moc"
