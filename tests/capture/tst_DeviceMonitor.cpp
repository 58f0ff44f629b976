#include "DeviceMonitor.h"
#include "PulseAudioServer.h"
#include "SerialQueue.h"
#include "TestCameraProvider.h"

#include <QTest>
#include <algorithm>
#include <iterator>
#include <mutex>

namespace {

// What the monitor told its listener, in order, with the system input as the
// monitor answered at the moment of each change.
class EventLog : public CaptureDevicesListener {
public:
    struct Event {
        QString what;  // "connected", "disconnected", "default"
        QString id;
        QString name;
        DeviceKind kind = DeviceKind::video;
    };

    explicit EventLog(const DeviceMonitor& monitor) : monitor_(monitor) {}

    void deviceConnected(const std::shared_ptr<CaptureSource>& device, DeviceKind kind) override {
        add({QStringLiteral("connected"), device->uniqueID(), device->name(), kind});
    }
    void deviceDisconnected(const std::shared_ptr<CaptureSource>& device,
                            DeviceKind kind) override {
        add({QStringLiteral("disconnected"), device->uniqueID(), device->name(), kind});
    }
    void defaultInputChanged() override {
        const auto input = monitor_.defaultInput();
        add({inputChange, input ? input->uniqueID() : QString(), input ? input->name() : QString(),
             DeviceKind::audio});
    }

    // Connections and disconnections of one device.
    std::vector<Event> about(const QString& id) const {
        return matching(
            [&](const Event& event) { return event.what != inputChange && event.id == id; });
    }
    // Changes of the system input.
    std::vector<Event> inputChanges() const {
        return matching([](const Event& event) { return event.what == inputChange; });
    }
    int count() const {
        std::lock_guard guard(mutex_);
        return static_cast<int>(events_.size());
    }

private:
    static inline const QString inputChange = QStringLiteral("default");

    template <typename Predicate>
    std::vector<Event> matching(Predicate predicate) const {
        std::lock_guard guard(mutex_);
        std::vector<Event> found;
        std::copy_if(events_.begin(), events_.end(), std::back_inserter(found), predicate);
        return found;
    }
    void add(Event event) {
        std::lock_guard guard(mutex_);
        events_.push_back(std::move(event));
    }

    const DeviceMonitor& monitor_;
    mutable std::mutex mutex_;
    std::vector<Event> events_;
};

// The device list as the monitor has it, read on its queue.
QStringList idsOf(SerialQueue& queue, const DeviceMonitor& monitor, DeviceKind kind) {
    QStringList ids;
    queue.sync([&] {
        for (const auto& device : monitor.devices(kind)) {
            ids << device->uniqueID();
        }
    });
    return ids;
}

QString defaultInputOf(SerialQueue& queue, const DeviceMonitor& monitor) {
    QString id;
    queue.sync([&] {
        if (const auto input = monitor.defaultInput()) {
            id = input->uniqueID();
        }
    });
    return id;
}

QVariantMap path(const QString& node) {
    return {{QStringLiteral("device.path"), node}};
}

}  // namespace

// Hot-plugging through GStreamer's device monitor: cameras from a device
// provider registered by the test, microphones from a sound server started
// by the test.
class tst_DeviceMonitor : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        Gst::ensureInitialised();
        // Registered before any monitor exists, as installed providers are.
        cameras_ = std::make_unique<TestCameraProvider>();
    }

    void cleanupTestCase() { cameras_.reset(); }

    void aCameraPluggedInAndOutIsSeenUnderOneID() {
        SerialQueue queue("Events");
        DeviceMonitor monitor;
        EventLog log(monitor);
        QVERIFY(monitor.start(queue, log));
        const QString id = QStringLiteral("/dev/video41");
        QVERIFY(!idsOf(queue, monitor, DeviceKind::video).contains(id));

        auto camera = cameras_->plug(QStringLiteral("Desk Camera"), path(id));
        QTRY_COMPARE_WITH_TIMEOUT(log.about(id).size(), size_t(1), 5000);
        EventLog::Event connected = log.about(id).at(0);
        QCOMPARE(connected.what, QStringLiteral("connected"));
        QCOMPARE(connected.name, QStringLiteral("Desk Camera"));
        QVERIFY(connected.kind == DeviceKind::video);
        QVERIFY(idsOf(queue, monitor, DeviceKind::video).contains(id));
        QVERIFY(!idsOf(queue, monitor, DeviceKind::audio).contains(id));

        cameras_->unplug(camera);
        QTRY_COMPARE_WITH_TIMEOUT(log.about(id).size(), size_t(2), 5000);
        QCOMPARE(log.about(id).at(1).what, QStringLiteral("disconnected"));
        QVERIFY(!idsOf(queue, monitor, DeviceKind::video).contains(id));

        // Plugged in again it is a new device object with the same ID, so the
        // settings kept under that ID still apply.
        auto again = cameras_->plug(QStringLiteral("Desk Camera"), path(id));
        QVERIFY(again.get() != camera.get());
        QTRY_COMPARE_WITH_TIMEOUT(log.about(id).size(), size_t(3), 5000);
        QCOMPARE(log.about(id).at(2).what, QStringLiteral("connected"));
        cameras_->unplug(again);
        QTRY_COMPARE_WITH_TIMEOUT(log.about(id).size(), size_t(4), 5000);
        monitor.stop();
    }

    void twoCamerasOfTheSameModelKeepTheirOwnIDs() {
        SerialQueue queue("Events");
        DeviceMonitor monitor;
        EventLog log(monitor);
        QVERIFY(monitor.start(queue, log));
        const QString left = QStringLiteral("/dev/video42");
        const QString right = QStringLiteral("/dev/video43");
        auto first = cameras_->plug(QStringLiteral("USB Camera"), path(left));
        auto second = cameras_->plug(QStringLiteral("USB Camera"), path(right));
        QTRY_VERIFY_WITH_TIMEOUT(log.about(left).size() == 1 && log.about(right).size() == 1, 5000);
        const QStringList ids = idsOf(queue, monitor, DeviceKind::video);
        QVERIFY(ids.contains(left) && ids.contains(right));

        cameras_->unplug(first);
        QTRY_COMPARE_WITH_TIMEOUT(log.about(left).size(), size_t(2), 5000);
        QCOMPARE(log.about(right).size(), size_t(1));
        QCOMPARE(idsOf(queue, monitor, DeviceKind::video).count(right), 1);
        QVERIFY(!idsOf(queue, monitor, DeviceKind::video).contains(left));
        cameras_->unplug(second);
        QTRY_COMPARE_WITH_TIMEOUT(log.about(right).size(), size_t(2), 5000);
        monitor.stop();
    }

    // Cameras already there when watching starts are listed, not announced
    // as newly connected (they are configured, not switched to).
    void camerasPresentAtStartAreListedNotAnnounced() {
        const QString id = QStringLiteral("/dev/video44");
        auto camera = cameras_->plug(QStringLiteral("Early Camera"), path(id));
        SerialQueue queue("Events");
        DeviceMonitor monitor;
        EventLog log(monitor);
        QVERIFY(monitor.start(queue, log));
        QVERIFY(idsOf(queue, monitor, DeviceKind::video).contains(id));
        QTest::qWait(200);
        queue.drain();
        QCOMPARE(log.about(id).size(), size_t(0));
        monitor.stop();
        cameras_->unplug(camera);
    }

    void nothingIsDeliveredAfterStop() {
        SerialQueue queue("Events");
        DeviceMonitor monitor;
        EventLog log(monitor);
        QVERIFY(monitor.start(queue, log));
        monitor.stop();
        const int before = log.count();
        const QString id = QStringLiteral("/dev/video45");
        auto camera = cameras_->plug(QStringLiteral("Late Camera"), path(id));
        cameras_->unplug(camera);
        QTest::qWait(200);
        queue.drain();
        QCOMPARE(log.count(), before);
    }

    // The most stable thing a device says about itself names it: the
    // device node (or its udev by-id link) for a V4L2 camera, the node name
    // for a PipeWire one, the display name only when nothing else is known.
    void uniqueIDsComeFromTheMostStableProperty_data() {
        QTest::addColumn<QVariantMap>("properties");
        QTest::addColumn<QString>("expected");
        QTest::newRow("v4l2 device node") << path("/dev/video46") << "/dev/video46";
        QTest::newRow("v4l2 node, PipeWire style key")
            << QVariantMap{{"api.v4l2.path", "/dev/video47"}, {"node.name", "v4l2_input.usb"}}
            << "/dev/video47";
        QTest::newRow("PipeWire node") << QVariantMap{{"node.name", "v4l2_input.pci-0000_00_14"}}
                                       << "v4l2_input.pci-0000_00_14";
        QTest::newRow("nothing but a name") << QVariantMap{} << "Nameless Camera";
    }
    void uniqueIDsComeFromTheMostStableProperty() {
        QFETCH(QVariantMap, properties);
        QFETCH(QString, expected);
        const auto camera = TestCameraProvider::makeCamera("Nameless Camera", properties);
        QCOMPARE(DeviceMonitor::uniqueIDFor(camera.get()), expected);
    }

    // A device found by the monitor opens as a capture source.
    void aPluggedCameraMakesItsSourceElement() {
        SerialQueue queue("Events");
        DeviceMonitor monitor;
        EventLog log(monitor);
        QVERIFY(monitor.start(queue, log));
        const QString id = QStringLiteral("/dev/video48");
        auto camera = cameras_->plug(QStringLiteral("Working Camera"), path(id));
        QTRY_COMPARE_WITH_TIMEOUT(log.about(id).size(), size_t(1), 5000);
        GstHandle<GstElement> element;
        queue.sync([&] {
            for (const auto& device : monitor.devices(DeviceKind::video)) {
                if (device->uniqueID() == id) {
                    element = device->makeElement();
                }
            }
        });
        QVERIFY(element);
        QCOMPARE(QString::fromUtf8(GST_OBJECT_NAME(gst_element_get_factory(element.get()))),
                 QStringLiteral("videotestsrc"));
        monitor.stop();
        cameras_->unplug(camera);
    }

    // ---- A real sound server ----

    void aNullSinkBringsAndTakesAMicrophone() {
        if (!PulseAudioServer::isInstalled()) {
            QSKIP("pulseaudio is not installed");
        }
        PulseAudioServer server;
        QVERIFY2(server.isRunning(), qPrintable(server.problem()));
        server.becomeDefaultForThisProcess();
        SerialQueue queue("Events");
        DeviceMonitor monitor;
        EventLog log(monitor);
        QVERIFY(monitor.start(queue, log));
        const QString id = QStringLiteral("desk.monitor");

        const std::optional<int> module = server.loadNullSink("desk", "Desk");
        QVERIFY(module);
        QTRY_VERIFY_WITH_TIMEOUT(!log.about(id).empty(), 5000);
        const EventLog::Event connected = log.about(id).at(0);
        QCOMPARE(connected.what, QStringLiteral("connected"));
        QVERIFY(connected.kind == DeviceKind::audio);
        QCOMPARE(connected.name, QStringLiteral("Monitor of Desk"));
        QVERIFY(idsOf(queue, monitor, DeviceKind::audio).contains(id));
        // The sink itself plays sound; it is no microphone.
        QVERIFY(!idsOf(queue, monitor, DeviceKind::audio).contains("desk"));

        QVERIFY(server.unloadModule(*module));
        QTRY_VERIFY_WITH_TIMEOUT(log.about(id).back().what == QLatin1String("disconnected"), 5000);
        QVERIFY(!idsOf(queue, monitor, DeviceKind::audio).contains(id));
        monitor.stop();
    }

    void aChangedSystemInputIsReported() {
        if (!PulseAudioServer::isInstalled()) {
            QSKIP("pulseaudio is not installed");
        }
        PulseAudioServer server;
        QVERIFY2(server.isRunning(), qPrintable(server.problem()));
        QVERIFY(server.serveTwoSources());
        QCOMPARE(server.defaultSource(), QStringLiteral("first.monitor"));

        SerialQueue queue("Events");
        DeviceMonitor monitor;
        EventLog log(monitor);
        QVERIFY(monitor.start(queue, log));
        QCOMPARE(defaultInputOf(queue, monitor), QStringLiteral("first.monitor"));

        // At the moment the change is announced, the monitor already answers
        // with the new input (the listener follows it from there).
        QVERIFY(server.setDefaultSource("second.monitor"));
        QTRY_COMPARE_WITH_TIMEOUT(log.inputChanges().size(), size_t(1), 5000);
        QCOMPARE(log.inputChanges().at(0).id, QStringLiteral("second.monitor"));
        QCOMPARE(log.inputChanges().at(0).name, QStringLiteral("Monitor of Second"));
        QCOMPARE(defaultInputOf(queue, monitor), QStringLiteral("second.monitor"));

        QVERIFY(server.setDefaultSource("first.monitor"));
        QTRY_COMPARE_WITH_TIMEOUT(log.inputChanges().size(), size_t(2), 5000);
        QCOMPARE(log.inputChanges().at(1).id, QStringLiteral("first.monitor"));
        QCOMPARE(defaultInputOf(queue, monitor), QStringLiteral("first.monitor"));
        // Both microphones stay as they were: a change of input is no hot-plug.
        QCOMPARE(log.about("first.monitor").size(), size_t(0));
        QCOMPARE(log.about("second.monitor").size(), size_t(0));
        monitor.stop();
    }

private:
    std::unique_ptr<TestCameraProvider> cameras_;
};

QTEST_GUILESS_MAIN(tst_DeviceMonitor)
#include "tst_DeviceMonitor.moc"
