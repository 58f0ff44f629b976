#include "FrameLoss.h"
#include "StdoutCapture.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace FrameLoss;

class tst_FrameLoss : public QObject {
    Q_OBJECT

    static QString makeFile(const QTemporaryDir& dir, const QString& name) {
        const QString path = dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly)) {
            qFatal("cannot create a test file");
        }
        file.write("movie");
        return path;
    }

    // n frames at 30 fps from time 0, skipping the frame indices in `holes`.
    static Gaps framesWithHoles(int n, const QList<int>& holes) {
        Gaps gaps;
        for (int i = 0; i < n; ++i) {
            if (!holes.contains(i)) {
                gaps.update(i / 30.0, 1 / 30.0);
            }
        }
        return gaps;
    }

private Q_SLOTS:
    void tallyCountsByReasonAndDescribesInDeclarationOrder() {
        Tally tally;
        QCOMPARE(tally.total(), 0);
        QCOMPARE(tally.description(), QString());
        tally.record(Reason::captureDropped);
        for (int i = 0; i < 3; ++i) {
            tally.record(Reason::encoderBehind);
        }
        QCOMPARE(tally.count(Reason::encoderBehind), 3);
        QCOMPARE(tally.count(Reason::writerRefused), 0);
        QCOMPARE(tally.total(), 4);
        QCOMPARE(tally.description(), QStringLiteral("encoderBehind 3, captureDropped 1"));
    }

    void gapsMeasureHolesLessOneInterval() {
        Gaps gaps;
        gaps.update(0.0, 0.1);
        gaps.update(0.1, 0.1);
        gaps.update(0.15, 0.1);  // early: no gap
        gaps.update(1.15, 0.1);  // 1.0 later: gap 0.9
        gaps.update(1.5, 0.1);   // 0.35 later: gap 0.25
        QCOMPARE(gaps.written, 5);
        QCOMPARE(gaps.missing, 0.9 + 0.25);
        QCOMPARE(gaps.longest, 0.9);
        QCOMPARE(gaps.lastTime, std::optional<double>(1.5));
    }

    void aFrameWithinOneAndAHalfIntervalsIsNoGap() {
        Gaps gaps;
        gaps.update(0.0, 0.1);
        gaps.update(0.15, 0.1);  // exactly 1.5 intervals: not more than
        gaps.update(0.3, 0.0);   // no duration: never a gap
        QCOMPARE(gaps.missing, 0.0);
    }

    void expectedFrames() {
        Gaps gaps;
        QCOMPARE(gaps.expectedFrames(0.1), 0);
        gaps.written = 10;
        gaps.missing = 0.25;  // 2.5 frames: halves round away from zero
        QCOMPARE(gaps.expectedFrames(0.1), 13);
        QCOMPARE(gaps.expectedFrames(0), 0);
        QCOMPARE(gaps.expectedFrames(-1), 0);
    }

    void noVideoWrittenRenamesNothingButStillReports() {
        QTemporaryDir dir;
        const QString path = makeFile(dir, "2024-05-01 10.11.12.mov");
        Tally tally;
        tally.record(Reason::captureDropped);
        StdoutCapture out;
        QVERIFY(!reportAndRename(path, tally, Gaps{}, 1 / 30.0));
        QCOMPARE(out.lines(), QStringList{"2024-05-01 10.11.12.mov: captureDropped 1"});
        QVERIFY(QFile::exists(path));
    }

    void frameIntervalOfZeroRenamesNothing() {
        QTemporaryDir dir;
        const QString path = makeFile(dir, "a.mov");
        Gaps gaps;
        gaps.update(0, 0);
        gaps.update(10, 0);
        QCOMPARE(gaps.expectedFrames(0), 0);
        StdoutCapture out;
        QVERIFY(!reportAndRename(path, Tally{}, gaps, 0));
        QVERIFY(out.lines().isEmpty());
        QVERIFY(QFile::exists(path));
    }

    void oneGapOfExactlyOneSecondRenames() {
        QTemporaryDir dir;
        const QString path = makeFile(dir, "2024-05-01 10.11.12.mov");
        Gaps gaps;
        for (int i = 0; i < 300; ++i) {
            gaps.update(i * 0.125, 0.125);
        }
        gaps.update(299 * 0.125 + 1.125, 0.125);  // one hole of exactly 1.0 s
        QCOMPARE(gaps.longest, 1.0);
        const auto renamed = reportAndRename(path, Tally{}, gaps, 0.125);
        QCOMPARE(renamed,
                 std::optional<QString>(dir.filePath("2024-05-01 10.11.12 - 1s missing.mov")));
        QVERIFY(QFile::exists(*renamed));
        QVERIFY(!QFile::exists(path));
    }

    void oneGapOfJustUnderASecondAloneDoesNotRename() {
        QTemporaryDir dir;
        const QString path = makeFile(dir, "a.mov");
        Gaps gaps;
        for (int i = 0; i < 1000; ++i) {  // 10 s at 100 fps, hole of 0.99 s = 9 %
            gaps.update(i * 0.01, 0.01);
        }
        gaps.update(9.99 + 1.0, 0.01);
        QVERIFY(qAbs(gaps.longest - 0.99) < 1e-9);
        QVERIFY(!reportAndRename(path, Tally{}, gaps, 0.01));
        QVERIFY(QFile::exists(path));
    }

    void elevenPercentInSmallGapsRenamesWithAtLeastOneSecond() {
        QTemporaryDir dir;
        const QString path = makeFile(dir, "b.mov");
        QList<int> holes;
        for (int i = 5; i < 100; i += 9) {
            holes << i;  // 11 single frames of 100
        }
        const Gaps gaps = framesWithHoles(100, holes);
        QVERIFY(gaps.longest < 1.0);
        QCOMPARE(gaps.expectedFrames(1 / 30.0), 100);
        QVERIFY(qAbs(gaps.missing - 11 / 30.0) < 1e-9);  // rounds to 0: at least 1
        const auto renamed = reportAndRename(path, Tally{}, gaps, 1 / 30.0);
        QCOMPARE(renamed, std::optional<QString>(dir.filePath("b - 1s missing.mov")));

        const QString longer = makeFile(dir, "c.mov");
        holes.clear();
        for (int i = 5; i < 1000; i += 9) {
            holes << i;  // 111 of 1000 frames: 3.7 s missing
        }
        const auto renamedLonger =
            reportAndRename(longer, Tally{}, framesWithHoles(1000, holes), 1 / 30.0);
        QCOMPARE(renamedLonger, std::optional<QString>(dir.filePath("c - 4s missing.mov")));
    }

    void lossesWithoutHolesArePrintedButDoNotRename() {
        QTemporaryDir dir;
        const QString path = makeFile(dir, "d.mov");
        Tally tally;
        tally.record(Reason::writerRefused);
        tally.record(Reason::encoderBehind);
        tally.record(Reason::encoderBehind);
        Gaps gaps;
        for (int i = 0; i < 60; ++i) {  // the next frames followed within 1.5 intervals
            gaps.update(i / 30.0 + (i % 10 == 0 ? 0.015 : 0), 1 / 30.0);
        }
        StdoutCapture out;
        QVERIFY(!reportAndRename(path, tally, gaps, 1 / 30.0));
        QCOMPARE(out.lines(), QStringList{"d.mov: encoderBehind 2, writerRefused 1"});
        QVERIFY(QFile::exists(path));
    }

    void aFailedRenameIsPrintedAndTheFileKeepsItsName() {
        QTemporaryDir dir;
        const QString path = dir.filePath("gone.mov");  // vanished before the rename
        const Gaps gaps = framesWithHoles(100, {50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61});
        StdoutCapture out;
        QVERIFY(!reportAndRename(path, Tally{}, gaps, 1 / 30.0));
        QCOMPARE(out.lines(),
                 QStringList{
                     "Could not rename gone.mov to say what it lost: No such file or directory"});
    }

    void aRenameNeverReplacesAnExistingFile() {
        QTemporaryDir dir;
        const QString path = makeFile(dir, "e.mov");
        const QString taken = makeFile(dir, "e - 1s missing.mov");
        const Gaps gaps = framesWithHoles(100, {50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61});
        StdoutCapture out;
        QVERIFY(!reportAndRename(path, Tally{}, gaps, 1 / 30.0));
        QCOMPARE(out.lines(),
                 QStringList{"Could not rename e.mov to say what it lost: File exists"});
        QVERIFY(QFile::exists(path));
        QVERIFY(QFile::exists(taken));
    }
};

QTEST_GUILESS_MAIN(tst_FrameLoss)
#include "tst_FrameLoss.moc"
