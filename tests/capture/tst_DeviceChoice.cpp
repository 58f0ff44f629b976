#include "CaptureManagerHarness.h"
#include "DeviceChoice.h"
#include "DeviceMonitor.h"
#include "PulseAudioServer.h"

using namespace std::chrono_literals;
using namespace SettingsKeys;
using namespace CaptureManagerHarness;

Q_DECLARE_METATYPE(std::optional<QString>)

class tst_DeviceChoice : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    // ---- The switch rule ----

    void switchRule_data() {
        QTest::addColumn<QString>("connected");
        QTest::addColumn<std::optional<QString>>("current");
        QTest::addColumn<std::optional<QString>>("chosen");
        QTest::addColumn<bool>("switches");
        using Id = std::optional<QString>;
        const Id none;
        QTest::newRow("nothing stored, pipeline empty") << "b" << none << none << true;
        QTest::newRow("nothing stored, pipeline in use") << "b" << Id("a") << none << false;
        QTest::newRow("chose none, pipeline empty") << "b" << none << Id("") << false;
        QTest::newRow("chose none, pipeline in use") << "b" << Id("a") << Id("") << false;
        QTest::newRow("chose one, pipeline empty") << "b" << none << Id("c") << true;
        QTest::newRow("chosen one returns") << "c" << Id("a") << Id("c") << true;
        QTest::newRow("chosen one already in use") << "c" << Id("c") << Id("c") << false;
        QTest::newRow("another than the chosen one") << "b" << Id("a") << Id("c") << false;
        QTest::newRow("another while the chosen one is in use")
            << "b" << Id("c") << Id("c") << false;
    }
    void switchRule() {
        QFETCH(QString, connected);
        QFETCH(std::optional<QString>, current);
        QFETCH(std::optional<QString>, chosen);
        QFETCH(bool, switches);
        QCOMPARE(DeviceChoice::shouldSwitch(connected, current, chosen), switches);
    }

    // ---- Device choices ----

    void theStoredChoicesAreConfiguredAtStart() {
        Harness h({camera("A"), camera("B")}, {microphone("A"), microphone("B")});
        h.defaults.set(selectedCameraID, "cam-b");
        h.defaults.set(secondCameraID, "cam-a");
        h.defaults.set(selectedMicrophoneID, "mic-b");
        QVERIFY(h.setUp());
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-b"));
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("cam-a"));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-b"));
        QVERIFY(h.controller.cameraAvailable);
        QVERIFY(h.controller.microphoneAvailable);
        QCOMPARE(h.controller.devicesChanges, 1);
        QVERIFY(!h.observers.inUse.empty());
        QCOMPARE(h.observers.inUse.back(),
                 (Observers::InUse{"Camera B", "Camera A", "Microphone B"}));
        QCOMPARE(h.observers.listedCameras, QStringList({"cam-a", "cam-b"}));
        QCOMPARE(h.observers.listedMicrophones, QStringList({"mic-a", "mic-b"}));
        QVERIFY(!h.manager->capturing());  // unarmed, nothing open
    }

    void withoutChoicesTheFirstCameraAndTheSystemInputAreUsed() {
        auto micB = microphone("B");
        Harness h({camera("A"), camera("B")}, {microphone("A"), micB});
        h.defaults.set(selectedCameraID, "cam-gone");  // a camera that is not attached
        h.devices->setInitialInput(micB);
        QVERIFY(h.setUp());
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-a"));
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("none"));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-b"));
    }

    // Configuration and session start/stop happen on "SessionQueue".
    void devicesAreConfiguredOnTheSessionQueue() {
        auto cameraA = camera("A");
        Harness h({cameraA}, {});
        QVERIFY(h.setUp());
        QCOMPARE(cameraA->madeOn(), QStringLiteral("SessionQueue"));
    }

    void choosingACameraKeepsMotionTriggering_data() {
        QTest::addColumn<bool>("motionTriggering");
        QTest::newRow("on") << true;
        QTest::newRow("off") << false;
    }
    void choosingACameraKeepsMotionTriggering() {
        QFETCH(bool, motionTriggering);
        Harness h({camera("A"), camera("B")}, {});
        h.defaults.set(motionTriggerEnabled, motionTriggering);
        QVERIFY(h.setUp());
        h.manager->chooseCamera(QStringLiteral("cam-b"));
        h.settle();
        QCOMPARE(h.defaults.string(selectedCameraID), std::optional<QString>("cam-b"));
        QCOMPARE(h.defaults.boolValue(motionTriggerEnabled), motionTriggering);
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-b"));
    }

    void choosingNoCameraStoresTheEmptyStringAndTurnsMotionOff() {
        Harness h({camera("A"), camera("B")}, {microphone("A")});
        h.defaults.set(motionTriggerEnabled, true);
        h.defaults.set(secondCameraID, "cam-b");
        QVERIFY(h.setUp());
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("cam-b"));

        h.manager->chooseCamera(std::nullopt);
        h.settle();
        QCOMPARE(h.defaults.string(selectedCameraID), std::optional<QString>(""));
        QVERIFY(!h.defaults.hasStoredValue(secondCameraID));
        QVERIFY(!h.defaults.boolValue(motionTriggerEnabled));
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("none"));
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("none"));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-a"));
        QVERIFY(!h.controller.cameraAvailable);
        QVERIFY(h.controller.microphoneAvailable);
        QCOMPARE(h.observers.inUse.back(),
                 (Observers::InUse{std::nullopt, std::nullopt, "Microphone A"}));
    }

    void choosingASecondCamera() {
        Harness h({camera("A"), camera("B")}, {});
        QVERIFY(h.setUp());
        h.manager->chooseSecondCamera(QStringLiteral("cam-b"));
        h.settle();
        QCOMPARE(h.defaults.string(secondCameraID), std::optional<QString>("cam-b"));
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("cam-b"));
        h.manager->chooseSecondCamera(std::nullopt);
        h.settle();
        QVERIFY(!h.defaults.hasStoredValue(secondCameraID));
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("none"));
    }

    void choosingMicrophones() {
        Harness h({camera("A")}, {microphone("A"), microphone("B")});
        h.defaults.set(audioTriggerEnabled, true);
        QVERIFY(h.setUp());
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-a"));

        h.manager->chooseMicrophone(QStringLiteral("mic-b"));
        h.settle();
        QCOMPARE(h.defaults.string(selectedMicrophoneID), std::optional<QString>("mic-b"));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-b"));
        QVERIFY(h.defaults.boolValue(audioTriggerEnabled));

        h.manager->chooseNoMicrophone();
        h.settle();
        QCOMPARE(h.defaults.string(selectedMicrophoneID), std::optional<QString>(""));
        QVERIFY(!h.defaults.boolValue(audioTriggerEnabled));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("none"));
        QVERIFY(!h.controller.microphoneAvailable);

        h.manager->followSystemInput();
        h.settle();
        QVERIFY(!h.defaults.hasStoredValue(selectedMicrophoneID));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-a"));
        QVERIFY(h.controller.microphoneAvailable);
    }

    // ---- Devices connected ----

    void theStoredSecondCameraTakesPipelineOneWhenItArrives() {
        Harness h({camera("A")}, {});
        h.defaults.set(secondCameraID, "cam-b");
        QVERIFY(h.setUp());
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("none"));
        const QStringList log = h.act([&] { h.devices->plug(camera("B"), DeviceKind::video); });
        QVERIFY(log.contains("Camera B connected, adding it as the second camera"));
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-a"));
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("cam-b"));
    }

    void pluggingInTheChosenCameraSwitchesBackToIt() {
        Harness h({camera("B")}, {});
        h.defaults.set(selectedCameraID, "cam-a");
        QVERIFY(h.setUp());
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-b"));  // the one there is

        QStringList log = h.act([&] { h.devices->plug(camera("C"), DeviceKind::video); });
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-b"));
        QVERIFY(!mentions(log, "Camera C connected"));

        log = h.act([&] { h.devices->plug(camera("A"), DeviceKind::video); });
        QVERIFY(log.contains("Camera A connected, switching to it"));
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-a"));
    }

    void aPipelineWithoutCameraTakesTheFirstToArrive() {
        Harness h({}, {});
        QVERIFY(h.setUp());
        QVERIFY(!h.controller.cameraAvailable);
        QStringList log = h.act([&] { h.devices->plug(camera("A"), DeviceKind::video); });
        QVERIFY(log.contains("Camera A connected, switching to it"));
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-a"));
        QVERIFY(h.controller.cameraAvailable);
        log = h.act([&] { h.devices->plug(camera("B"), DeviceKind::video); });
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-a"));
        QVERIFY(!mentions(log, "Camera B connected"));
    }

    void withTheCameraChoiceNoneNoCameraIsTaken() {
        Harness h({camera("A")}, {});
        h.defaults.set(motionTriggerEnabled, true);
        QVERIFY(h.setUp());
        h.manager->chooseCamera(std::nullopt);
        h.settle();
        const QStringList log = h.act([&] {
            h.devices->plug(camera("B"), DeviceKind::video);
            h.devices->plug(camera("C"), DeviceKind::video);
        });
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("none"));
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("none"));
        QVERIFY(!mentions(log, "connected"));
        QVERIFY(!h.controller.cameraAvailable);
        QVERIFY(!h.defaults.boolValue(motionTriggerEnabled));
    }

    void microphonesFollowTheSwitchRule() {
        Harness h({camera("A")}, {});
        QVERIFY(h.setUp());
        // Nothing chosen and nothing in use: the first to arrive is taken.
        QStringList log = h.act([&] { h.devices->plug(microphone("A"), DeviceKind::audio); });
        QVERIFY(log.contains("Microphone A connected, switching to it"));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-a"));
        QVERIFY(h.controller.microphoneAvailable);
        // Nothing chosen and one in use: kept.
        log = h.act([&] { h.devices->plug(microphone("B"), DeviceKind::audio); });
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-a"));
        QVERIFY(!mentions(log, "Microphone B connected"));
        // The chosen one arriving wins; another does not.
        h.defaults.set(selectedMicrophoneID, "mic-d");
        log = h.act([&] { h.devices->plug(microphone("C"), DeviceKind::audio); });
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-a"));
        QVERIFY(!mentions(log, "Microphone C connected"));
        log = h.act([&] { h.devices->plug(microphone("D"), DeviceKind::audio); });
        QVERIFY(log.contains("Microphone D connected, switching to it"));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-d"));
        // Chose none: never.
        h.manager->chooseNoMicrophone();
        h.settle();
        log = h.act([&] { h.devices->plug(microphone("E"), DeviceKind::audio); });
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("none"));
        QVERIFY(!mentions(log, "Microphone E connected"));
    }

    // ---- Devices disconnected ----

    void unpluggingTheFirstCameraLeavesTheRestConfigured() {
        auto cameraA = camera("A");
        auto cameraB = camera("B");
        Harness h({cameraA, cameraB}, {microphone("A")});
        QVERIFY(h.setUpArmedWithSecondCamera("cam-b"));
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(0) > 0 && h.manager->framesSeen(1) > 0,
                                 patience);
        QCOMPARE(cameraB->elementsMade(), 1);

        const QStringList log = h.act([&] { h.devices->unplug(cameraA, DeviceKind::video); });
        QVERIFY(log.contains("Lost Camera A, reconfiguring with what's left"));
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("none"));
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("cam-b"));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-a"));
        QVERIFY(h.controller.cameraAvailable);
        QVERIFY(h.controller.microphoneAvailable);
        // Still capturing: the second camera is measured, the microphone heard.
        QVERIFY(h.manager->capturing());
        QVERIFY(h.manager->sessionRunning(0));
        QVERIFY(h.manager->sessionRunning(1));
        const std::int64_t seen = h.manager->framesSeen(1);
        QTRY_VERIFY_WITH_TIMEOUT(h.manager->framesSeen(1) > seen + 5, patience);
        // The second camera's session ran on undisturbed (a movie it is
        // writing loses nothing).
        QCOMPARE(cameraB->elementsMade(), 1);
    }

    void theChosenCameraReturningTakesItsPipelineBack() {
        auto cameraA = camera("A");
        Harness h({cameraA}, {});
        h.defaults.set(selectedCameraID, "cam-a");
        QVERIFY(h.setUp());
        QStringList log = h.act([&] { h.devices->unplug(cameraA, DeviceKind::video); });
        QVERIFY(log.contains("Lost Camera A, reconfiguring with what's left"));
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("none"));
        QVERIFY(!h.controller.cameraAvailable);
        // Meanwhile any camera fills the gap.
        log = h.act([&] { h.devices->plug(camera("B"), DeviceKind::video); });
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-b"));

        log = h.act([&] { h.devices->plug(cameraA, DeviceKind::video); });
        QVERIFY(log.contains("Camera A connected, switching to it"));
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-a"));
        QVERIFY(h.controller.cameraAvailable);
        QCOMPARE(h.defaults.string(selectedCameraID), std::optional<QString>("cam-a"));
    }

    void unpluggingTheSecondCameraOrTheMicrophone() {
        auto cameraB = camera("B");
        auto micA = microphone("A");
        Harness h({camera("A"), cameraB}, {micA});
        h.defaults.set(secondCameraID, "cam-b");
        QVERIFY(h.setUp());
        QStringList log = h.act([&] { h.devices->unplug(cameraB, DeviceKind::video); });
        QVERIFY(log.contains("Lost Camera B, reconfiguring with what's left"));
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-a"));
        QCOMPARE(idOf(h.manager->camera(1)), QStringLiteral("none"));

        log = h.act([&] { h.devices->unplug(micA, DeviceKind::audio); });
        QVERIFY(log.contains("Lost Microphone A, reconfiguring with what's left"));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("none"));
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-a"));
        QVERIFY(!h.controller.microphoneAvailable);
        QVERIFY(h.controller.cameraAvailable);
    }

    void unpluggingADeviceNotInUseChangesNothing() {
        auto cameraB = camera("B");
        auto micB = microphone("B");
        Harness h({camera("A"), cameraB}, {microphone("A"), micB});
        QVERIFY(h.setUp());
        const int changes = h.controller.devicesChanges;
        const QStringList log = h.act([&] {
            h.devices->unplug(cameraB, DeviceKind::video);
            h.devices->unplug(micB, DeviceKind::audio);
        });
        QVERIFY(!mentions(log, "Lost"));
        QCOMPARE(h.controller.devicesChanges, changes);
        QCOMPARE(idOf(h.manager->camera(0)), QStringLiteral("cam-a"));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-a"));
    }

    // ---- The system input ----

    void theSystemInputIsFollowedWhenNoMicrophoneIsChosen() {
        auto micB = microphone("B");
        Harness h({}, {microphone("A"), micB});
        QVERIFY(h.setUp());
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-a"));
        QStringList log = h.act([&] { h.devices->changeInput(micB); });
        QVERIFY(log.contains("System input changed to Microphone B, switching to it"));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-b"));
        log = h.act([&] { h.devices->changeInput(micB); });  // already in use
        QVERIFY(!mentions(log, "System input changed"));
    }

    void aSystemInputChangeIsIgnoredWhileAMicrophoneIsChosen_data() {
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QString>("inUse");
        QTest::newRow("a microphone") << "mic-a"
                                      << "mic-a";
        QTest::newRow("no microphone") << ""
                                       << "none";
    }
    void aSystemInputChangeIsIgnoredWhileAMicrophoneIsChosen() {
        QFETCH(QString, chosen);
        QFETCH(QString, inUse);
        auto micB = microphone("B");
        Harness h({}, {microphone("A"), micB});
        h.defaults.set(selectedMicrophoneID, chosen);
        QVERIFY(h.setUp());
        QCOMPARE(idOf(h.manager->microphone()), inUse);
        const QStringList log = h.act([&] { h.devices->changeInput(micB); });
        QCOMPARE(idOf(h.manager->microphone()), inUse);
        QVERIFY(!mentions(log, "System input"));
    }

    void followingFailsWithoutASystemInput() {
        Harness h({}, {microphone("A")});
        QVERIFY(h.setUp());
        const QStringList lines = h.act([&] { h.devices->changeInput(nullptr); });
        QVERIFY2(std::any_of(lines.begin(), lines.end(),
                             [](const QString& line) {
                                 return line.startsWith("Could not follow the system input: ") &&
                                        line.size() > 35;
                             }),
                 qPrintable(lines.join('\n')));
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("mic-a"));
    }

    // With no microphone chosen, choosing another default source on a real
    // sound server moves the first pipeline to it; with one chosen it stays.
    void theInputOfARealSoundServerIsFollowedUnlessOneIsChosen() {
        if (!PulseAudioServer::isInstalled()) {
            QSKIP("pulseaudio is not installed");
        }
        PulseAudioServer server;
        QVERIFY2(server.isRunning(), qPrintable(server.problem()));
        QVERIFY(server.serveTwoSources());

        Harness h(std::make_unique<DeviceMonitor>());
        QVERIFY(h.setUp());
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("first.monitor"));
        bool followed = false;
        QStringList log = h.act([&] {
            followed =
                server.setDefaultSource("second.monitor") &&
                QTest::qWaitFor([&] { return idOf(h.manager->microphone()) == "second.monitor"; },
                                patience);
        });
        QVERIFY(followed);
        QVERIFY(log.contains("System input changed to Monitor of Second, switching to it"));

        h.manager->chooseMicrophone(QStringLiteral("second.monitor"));
        h.settle();
        // A second listener of the same server tells when the change is out.
        SerialQueue witnessQueue("Witness");
        DeviceMonitor witness;
        InputChanges changes;
        QVERIFY(witness.start(witnessQueue, changes));
        bool changed = false;
        log = h.act([&] {
            changed = server.setDefaultSource("first.monitor") &&
                      QTest::qWaitFor([&] { return changes.count > 0; }, patience);
            QTest::qWait(300);
        });
        QVERIFY(changed);
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("second.monitor"));
        QVERIFY(!mentions(log, "System input changed"));
        witness.stop();
    }

private:
    // Counts the system input changes a device monitor reports.
    struct InputChanges : CaptureDevicesListener {
        void deviceConnected(const std::shared_ptr<CaptureSource>&, DeviceKind) override {}
        void deviceDisconnected(const std::shared_ptr<CaptureSource>&, DeviceKind) override {}
        void defaultInputChanged() override { ++count; }
        std::atomic<int> count{0};
    };
};

QTEST_GUILESS_MAIN(tst_DeviceChoice)
#include "tst_DeviceChoice.moc"
