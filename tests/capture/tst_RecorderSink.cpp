#include "CameraPipeline.h"
#include "Defaults.h"
#include "DemoCamera.h"
#include "MovieProbe.h"
#include "PreRollRecorder.h"
#include "RecorderSink.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <QImage>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

using namespace std::chrono_literals;

// A camera pipeline feeding its real pre-roll recorder: what the camera
// captured ends up in a movie that begins before the recording started.
class tst_RecorderSink : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void demoCameraBecomesAMovieWithPreRoll() {
        TestEnvironment environment;
        Defaults defaults(environment.settingsFilePath());
        defaults.set(SettingsKeys::preRollSeconds, 2);
        PreRollRecorder recorder(defaults);
        RecorderSink sink(recorder);
        DemoCamera::Options options;
        options.width = 640;
        options.height = 360;
        options.crossings = false;
        CameraPipeline pipeline(defaults, sink, std::make_shared<DemoCamera>(options), nullptr);
        QVERIFY(pipeline.configure());
        pipeline.startRunning();
        QTest::qWait(3000);  // the rings fill with real captured media

        QTemporaryDir folder;
        const QString path = folder.filePath("movie.mov");
        QSemaphore finished;
        std::optional<Error> outcome;
        recorder.start(path, [&](const QString&, std::optional<Error> error) {
            outcome = std::move(error);
            finished.release();
        });
        QTest::qWait(2000);
        recorder.stop();
        QVERIFY(finished.tryAcquire(1, 10000));
        pipeline.stopRunning();
        QVERIFY2(!outcome, outcome ? qPrintable(outcome->description) : "");

        const MovieProbe probe(path);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("video"), QString("h264"));
        QCOMPARE(probe.codec("audio"), QString());  // a camera without a microphone
        QCOMPARE(probe.width(), 640);
        QVERIFY(probe.firstFrameIsKeyframe());
        QCOMPARE(probe.firstTime("video").value_or(-1), 0.0);
        QVERIFY(probe.timestampsMonotonic());
        // 2 s of pre-roll back to a keyframe (one a second) plus the 2 s recorded.
        QVERIFY2(probe.videoSpan() >= 3.5 && probe.videoSpan() <= 5.5,
                 qPrintable(QString::number(probe.videoSpan())));
        QTRY_VERIFY(QFile::exists(PreRollRecorder::stillPath(path)));
        QCOMPARE(QImage(PreRollRecorder::stillPath(path)).size(), QSize(640, 360));
    }
};

QTEST_GUILESS_MAIN(tst_RecorderSink)
#include "tst_RecorderSink.moc"
