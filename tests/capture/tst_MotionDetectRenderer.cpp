#include "Defaults.h"
#include "MotionDetectRenderer.h"
#include "MotionDetector.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"
#include "TestFrames.h"

#include <QTest>
#include <random>

class tst_MotionDetectRenderer : public QObject {
    Q_OBJECT

    static GstHandle<GstSample> noisyScene(int width, int height, unsigned seed,
                                           int objectLeft = -1) {
        std::mt19937 generator(seed);
        std::normal_distribution<double> noise(0.0, 3.0);
        return makeFrame(width, height, [&](int x, int y) {
            if (objectLeft >= 0 && x >= objectLeft && x < objectLeft + width / 8 &&
                y > height / 4 && y < height * 3 / 4) {
                return 40 + static_cast<int>(noise(generator));
            }
            return 150 + 40 * x / width + static_cast<int>(noise(generator));
        });
    }

    static double level(MotionDetectRenderer& renderer, GstSample* a, GstSample* b) {
        const auto images = renderer.render(a, b, false);
        return images.motion ? MotionDetector::measure(*images.motion, {}).level : -1;
    }

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void aFrameComparedWithItselfIsZero() {
        MotionDetectRenderer renderer;
        const auto frame = noisyScene(640, 360, 1, 100);
        QVERIFY(renderer.prepare(gst_sample_get_caps(frame.get()), 3));
        QCOMPARE(level(renderer, frame.get(), frame.get()), 0.0);
    }

    void sensorNoiseDoesNotCountAndAMovingObjectDoes() {
        MotionDetectRenderer renderer;
        const auto first = noisyScene(640, 360, 1);
        const auto second = noisyScene(640, 360, 2);
        QVERIFY(renderer.prepare(gst_sample_get_caps(first.get()), 3));
        QCOMPARE(level(renderer, first.get(), second.get()), 0.0);
        const auto before = noisyScene(640, 360, 3, 100);
        const auto after = noisyScene(640, 360, 4, 160);
        QVERIFY(level(renderer, before.get(), after.get()) > 50.0);
    }

    void sparseGridAgreesWithTheFullFrameImage() {
        MotionDetectRenderer renderer;
        const auto before = noisyScene(320, 180, 5, 40);
        const auto after = noisyScene(320, 180, 6, 90);
        GstCaps* caps = gst_sample_get_caps(before.get());
        QVERIFY(renderer.prepare(caps, 3));
        const auto images = renderer.render(before.get(), after.get(), false);
        QVERIFY(images.motion);
        GstVideoInfo info;
        gst_video_info_from_caps(&info, caps);
        GstVideoFrame a, b;
        gst_video_frame_map(&a, &info, gst_sample_get_buffer(before.get()), GST_MAP_READ);
        gst_video_frame_map(&b, &info, gst_sample_get_buffer(after.get()), GST_MAP_READ);
        std::vector<std::uint8_t> mask(320 * 180);
        renderer.renderFullFrameMask(a, b, mask.data());
        gst_video_frame_unmap(&a);
        gst_video_frame_unmap(&b);
        int moved = 0;
        for (int row = 0; row < images.motion->rows; ++row) {
            for (int column = 0; column < images.motion->columns; ++column) {
                QCOMPARE(images.motion->at(column, row), mask[row * 20 * 320 + column * 20]);
                moved += images.motion->at(column, row);
            }
        }
        QVERIFY(moved > 0);
    }

    void aFormatWithoutLumaLeavesTheRendererUnprepared() {
        MotionDetectRenderer renderer;
        const auto frame = makeFrame(
            64, 64, [](int, int) { return 0; }, 0, "RGBx");
        QVERIFY(!renderer.prepare(gst_sample_get_caps(frame.get()), 3));
        QVERIFY(!renderer.isPrepared());
        QVERIFY(!renderer.render(frame.get(), frame.get(), false).motion);
    }

    void theFullFrameImageIsMadeOnlyForAPreview() {
        MotionDetectRenderer renderer;
        const auto before = noisyScene(320, 180, 7, 40);
        const auto after = noisyScene(320, 180, 8, 90);
        QVERIFY(renderer.prepare(gst_sample_get_caps(before.get()), 3));
        auto images = renderer.render(before.get(), after.get(), false);
        QVERIFY(images.motion && !images.preview);
        QCOMPARE(renderer.fullFrameRenders(), 0u);
        images = renderer.render(before.get(), after.get(), true);
        QVERIFY(images.motion && images.preview);
        QCOMPARE(renderer.fullFrameRenders(), 1u);
        // The moved object's trailing edge is pure red; the still wall is not.
        QCOMPARE(images.preview->pixel(92, 90), qRgb(255, 0, 0));
        QVERIFY(images.preview->pixel(300, 10) != qRgb(255, 0, 0));
    }

    void anExhaustedPoolYieldsNoImage() {
        MotionDetectRenderer renderer;
        const auto frame = noisyScene(320, 180, 9);
        QVERIFY(renderer.prepare(gst_sample_get_caps(frame.get()), 3));
        std::vector<std::shared_ptr<const MotionImage>> held;
        for (int i = 0; i < 3; ++i) {
            held.push_back(renderer.render(frame.get(), frame.get(), false).motion);
            QVERIFY(held.back());
        }
        QVERIFY(!renderer.render(frame.get(), frame.get(), false).motion);
        held.pop_back();
        QVERIFY(renderer.render(frame.get(), frame.get(), false).motion);
    }

    void levelIsMovedOverSamplesOverFivePercentUncapped() {
        MotionImage image;
        image.resize(401, 401, 20);  // 20 x 20 grid points
        QCOMPARE(image.columns * image.rows, 400);
        std::fill(image.moved.begin(), image.moved.begin() + 20, 1);
        QCOMPARE(MotionDetector::measure(image, {}).level, 100.0);
        std::fill(image.moved.begin(), image.moved.end(), 1);
        QCOMPARE(MotionDetector::measure(image, {}).level, 2000.0);
    }

    void thresholdPerCameraWithGlobalFallbackAndStrictTrigger() {
        TestEnvironment environment;
        Defaults defaults(environment.settingsFilePath());
        defaults.set(SettingsKeys::motionTriggerThreshold, 50);
        const QString key = MotionDetector::thresholdKeyFor(QStringLiteral("cam"));
        QCOMPARE(key, QStringLiteral("motionTriggerThreshold.cam"));
        QCOMPARE(MotionDetector::threshold(key, defaults), 50.0);
        defaults.set(key, 12.5);
        QCOMPARE(MotionDetector::threshold(key, defaults), 12.5);
        QCOMPARE(MotionDetector::threshold(std::nullopt, defaults), 50.0);
        defaults.set(key, QStringLiteral("loud"));
        QCOMPARE(MotionDetector::threshold(key, defaults), 50.0);
        MotionDetector::Measurement measurement{50.0, 400, 10};
        QVERIFY(!MotionDetector::triggered(measurement, 50.0, true));
        QVERIFY(MotionDetector::triggered(measurement, 49.9, true));
        QVERIFY(!MotionDetector::triggered(measurement, 49.9, false));
    }
};

QTEST_GUILESS_MAIN(tst_MotionDetectRenderer)
#include "tst_MotionDetectRenderer.moc"
