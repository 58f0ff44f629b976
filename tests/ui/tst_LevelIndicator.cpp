#include "LevelIndicator.h"

#include <QTest>

namespace {

using Level = LevelIndicator::Level;

QImage drawn(LevelIndicator& indicator) {
    indicator.resize(100, 8);
    return indicator.grab().toImage();
}

}  // namespace

class tst_LevelIndicator : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void warningAndCriticalFollowTheThreshold() {
        LevelIndicator indicator;
        indicator.setThreshold(60);
        QCOMPARE(indicator.warningValue(), 45.0);
        QCOMPARE(indicator.criticalValue(), 60.0);
    }

    void levels_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<int>("level");
        QTest::newRow("silence") << 0.0 << int(Level::normal);
        QTest::newRow("just under warning") << 44.9 << int(Level::normal);
        QTest::newRow("at warning") << 45.0 << int(Level::warning);
        QTest::newRow("just under threshold") << 59.9 << int(Level::warning);
        QTest::newRow("at threshold") << 60.0 << int(Level::critical);
        QTest::newRow("full") << 100.0 << int(Level::critical);
    }
    void levels() {
        QFETCH(double, value);
        QFETCH(int, level);
        LevelIndicator indicator;
        indicator.setThreshold(60);
        indicator.setValue(value);
        QCOMPARE(int(indicator.level()), level);
    }

    void valuesStayOnTheScale() {
        LevelIndicator indicator;
        indicator.setValue(140);
        QCOMPARE(indicator.value(), 100.0);
        indicator.setValue(-3);
        QCOMPARE(indicator.value(), 0.0);
    }

    void levelsHaveDistinctColours() {
        const QPalette palette;
        QCOMPARE(LevelIndicator::color(Level::normal, palette), palette.color(QPalette::Highlight));
        QVERIFY(LevelIndicator::color(Level::warning, palette) !=
                LevelIndicator::color(Level::normal, palette));
        QVERIFY(LevelIndicator::color(Level::critical, palette) !=
                LevelIndicator::color(Level::warning, palette));
    }

    void theBarFillsInTheLevelsColour_data() {
        QTest::addColumn<double>("value");
        QTest::addColumn<int>("level");
        QTest::newRow("normal") << 30.0 << int(Level::normal);
        QTest::newRow("warning") << 50.0 << int(Level::warning);
        QTest::newRow("critical") << 80.0 << int(Level::critical);
    }
    void theBarFillsInTheLevelsColour() {
        QFETCH(double, value);
        QFETCH(int, level);
        LevelIndicator indicator;
        indicator.setThreshold(60);
        indicator.setValue(value);
        const QImage image = drawn(indicator);
        const qreal ratio = image.devicePixelRatio();
        const QColor fill = LevelIndicator::color(Level(level), indicator.palette());
        const QColor track = indicator.palette().color(QPalette::Base);
        const int y = int(4 * ratio);
        // Inside the frame: filled up to the value, the track after it.
        QCOMPARE(image.pixelColor(int(2 * ratio), y), fill);
        QCOMPARE(image.pixelColor(int((value - 2) * ratio), y), fill);
        QCOMPARE(image.pixelColor(int((value + 2) * ratio), y), track);
        QCOMPARE(image.pixelColor(int(97 * ratio), y), track);
    }

    void anEmptyBarShowsOnlyTheTrack() {
        LevelIndicator indicator;
        indicator.setThreshold(50);
        const QImage image = drawn(indicator);
        const QColor track = indicator.palette().color(QPalette::Base);
        for (int x = 2; x < 98; x += 5) {
            QCOMPARE(image.pixelColor(x, 4), track);
        }
    }
};

QTEST_MAIN(tst_LevelIndicator)
#include "tst_LevelIndicator.moc"
