#include "MappedVideoFrame.h"
#include "MotionDetectRenderer.h"
#include "MotionNoise.h"
#include "TestFrames.h"

#include <QTest>
#include <functional>
#include <random>

// The moved decision learns each camera's noise: on small synthetic frames of
// a still scene with sensor noise, through the renderer as the pipeline uses
// it (frames in order, each compared with the one before).
class tst_MotionNoise : public QObject {
    Q_OBJECT

    static constexpr int width = 320;
    static constexpr int height = 180;
    // The grid point at (160, 80) and a 60 x 60 patch around it: wider than
    // the blur, so the blurred change at the point is the patch's own.
    static constexpr int pointColumn = 8;
    static constexpr int pointRow = 4;

    // A still scene (a gradient with a chequer of lighter squares, luma 60 to
    // 200) under fresh sensor noise of `sigma` levels; `change` alters the
    // clean scene's luma at a pixel.
    static GstHandle<GstSample> frame(std::mt19937& generator, double sigma,
                                      const std::function<double(int, int, double)>& change = {},
                                      int w = width, int h = height) {
        std::normal_distribution<double> noise(0.0, std::max(sigma, 1e-9));
        return makeFrame(w, h, [&](int x, int y) {
            double luma = 60 + 120 * x / w + ((x / 40 + y / 30) % 2) * 20;
            if (change) {
                luma = change(x, y, luma);
            }
            return static_cast<int>(std::lround(luma + (sigma > 0 ? noise(generator) : 0.0)));
        });
    }

    static bool inPatch(int x, int y) { return std::abs(x - 160) < 30 && std::abs(y - 80) < 30; }

    // Feeds still noisy frames in order until the renderer has settled.
    struct Camera {
        Camera(double sigma, unsigned seed) : sigma(sigma), generator(seed) {
            previous = frame(generator, sigma);
            renderer.prepare(gst_sample_get_caps(previous.get()), 3);
            renderer.render(previous.get(), previous.get(), false);
        }
        // The next frame's motion image (and the preview's mask when wanted).
        MotionDetectRenderer::Images next(GstHandle<GstSample> current, bool wantsPreview = false) {
            auto images = renderer.render(previous.get(), current.get(), wantsPreview);
            previous = std::move(current);
            return images;
        }
        int nextStillMoved() {
            const auto images = next(frame(generator, sigma));
            return moved(*images.motion);
        }
        // How many frames it took; -1 when it did not settle.
        int settle() {
            for (int frames = 0; frames < 1000; ++frames) {
                if (renderer.noise().settled()) {
                    return frames;
                }
                nextStillMoved();
            }
            return -1;
        }

        double sigma;
        std::mt19937 generator;
        MotionDetectRenderer renderer;
        GstHandle<GstSample> previous;
    };

    static int moved(const MotionImage& image) {
        return static_cast<int>(std::count(image.moved.begin(), image.moved.end(), 1));
    }

    static double meanThreshold(const MotionNoise& noise, int points) {
        double sum = 0;
        for (int i = 0; i < points; ++i) {
            sum += noise.thresholdLevels(i);
        }
        return sum / points;
    }

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    // Two seconds of frames at the camera's rate (30 here) go by under the
    // fixed threshold, then the learned one takes over.
    void theFixedThresholdDecidesForTheFirstTwoSeconds() {
        Camera camera(2, 1);
        QVERIFY(!camera.renderer.noise().settled());
        const int points = 16 * 9;
        QCOMPARE(meanThreshold(camera.renderer.noise(), points), 15.0);
        QCOMPARE(camera.settle(), 60);
        QCOMPARE(meanThreshold(camera.renderer.noise(), points), 15.0);
        camera.nextStillMoved();
        QVERIFY2(meanThreshold(camera.renderer.noise(), points) < 6.0,
                 "a quiet camera did not get a lower threshold");
    }

    void sensorNoiseNeverMarksAStillPointAfterSettling_data() {
        QTest::addColumn<double>("sigma");
        QTest::addColumn<double>("lowest");
        QTest::addColumn<double>("highest");
        // The blur leaves about a quarter of the per-pixel noise in a
        // frame-to-frame change; the threshold follows it.
        QTest::newRow("sigma 2") << 2.0 << 2.5 << 6.0;
        QTest::newRow("sigma 4") << 4.0 << 4.5 << 9.0;
        QTest::newRow("sigma 8") << 8.0 << 8.0 << 15.0;
    }

    void sensorNoiseNeverMarksAStillPointAfterSettling() {
        QFETCH(double, sigma);
        QFETCH(double, lowest);
        QFETCH(double, highest);
        Camera camera(sigma, 2);
        QVERIFY(camera.settle() > 0);
        // At sigma 8 the points on the frame's top and left edges, where the
        // blur repeats the edge pixels, are noisier than the fixed threshold
        // allows for: they keep it, and are judged exactly as before.
        const MotionNoise& noise = camera.renderer.noise();
        int marked = 0;
        int capped = 0;
        for (int i = 0; i < 300; ++i) {
            const auto images = camera.next(frame(camera.generator, sigma));
            for (int point = 0; point < images.motion->points(); ++point) {
                if (noise.thresholdLevels(point) < MotionNoise::fixedThreshold) {
                    marked += images.motion->moved[point];
                } else if (i == 0) {
                    ++capped;
                    QVERIFY(point < images.motion->columns || point % images.motion->columns == 0);
                }
            }
        }
        QCOMPARE(marked, 0);
        QCOMPARE(capped > 0, sigma >= 8);
        const double threshold = meanThreshold(camera.renderer.noise(), 16 * 9);
        qInfo("sigma %.0f: mean threshold %.2f levels", sigma, threshold);
        QVERIFY2(threshold >= lowest && threshold <= highest,
                 qPrintable(QStringLiteral("mean threshold %1 levels").arg(threshold)));
    }

    // Twelve levels is under the fixed threshold of 15, so it counted for
    // nothing before the camera's noise was known.
    void aStepOf12LevelsAtAQuietPointIsMarked() {
        const auto step = [](int x, int y, double luma) { return luma + (inPatch(x, y) ? 12 : 0); };
        Camera fresh(2, 3);
        auto images = fresh.next(frame(fresh.generator, 2, step), true);
        QCOMPARE(images.motion->at(pointColumn, pointRow), std::uint8_t(0));

        Camera camera(2, 3);
        QVERIFY(camera.settle() > 0);
        images = camera.next(frame(camera.generator, 2, step), true);
        QCOMPARE(images.motion->at(pointColumn, pointRow), std::uint8_t(1));
        QCOMPARE(images.preview->mask->at(80 * width + 160), std::uint8_t(1));
        QCOMPARE(images.preview->mask->at(80 * width + 20), std::uint8_t(0));
        // Only the patch moved: the points around it did not.
        QCOMPARE(moved(*images.motion), 9);
    }

    // Sensor noise rarely takes two neighbouring points far at once; a person
    // spanning several points does. A change a little under the learned
    // threshold counts where a neighbour changed too, and not at a point alone.
    void aFaintChangeCountsWhereItSpansNeighbouringPoints() {
        Camera camera(4, 7);
        QVERIFY(camera.settle() > 0);
        // Clean frames from here on: the change is exactly what is drawn.
        camera.next(frame(camera.generator, 0));
        camera.next(frame(camera.generator, 0));
        const MotionNoise& noise = camera.renderer.noise();
        const int columns = 16;
        double lowest = 15;
        double highest = 0;
        for (int row = pointRow - 1; row <= pointRow + 1; ++row) {
            for (int column = pointColumn - 1; column <= pointColumn + 1; ++column) {
                lowest = std::min(lowest, noise.thresholdLevels(row * columns + column));
                highest = std::max(highest, noise.thresholdLevels(row * columns + column));
            }
        }
        // Whole levels, so that every pixel changes by exactly this much.
        const int step = 5;
        QVERIFY2(0.75 * highest < step && step < lowest,
                 qPrintable(QStringLiteral("thresholds %1 to %2").arg(lowest).arg(highest)));
        auto images = camera.next(frame(camera.generator, 0, [&](int x, int y, double luma) {
            return luma + (inPatch(x, y) ? step : 0);
        }));
        QCOMPARE(moved(*images.motion), 9);
        camera.next(frame(camera.generator, 0));
        // The same change over one point only (20 x 20 pixels around it).
        images = camera.next(frame(camera.generator, 0, [&](int x, int y, double luma) {
            return luma + (std::abs(x - 160) < 10 && std::abs(y - 80) < 10 ? step : 0);
        }));
        QCOMPARE(moved(*images.motion), 0);
    }

    void aUniformBrightnessChangeMarksNothingAndAPersonStillMoves_data() {
        QTest::addColumn<double>("sigma");
        QTest::newRow("sigma 2") << 2.0;
        QTest::newRow("sigma 8") << 8.0;
    }

    void aUniformBrightnessChangeMarksNothingAndAPersonStillMoves() {
        QFETCH(double, sigma);
        Camera camera(sigma, 4);
        QVERIFY(camera.settle() > 0);
        // A lamp adding 20 levels everywhere.
        auto images =
            camera.next(frame(camera.generator, sigma, [](int, int, double l) { return l + 20; }));
        QCOMPARE(moved(*images.motion), 0);
        // The camera's exposure taking everything 10 % brighter.
        images = camera.next(
            frame(camera.generator, sigma, [](int, int, double l) { return (l + 20) * 1.1; }));
        QCOMPARE(moved(*images.motion), 0);
        // Darker again, with a person (40 levels under the wall) in the patch.
        images = camera.next(frame(camera.generator, sigma, [](int x, int y, double l) {
            return inPatch(x, y) ? l - 40 : l;
        }));
        // The patch's 9 points move; beside so wide a change a point may too
        // (the area rule), but nothing further out.
        for (int row = 0; row < images.motion->rows; ++row) {
            for (int column = 0; column < images.motion->columns; ++column) {
                const int distance =
                    std::max(std::abs(column - pointColumn), std::abs(row - pointRow));
                if (distance <= 1) {
                    QCOMPARE(images.motion->at(column, row), std::uint8_t(1));
                } else if (distance > 2) {
                    QCOMPARE(images.motion->at(column, row), std::uint8_t(0));
                }
            }
        }
        QVERIFY(moved(*images.motion) <= 9 + 4);
    }

    // A distant person against a wall of nearly their shade changes each point
    // less than its threshold, but all the points they cover: where the 3 x 3
    // points around a point changed together well beyond their noise, one and
    // a half times its noise suffice. Noise alone never gets there, and a
    // single point's faint change does not either.
    void aFaintChangeOverAnAreaCountsWhereNoPointWouldAlone() {
        Camera camera(8, 9);
        QVERIFY(camera.settle() > 0);
        // Clean frames from here on: the change is exactly what is drawn.
        camera.next(frame(camera.generator, 0));
        camera.next(frame(camera.generator, 0));
        const MotionNoise& noise = camera.renderer.noise();
        const int columns = 16;
        double lowest = 15;
        for (int row = pointRow - 1; row <= pointRow + 1; ++row) {
            for (int column = pointColumn - 1; column <= pointColumn + 1; ++column) {
                lowest = std::min(lowest, noise.thresholdLevels(row * columns + column));
            }
        }
        // Whole levels, under three quarters of every threshold in the patch,
        // so neither a point alone nor the neighbour rule marks it (σ 8 gives
        // thresholds near 11.6 levels).
        const int step = 5;
        QVERIFY2(step * 4 < lowest * 3,
                 qPrintable(QStringLiteral("lowest threshold %1").arg(lowest)));
        // Over 5 x 5 points (100 x 100 pixels): the 3 x 3 in the middle have
        // it all around them, the ring outside only in part.
        auto images = camera.next(frame(camera.generator, 0, [&](int x, int y, double luma) {
            return luma + (std::abs(x - 160) < 50 && std::abs(y - 80) < 50 ? step : 0);
        }));
        QCOMPARE(moved(*images.motion), 9);
        QCOMPARE(images.motion->at(pointColumn, pointRow), std::uint8_t(1));
        camera.next(frame(camera.generator, 0));
        // The same change over one point only (20 x 20 pixels around it).
        images = camera.next(frame(camera.generator, 0, [&](int x, int y, double luma) {
            return luma + (std::abs(x - 160) < 10 && std::abs(y - 80) < 10 ? step : 0);
        }));
        QCOMPARE(moved(*images.motion), 0);
    }

    // A plain wall has no darker half to learn a brightness change from: a
    // dark object moving on it must not make the wall move, even from a
    // source without noise (the most sensitive threshold there is).
    void aDarkObjectOnAPlainWallMovesOnlyWhereItIs() {
        std::mt19937 generator(8);
        MotionDetectRenderer renderer;
        const auto wall = [&](int boxLeft) {
            return makeFrame(width, height, [boxLeft](int x, int y) {
                return x >= boxLeft && x < boxLeft + 40 && y >= 100 && y < 140 ? 16 : 176;
            });
        };
        auto previous = wall(200);
        QVERIFY(renderer.prepare(gst_sample_get_caps(previous.get()), 3));
        for (int i = 0; i < 1000 && !renderer.noise().settled(); ++i) {
            auto current = wall(200);
            renderer.render(previous.get(), current.get(), false);
            previous = std::move(current);
        }
        QVERIFY(renderer.noise().settled());
        for (const int boxLeft : {230, 260, 220}) {
            auto current = wall(boxLeft);
            const auto images = renderer.render(previous.get(), current.get(), false);
            const MotionImage& grid = *images.motion;
            int moved = 0;
            for (int row = 0; row < grid.rows; ++row) {
                for (int column = 0; column < grid.columns; ++column) {
                    const bool nearBox =
                        row * 20 >= 90 && row * 20 < 150 && column * 20 >= 190 && column * 20 < 310;
                    QVERIFY2(nearBox || !grid.at(column, row),
                             qPrintable(QStringLiteral("(%1, %2)").arg(column).arg(row)));
                    moved += grid.at(column, row);
                }
            }
            QVERIFY(moved > 0);
            previous = std::move(current);
        }
    }

    // A new format is a new camera picture, and a restarted capture may see
    // another scene: both start learning afresh under the fixed threshold.
    void theStatisticsStartOverOnAFormatChangeAndARestart() {
        Camera camera(2, 5);
        QVERIFY(camera.settle() > 0);
        QVERIFY(camera.renderer.noise().settled());
        camera.renderer.forgetFrames();
        QVERIFY(!camera.renderer.noise().settled());
        QCOMPARE(camera.renderer.noise().framesLearned(), 0);
        QVERIFY(camera.settle() > 0);

        const auto wider = frame(camera.generator, 2, {}, 400, 180);
        QVERIFY(camera.renderer.prepare(gst_sample_get_caps(wider.get()), 3));
        QVERIFY(!camera.renderer.noise().settled());
        QCOMPARE(camera.renderer.noise().framesLearned(), 0);
        camera.previous = wider;
        const auto step = [](int x, int y, double luma) { return luma + (inPatch(x, y) ? 12 : 0); };
        const auto images = camera.next(frame(camera.generator, 2, step, 400, 180));
        QCOMPARE(moved(*images.motion), 0);
    }

    void theVectorAndPortableMasksAgreeWithTheGridOnceSettled_data() {
        QTest::addColumn<int>("w");
        QTest::addColumn<int>("h");
        QTest::newRow("even") << 320 << 180;
        QTest::newRow("odd size, padded rows") << 321 << 181;
    }

    // Per-point thresholds and the brightness line make every grid point's
    // bounds its own; every pixel takes those of its nearest grid point.
    void theVectorAndPortableMasksAgreeWithTheGridOnceSettled() {
        QFETCH(int, w);
        QFETCH(int, h);
        std::mt19937 generator(6);
        MotionDetectRenderer renderer;
        auto previous = frame(generator, 4, {}, w, h);
        QVERIFY(renderer.prepare(gst_sample_get_caps(previous.get()), 3));
        for (int i = 0; !renderer.noise().settled(); ++i) {
            QVERIFY(i < 1000);
            auto current = frame(generator, 4, {}, w, h);
            renderer.render(previous.get(), current.get(), false);
            previous = std::move(current);
        }
        std::uniform_int_distribution<int> shake(-40, 40);
        for (int round = 0; round < 3; ++round) {
            const auto current = frame(
                generator, 4,
                [&](int x, int, double l) { return l * 1.05 + shake(generator) + x % 7; }, w, h);
            const auto images = renderer.render(previous.get(), current.get(), true);
            QVERIFY(images.motion && images.preview);
            const MappedVideoFrame a(previous.get());
            const MappedVideoFrame b(current.get());
            QVERIFY(a.mapped && b.mapped);
            std::vector<std::uint8_t> portable(static_cast<std::size_t>(w) * h, 7);
            std::vector<std::int32_t> scratch(MotionDetectRenderer::fullFrameScratch(w));
            MotionDetectRenderer::renderFullFramePortable(
                a.plane(0), a.stride(0), b.plane(0), b.stride(0), w, h, renderer.noise().bounds(),
                scratch.data(), portable.data());
            QVERIFY(*images.preview->mask == portable);
            const MotionImage& grid = *images.motion;
            for (int row = 0; row < grid.rows; ++row) {
                for (int column = 0; column < grid.columns; ++column) {
                    QCOMPARE(portable[row * 20 * w + column * 20], grid.at(column, row));
                }
            }
            QVERIFY2(moved(grid) > grid.points() / 10 && moved(grid) < grid.points() * 9 / 10,
                     "one-sided frames");
            previous = current;
        }
    }
};

QTEST_GUILESS_MAIN(tst_MotionNoise)
#include "tst_MotionNoise.moc"
