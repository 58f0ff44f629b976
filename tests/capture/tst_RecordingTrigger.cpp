#include "CaptureManagerHarness.h"
#include "DevicesInUse.h"
#include "RecordingTrigger.h"

using namespace CaptureManagerHarness;

class tst_RecordingTrigger : public QObject {
    Q_OBJECT

    TestEnvironment environment;
    Defaults defaults{environment.settingsFilePath()};
    ManualClock clock{QDateTime(QDate(2026, 3, 2), QTime(9, 0))};
    std::unique_ptr<TestController> controllerHolder;
    CaptureManagerActivityDelegate* activity = nullptr;
    CaptureManagerSettingsDelegate* settings = nullptr;
    std::unique_ptr<DevicesInUse> inUse;
    std::unique_ptr<RecordingTrigger> trigger;
    std::shared_ptr<CaptureSource> camera = std::make_shared<TestCamera>("cam", "Cam");
    std::shared_ptr<CaptureSource> secondCamera = std::make_shared<TestCamera>("two", "Two");

    void use(const DevicesInUse::Pipelines& pipelines) { inUse->configured(pipelines, {}, {}); }

private Q_SLOTS:
    void init() {
        controllerHolder = std::make_unique<TestController>();
        defaults.set(SettingsKeys::timeoutValueInSeconds, 10);
        inUse = std::make_unique<DevicesInUse>(
            *controllerHolder, activity, settings, [](int) {}, [] {});
        trigger = std::make_unique<RecordingTrigger>(*this, defaults, clock, *controllerHolder,
                                                     *inUse, [](int) { return nullptr; });
        use({DevicesInUse::Pipeline{camera, nullptr, true}, DevicesInUse::Pipeline{}});
    }

    void aTriggerWhileArmedStartsARecordingOfTheRunningPipelines() {
        controllerHolder->state = TestController::armed;
        trigger->trigger();
        QCOMPARE(controllerHolder->started.size(), std::size_t(1));
        QCOMPARE(controllerHolder->started[0].size(), std::size_t(1));
        QCOMPARE(controllerHolder->started[0][0].cameraName, std::optional<QString>("Cam"));
        QVERIFY(trigger->stopPending());
    }

    void theStopComesTheTimeoutAfterTheLastTrigger() {
        controllerHolder->state = TestController::armed;
        trigger->trigger();
        clock.advance(std::chrono::seconds(8));
        trigger->trigger();  // recording: pushes the stop out again
        QCOMPARE(controllerHolder->started.size(), std::size_t(1));
        clock.advance(std::chrono::seconds(9));
        QCOMPARE(controllerHolder->stops, 0);
        clock.advance(std::chrono::seconds(1));
        QCOMPARE(controllerHolder->stops, 1);
    }

    void aTriggerWhileUnarmedDoesNothing() {
        trigger->trigger();
        QVERIFY(controllerHolder->started.empty());
        QVERIFY(!trigger->stopPending());
    }

    void triggersFromAnotherThreadActOnceOnTheMainThread() {
        controllerHolder->state = TestController::armed;
        std::thread([this] {
            trigger->trigger();
            trigger->trigger();
        }).join();
        QVERIFY(controllerHolder->started.empty());
        QTRY_COMPARE(controllerHolder->started.size(), std::size_t(1));
        QTest::qWait(50);
        QCOMPARE(controllerHolder->started.size(), std::size_t(1));
    }

    void aTestWaitsForEveryRunningCameraToDeliver() {
        use({DevicesInUse::Pipeline{camera, nullptr, true},
             DevicesInUse::Pipeline{secondCamera, nullptr, true}});
        controllerHolder->state = TestController::armed;
        trigger->captureStarted();
        trigger->recordTest();
        QVERIFY(trigger->testWaitsForFrames());
        trigger->framesMeasured(0, 3);
        QVERIFY(controllerHolder->started.empty());
        trigger->framesMeasured(1, 1);
        QVERIFY(!trigger->testWaitsForFrames());
        QCOMPARE(controllerHolder->started.size(), std::size_t(1));
        QCOMPARE(controllerHolder->started[0].size(), std::size_t(2));
        QCOMPARE(trigger->framesSeen(0), std::int64_t(3));
    }

    void withoutACameraARunningSessionIsReady() {
        use({DevicesInUse::Pipeline{}, DevicesInUse::Pipeline{}});
        QVERIFY(!trigger->framesReady());
        use({DevicesInUse::Pipeline{nullptr, camera, true}, DevicesInUse::Pipeline{}});
        QVERIFY(trigger->framesReady());
    }

    void aTestOnlyActsWhileArmed() {
        controllerHolder->state = TestController::recording;
        trigger->recordTest();
        QVERIFY(!trigger->testWaitsForFrames());
        QVERIFY(!trigger->stopPending());
    }
};

QTEST_GUILESS_MAIN(tst_RecordingTrigger)
#include "tst_RecordingTrigger.moc"
