#include "CaptureManagerHarness.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

using namespace std::chrono_literals;
using namespace SettingsKeys;
using namespace CaptureManagerHarness;

namespace {

// A network camera: it answers "401 Unauthorized" (refusing Nelvo's
// credentials) until the test lets Nelvo in, then streams raw 160x120 I420
// pictures.
class NetworkCamera {
public:
    NetworkCamera() : frame_(160 * 120 * 3 / 2, char(100)) {
        server_.listen(QHostAddress::LocalHost);
        QObject::connect(&server_, &QTcpServer::newConnection, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket,
                                 [this, socket] { answer(socket); });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
        QObject::connect(&frames_, &QTimer::timeout, [this] {
            for (QTcpSocket* socket : std::as_const(streaming_)) {
                socket->write(frame_);
            }
        });
        frames_.start(66);
    }
    void letIn() { refusing_ = false; }
    std::shared_ptr<CaptureSource> source() const {
        return std::make_shared<LaunchSource>(
            QStringLiteral("cam-ip"), QStringLiteral("Door Camera"),
            QStringLiteral("souphttpsrc is-live=true do-timestamp=true "
                           "location=http://127.0.0.1:%1/video.yuv ! rawvideoparse "
                           "width=160 height=120 format=i420 framerate=15/1")
                .arg(server_.serverPort()));
    }

private:
    void answer(QTcpSocket* socket) {
        socket->readAll();
        if (refusing_) {
            socket->write(
                "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"camera\"\r\n"
                "Content-Length: 0\r\nConnection: close\r\n\r\n");
            socket->disconnectFromHost();
            return;
        }
        if (streaming_.contains(socket)) {
            return;
        }
        socket->write(
            "HTTP/1.1 200 OK\r\nContent-Type: multipart/x-mixed-replace; "
            "boundary=frame\r\nConnection: close\r\n\r\n");
        streaming_ << socket;
        QObject::connect(socket, &QObject::destroyed, &server_,
                         [this, socket] { streaming_.removeAll(socket); });
    }

    QTcpServer server_;
    QTimer frames_;
    const QByteArray frame_;
    QList<QTcpSocket*> streaming_;
    bool refusing_ = true;
};

}  // namespace

// Arms and waits for the camera's refusal, keeping the lines printed meanwhile.
bool refuse(Harness& h, QStringList& log) {
    bool refused = false;
    log = h.act([&] {
        h.setState(CaptureManagerRecordingController::armed);
        refused = QTest::qWaitFor(
            [&] { return h.manager->setupResult() == SessionSetupResult::notAuthorized; },
            patience);
        QTest::qWait(1000);
    });
    return refused;
}

class tst_CaptureManager : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    // ---- Setup result ----

    void setupResultsAndTheirTexts() {
        QCOMPARE(static_cast<int>(SessionSetupResult::success), 0);
        QCOMPARE(static_cast<int>(SessionSetupResult::notAuthorized), 1);
        QCOMPARE(static_cast<int>(SessionSetupResult::configurationFailed), 2);
        QCOMPARE(sessionSetupResultText(SessionSetupResult::success), QString());
        QCOMPARE(sessionSetupResultText(SessionSetupResult::notAuthorized),
                 QStringLiteral("Not authorized"));
        QCOMPARE(sessionSetupResultText(SessionSetupResult::configurationFailed),
                 QStringLiteral("Configuration failed"));
    }

    void withoutDeviceDiscoveryNothingCaptures() {
        Harness h({camera("A")}, {}, true);
        QVERIFY(h.setUp());
        QCOMPARE(h.manager->setupResult(), SessionSetupResult::configurationFailed);
        h.setState(CaptureManagerRecordingController::armed);
        h.manager->setPopoverOpen(true);
        h.settle();
        QVERIFY(!h.manager->capturing());
        QVERIFY(!h.manager->sessionRunning(0));
    }

    // A camera the system refuses to open (here a network camera answering
    // "401 Unauthorized") makes the setup "not authorized"; capture is not
    // restarted over and over.
    void aCameraThatRefusesAccessIsNotAuthorized() {
        NetworkCamera door;
        Harness h({door.source()}, {});
        QVERIFY(h.setUp());
        QCOMPARE(h.manager->setupResult(), SessionSetupResult::success);
        QStringList log;
        QVERIFY(refuse(h, log));
        QVERIFY2(!mentions(log, "Capture session error, restarting"), qPrintable(log.join('\n')));
        QVERIFY(!mentions(log, "Trying capture again"));
    }

    // After a refusal capture still turns off, and the next arming tries again.
    void theNextArmingTriesCaptureAgainAfterARefusal() {
        NetworkCamera door;
        Harness h({door.source()}, {});
        QVERIFY(h.setUp());
        QStringList log;
        QVERIFY(refuse(h, log));
        h.setState(CaptureManagerRecordingController::unarmed);
        QVERIFY(!h.manager->capturing());
        QTRY_VERIFY_WITH_TIMEOUT(!h.manager->sessionRunning(0), patience);
        h.manager->setPopoverOpen(true);  // not an arming: nothing is tried
        h.settle();
        QVERIFY(!h.manager->capturing());
        QCOMPARE(h.manager->setupResult(), SessionSetupResult::notAuthorized);
        h.manager->setPopoverOpen(false);

        door.letIn();
        log = h.act([&] { h.setState(CaptureManagerRecordingController::arming); });
        QVERIFY2(log.contains("Trying capture again"), qPrintable(log.join('\n')));
        QCOMPARE(h.manager->setupResult(), SessionSetupResult::success);
        QVERIFY(h.manager->capturing());
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(0) > 3, patience);
    }

    // The refused camera announced again (its permission came back) is tried again.
    void aDeviceAnnouncedAfterARefusalTriesCaptureAgain() {
        NetworkCamera door;
        auto camera = door.source();
        Harness h({camera}, {});
        QVERIFY(h.setUp());
        QStringList log;
        QVERIFY(refuse(h, log));
        door.letIn();
        log = h.act([&] {
            h.devices->unplug(camera, DeviceKind::video);
            h.devices->plug(camera, DeviceKind::video);
        });
        QVERIFY2(log.contains("Door Camera connected, trying capture again"),
                 qPrintable(log.join('\n')));
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-ip"));
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(0) > 3, patience);
        QCOMPARE(h.manager->setupResult(), SessionSetupResult::success);
        QVERIFY(h.manager->capturing());
    }

    // ---- Restart after a runtime error ----

    void aSessionErrorRestartsCapture() {
        // The camera's stream fails after 20 frames, every time it is opened.
        auto failing = camera("A", QStringLiteral("identity error-after=20"));
        Harness h({failing}, {});
        QVERIFY(h.setUp());
        bool restarted = false;
        const QStringList log = h.act([&] {
            h.setState(CaptureManagerRecordingController::armed);
            restarted = h.waitInStep([&] { return failing->elementsMade() >= 3; }, 2 * patience);
        });
        QVERIFY(restarted);
        QVERIFY2(log.contains(
                     "Capture session error, restarting: Failed after iterations as requested."),
                 qPrintable(log.join('\n')));
        // Each run measures up to 20 frames; more means capture came back.
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(0) > 25, patience);
        QVERIFY(h.manager->capturing());
        QCOMPARE(h.manager->setupResult(), SessionSetupResult::success);
        QCOMPARE(failing->madeOn(), QStringLiteral("SessionQueue"));
    }

    // A camera whose stream fails as soon as it runs is restarted after
    // waits that double (half a second, one, two...), not as fast as it fails.
    void aCameraThatKeepsFailingIsRestartedLessAndLessOften() {
        auto failing = camera("A", QStringLiteral("identity error-after=2"));
        Harness h({failing}, {});
        QVERIFY(h.setUp());
        QCOMPARE(failing->elementsMade(), 1);
        const QStringList log = h.act([&] {
            h.setState(CaptureManagerRecordingController::armed);
            h.waitInStep([] { return false; }, 4000);
        });
        QVERIFY2(mentions(log, "Capture session error, restarting"), qPrintable(log.join('\n')));
        // Made at set-up, then again at the restarts after about 0.5, 1.5 and 3.5 s.
        QVERIFY2(failing->elementsMade() >= 2 && failing->elementsMade() <= 4,
                 qPrintable(QStringLiteral("%1 sessions made").arg(failing->elementsMade())));
        QVERIFY(h.manager->capturing());
        QCOMPARE(h.manager->setupResult(), SessionSetupResult::success);
    }

    // ---- A failing encoder ----

    // One damaged frame breaks the encoder; the next frame gets a new one,
    // and a recording made afterwards is a good movie.
    void aFailedEncoderIsReplacedAndRecordingGoesOn() {
        QTemporaryDir folder;
        auto cameraA = camera("A");
        cameraA->damageFrames(20, 1);
        Harness h({cameraA}, {microphone("A")});
        h.controller.folder = folder.path();
        h.defaults.set(timeoutValueInSeconds, 600);  // the recording ends when the test says
        QVERIFY(h.setUp());
        bool measured = false;
        const QStringList log = h.act([&] {
            h.setState(CaptureManagerRecordingController::armed);
            measured = QTest::qWaitFor([&] { return h.manager->framesSeen(0) > 40; }, patience);
        });
        QVERIFY(measured);
        QVERIFY2(mentions(log, "The video encoder failed: "), qPrintable(log.join('\n')));

        h.manager->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->anyMovieOpen(), patience);
        QTest::qWait(2000);
        h.controller.stopRecording();
        QTRY_COMPARE_WITH_TIMEOUT(h.controller.finishedFiles().size(), 1, patience);
        const MovieProbe probe(h.controller.finishedFiles().front());
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("video"), QStringLiteral("h264"));
        QVERIFY(probe.firstFrameIsKeyframe());
        QVERIFY2(probe.videoSpan() > 1.5, qPrintable(QString::number(probe.videoSpan())));
        QCOMPARE(h.manager->pipeline(0).compressionSessionsCreated(), 2);
    }

    // Every frame damaged: the encoder fails on each, and is made anew only
    // as the back-off allows (at once, then after 1 s and 2 s more).
    void aBrokenEncoderIsNotRebuiltForEveryFrame() {
        auto cameraA = camera("A");
        cameraA->damageFrames(0, 1000000);
        Harness h({cameraA}, {});
        QVERIFY(h.setUp());
        bool running = false;
        const QStringList log = h.act([&] {
            h.setState(CaptureManagerRecordingController::armed);
            running = QTest::qWaitFor([&] { return h.manager->sessionRunning(0); }, patience);
            QTest::qWait(2500);
        });
        QVERIFY(running);
        QVERIFY(mentions(log, "The video encoder failed: "));
        const int made = h.manager->pipeline(0).compressionSessionsCreated();
        QVERIFY2(made >= 2 && made <= 4, qPrintable(QString::number(made)));
    }

    // ---- Triggers ----

    void aTriggerWhileArmedRecordsOnEveryPipeline() {
        Harness h({camera("A"), camera("B")}, {microphone("A")});
        QVERIFY(h.setUpArmedWithSecondCamera("cam-b"));
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->sessionRunning(0) && h.manager->sessionRunning(1),
                                 patience);
        h.manager->trigger();
        QCOMPARE(h.controller.started.size(), std::size_t(1));
        const std::vector<RecordingTarget>& targets = h.controller.started.front();
        QCOMPARE(targets.size(), std::size_t(2));
        QVERIFY(targets[0].recorder.get() == &h.manager->recorder(0));
        QCOMPARE(targets[0].cameraName, std::optional<QString>("Camera A"));
        QCOMPARE(targets[0].microphoneName, std::optional<QString>("Microphone A"));
        QVERIFY(targets[1].recorder.get() == &h.manager->recorder(1));
        QCOMPARE(targets[1].cameraName, std::optional<QString>("Camera B"));
        QCOMPARE(targets[1].microphoneName, std::optional<QString>());
        QVERIFY(h.manager->stopPending());

        // Recording: a trigger only pushes the stop out.
        h.manager->trigger();
        QCOMPARE(h.controller.started.size(), std::size_t(1));
        QVERIFY(h.manager->stopPending());
    }

    void aTriggerOutsideArmedAndRecordingDoesNothing_data() {
        QTest::addColumn<int>("state");
        QTest::newRow("unarmed") << int(CaptureManagerRecordingController::unarmed);
        QTest::newRow("arming") << int(CaptureManagerRecordingController::arming);
    }
    void aTriggerOutsideArmedAndRecordingDoesNothing() {
        QFETCH(int, state);
        Harness h({camera("A")}, {});
        QVERIFY(h.setUp());
        h.setState(state);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->sessionRunning(0) || state == 0, patience);
        h.manager->trigger();
        QCoreApplication::processEvents();
        QVERIFY(h.controller.started.empty());
        QVERIFY(!h.manager->stopPending());
        h.clock.advance(700s);
        QCOMPARE(h.controller.stops, 0);
    }

    void motionAboveTheThresholdTriggers() {
        Harness h({camera("A")}, {});
        h.defaults.set(motionTriggerEnabled, true);
        h.defaults.set(motionTriggerThresholdFor("cam-a"), 0.5);
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
        QTRY_VERIFY_WITH_TIMEOUT(!h.controller.started.empty(), patience);
        QVERIFY(h.observers.highestMotion > 0.5);
        QVERIFY(h.observers.motionLevels[0] > 0);
        QVERIFY(h.manager->stopPending());
    }

    void motionDoesNotTriggerWhileMotionTriggeringIsOff() {
        Harness h({camera("A")}, {});
        h.defaults.set(motionTriggerEnabled, false);
        h.defaults.set(motionTriggerThresholdFor("cam-a"), 0.5);
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
        QTRY_VERIFY_WITH_TIMEOUT(h.observers.highestMotion > 0.5, patience);
        QTest::qWait(500);
        QVERIFY(h.controller.started.empty());
    }

    // ---- The stop schedule ----

    void theStopComesTheTimeoutAfterTheLastTrigger() {
        Harness h({}, {});
        h.defaults.set(timeoutValueInSeconds, 3);
        QVERIFY(h.setUp());
        // No pipeline runs, so only the stop schedule acts; the state
        // follows as the recording manager's would.
        h.controller.state = CaptureManagerRecordingController::armed;
        h.manager->trigger();
        QVERIFY(h.manager->stopPending());
        h.controller.state = CaptureManagerRecordingController::recording;
        h.clock.advance(2000ms);
        h.manager->trigger();  // the end moves to 5 s after the first trigger
        h.clock.advance(2999ms);
        QCOMPARE(h.controller.stops, 0);
        h.clock.advance(1ms);
        QCOMPARE(h.controller.stops, 1);
        QVERIFY(!h.manager->stopPending());
        h.clock.advance(60s);
        QCOMPARE(h.controller.stops, 1);
    }

    void theTimeoutIsClampedToWholeSeconds_data() {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<int>("seconds");
        QTest::newRow("negative") << QVariant(-5) << 0;
        QTest::newRow("zero") << QVariant(0) << 0;
        QTest::newRow("seven") << QVariant(7) << 7;
        QTest::newRow("fraction") << QVariant(7.9) << 7;
        QTest::newRow("ten minutes") << QVariant(600) << 600;
        QTest::newRow("above ten minutes") << QVariant(601) << 600;
        QTest::newRow("a day") << QVariant(86400) << 600;
    }
    void theTimeoutIsClampedToWholeSeconds() {
        QFETCH(QVariant, stored);
        QFETCH(int, seconds);
        Harness h({}, {});
        h.defaults.set(timeoutValueInSeconds, stored);
        QVERIFY(h.setUp());
        h.controller.state = CaptureManagerRecordingController::armed;
        h.manager->trigger();
        QCOMPARE(h.controller.stops, 0);  // not before the next turn, even at 0
        if (seconds > 0) {
            h.clock.advance(std::chrono::seconds(seconds) - 1ms);
            QCOMPARE(h.controller.stops, 0);
            h.clock.advance(1ms);
        } else {
            h.clock.advance(0ms);
        }
        QCOMPARE(h.controller.stops, 1);
    }

    // ---- Capture on and off ----

    void camerasRunWhileArmed() {
        Harness h({camera("A")}, {microphone("A")});
        QVERIFY(h.setUp());
        QVERIFY(!h.manager->capturing());
        QVERIFY(!h.manager->sessionRunning(0));
        for (int state :
             {CaptureManagerRecordingController::arming, CaptureManagerRecordingController::armed,
              CaptureManagerRecordingController::recording}) {
            h.setState(state);
            QVERIFY(h.manager->capturing());
            QTRY_VERIFY_WITH_TIMEOUT(h.manager->sessionRunning(0), patience);
        }
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(0) > 0, patience);
        h.setState(CaptureManagerRecordingController::unarmed);
        QVERIFY(!h.manager->capturing());
        QTRY_VERIFY_WITH_TIMEOUT(!h.manager->sessionRunning(0), patience);
        QCOMPARE(h.observers.meterStops, 1);
    }

    void camerasRunWhileThePopoverOrThePreviewIsOpen() {
        Harness h({camera("A")}, {});
        QVERIFY(h.setUp());
        h.manager->setPopoverOpen(true);
        QVERIFY(h.manager->capturing());
        QTRY_VERIFY_WITH_TIMEOUT(h.observers.motionLevels[0] > 0, patience);
        QCOMPARE(h.observers.previews[0], 0);  // pictures only for the preview
        h.manager->setPopoverOpen(false);
        QVERIFY(!h.manager->capturing());
        QTRY_VERIFY_WITH_TIMEOUT(!h.manager->sessionRunning(0), patience);

        h.manager->setPreviewOpen(true);
        QVERIFY(h.manager->capturing());
        QTRY_VERIFY_WITH_TIMEOUT(h.observers.previews[0] > 0, patience);
        QCOMPARE(h.observers.previewSize, QSize(320, 240));
        h.manager->setPopoverOpen(true);
        h.manager->setPreviewOpen(false);
        QVERIFY(h.manager->capturing());  // the popover still wants levels
        h.manager->setPopoverOpen(false);
        QVERIFY(!h.manager->capturing());
    }

    void captureIsNeverStoppedUnderAMovieBeingWritten() {
        QTemporaryDir folder;
        Harness h({camera("A")}, {microphone("A")});
        h.controller.folder = folder.path();
        h.defaults.set(timeoutValueInSeconds, 600);  // the recording ends when the test says
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(0) > 15, patience);
        h.manager->trigger();
        QCOMPARE(h.controller.started.size(), std::size_t(1));
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->anyMovieOpen(), patience);
        QTest::qWait(1500);

        // Unarmed while the movie is still being written: capture goes on.
        h.controller.state = CaptureManagerRecordingController::unarmed;
        h.manager->armedStateChanged();
        QVERIFY(h.manager->capturing());
        QVERIFY(h.manager->captureStopPending());
        h.clock.advance(200ms);  // asked again: still open
        QVERIFY(h.manager->capturing());
        QVERIFY(h.manager->captureStopPending());
        QVERIFY(h.manager->sessionRunning(0));

        // Opening the popover cancels the waiting stop.
        h.manager->setPopoverOpen(true);
        QVERIFY(!h.manager->captureStopPending());
        h.manager->setPopoverOpen(false);
        QVERIFY(h.manager->captureStopPending());

        h.controller.stopRecording();
        QTRY_COMPARE_WITH_TIMEOUT(h.controller.finishedFiles().size(), 1, patience);
        h.clock.advance(199ms);
        QVERIFY(h.manager->capturing());
        h.clock.advance(1ms);
        QVERIFY(!h.manager->capturing());
        QVERIFY(!h.manager->captureStopPending());
        QTRY_VERIFY_WITH_TIMEOUT(!h.manager->sessionRunning(0), patience);

        const MovieProbe probe(h.controller.finishedFiles().front());
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("video"), QStringLiteral("h264"));
        QCOMPARE(probe.codec("audio"), QStringLiteral("aac"));
        QVERIFY(probe.firstFrameIsKeyframe());
        QVERIFY2(probe.videoSpan() > 1.0, qPrintable(QString::number(probe.videoSpan())));
    }

    // The capture-update rule always runs on the main thread.
    void anUpdateFromAnotherThreadIsCarriedOutOnTheMainThread() {
        Harness h({camera("A")}, {});
        QVERIFY(h.setUp());
        h.controller.state = CaptureManagerRecordingController::armed;
        std::thread other([&] { h.manager->armedStateChanged(); });
        other.join();
        QVERIFY(!h.manager->capturing());
        QCoreApplication::processEvents();
        QVERIFY(h.manager->capturing());
    }

    // ---- Frames seen and the frames-ready test ----

    void framesSeenCountsEachPipelinesMeasurements() {
        auto cameraA = camera("A");
        auto cameraB = camera("B");
        Harness h({cameraA, cameraB}, {});
        QVERIFY(h.setUpArmedWithSecondCamera("cam-b"));
        QCOMPARE(h.manager->framesSeen(0), std::int64_t(0));
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(0) > 5 && h.manager->framesSeen(1) > 5,
                                 patience);
        cameraB->setDelivering(false);
        waitUntilStill(*h.manager, 1);
        const std::int64_t first = h.manager->framesSeen(0);
        const std::int64_t second = h.manager->framesSeen(1);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(0) > first + 5, patience);
        QCOMPARE(h.manager->framesSeen(1), second);
        QVERIFY(h.observers.motionLevels[1] > 0);

        // A new capture counts from zero.
        h.setState(CaptureManagerRecordingController::unarmed);
        h.setState(CaptureManagerRecordingController::armed);
        QCOMPARE(h.manager->framesSeen(0), std::int64_t(0));
        QCOMPARE(h.manager->framesSeen(1), std::int64_t(0));
    }

    void framesAreReadyWhenEveryRunningCameraDelivered() {
        auto cameraA = camera("A");
        auto cameraB = camera("B");
        cameraB->setDelivering(false);
        Harness h({cameraA, cameraB}, {microphone("A")});
        h.defaults.set(secondCameraID, "cam-b");
        QVERIFY(h.setUp());
        QVERIFY(!h.manager->framesReady());  // nothing runs
        h.setState(CaptureManagerRecordingController::armed);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(0) > 0, patience);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->sessionRunning(1), patience);
        QVERIFY(!h.manager->framesReady());  // the second camera has shown nothing yet
        cameraB->setDelivering(true);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesReady(), patience);
    }

    void withoutCamerasARunningMicrophoneIsReady() {
        Harness h({}, {microphone("A")});
        QVERIFY(h.setUp());
        QVERIFY(!h.manager->framesReady());
        h.setState(CaptureManagerRecordingController::armed);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesReady(), patience);
    }

    void aTestRecordingWaitsForTheFirstFrames() {
        auto cameraA = camera("A");
        cameraA->setDelivering(false);
        Harness h({cameraA}, {});
        QVERIFY(h.setUp());
        h.manager->recordTest();  // unarmed: nothing
        QVERIFY(!h.manager->testWaitsForFrames());

        h.setState(CaptureManagerRecordingController::armed);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->sessionRunning(0), patience);
        h.manager->recordTest();
        QVERIFY(h.manager->testWaitsForFrames());
        QTest::qWait(300);
        QVERIFY(h.controller.started.empty());

        cameraA->setDelivering(true);
        QTRY_COMPARE_WITH_TIMEOUT(h.controller.started.size(), std::size_t(1), patience);
        QVERIFY(!h.manager->testWaitsForFrames());
        QVERIFY(h.manager->stopPending());
    }
};

QTEST_GUILESS_MAIN(tst_CaptureManager)
#include "tst_CaptureManager.moc"
