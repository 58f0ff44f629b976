#include "CaptureManagerHarness.h"
#include "DevicesInUse.h"

using namespace CaptureManagerHarness;

class tst_DevicesInUse : public QObject {
    Q_OBJECT

    std::shared_ptr<CaptureSource> camera = std::make_shared<TestCamera>("cam", "Cam");
    std::shared_ptr<CaptureSource> other = std::make_shared<TestCamera>("other", "Other");
    std::shared_ptr<CaptureSource> microphone = std::make_shared<TestCamera>("mic", "Mic");

private Q_SLOTS:
    void theFirstConfigurationIsAnnouncedToEveryone() {
        TestController controller;
        Observers observers;
        CaptureManagerActivityDelegate* activity = &observers;
        CaptureManagerSettingsDelegate* settings = &observers;
        int announced = 0;
        DevicesInUse inUse(
            controller, activity, settings, [](int) {}, [&] { ++announced; });
        inUse.configured({DevicesInUse::Pipeline{camera, microphone, true}, {}},
                         {{"cam", "Cam"}, {"other", "Other"}}, {{"mic", "Mic"}});
        QVERIFY(controller.cameraAvailable);
        QVERIFY(controller.microphoneAvailable);
        QCOMPARE(controller.devicesChanges, 1);
        QCOMPARE(announced, 1);
        QCOMPARE(observers.inUse.size(), std::size_t(1));
        QCOMPARE(observers.inUse[0].camera, std::optional<QString>("Cam"));
        QCOMPARE(observers.inUse[0].microphone, std::optional<QString>("Mic"));
        QCOMPARE(observers.listedCameras, QStringList({"cam", "other"}));
        QCOMPARE(inUse.pipeline(0).camera, camera);
        QVERIFY(inUse.pipeline(0).running);
    }

    // A session starting or stopping is no news: only a change of device is.
    void theSameDevicesAreNotAnnouncedAgain() {
        TestController controller;
        CaptureManagerActivityDelegate* activity = nullptr;
        CaptureManagerSettingsDelegate* settings = nullptr;
        int announced = 0;
        DevicesInUse inUse(
            controller, activity, settings, [](int) {}, [&] { ++announced; });
        inUse.configured({DevicesInUse::Pipeline{camera, nullptr, false}, {}}, {}, {});
        inUse.configured({DevicesInUse::Pipeline{camera, nullptr, true}, {}}, {}, {});
        QCOMPARE(announced, 1);
        QVERIFY(inUse.pipeline(0).running);
        inUse.configured({DevicesInUse::Pipeline{camera, nullptr, true},
                          DevicesInUse::Pipeline{other, nullptr, true}},
                         {}, {});
        QCOMPARE(announced, 2);
        QCOMPARE(controller.devicesChanges, 2);
        QVERIFY(!controller.microphoneAvailable);
    }

    void aPipelineWhoseCameraChangedIsNamed() {
        TestController controller;
        CaptureManagerActivityDelegate* activity = nullptr;
        CaptureManagerSettingsDelegate* settings = nullptr;
        QList<int> changed;
        DevicesInUse inUse(
            controller, activity, settings, [&](int index) { changed << index; }, [] {});
        inUse.configured({DevicesInUse::Pipeline{camera, nullptr, true}, {}}, {}, {});
        QCOMPARE(changed, QList<int>({0}));
        inUse.configured({DevicesInUse::Pipeline{camera, microphone, true},
                          DevicesInUse::Pipeline{other, nullptr, true}},
                         {}, {});
        QCOMPARE(changed, QList<int>({0, 1}));
    }

    // The delegates are read when there is news, so one set later hears it.
    void aDelegateSetLaterIsTheOneTold() {
        TestController controller;
        Observers observers;
        CaptureManagerActivityDelegate* activity = nullptr;
        CaptureManagerSettingsDelegate* settings = nullptr;
        DevicesInUse inUse(
            controller, activity, settings, [](int) {}, [] {});
        settings = &observers;
        inUse.listed({{"cam", "Cam"}}, {});
        QCOMPARE(observers.listedCameras, QStringList({"cam"}));
        activity = &observers;
        inUse.configured({DevicesInUse::Pipeline{other, nullptr, true}, {}}, {}, {});
        QCOMPARE(observers.inUse.size(), std::size_t(1));
    }
};

QTEST_GUILESS_MAIN(tst_DevicesInUse)
#include "tst_DevicesInUse.moc"
