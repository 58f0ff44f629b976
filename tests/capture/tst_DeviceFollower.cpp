#include "CaptureManagerHarness.h"
#include "DeviceFollower.h"
#include "FixedDevices.h"

using namespace CaptureManagerHarness;

namespace {

// Keeps what the follower asked of it.
class Owner : public DeviceFollowerOwner {
public:
    DeviceSet devicesInUse() const override { return inUse; }
    void configureWith(const DeviceSet& devices) override {
        configured.push_back(devices);
        inUse = devices;
    }
    bool captureRefused() const override { return refused; }
    void tryCaptureAgain(const DeviceSet& devices) override { triedAgain.push_back(devices); }
    void devicesListed() override { ++listed; }
    void microphoneLost() override { ++microphoneLosses; }

    DeviceSet inUse;
    bool refused = false;
    std::vector<DeviceSet> configured;
    std::vector<DeviceSet> triedAgain;
    int listed = 0;
    int microphoneLosses = 0;
};

}  // namespace

class tst_DeviceFollower : public QObject {
    Q_OBJECT

    TestEnvironment environment;
    Defaults defaults{environment.settingsFilePath()};
    SerialQueue sessionQueue{"SessionQueue"};
    std::shared_ptr<CaptureSource> camera = std::make_shared<TestCamera>("cam", "Cam");
    std::shared_ptr<CaptureSource> other = std::make_shared<TestCamera>("other", "Other");
    std::shared_ptr<CaptureSource> microphone = std::make_shared<TestCamera>("mic", "Mic");
    FixedDevices devices{{camera, other}, {microphone}};

private Q_SLOTS:
    void init() {
        for (const QString& key : {SettingsKeys::selectedCameraID, SettingsKeys::secondCameraID,
                                   SettingsKeys::selectedMicrophoneID}) {
            defaults.remove(key);
        }
    }

    void choosingNoCameraForgetsTheSecondAndTurnsMotionOff() {
        Owner owner;
        DeviceFollower follower(defaults, devices, sessionQueue, owner);
        defaults.set(SettingsKeys::motionTriggerEnabled, true);
        follower.chooseSecondCamera(QStringLiteral("other"));
        QCOMPARE(defaults.string(SettingsKeys::secondCameraID), std::optional<QString>("other"));
        follower.chooseCamera(std::nullopt);
        QCOMPARE(defaults.string(SettingsKeys::selectedCameraID), std::optional<QString>(""));
        QVERIFY(!defaults.hasStoredValue(SettingsKeys::secondCameraID));
        QVERIFY(!defaults.boolValue(SettingsKeys::motionTriggerEnabled));
        QVERIFY(!follower.chosen().camera);
    }

    void choosingNoMicrophoneTurnsSoundOffAndFollowingTheInputForgetsTheChoice() {
        Owner owner;
        DeviceFollower follower(defaults, devices, sessionQueue, owner);
        defaults.set(SettingsKeys::audioTriggerEnabled, true);
        follower.chooseNoMicrophone();
        QVERIFY(!defaults.boolValue(SettingsKeys::audioTriggerEnabled));
        QVERIFY(!follower.chosen().microphone);
        follower.followSystemInput();
        QVERIFY(!defaults.hasStoredValue(SettingsKeys::selectedMicrophoneID));
        QCOMPARE(follower.chosen().microphone, microphone);
    }

    void theChosenCameraReturningTakesItsPipelineBack() {
        Owner owner;
        DeviceFollower follower(defaults, devices, sessionQueue, owner);
        follower.chooseCamera(QStringLiteral("cam"));
        owner.inUse = {other, nullptr, microphone};
        follower.deviceConnected(camera, DeviceKind::video);
        QCOMPARE(owner.configured.size(), std::size_t(1));
        QCOMPARE(owner.configured[0].camera, camera);
        // Another camera arriving changes nothing but the menus.
        follower.deviceConnected(other, DeviceKind::video);
        QCOMPARE(owner.configured.size(), std::size_t(1));
        QCOMPARE(owner.listed, 1);
    }

    void aDeviceArrivingAfterARefusalTriesCaptureAgain() {
        Owner owner;
        owner.refused = true;
        DeviceFollower follower(defaults, devices, sessionQueue, owner);
        follower.deviceConnected(camera, DeviceKind::video);
        QCOMPARE(owner.triedAgain.size(), std::size_t(1));
        QVERIFY(owner.configured.empty());
    }

    // One loss reports several errors; only the first acts.
    void aFailedMicrophoneIsLostOnce() {
        Owner owner;
        owner.inUse = {camera, nullptr, microphone};
        DeviceFollower follower(defaults, devices, sessionQueue, owner);
        sessionQueue.sync([&] {
            follower.microphoneFailed(std::nullopt);
            owner.inUse.microphone = nullptr;  // as the owner reports it once lost
            follower.microphoneFailed(std::nullopt);
        });
        QCOMPARE(owner.microphoneLosses, 1);
        QVERIFY(follower.microphoneIsLost());
        sessionQueue.sync([&] { follower.microphoneConfigured(); });
        QVERIFY(!follower.microphoneIsLost());
    }
};

QTEST_GUILESS_MAIN(tst_DeviceFollower)
#include "tst_DeviceFollower.moc"
