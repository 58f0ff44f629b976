#include "Defaults.h"
#include "DetectionZones.h"
#include "MotionDetector.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <QTest>
#include <cmath>

class tst_DetectionZones : public QObject {
    Q_OBJECT

private:
    TestEnvironment environment;
    std::unique_ptr<Defaults> defaults;

    static MotionImage allMoved(int width, int height) {
        MotionImage image;
        image.resize(width, height, 20);
        std::fill(image.moved.begin(), image.moved.end(), 1);
        return image;
    }

private Q_SLOTS:
    void init() { defaults = std::make_unique<Defaults>(environment.settingsFilePath()); }

    void noStoredZonesMeansTheWholeFrame() {
        const auto zones = DetectionZones::zones(QStringLiteral("cam-none"), *defaults);
        QVERIFY(zones->empty());
        const auto measurement = MotionDetector::measure(allMoved(1280, 720), *zones);
        QCOMPARE(measurement.samples, 64 * 36);
        QVERIFY(DetectionZones::zones(std::nullopt, *defaults)->empty());
    }

    void storedFormIsTheDesignedJson() {
        DetectionZones::save(QStringLiteral("cam-json"), *defaults, {QRectF(0.1, 0.2, 0.3, 0.25)});
        QCOMPARE(*defaults->data(SettingsKeys::detectionZonesFor(QStringLiteral("cam-json"))),
                 QByteArray(R"({"rects":[[[0.1,0.2],[0.3,0.25]]]})"));
        QCOMPARE(DetectionZones::storedZones(QStringLiteral("cam-json"), *defaults),
                 DetectionZones::Rects{QRectF(0.1, 0.2, 0.3, 0.25)});
        QCOMPARE(DetectionZones::fromJson(R"({"rects":[]})")->rects.size(), 0u);
    }

    void corruptDataReadsEmptyAndStaysCachedUntilSaved() {
        const QString id = QStringLiteral("cam-corrupt");
        defaults->set(SettingsKeys::detectionZonesFor(id), QByteArray("{\"rects\":[[1,2]"));
        QVERIFY(DetectionZones::zones(id, *defaults)->empty());
        // A valid value written behind the cache's back is not read again.
        defaults->set(SettingsKeys::detectionZonesFor(id),
                      *DetectionZones{{QRectF(0, 0, 0.5, 0.5)}}.toJson());
        QVERIFY(DetectionZones::zones(id, *defaults)->empty());
        DetectionZones::save(id, *defaults, {QRectF(0, 0, 0.25, 0.25)});
        QCOMPARE(*DetectionZones::zones(id, *defaults),
                 DetectionZones::Rects{QRectF(0, 0, 0.25, 0.25)});
    }

    void zonesCoveringNoGridPointGiveLevelZeroAndNeverTrigger() {
        const QString id = QStringLiteral("cam-tiny");
        DetectionZones::save(id, *defaults, {QRectF(0.001, 0.001, 0.005, 0.005)});
        const auto measurement =
            MotionDetector::measure(allMoved(1280, 720), *DetectionZones::zones(id, *defaults));
        QCOMPARE(measurement.samples, 0);
        QCOMPARE(measurement.level, 0.0);
        QVERIFY(!MotionDetector::triggered(measurement, -1.0, true));
    }

    void maximumEdgeIsExcluded() {
        QVERIFY(!DetectionZones::contains(QRectF(0, 0, 1.0, 1.0), 1.0, 0.5));
        QVERIFY(DetectionZones::contains(QRectF(0, 0, 1.0, 1.0), 0.0, 0.0));
        // Width 41: grid columns at x = 0 and 20; the second samples at
        // 20.5 / 41 = 0.5, exactly the maximum edge of a rectangle ending there.
        const auto measurement =
            MotionDetector::measure(allMoved(41, 41), {QRectF(0, 0, 0.5, 1.0)});
        QCOMPARE(measurement.samples, 2);  // rows y = 0 and 20, column 0 only
        const auto wider = MotionDetector::measure(allMoved(41, 41), {QRectF(0, 0, 0.51, 1.0)});
        QCOMPARE(wider.samples, 4);
    }

    void savedZonesApplyAtOnceWithoutReadingTheSettings() {
        const QString id = QStringLiteral("cam-change");
        QVERIFY(DetectionZones::zones(id, *defaults)->empty());
        DetectionZones::save(id, *defaults, {QRectF(0, 0, 0.5, 1.0)});
        defaults->remove(SettingsKeys::detectionZonesFor(id));
        QCOMPARE(DetectionZones::zones(id, *defaults)->size(), 1u);
        const auto measurement =
            MotionDetector::measure(allMoved(1280, 720), *DetectionZones::zones(id, *defaults));
        QCOMPARE(measurement.samples, 32 * 36);
    }

    void anUnencodableSaveWritesNothing() {
        const QString id = QStringLiteral("cam-nan");
        DetectionZones::save(id, *defaults, {QRectF(std::nan(""), 0, 1, 1)});
        QVERIFY(!defaults->data(SettingsKeys::detectionZonesFor(id)));
        QCOMPARE(DetectionZones::zones(id, *defaults)->size(), 1u);
    }
};

QTEST_GUILESS_MAIN(tst_DetectionZones)
#include "tst_DetectionZones.moc"
