// Network cameras' credentials in a real secret service (gnome-keyring on
// the test's own bus), and a saved camera taking them when it is listed.
#include "Defaults.h"
#include "FixedDevices.h"
#include "SavedCameraDevices.h"
#include "SavedNetworkCameras.h"
#include "SecretServiceBus.h"
#include "SecretStore.h"
#include "SerialQueue.h"
#include "TestEnvironment.h"

#include <QFile>
#include <QTest>

namespace {

const QString cameraID = QStringLiteral("net:rtsp://127.0.0.1:8554/garden");
const NetworkCredentials garden{QStringLiteral("garden"), QStringLiteral("Hz81-unique-pw")};

class Events : public CaptureDevicesListener {
public:
    void deviceConnected(const std::shared_ptr<CaptureSource>& device, DeviceKind) override {
        connected.push_back(device->uniqueID());
    }
    void deviceDisconnected(const std::shared_ptr<CaptureSource>& device, DeviceKind) override {
        disconnected.push_back(device->uniqueID());
    }
    void defaultInputChanged() override {}
    QStringList connected;
    QStringList disconnected;
};

}  // namespace

class tst_SecretStore : public QObject {
    Q_OBJECT

    TestEnvironment environment;
    SecretServiceBus bus{environment.home()};

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(bus.isRunning());
        QVERIFY(bus.startKeyring());
        QVERIFY(SecretStore::available());
    }

    void storedCredentialsAreFoundAgainAndReplaced() {
        QVERIFY(!SecretStore::lookup(cameraID));
        QCOMPARE(SecretStore::store(cameraID, QStringLiteral("Garden"), garden),
                 SecretStore::Outcome::stored);
        auto found = SecretStore::lookup(cameraID);
        QVERIFY(found);
        QCOMPARE(found->user, garden.user);
        QCOMPARE(found->password, garden.password);

        QCOMPARE(SecretStore::store(cameraID, QStringLiteral("Garden"),
                                    {QStringLiteral("garden"), QStringLiteral("second")}),
                 SecretStore::Outcome::stored);
        QCOMPARE(SecretStore::lookup(cameraID)->password, QStringLiteral("second"));
        // Another camera's are its own.
        QVERIFY(!SecretStore::lookup(QStringLiteral("net:rtsp://127.0.0.1:8554/porch")));

        QVERIFY(SecretStore::remove(cameraID));
        QVERIFY(!SecretStore::lookup(cameraID));
    }

    // A saved network camera is listed among the cameras with the
    // credentials of the secret service; one saved later arrives as a device.
    void aSavedCameraIsListedWithItsCredentials() {
        QCOMPARE(SecretStore::store(cameraID, QStringLiteral("Garden"), garden),
                 SecretStore::Outcome::stored);
        Defaults defaults(environment.settingsFilePath());
        SavedNetworkCameras::save(defaults, {cameraID,
                                             QStringLiteral("Garden"),
                                             QStringLiteral("rtsp://127.0.0.1:8554/garden"),
                                             {}});
        QStringList looked;
        auto local = std::make_shared<LaunchSource>(
            QStringLiteral("v4l:desk"), QStringLiteral("Desk"), QStringLiteral("videotestsrc"));
        SavedCameraDevices devices(
            std::make_unique<FixedDevices>(std::vector<std::shared_ptr<CaptureSource>>{local},
                                           std::vector<std::shared_ptr<CaptureSource>>{}),
            defaults,
            [&](const QString& id) {
                looked << id;
                return SecretStore::lookup(id);
            },
            nullptr);
        SerialQueue queue("Devices");
        Events events;
        queue.sync([&] { QVERIFY(devices.start(queue, events)); });
        std::vector<std::shared_ptr<CaptureSource>> cameras;
        queue.sync([&] { cameras = devices.devices(DeviceKind::video); });
        QCOMPARE(int(cameras.size()), 2);
        QCOMPARE(cameras[0]->uniqueID(), QStringLiteral("v4l:desk"));
        QCOMPARE(cameras[1]->uniqueID(), cameraID);
        QCOMPARE(cameras[1]->name(), QStringLiteral("Garden"));
        QCOMPARE(looked, QStringList{cameraID});

        const QString porch = QStringLiteral("net:http://127.0.0.1:8080/porch.mjpg");
        SavedNetworkCameras::save(defaults, {porch,
                                             QStringLiteral("Porch"),
                                             QStringLiteral("http://127.0.0.1:8080/porch.mjpg"),
                                             {}});
        QTRY_COMPARE_WITH_TIMEOUT(events.connected, QStringList{porch}, 20000);
        QVERIFY(events.disconnected.isEmpty());
        SavedNetworkCameras::remove(defaults, cameraID);
        QTRY_COMPARE_WITH_TIMEOUT(events.disconnected, QStringList{cameraID}, 20000);
        queue.sync([&] { cameras = devices.devices(DeviceKind::video); });
        QCOMPARE(int(cameras.size()), 2);
        QCOMPARE(cameras[1]->name(), QStringLiteral("Porch"));
        devices.stop();

        // Neither the password nor the user name reached the settings file.
        defaults.flush();
        QFile file(environment.settingsFilePath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray settings = file.readAll();
        QVERIFY(settings.contains("Porch"));
        QVERIFY(!settings.contains(garden.password.toUtf8()));
        QVERIFY(SecretStore::remove(cameraID));
    }

    // Without a secret service nothing is stored, and it says so.
    void withoutASecretServiceNothingIsStored() {
        bus.stopKeyring();
        QVERIFY(!SecretStore::available());
        QCOMPARE(SecretStore::store(cameraID, QStringLiteral("Garden"), garden),
                 SecretStore::Outcome::noService);
        QVERIFY(!SecretStore::lookup(cameraID));
    }
};

QTEST_GUILESS_MAIN(tst_SecretStore)
#include "tst_SecretStore.moc"
