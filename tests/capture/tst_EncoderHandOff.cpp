#include "EncoderHandOff.h"
#include "TestFrames.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QTest>

namespace {

// A frame no encoder can be made for: its caps describe no picture.
GstHandle<GstSample> frameWithoutPicture() {
    auto caps = GstHandle<GstCaps>::adopt(gst_caps_from_string("audio/x-raw,format=S16LE"));
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, 64, nullptr);
    auto sample = GstHandle<GstSample>::adopt(gst_sample_new(buffer, caps.get(), nullptr, nullptr));
    gst_buffer_unref(buffer);
    return sample;
}

GstHandle<GstSample> patterned(int width, int height, GstClockTime pts) {
    return makeFrame(
        width, height, [](int x, int y) { return x ^ y; }, pts);
}

}  // namespace

class tst_EncoderHandOff : public QObject {
    Q_OBJECT

    CountingSink sink;
    std::unique_ptr<EncoderHandOff> handOff;
    GstClockTime pts = 0;

    // Frames the sink got, encoded or lost.
    int accounted() {
        return sink.videoCount() + sink.lossCount(CaptureLoss::encoderBehind) +
               sink.lossCount(CaptureLoss::encodeFailed);
    }

    // One at a time, each waited for, so that none is lost for being early.
    void encodeFrames(int count, int width, int height) {
        for (int i = 0; i < count; ++i) {
            const int before = accounted();
            handOff->encode(patterned(width, height, pts).get());
            pts += GST_SECOND / 30;
            QTRY_COMPARE_WITH_TIMEOUT(accounted(), before + 1, 10000);
        }
    }

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void init() {
        sink.video.clear();
        std::fill(std::begin(sink.losses), std::end(sink.losses), 0);
        handOff = std::make_unique<EncoderHandOff>(sink);
    }

    void cleanup() {
        handOff->stop();
        handOff.reset();
    }

    void theFirstFrameMakesTheEncoderAndItsOutputReachesTheSink() {
        QCOMPARE(handOff->encodersCreated(), 0);
        encodeFrames(10, 320, 240);
        QCOMPARE(handOff->encodersCreated(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(sink.videoCount() > 0, 10000);
        QCOMPARE(sink.lossCount(CaptureLoss::encodeFailed), 0);
    }

    void aFrameOfANewSizeReplacesTheEncoder() {
        encodeFrames(5, 320, 240);
        QTRY_VERIFY_WITH_TIMEOUT(sink.videoCount() > 0, 10000);
        encodeFrames(5, 480, 270);
        QCOMPARE(handOff->encodersCreated(), 2);
        // Frames of the new size come out of the new encoder.
        QTRY_VERIFY_WITH_TIMEOUT(
            [this] {
                std::lock_guard guard(sink.mutex);
                GstVideoInfo info;
                GstCaps* caps = gst_sample_get_caps(sink.video.last().get());
                return caps && gst_video_info_from_caps(&info, caps) && info.width == 480;
            }(),
            10000);
    }

    void anInvalidatedEncoderIsReplacedAtTheNextFrame() {
        encodeFrames(3, 320, 240);
        handOff->invalidate();
        QCOMPARE(handOff->encodersCreated(), 1);
        encodeFrames(1, 320, 240);
        QCOMPARE(handOff->encodersCreated(), 2);
    }

    // After an encoder could not be made twice, the next one waits out the
    // back-off; meanwhile every frame is lost as encodeFailed.
    void framesAreLostUntilTheBackOffAllowsANewEncoder() {
        QElapsedTimer sinceFailure;
        handOff->encode(frameWithoutPicture().get());
        handOff->encode(frameWithoutPicture().get());
        sinceFailure.start();
        QCOMPARE(handOff->encodersCreated(), 0);
        QCOMPARE(sink.lossCount(CaptureLoss::encodeFailed), 2);
        encodeFrames(1, 320, 240);
        QCOMPARE(handOff->encodersCreated(), 0);
        QCOMPARE(sink.lossCount(CaptureLoss::encodeFailed), 3);
        QDeadlineTimer deadline(10000);
        while (handOff->encodersCreated() == 0 && !deadline.hasExpired()) {
            QTest::qWait(50);
            encodeFrames(1, 320, 240);
        }
        QCOMPARE(handOff->encodersCreated(), 1);
        QVERIFY2(sinceFailure.elapsed() >= 900,
                 qPrintable(QString::number(sinceFailure.elapsed())));
    }

    void stoppingForgetsTheFramesInFlight() {
        sink.holdVideo();
        for (int i = 0; i < 2; ++i) {
            handOff->encode(patterned(320, 240, pts).get());
            pts += GST_SECOND / 30;
        }
        QVERIFY(handOff->framesEncoding() >= 1);
        sink.releaseVideo();
        handOff->stop();
        QCOMPARE(handOff->framesEncoding(), 0);
        encodeFrames(1, 320, 240);
        QCOMPARE(handOff->encodersCreated(), 2);
    }
};

QTEST_GUILESS_MAIN(tst_EncoderHandOff)
#include "tst_EncoderHandOff.moc"
