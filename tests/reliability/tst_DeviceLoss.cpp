#include "HeadlessRig.h"
#include "TestEnvironment.h"

#include <QTest>
#include <csignal>

using namespace HeadlessRig;

namespace {

const QString camera = QStringLiteral("USB Camera");
const QString microphone = QStringLiteral("Monitor of Room");

}  // namespace

// A camera pulled out and the sound server lost in the middle of a
// recording: the file in progress stays a good movie, and each device is
// used again as soon as it is back.
class tst_DeviceLoss : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aCameraUnpluggedWhileRecordingIsTakenBackWhenPluggedIn() {
        TestEnvironment environment;
        QuietRoom room;
        QVERIFY2(room.problem().isEmpty(), qPrintable(room.problem()));
        PluggedCameras cameras;
        QVERIFY(cameras.show(camera, QStringLiteral("still")));
        // The microphone can trigger too (the quiet room never does), so
        // Nelvo stays armed while the camera is away.
        QVariantHash settings = quickRecordings();
        settings.insert(SettingsKeys::audioTriggerEnabled, true);
        settings.insert(SettingsKeys::audioTriggerThreshold, 90);
        writeSettings(environment.settingsFilePath(), settings);

        NelvoRun nelvo({"--headless"});
        const LogOnFailure logOnFailure(nelvo);
        QVERIFY(nelvo.startedOK());
        QVERIFY2(armByCommand(nelvo), qPrintable(nelvo.log()));
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("State: armed"), 60000).isEmpty(),
                 qPrintable(nelvo.log()));
        QVERIFY(cameras.show(camera, QStringLiteral("moving")));
        const QString cut = nelvo.waitForLine(QStringLiteral("Recording to "), 30000);
        QVERIFY2(!cut.isEmpty(), qPrintable(nelvo.log()));
        nelvo.waitForLine(QStringLiteral("\x01"), 2500);  // a few seconds of the picture

        QVERIFY(cameras.unplug(camera));
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("Lost %1, reconfiguring").arg(camera), 20000)
                      .isEmpty(),
                 qPrintable(nelvo.log()));
        // The file in progress is finished, not lost with the camera.
        const QString finished = nelvo.waitForLine(QStringLiteral("Finished "), 30000);
        QVERIFY2(!finished.isEmpty(), qPrintable(nelvo.log()));
        QVERIFY2(movieProblem(pathOf(finished)).isEmpty(),
                 qPrintable(movieProblem(pathOf(finished))));
        QVERIFY2(MovieProbe(pathOf(finished)).videoSpan() > 2.0, qPrintable(pathOf(finished)));

        // Plugged back in, it is the camera again and the next trigger records from it.
        QVERIFY(cameras.show(camera, QStringLiteral("still")));
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("%1 connected").arg(camera), 20000).isEmpty(),
                 qPrintable(nelvo.log()));
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("State: armed"), 30000, 1).isEmpty(),
                 qPrintable(nelvo.log()));
        QVERIFY(cameras.show(camera, QStringLiteral("moving")));
        const QString again = nelvo.waitForLine(QStringLiteral("Recording to "), 30000, 1);
        QVERIFY2(again.contains(QStringLiteral(" - %1 + ").arg(camera)), qPrintable(nelvo.log()));
        QVERIFY(cameras.show(camera, QStringLiteral("still")));
        const QString second = nelvo.waitForLine(QStringLiteral("Finished "), 30000, 1);
        QVERIFY2(!second.isEmpty(), qPrintable(nelvo.log()));
        QVERIFY2(movieProblem(pathOf(second)).isEmpty(), qPrintable(movieProblem(pathOf(second))));

        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(30000));
        QCOMPARE(nelvo.process().exitCode(), 0);
        QCOMPARE(moviesProblems(environment.home()), QString());
    }

    void theSoundServerLostWhileRecordingLeavesTheVideoAndTheMicrophoneReturns() {
        TestEnvironment environment;
        QuietRoom room;
        QVERIFY2(room.problem().isEmpty(), qPrintable(room.problem()));
        PulseAudioServer& sound = room.sound();
        PluggedCameras cameras;
        QVERIFY(cameras.show(camera, QStringLiteral("still")));
        writeSettings(environment.settingsFilePath(), quickRecordings());

        NelvoRun nelvo({"--headless"});
        const LogOnFailure logOnFailure(nelvo);
        QVERIFY(nelvo.startedOK());
        QVERIFY2(armByCommand(nelvo), qPrintable(nelvo.log()));
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("State: armed"), 60000).isEmpty(),
                 qPrintable(nelvo.log()));
        QVERIFY2(
            nelvo.linesStartingWith(QStringLiteral("Devices: "))
                .contains(
                    QStringLiteral("Devices: camera %1, microphone %2").arg(camera, microphone)),
            qPrintable(nelvo.log()));
        QVERIFY(cameras.show(camera, QStringLiteral("moving")));
        const QString recording = nelvo.waitForLine(QStringLiteral("Recording to "), 30000);
        QVERIFY2(!recording.isEmpty(), qPrintable(nelvo.log()));
        nelvo.waitForLine(QStringLiteral("\x01"), 1500);

        // The server dies; the picture goes on being recorded.
        sound.kill();
        nelvo.waitForLine(QStringLiteral("\x01"), 4000);
        QVERIFY2(nelvo.process().state() == QProcess::Running, qPrintable(nelvo.log()));
        QVERIFY(sound.restart());
        QVERIFY(sound.loadNullSink(QStringLiteral("room"), QStringLiteral("Room")));
        QVERIFY(cameras.show(camera, QStringLiteral("still")));
        const QString finished = nelvo.waitForLine(QStringLiteral("Finished "), 30000);
        QVERIFY2(!finished.isEmpty(), qPrintable(nelvo.log()));
        QVERIFY2(movieProblem(pathOf(finished)).isEmpty(),
                 qPrintable(movieProblem(pathOf(finished))));
        // 1.5 s before the loss and 4 s after it, at least, are in the picture.
        const double span = MovieProbe(pathOf(finished)).videoSpan();
        QVERIFY2(span > 5.0, qPrintable(QString::number(span)));
        // Told as the microphone's loss, not as a failing capture.
        QVERIFY2(!nelvo.linesStartingWith(QStringLiteral("Lost %1").arg(microphone)).isEmpty(),
                 qPrintable(nelvo.log()));
        QVERIFY2(nelvo.linesStartingWith(QStringLiteral("Capture session error")).isEmpty(),
                 qPrintable(nelvo.log()));

        // The microphone is back with the server: the next movie has sound.
        const int armedSoFar = int(nelvo.linesStartingWith(QStringLiteral("State: armed")).size());
        QVERIFY2(
            !nelvo.waitForLine(QStringLiteral("State: armed"), 30000, armedSoFar - 1).isEmpty(),
            qPrintable(nelvo.log()));
        QVERIFY(cameras.show(camera, QStringLiteral("moving")));
        const QString next = nelvo.waitForLine(QStringLiteral("Recording to "), 30000, 1);
        QVERIFY2(next.endsWith(QStringLiteral(" + %1.mov").arg(microphone)),
                 qPrintable(nelvo.log()));
        nelvo.waitForLine(QStringLiteral("\x01"), 2000);
        QVERIFY(cameras.show(camera, QStringLiteral("still")));
        const QString withSound = nelvo.waitForLine(QStringLiteral("Finished "), 30000, 1);
        QVERIFY2(!withSound.isEmpty(), qPrintable(nelvo.log()));
        const MovieProbe probe(pathOf(withSound));
        QVERIFY2(movieProblem(pathOf(withSound)).isEmpty(),
                 qPrintable(movieProblem(pathOf(withSound))));
        QCOMPARE(probe.codec(QStringLiteral("audio")), QStringLiteral("aac"));
        QVERIFY(probe.frameCount(QStringLiteral("audio")) > 10);

        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(30000));
        QCOMPARE(nelvo.process().exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_DeviceLoss)
#include "tst_DeviceLoss.moc"
