#include "LostFrames.h"
#include "StdoutCapture.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr GstClockTime frame30 = GST_SECOND / 30;
constexpr double interval30 = static_cast<double>(frame30) / GST_SECOND;

}  // namespace

class tst_LostFrames : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aFreshFileLostNothing() {
        const LostFrames lost;
        QCOMPARE(lost.tally().total(), 0);
        QCOMPARE(lost.gaps().written, 0);
        QCOMPARE(lost.frameInterval(), 0.0);
    }

    void writtenFramesTakeTheirDurationAsTheInterval() {
        LostFrames lost;
        lost.written(0.0, frame30);
        QCOMPARE(lost.frameInterval(), interval30);
        lost.written(1 / 30.0, GST_SECOND / 10);
        QCOMPARE(lost.frameInterval(), 0.1);
        QCOMPARE(lost.gaps().written, 2);
    }

    // A frame without a valid duration keeps the interval of the last one
    // that had one, so a hole after it is still measured.
    void aFrameWithoutDurationKeepsTheLastInterval() {
        LostFrames lost;
        lost.written(0.0, frame30);
        lost.written(1 / 30.0, GST_CLOCK_TIME_NONE);
        lost.written(2 / 30.0, 0);
        QCOMPARE(lost.frameInterval(), interval30);
        lost.written(2 / 30.0 + 1.0, GST_CLOCK_TIME_NONE);
        QCOMPARE(lost.gaps().written, 4);
        QVERIFY(qAbs(lost.gaps().longest - (1.0 - interval30)) < 1e-9);
    }

    void withoutAnyDurationNoHoleIsMeasured() {
        LostFrames lost;
        lost.written(0.0, GST_CLOCK_TIME_NONE);
        lost.written(3.0, GST_CLOCK_TIME_NONE);
        QCOMPARE(lost.gaps().missing, 0.0);
        QCOMPARE(lost.frameInterval(), 0.0);
    }

    void lossesAreCountedByReason() {
        LostFrames lost;
        lost.record(FrameLoss::Reason::writerRefused);
        lost.record(FrameLoss::Reason::writerRefused);
        lost.record(FrameLoss::Reason::captureDropped);
        QCOMPARE(lost.tally().count(FrameLoss::Reason::writerRefused), 2);
        QCOMPARE(lost.tally().total(), 3);
    }

    // The report goes by what this file lost: a copy taken at its stop is not
    // changed by what the next file loses.
    void aFileThatLostSecondsIsReportedAndRenamed() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("2025-01-02 03.04.05 - Cam.mov"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        LostFrames lost;
        lost.record(FrameLoss::Reason::encoderBehind);
        for (int i = 0; i < 30; ++i) {
            lost.written(i / 30.0, frame30);
        }
        lost.written(4.0, frame30);
        const LostFrames atStop = lost;
        lost = {};
        StdoutCapture out;
        atStop.reportAndRename(path);
        const QString printed = out.take();
        QVERIFY2(printed.contains(QStringLiteral("- Cam.mov: encoderBehind 1")),
                 qPrintable(printed));
        QVERIFY(!QFile::exists(path));
        QVERIFY(QFile::exists(
            dir.filePath(QStringLiteral("2025-01-02 03.04.05 - Cam - 3s missing.mov"))));
    }
};

QTEST_GUILESS_MAIN(tst_LostFrames)
#include "tst_LostFrames.moc"
