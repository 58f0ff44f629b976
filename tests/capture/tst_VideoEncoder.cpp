#include "TestFrames.h"
#include "VideoEncoder.h"

#include <QTest>

class tst_VideoEncoder : public QObject {
    Q_OBJECT

    static GstHandle<GstSample> frame(int width, int height, int index) {
        return makeFrame(
            width, height, [index](int x, int y) { return (x + y + index * 4) % 256; },
            index * GST_SECOND / 30);
    }

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void theChoiceIsMadeOnce() {
        const QString& first = VideoEncoder::bestEncoderName();
        QVERIFY(!first.isEmpty());
        QCOMPARE(&VideoEncoder::bestEncoderName(), &first);
    }

    void framesBecomeHighProfileAvcWithKeyframesEverySecond() {
        CountingSink sink;
        const auto first = frame(320, 240, 0);
        auto encoder = VideoEncoder::create(sink, gst_sample_get_caps(first.get()));
        QVERIFY(encoder);
        int pushed = 0;
        for (int i = 0; i < 75; ++i) {
            QTRY_VERIFY_WITH_TIMEOUT(
                encoder->framesEncoding() < VideoEncoder::maximumFramesEncoding, 5000);
            encoder->encode(frame(320, 240, i).get());
            ++pushed;
        }
        QTRY_COMPARE_WITH_TIMEOUT(sink.videoCount(), pushed, 10000);
        GstCaps* caps = gst_sample_get_caps(sink.video.first().get());
        const GstStructure* s = gst_caps_get_structure(caps, 0);
        QCOMPARE(QString(gst_structure_get_string(s, "stream-format")), QStringLiteral("avc"));
        QCOMPARE(QString(gst_structure_get_string(s, "alignment")), QStringLiteral("au"));
        QCOMPARE(QString(gst_structure_get_string(s, "profile")), QStringLiteral("high"));
        GstClockTime previous = 0;
        int sinceKeyframe = 0;
        for (int i = 0; i < sink.video.size(); ++i) {
            GstBuffer* buffer = gst_sample_get_buffer(sink.video[i].get());
            const bool keyframe = !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
            if (i == 0) {
                QVERIFY(keyframe);
            }
            QCOMPARE(GST_BUFFER_PTS(buffer), i * GST_SECOND / 30);  // capture times kept, in order
            QVERIFY(i == 0 || GST_BUFFER_PTS(buffer) > previous);
            previous = GST_BUFFER_PTS(buffer);
            sinceKeyframe = keyframe ? 0 : sinceKeyframe + 1;
            QVERIFY(sinceKeyframe < 30);
        }
        QCOMPARE(sink.lossCount(CaptureLoss::encoderBehind), 0);
    }

    // The encoder is held after its first frame (its thread waits in the sink),
    // so what is in flight is known exactly whatever the machine's speed.
    void aThirdFrameInFlightIsLostAsEncoderBehind() {
        CountingSink sink;
        std::vector<GstHandle<GstSample>> frames;
        for (int i = 0; i < 6; ++i) {
            frames.push_back(frame(320, 240, i));
        }
        auto encoder = VideoEncoder::create(sink, gst_sample_get_caps(frames[0].get()));
        QVERIFY(encoder);
        sink.holdVideo();
        encoder->encode(frames[0].get());
        encoder->encode(frames[1].get());
        // Frame 0 came out and its thread is held: frame 1 stays in flight.
        QTRY_COMPARE_WITH_TIMEOUT(encoder->framesEncoding(), 1, 10000);
        encoder->encode(frames[2].get());
        QCOMPARE(encoder->framesEncoding(), 2);
        QCOMPARE(sink.lossCount(CaptureLoss::encoderBehind), 0);
        encoder->encode(frames[3].get());
        encoder->encode(frames[4].get());
        QCOMPARE(sink.lossCount(CaptureLoss::encoderBehind), 2);
        QCOMPARE(encoder->framesEncoding(), 2);

        sink.releaseVideo();
        QTRY_COMPARE_WITH_TIMEOUT(sink.videoCount(), 3, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(encoder->framesEncoding(), 0, 10000);
        // Caught up: the next frame is encoded again.
        encoder->encode(frames[5].get());
        QTRY_COMPARE_WITH_TIMEOUT(sink.videoCount(), 4, 10000);
        QCOMPARE(sink.lossCount(CaptureLoss::encoderBehind), 2);
        QCOMPARE(GST_BUFFER_PTS(gst_sample_get_buffer(sink.video[2].get())), 2 * GST_SECOND / 30);
        QCOMPARE(GST_BUFFER_PTS(gst_sample_get_buffer(sink.video[3].get())), 5 * GST_SECOND / 30);
    }

    void aFailingEncoderCountsEncodeFailed() {
        CountingSink sink;
        // x264 cannot take packed RGB: the encoder fails on the first frame.
        const auto first = makeFrame(
            64, 64, [](int, int) { return 0; }, 0, "RGB");
        auto encoder = VideoEncoder::create(sink, gst_sample_get_caps(first.get()));
        QVERIFY(encoder);
        encoder->encode(first.get());
        QTRY_COMPARE_WITH_TIMEOUT(sink.lossCount(CaptureLoss::encodeFailed), 1, 5000);
        encoder->encode(first.get());
        QCOMPARE(sink.lossCount(CaptureLoss::encodeFailed), 2);
        QCOMPARE(sink.videoCount(), 0);
        QCOMPARE(encoder->framesEncoding(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_VideoEncoder)
#include "tst_VideoEncoder.moc"
