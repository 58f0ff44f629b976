#include "MeterRowView.h"

#include "LevelIndicator.h"

#include <QApplication>
#include <QLabel>
#include <QSignalSpy>
#include <QSlider>
#include <QTest>

class tst_MeterRowView : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aLongNameIsCutInTheMiddleAndShownWholeInTheTooltip() {
        MeterRowView row(80, QStringLiteral("tip"));
        const QString name = QStringLiteral("USB Camera Front Left Corner of the Garage Door 2");
        row.setDeviceName(name);
        const QString shown = row.deviceLabel()->text();
        QVERIFY(shown.size() < name.size());
        QVERIFY(shown.startsWith(QStringLiteral("USB")));
        QVERIFY(shown.endsWith(QStringLiteral("2")));
        QCOMPARE(row.deviceLabel()->toolTip(), name);
    }

    void levelsAreSmoothedAndClear() {
        MeterRowView row(80, QStringLiteral("tip"));
        row.addLevel(80);
        QCOMPARE(row.levelIndicator()->value(), 40.0);
        row.addLevel(80);
        QCOMPARE(row.levelIndicator()->value(), 60.0);
        row.clearLevel();
        QCOMPARE(row.levelIndicator()->value(), 0.0);
    }

    void theUsersMoveIsReportedAndMarkedOnTheMeter() {
        MeterRowView row(80, QStringLiteral("tip"));
        QSignalSpy moved(&row, &MeterRowView::thresholdMoved);
        row.slider()->setValue(40);
        QCOMPARE(moved.size(), 1);
        QCOMPARE(moved.front().front().toInt(), 40);
        QCOMPARE(row.levelIndicator()->criticalValue(), 40.0);
    }

    void settingTheSliderIsNotAMove() {
        MeterRowView row(80, QStringLiteral("tip"));
        QSignalSpy moved(&row, &MeterRowView::thresholdMoved);
        row.setSliderThreshold(70);
        QCOMPARE(row.slider()->value(), 70);
        QVERIFY(moved.isEmpty());
        // A negative threshold (none stored) marks nothing below zero.
        row.showThreshold(-1);
        QCOMPARE(row.levelIndicator()->criticalValue(), 0.0);
    }
};

QTEST_MAIN(tst_MeterRowView)
#include "tst_MeterRowView.moc"
