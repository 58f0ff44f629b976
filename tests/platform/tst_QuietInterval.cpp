#include "QuietInterval.h"

#include <QTest>

using namespace std::chrono_literals;

class tst_QuietInterval : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatWasNeverSaidMayBeSaid() {
        const QuietInterval quiet(60s);
        QVERIFY(!quiet.isQuiet(0ms));
        QCOMPARE(quiet.left(5s), 0ms);
    }

    void afterSayingItStaysQuietForTheIntervalAndNoLonger() {
        QuietInterval quiet(60s);
        quiet.said(100s);
        QVERIFY(quiet.isQuiet(100s));
        QVERIFY(quiet.isQuiet(159999ms));
        QCOMPARE(quiet.left(130500ms), 29500ms);
        QVERIFY(!quiet.isQuiet(160s));
        QCOMPARE(quiet.left(200s), 0ms);
    }

    void sayingAgainStartsTheIntervalAgain() {
        QuietInterval quiet(60s);
        quiet.said(0s);
        quiet.said(70s);
        QVERIFY(quiet.isQuiet(100s));
        QCOMPARE(quiet.left(100s), 30s);
    }

    void aClockThatWentBackKeepsItQuietWithAtMostTheIntervalLeft() {
        QuietInterval quiet(60s);
        quiet.said(100s);
        QVERIFY(quiet.isQuiet(40s));
        QCOMPARE(quiet.left(40s), 60s);
    }
};

QTEST_GUILESS_MAIN(tst_QuietInterval)
#include "tst_QuietInterval.moc"
