#include "BlurredGrid.h"
#include "Defaults.h"
#include "MappedVideoFrame.h"
#include "MotionDetectRenderer.h"
#include "MotionDetector.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"
#include "TestFrames.h"

#include <QTest>
#include <cmath>
#include <numeric>
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

    // Uniform noise: the blurred differences of two such frames spread widely
    // around the threshold on both sides.
    static std::vector<int> randomLuma(int width, int height, unsigned seed) {
        std::mt19937 generator(seed);
        std::uniform_int_distribution<int> value(0, 255);
        std::vector<int> luma(static_cast<std::size_t>(width) * height);
        std::generate(luma.begin(), luma.end(), [&] { return value(generator); });
        return luma;
    }

    // The contract written out plainly in double precision: the exact
    // Gaussian of sigma 1.5 over the 9 x 9 window, normalised, edges clamped,
    // applied to the difference (the blur is linear).
    static double referenceBlurredDifference(const std::vector<int>& before,
                                             const std::vector<int>& after, int width, int height,
                                             int x, int y) {
        const int radius = MotionDetectRenderer::blurRadius;
        std::vector<double> gaussian;
        for (int k = -radius; k <= radius; ++k) {
            gaussian.push_back(
                std::exp(-k * k / (2 * MotionDetectRenderer::sigma * MotionDetectRenderer::sigma)));
        }
        const double total = std::accumulate(gaussian.begin(), gaussian.end(), 0.0);
        double sum = 0;
        for (int i = -radius; i <= radius; ++i) {
            for (int j = -radius; j <= radius; ++j) {
                const int row = std::clamp(y + i, 0, height - 1);
                const int column = std::clamp(x + j, 0, width - 1);
                const std::size_t at = static_cast<std::size_t>(row) * width + column;
                sum += gaussian[i + radius] * gaussian[j + radius] * (after[at] - before[at]);
            }
        }
        return sum / (total * total);
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
        const MappedVideoFrame a(before.get());
        const MappedVideoFrame b(after.get());
        QVERIFY(a.mapped && b.mapped);
        std::vector<std::uint8_t> mask(320 * 180);
        renderer.renderFullFrameMask(a, b, mask.data());
        int moved = 0;
        for (int row = 0; row < images.motion->rows; ++row) {
            for (int column = 0; column < images.motion->columns; ++column) {
                QCOMPARE(images.motion->at(column, row), mask[row * 20 * 320 + column * 20]);
                moved += images.motion->at(column, row);
            }
        }
        QVERIFY(moved > 0);
    }

    void theFullFrameMaskEqualsTheGridAndTheReference_data() {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::newRow("720p") << 1280 << 720;
        QTest::newRow("odd size, padded rows") << 641 << 361;
        QTest::newRow("narrower than a vector") << 13 << 47;
        QTest::newRow("tiny") << 3 << 2;
    }

    // Every pixel of the full-frame mask is computed with the grid's integer
    // weights: at the grid points it says exactly what the grid says, the
    // vector and portable versions agree everywhere, and away from the
    // threshold (by more than the weights' rounding, 1 level) it says what
    // the exact Gaussian says.
    void theFullFrameMaskEqualsTheGridAndTheReference() {
        QFETCH(int, width);
        QFETCH(int, height);
        const double threshold = MotionNoise::fixedThreshold;
        for (unsigned seed = 1; seed <= 2; ++seed) {
            const auto beforeLuma = randomLuma(width, height, 10 * seed);
            const auto afterLuma = randomLuma(width, height, 10 * seed + 1);
            const auto at = [width](const std::vector<int>& luma, int x, int y) {
                return luma[static_cast<std::size_t>(y) * width + x];
            };
            const auto before =
                makeFrame(width, height, [&](int x, int y) { return at(beforeLuma, x, y); });
            const auto after =
                makeFrame(width, height, [&](int x, int y) { return at(afterLuma, x, y); });
            MotionDetectRenderer renderer;
            GstCaps* caps = gst_sample_get_caps(before.get());
            QVERIFY(renderer.prepare(caps, 3));
            const auto images = renderer.render(before.get(), after.get(), false);
            QVERIFY(images.motion);
            const MotionImage& grid = *images.motion;

            const MappedVideoFrame a(before.get());
            const MappedVideoFrame b(after.get());
            QVERIFY(a.mapped && b.mapped);
            const std::size_t pixels = static_cast<std::size_t>(width) * height;
            std::vector<std::uint8_t> fast(pixels, 7);
            std::vector<std::uint8_t> portable(pixels, 7);
            renderer.renderFullFrameMask(a, b, fast.data());
            std::vector<std::int32_t> scratch(MotionDetectRenderer::fullFrameScratch(width));
            MotionDetectRenderer::renderFullFramePortable(
                a.plane(0), a.stride(0), b.plane(0), b.stride(0), width, height,
                renderer.noise().bounds(), scratch.data(), portable.data());

            QVERIFY(fast == portable);
            int moved = 0;
            for (int row = 0; row < grid.rows; ++row) {
                for (int column = 0; column < grid.columns; ++column) {
                    const std::uint8_t pixel = fast[row * 20 * width + column * 20];
                    QCOMPARE(pixel, grid.at(column, row));
                    moved += pixel;
                }
            }
            if (grid.columns * grid.rows >= 100) {
                QVERIFY(moved > 0 && moved < grid.columns * grid.rows);
            }
            // Off the grid, against the exact Gaussian, on a spread of pixels.
            int compared = 0;
            for (std::size_t i = 0; i < pixels; i += 97) {
                const int x = static_cast<int>(i % width);
                const int y = static_cast<int>(i / width);
                QVERIFY(fast[i] <= 1);
                const double reference = std::abs(
                    referenceBlurredDifference(beforeLuma, afterLuma, width, height, x, y));
                if (std::abs(reference - threshold) > 1.0) {
                    ++compared;
                    QVERIFY2(fast[i] == (reference > threshold ? 1 : 0),
                             qPrintable(QStringLiteral("pixel (%1, %2): reference %3")
                                            .arg(x)
                                            .arg(y)
                                            .arg(reference)));
                }
            }
            QVERIFY(compared > 0);
        }
    }

    void theFastGridAgreesWithAStraightforwardBlurOnRandomFrames_data() {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::newRow("1080p") << 1920 << 1080;
        QTest::newRow("odd size, padded rows") << 641 << 361;
        QTest::newRow("narrower than a window") << 13 << 47;
        QTest::newRow("tiny") << 3 << 2;
    }

    // Only the grid points are computed, in integers, with vector instructions
    // where the processor has them. Tolerance: the integer weights (summing to
    // 1024 per direction) differ from the exact Gaussian's by at most 0.9 luma
    // levels on any frame, so wherever the reference is more than 1 level from
    // the threshold the grid must say exactly what the reference says. The
    // portable version must agree with the vector one everywhere.
    void theFastGridAgreesWithAStraightforwardBlurOnRandomFrames() {
        QFETCH(int, width);
        QFETCH(int, height);
        const double tolerance = 1.0;
        const double threshold = MotionNoise::fixedThreshold;
        int points = 0;
        int moved = 0;
        int nearThreshold = 0;
        for (unsigned seed = 1; seed <= 3; ++seed) {
            const auto beforeLuma = randomLuma(width, height, 2 * seed);
            const auto afterLuma = randomLuma(width, height, 2 * seed + 1);
            const auto before = makeFrame(width, height, [&](int x, int y) {
                return beforeLuma[static_cast<std::size_t>(y) * width + x];
            });
            const auto after = makeFrame(width, height, [&](int x, int y) {
                return afterLuma[static_cast<std::size_t>(y) * width + x];
            });
            MotionDetectRenderer renderer;
            GstCaps* caps = gst_sample_get_caps(before.get());
            QVERIFY(renderer.prepare(caps, 3));
            const auto images = renderer.render(before.get(), after.get(), false);
            QVERIFY(images.motion);
            const MotionImage& fast = *images.motion;

            const MappedVideoFrame a(before.get());
            const MappedVideoFrame b(after.get());
            QVERIFY(a.mapped && b.mapped);
            // Each frame's grid, blurred in plain C++ and with vector
            // instructions, is the same value for value.
            BlurredGrid portableBefore, portableAfter, fastAfter;
            portableBefore.resize(width, height, MotionDetectRenderer::skipPixels);
            portableAfter.resize(width, height, MotionDetectRenderer::skipPixels);
            fastAfter.resize(width, height, MotionDetectRenderer::skipPixels);
            portableBefore.blurPortable(a.plane(0), a.stride(0));
            portableAfter.blurPortable(b.plane(0), b.stride(0));
            fastAfter.blur(b.plane(0), b.stride(0));
            QVERIFY(fastAfter.values == portableAfter.values);
            MotionImage portable;
            portable.resize(width, height, MotionDetectRenderer::skipPixels);
            MotionNoise fixed;  // a first pair is judged by the fixed threshold
            fixed.resize(portableBefore, 30);
            fixed.judge(portableBefore, portableAfter, portable);

            QCOMPARE(fast.columns, (width - 2) / 20 + 1);
            QCOMPARE(fast.rows, (height - 2) / 20 + 1);
            for (int row = 0; row < fast.rows; ++row) {
                for (int column = 0; column < fast.columns; ++column) {
                    ++points;
                    QCOMPARE(portable.at(column, row), fast.at(column, row));
                    moved += fast.at(column, row);
                    const double reference = std::abs(referenceBlurredDifference(
                        beforeLuma, afterLuma, width, height, column * 20, row * 20));
                    if (std::abs(reference - threshold) <= tolerance) {
                        ++nearThreshold;
                        continue;
                    }
                    if (fast.at(column, row) != (reference > threshold ? 1 : 0)) {
                        QFAIL(qPrintable(QStringLiteral("point (%1, %2): reference %3")
                                             .arg(column * 20)
                                             .arg(row * 20)
                                             .arg(reference)));
                    }
                }
            }
        }
        // Large frames test both answers, and few points fall inside the tolerance.
        if (points >= 100) {
            QVERIFY2(moved > points / 5 && points - moved > points / 5, "one-sided frames");
            QVERIFY2(nearThreshold < points / 10, "too many points within the tolerance");
        }
    }

    // Frames in order: each is blurred once, when it arrives, and its grid is
    // kept for the next comparison; the levels are those of every pair
    // measured on its own.
    void eachFrameInOrderIsBlurredOnce() {
        std::vector<GstHandle<GstSample>> frames;
        for (int i = 0; i < 6; ++i) {
            frames.push_back(noisyScene(640, 360, 20 + i, 60 + 40 * i));
        }
        MotionDetectRenderer renderer;
        QVERIFY(renderer.prepare(gst_sample_get_caps(frames[0].get()), 3));
        QCOMPARE(level(renderer, frames[0].get(), frames[0].get()), 0.0);
        QCOMPARE(renderer.gridBlurs(), 1u);
        for (std::size_t i = 1; i < frames.size(); ++i) {
            const double inOrder = level(renderer, frames[i - 1].get(), frames[i].get());
            QCOMPARE(renderer.gridBlurs(), std::uint64_t(i + 1));
            MotionDetectRenderer alone;
            QVERIFY(alone.prepare(gst_sample_get_caps(frames[0].get()), 3));
            QCOMPARE(inOrder, level(alone, frames[i - 1].get(), frames[i].get()));
            QVERIFY(inOrder > 50.0);
        }
    }

    // A previous frame that is not the last one measured is blurred afresh,
    // and after capture stops no frame is kept.
    void aPreviousFrameThatWasNotTheLastIsBlurredAgain() {
        const auto first = noisyScene(640, 360, 30, 100);
        const auto second = noisyScene(640, 360, 31, 160);
        const auto third = noisyScene(640, 360, 32, 220);
        MotionDetectRenderer renderer;
        QVERIFY(renderer.prepare(gst_sample_get_caps(first.get()), 3));
        const double firstToSecond = level(renderer, first.get(), second.get());
        QCOMPARE(renderer.gridBlurs(), 2u);
        const double firstToThird = level(renderer, first.get(), third.get());
        QCOMPARE(renderer.gridBlurs(), 4u);
        MotionDetectRenderer alone;
        QVERIFY(alone.prepare(gst_sample_get_caps(first.get()), 3));
        QCOMPARE(firstToThird, level(alone, first.get(), third.get()));
        QVERIFY(firstToThird != firstToSecond);
        const int references = GST_MINI_OBJECT_REFCOUNT_VALUE(third.get());
        renderer.forgetFrames();
        QCOMPARE(GST_MINI_OBJECT_REFCOUNT_VALUE(third.get()), references - 1);
        level(renderer, third.get(), first.get());
        QCOMPARE(renderer.gridBlurs(), 6u);
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
        // The camera's own frame, by reference, with the moved pixels: the
        // object's trailing edge moved, the still wall did not.
        const PreviewFrame& preview = *images.preview;
        QCOMPARE(preview.sample.get(), after.get());
        QCOMPARE(preview.size(), QSize(320, 180));
        QCOMPARE(preview.mask->size(), std::size_t(320 * 180));
        QCOMPARE(preview.mask->at(90 * 320 + 92), std::uint8_t(1));
        QCOMPARE(preview.mask->at(10 * 320 + 300), std::uint8_t(0));
    }

    // Pixels at the frame's right and bottom edge, past the last grid point,
    // see the edge repeated by the blur, so more noise than any grid point
    // learns. Once learning has settled a still, noisy scene leaves that band
    // clear, and marks at most a rare lone pixel elsewhere.
    void aStillNoisySceneLeavesTheFrameEdgesClearAfterSettling() {
        constexpr int width = 320;
        constexpr int height = 180;
        constexpr int reach = MotionDetectRenderer::blurRadius;
        MotionDetectRenderer renderer;
        std::vector<GstHandle<GstSample>> frames;
        for (unsigned i = 0; i < 8; ++i) {
            frames.push_back(noisyScene(width, height, 100 + i));
        }
        QVERIFY(renderer.prepare(gst_sample_get_caps(frames[0].get()), 3));
        // Ten seconds at 30 frames a second; the first half learns.
        const int pairs = 300;
        std::size_t elsewhere = 0;
        for (int i = 0; i < pairs; ++i) {
            const auto images = renderer.render(frames[i % frames.size()].get(),
                                                frames[(i + 1) % frames.size()].get(), true);
            QVERIFY(images.preview);
            if (i < pairs / 2) {
                continue;
            }
            const auto& mask = *images.preview->mask;
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    if (mask[static_cast<std::size_t>(y) * width + x] == 0) {
                        continue;
                    }
                    QVERIFY2(x < width - reach && y < height - reach,
                             qPrintable(QStringLiteral("moved at %1,%2").arg(x).arg(y)));
                    ++elsewhere;
                }
            }
        }
        QVERIFY2(elsewhere < std::size_t(width * height * (pairs / 2)) / 10000,
                 qPrintable(QString::number(elsewhere)));
    }

    void aCameraDecodedFromItsOwnStreamKeepsTheFixedThreshold() {
        MotionDetectRenderer renderer;
        std::vector<GstHandle<GstSample>> frames;
        for (unsigned i = 0; i < 4; ++i) {
            frames.push_back(noisyScene(160, 90, 200 + i));
        }
        const auto settleFor = [&](bool fixed) {
            renderer.keepFixedThreshold(fixed);
            renderer.prepare(gst_sample_get_caps(frames[0].get()), 3);
            for (int i = 0; i < 150; ++i) {
                renderer.render(frames[i % frames.size()].get(),
                                frames[(i + 1) % frames.size()].get(), false);
            }
        };
        settleFor(true);
        QVERIFY(!renderer.noise().settled());
        QCOMPARE(renderer.noise().thresholdLevels(0), double(MotionNoise::fixedThreshold));
        settleFor(false);
        QVERIFY(renderer.noise().settled());
        QVERIFY(renderer.noise().thresholdLevels(0) < MotionNoise::fixedThreshold);
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
