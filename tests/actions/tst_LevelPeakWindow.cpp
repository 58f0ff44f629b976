#include "LevelPeakWindow.h"

#include <QTest>

// The highest level of the last minute, and since a chosen moment.
class tst_LevelPeakWindow : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void nothingReportedHasNoPeak() {
        const LevelPeakWindow window;
        QVERIFY(!window.peak(0));
        QVERIFY(!window.peak(120000));
        QVERIFY(!window.held());
    }

    void thePeakIsTheHighestOfTheLastMinute() {
        LevelPeakWindow window;
        window.report(10, 1000);
        window.report(31, 1500);
        window.report(12, 1900);
        window.report(5, 30000);
        QCOMPARE(window.peak(30000).value_or(-1), 31.0);
        // Until its second has left the minute.
        QCOMPARE(window.peak(60999).value_or(-1), 31.0);
        QCOMPARE(window.peak(61000).value_or(-1), 5.0);
        QCOMPARE(window.peak(89999).value_or(-1), 5.0);
        QVERIFY(!window.peak(90000));
    }

    // A second reused a minute later starts afresh, however high it was.
    void anOldSecondIsReplacedNotRaised() {
        LevelPeakWindow window;
        window.report(90, 2000);
        window.report(3, 62000);
        QCOMPARE(window.peak(62000).value_or(-1), 3.0);
    }

    void aLevelOfZeroIsAPeakToo() {
        LevelPeakWindow window;
        window.report(0, 500);
        QCOMPARE(window.peak(500).value_or(-1), 0.0);
    }

    void heldIsTheHighestSinceHold() {
        LevelPeakWindow window;
        window.report(80, 1000);
        window.hold();
        QVERIFY(!window.held());
        window.report(20, 2000);
        window.report(35, 200000);
        window.report(25, 300000);
        QCOMPARE(window.held().value_or(-1), 35.0);
        QCOMPARE(window.peak(300000).value_or(-1), 25.0);
    }
};

QTEST_GUILESS_MAIN(tst_LevelPeakWindow)
#include "tst_LevelPeakWindow.moc"
