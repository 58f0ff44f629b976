#include "MicrophoneLevel.h"

#include <QTest>
#include <cmath>
#include <vector>

namespace {

// An S16LE buffer of a 1 kHz sine at `amplitude` (0-1) on the first channel
// and silence on the others.
GstHandle<GstSample> tone(double amplitude, int channels, const char* capsText = nullptr) {
    const int frames = 480;
    std::vector<gint16> samples(frames * channels, 0);
    for (int i = 0; i < frames; ++i) {
        samples[i * channels] =
            static_cast<gint16>(amplitude * 32767 * std::sin(2 * M_PI * 1000 * i / 48000.0));
    }
    GstBuffer* buffer = gst_buffer_new_memdup(samples.data(), samples.size() * sizeof(gint16));
    const QByteArray text =
        capsText ? QByteArray(capsText)
                 : QByteArray("audio/x-raw,format=S16LE,layout=interleaved,rate=48000,channels=") +
                       QByteArray::number(channels);
    auto caps = GstHandle<GstCaps>::adopt(gst_caps_from_string(text.constData()));
    auto sample = GstHandle<GstSample>::adopt(gst_sample_new(buffer, caps.get(), nullptr, nullptr));
    gst_buffer_unref(buffer);
    return sample;
}

}  // namespace

class tst_MicrophoneLevel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { gst_init(nullptr, nullptr); }

    void thereIsNoLevelBeforeTheFirstBuffer() {
        MicrophoneLevel level;
        QVERIFY(!level.level());
    }

    void theNewestBufferGivesTheLevel() {
        MicrophoneLevel level;
        level.measure(tone(1.0, 1).get());
        QVERIFY(level.level());
        QVERIFY2(std::abs(*level.level()) < 0.1, qPrintable(QString::number(*level.level())));
        level.measure(tone(0.5, 1).get());
        QVERIFY2(std::abs(*level.level() + 6.02) < 0.1,
                 qPrintable(QString::number(*level.level())));
    }

    void aChangeOfChannelsIsFollowed() {
        MicrophoneLevel level;
        level.measure(tone(0.5, 1).get());
        // Read as mono, the stereo buffer would count its silent channel as sound.
        level.measure(tone(0.5, 2).get());
        QVERIFY2(std::abs(*level.level() + 6.02) < 0.1,
                 qPrintable(QString::number(*level.level())));
    }

    void aBufferWithoutChannelsIsNotMeasured() {
        MicrophoneLevel level;
        level.measure(tone(0.5, 1, "audio/x-raw").get());
        QVERIFY(!level.level());
    }

    void forgettingClearsTheLevel() {
        MicrophoneLevel level;
        level.measure(tone(0.5, 1).get());
        level.forget();
        QVERIFY(!level.level());
        level.measure(tone(0.5, 1).get());
        QVERIFY(level.level());
    }
};

QTEST_GUILESS_MAIN(tst_MicrophoneLevel)
#include "tst_MicrophoneLevel.moc"
