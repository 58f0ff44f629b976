#include "CameraPipeline.h"
#include "Defaults.h"
#include "DemoCamera.h"
#include "DemoMicrophone.h"
#include "FileOutputManager.h"
#include "MovieProbe.h"
#include "PreRollRecorder.h"
#include "RecorderSink.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <QImage>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>

using namespace std::chrono_literals;

// A camera pipeline feeding its real pre-roll recorder: what the camera
// captured ends up in a movie that begins before the recording started.
class tst_RecorderSink : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void demoCameraBecomesAMovieWithPreRoll() {
        recordDemo(false);
        if (QTest::currentTestFailed()) {
            return;
        }
        const MovieProbe probe(path_);
        QCOMPARE(probe.codec("audio"), QString());  // a camera without a microphone
    }

    // The microphone's buffers stay in the pre-roll ring for its whole span,
    // so the capture must go on producing while the ring holds them.
    void demoCameraAndMicrophoneBecomeAMovieWithSound() {
        recordDemo(true);
        if (QTest::currentTestFailed()) {
            return;
        }
        const MovieProbe probe(path_);
        QCOMPARE(probe.codec("audio"), QString("aac"));
        QCOMPARE(probe.sampleRate(), DemoMicrophone::rate);
        const double audioSpan =
            probe.lastTime("audio").value_or(0) - probe.firstTime("audio").value_or(0);
        QVERIFY2(
            std::abs(audioSpan - probe.videoSpan()) < 0.5,
            qPrintable(QString("audio %1 s, video %2 s").arg(audioSpan).arg(probe.videoSpan())));
    }

private:
    // Fills the rings for 3 s, records 2 s with 2 s of pre-roll and checks
    // the movie and its still.
    void recordDemo(bool withMicrophone) {
        TestEnvironment environment;
        Defaults defaults(environment.settingsFilePath());
        defaults.set(SettingsKeys::preRollSeconds, 2);
        PreRollRecorder recorder(defaults);
        RecorderSink sink(recorder);
        DemoCamera::Options options;
        options.width = 640;
        options.height = 360;
        options.crossings = false;
        CameraPipeline pipeline(defaults, sink, std::make_shared<DemoCamera>(options),
                                withMicrophone ? std::make_shared<DemoMicrophone>() : nullptr);
        QVERIFY(pipeline.configure());
        pipeline.startRunning();
        QTest::qWait(3000);  // the rings fill with real captured media

        path_ = folder_.filePath(withMicrophone ? "with-sound.mov" : "movie.mov");
        QSemaphore finished;
        std::optional<Error> outcome;
        recorder.start(path_, [&](const QString&, std::optional<Error> error) {
            outcome = std::move(error);
            finished.release();
        });
        QTest::qWait(2000);
        recorder.stop();
        QVERIFY(finished.tryAcquire(1, 10000));
        pipeline.stopRunning();
        QVERIFY2(!outcome, outcome ? qPrintable(outcome->description) : "");
        // A loaded machine may lose frames, and the movie is then renamed to say
        // so; its still keeps the name the movie was opened under.
        const QString still = PreRollRecorder::stillPath(path_);
        path_ = FileOutputManager::finishedPath(path_);

        const MovieProbe probe(path_);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("video"), QString("h264"));
        QCOMPARE(probe.width(), 640);
        QVERIFY(probe.firstFrameIsKeyframe());
        QCOMPARE(probe.firstTime("video").value_or(-1), 0.0);
        QVERIFY(probe.timestampsMonotonic());
        // 2 s of pre-roll back to a keyframe (one a second) plus the 2 s recorded.
        QVERIFY2(probe.videoSpan() >= 3.5 && probe.videoSpan() <= 5.5,
                 qPrintable(QString::number(probe.videoSpan())));
        QTRY_VERIFY(QFile::exists(still));
        QCOMPARE(QImage(still).size(), QSize(640, 360));
    }

    QTemporaryDir folder_;
    QString path_;
};

QTEST_GUILESS_MAIN(tst_RecorderSink)
#include "tst_RecorderSink.moc"
