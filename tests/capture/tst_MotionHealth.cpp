#include "CaptureManagerHarness.h"
#include "MotionHealth.h"

using namespace std::chrono_literals;
using namespace SettingsKeys;
using namespace CaptureManagerHarness;

class tst_MotionHealth : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void aCameraFallingSilentIsReportedAfterFiveSeconds() {
        auto cameraA = camera("A");
        Harness h({cameraA}, {});
        QVERIFY(h.setUp());
        const QDateTime start = h.clock.now();
        h.setState(CaptureManagerRecordingController::armed);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(0) > 3, patience);
        cameraA->setDelivering(false);
        waitUntilStill(*h.manager, 0);

        h.clock.advance(4000ms);
        h.clock.advance(999ms);
        QVERIFY(!h.manager->motionStopped(0));
        QVERIFY(h.controller.motionStoppedChanges.empty());
        h.clock.advance(1ms);  // the check at 5 s finds it 5 s old
        QVERIFY(h.manager->motionStopped(0));
        QCOMPARE(h.controller.motionStoppedChanges, std::vector<bool>{true});
        QCOMPARE(h.observers.motionStoppedChanges, std::vector<bool>{true});
        h.clock.advance(2000ms);
        QCOMPARE(h.controller.motionStoppedChanges, std::vector<bool>{true});  // told once

        cameraA->setDelivering(true);
        QTRY_VERIFY_WITH_TIMEOUT(!h.manager->motionStopped(0), patience);
        QCOMPARE(h.controller.gaps.size(), std::size_t(1));
        QCOMPARE(h.controller.gaps.front().first, start);
        QCOMPARE(h.controller.gaps.front().second, start.addSecs(7));
        QCOMPARE(h.controller.motionStoppedChanges, (std::vector<bool>{true, false}));
        QCOMPARE(h.observers.motionStoppedChanges, (std::vector<bool>{true, false}));
    }

    // Only a camera that delivered and went quiet counts as stopped.
    void aCameraThatNeverDeliveredIsNotCountedStopped() {
        auto cameraA = camera("A");
        cameraA->setDelivering(false);
        Harness h({cameraA}, {microphone("A")});
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->sessionRunning(0), patience);
        h.clock.advance(20s);
        QVERIFY(!h.manager->motionStopped(0));
        QVERIFY(!h.manager->motionStopped(1));
        QVERIFY(h.controller.motionStoppedChanges.empty());
    }

    void healthIsCheckedOnlyWhileCapturing() {
        Harness h({camera("A")}, {});
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(0) > 3, patience);
        h.setState(CaptureManagerRecordingController::unarmed);
        QTRY_VERIFY_WITH_TIMEOUT(!h.manager->sessionRunning(0), patience);
        waitUntilStill(*h.manager, 0);
        h.clock.advance(30s);
        QVERIFY(h.controller.motionStoppedChanges.empty());
        QVERIFY(h.controller.gaps.empty());
    }

    // A pipeline that lost its camera is not a camera that stopped: the
    // silent camera's mark goes with it.
    void anUnpluggedSilentCameraNoLongerCounts() {
        auto cameraA = camera("A");
        auto cameraB = camera("B");
        Harness h({cameraA, cameraB}, {});
        QVERIFY(h.setUpArmedWithSecondCamera("cam-b"));
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(1) > 3, patience);
        cameraB->setDelivering(false);
        waitUntilStill(*h.manager, 1);
        // Time passes in steps, so that the first camera's measurements keep
        // up with it.
        for (int second = 0; second < 5; ++second) {
            h.clock.advance(1s);
            QTest::qWait(200);
        }
        QVERIFY(!h.manager->motionStopped(0));
        QVERIFY(h.manager->motionStopped(1));
        QVERIFY(h.controller.motionStopped);

        h.devices->unplug(cameraB, DeviceKind::video);
        h.settle();
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("none"));
        h.clock.advance(1s);
        QVERIFY(!h.manager->motionStopped(1));
        QVERIFY(!h.controller.motionStopped);
        QCOMPARE(h.observers.motionStoppedChanges, (std::vector<bool>{true, false}));
    }
};

QTEST_GUILESS_MAIN(tst_MotionHealth)
#include "tst_MotionHealth.moc"
