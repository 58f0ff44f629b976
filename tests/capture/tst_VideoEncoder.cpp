#include "MovieProbe.h"
#include "MovieWriter.h"
#include "SerialQueue.h"
#include "TestFrames.h"
#include "VideoEncoder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

class tst_VideoEncoder : public QObject {
    Q_OBJECT

    static GstHandle<GstSample> frame(int width, int height, int index) {
        return makeFrame(
            width, height, [index](int x, int y) { return (x + y + index * 4) % 256; },
            index * GST_SECOND / 30);
    }

    // A property of an element as text: enums and flags by their nicks.
    static QString property(GstElement* element, const char* name) {
        GParamSpec* spec = g_object_class_find_property(G_OBJECT_GET_CLASS(element), name);
        if (!spec) {
            return QStringLiteral("(no such property)");
        }
        GValue value = G_VALUE_INIT;
        g_value_init(&value, spec->value_type);
        g_object_get_property(G_OBJECT(element), name, &value);
        QString text;
        if (G_VALUE_HOLDS_STRING(&value)) {
            text = QString::fromUtf8(g_value_get_string(&value));
        } else if (G_VALUE_HOLDS_ENUM(&value)) {
            const GEnumValue* nick = g_enum_get_value(
                G_ENUM_CLASS(g_type_class_peek(spec->value_type)), g_value_get_enum(&value));
            text = QString::fromUtf8(nick ? nick->value_nick : "");
        } else if (G_VALUE_HOLDS_FLAGS(&value)) {
            auto* flags = G_FLAGS_CLASS(g_type_class_peek(spec->value_type));
            QStringList nicks;
            for (guint i = 0; i < flags->n_values; ++i) {
                const GFlagsValue& flag = flags->values[i];
                if (flag.value && (g_value_get_flags(&value) & flag.value) == flag.value) {
                    nicks.append(QString::fromUtf8(flag.value_nick));
                }
            }
            text = nicks.join('+');
        } else {
            gchar* serialised = gst_value_serialize(&value);
            text = QString::fromUtf8(serialised);
            g_free(serialised);
        }
        g_value_unset(&value);
        return text;
    }

    // Writes the encoded samples as a movie, as the recorder's writer does.
    static bool writeMovie(const QString& path, const QList<GstHandle<GstSample>>& video) {
        SerialQueue queue("tst-writer");
        std::shared_ptr<MovieWriter> writer;
        bool written = false;
        QSemaphore finished;
        queue.sync([&] {
            Error failure;
            writer = MovieWriter::create(path, queue, &failure);
            if (!writer ||
                !writer->begin(gst_sample_get_caps(video.front().get()), nullptr, &failure)) {
                finished.release();
                return;
            }
            writer->startSession(GST_BUFFER_PTS(gst_sample_get_buffer(video.front().get())));
            for (const auto& sample : video) {
                writer->appendVideo(sample.get());
            }
            writer->finish([&](std::optional<Error> error) {
                written = !error;
                finished.release();
            });
        });
        const bool done = finished.tryAcquire(1, 20000);
        queue.sync([&] { writer.reset(); });
        return done && written;
    }

    // ffprobe's reading of the movie's video: its profile, and the times of
    // its keyframes.
    static std::pair<QString, QList<double>> profileAndKeyframes(const QString& path) {
        QProcess ffprobe;
        ffprobe.start(QStringLiteral("ffprobe"),
                      {"-v", "error", "-select_streams", "v:0", "-print_format", "json",
                       "-show_entries", "stream=profile:packet=pts_time,flags", path});
        ffprobe.waitForFinished(60000);
        const QJsonObject root = QJsonDocument::fromJson(ffprobe.readAllStandardOutput()).object();
        const QString profile =
            root.value("streams").toArray().first().toObject().value("profile").toString();
        QList<double> keyframes;
        for (const auto& packet : root.value("packets").toArray()) {
            const QJsonObject p = packet.toObject();
            if (p.value("flags").toString().startsWith('K')) {
                keyframes.append(p.value("pts_time").toString().toDouble());
            }
        }
        return {profile, keyframes};
    }

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    // The x264 settings chosen by picture quality per CPU second (superfast,
    // one encoding thread), read back from the element and from the encoder's
    // own record in the stream; a movie made with them is High profile with a
    // keyframe every second.
    void theChosenX264SettingsMakeHighProfileMoviesWithAKeyframeEverySecond() {
        if (VideoEncoder::bestEncoderName() != QStringLiteral("x264enc")) {
            QSKIP("A hardware encoder is in use on this machine");
        }
        QCOMPARE(QString(VideoEncoder::x264Configuration().name),
                 QStringLiteral("superfast_1thread"));
        CountingSink sink;
        const auto first = frame(640, 360, 0);
        auto encoder = VideoEncoder::create(sink, gst_sample_get_caps(first.get()));
        QVERIFY(encoder);
        const GstHandle<GstElement> x264 = encoder->encoderElement();
        QVERIFY(x264);
        QCOMPARE(property(x264.get(), "speed-preset"), QStringLiteral("superfast"));
        QCOMPARE(property(x264.get(), "option-string"), QStringLiteral("threads=1"));
        QCOMPARE(property(x264.get(), "tune"), QStringLiteral("zerolatency"));
        QCOMPARE(property(x264.get(), "bframes"), QStringLiteral("0"));
        QCOMPARE(property(x264.get(), "key-int-max"), QStringLiteral("30"));
        QCOMPARE(property(x264.get(), "bitrate"), QStringLiteral("8000"));

        const int frames = 90;
        for (int i = 0; i < frames; ++i) {
            QTRY_VERIFY_WITH_TIMEOUT(
                encoder->framesEncoding() < VideoEncoder::maximumFramesEncoding, 5000);
            encoder->encode(frame(640, 360, i).get());
        }
        QTRY_COMPARE_WITH_TIMEOUT(sink.videoCount(), frames, 10000);
        // x264 writes the options it really ran with into the first keyframe.
        GstBuffer* keyframe = gst_sample_get_buffer(sink.video.first().get());
        GstMapInfo map;
        QVERIFY(gst_buffer_map(keyframe, &map, GST_MAP_READ));
        const QByteArray stream(reinterpret_cast<const char*>(map.data), int(map.size));
        gst_buffer_unmap(keyframe, &map);
        // One thread: one slice per picture, and no frame threads (no delay).
        for (const char* option :
             {" cabac=1 ", " 8x8dct=1 ", " bframes=0 ", " keyint=30 ", " bitrate=8000 ",
              " rc_lookahead=0 ", " threads=1 ", " sliced_threads=0 "}) {
            QVERIFY2(stream.contains(option), option);
        }

        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("chosen.mov"));
        QVERIFY(writeMovie(path, sink.video));
        const MovieProbe probe(path);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec(QStringLiteral("video")), QStringLiteral("h264"));
        QCOMPARE(probe.frameCount(), frames);
        QVERIFY(probe.firstFrameIsKeyframe());
        const auto [profile, keyframes] = profileAndKeyframes(path);
        QCOMPARE(profile, QStringLiteral("High"));
        QCOMPARE(keyframes.size(), 3);
        for (int i = 0; i < keyframes.size(); ++i) {
            QVERIFY2(std::abs(keyframes[i] - i) < 0.01, qPrintable(QString::number(keyframes[i])));
        }
    }

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

    // A frame cut short (as a broken driver delivers them) cannot be read as
    // a picture of its format. It fails the encoder without being handed to
    // it: the x264 element keeps such a frame, and with it the camera's
    // buffers, for ever. Once the encoder is gone, only the test holds it.
    void aFrameCutShortFailsTheEncoderWithoutBeingKept() {
        CountingSink sink;
        const auto whole = makeFrame(64, 64, [](int x, int) { return x * 4; });
        GstBuffer* cut =
            gst_buffer_copy_region(gst_sample_get_buffer(whole.get()), GST_BUFFER_COPY_ALL, 0,
                                   gst_buffer_get_size(gst_sample_get_buffer(whole.get())) / 2);
        auto damaged = GstHandle<GstSample>::adopt(
            gst_sample_new(cut, gst_sample_get_caps(whole.get()), nullptr, nullptr));
        gst_buffer_unref(cut);
        auto encoder = VideoEncoder::create(sink, gst_sample_get_caps(whole.get()));
        QVERIFY(encoder);
        encoder->encode(whole.get());
        QTRY_COMPARE_WITH_TIMEOUT(sink.videoCount(), 1, 5000);
        encoder->encode(damaged.get());
        QTRY_VERIFY_WITH_TIMEOUT(encoder->failed(), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(sink.lossCount(CaptureLoss::encodeFailed), 1, 5000);
        encoder.reset();
        QCOMPARE(GST_MINI_OBJECT_REFCOUNT_VALUE(gst_sample_get_buffer(damaged.get())), 1);
    }
};

QTEST_GUILESS_MAIN(tst_VideoEncoder)
#include "tst_VideoEncoder.moc"
