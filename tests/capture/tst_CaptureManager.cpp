#include "CaptureManager.h"
#include "Defaults.h"
#include "DeviceMonitor.h"
#include "ManualClock.h"
#include "MovieProbe.h"
#include "PulseAudioServer.h"
#include "SettingsKeys.h"
#include "StdoutCapture.h"
#include "TestEnvironment.h"

#include <pthread.h>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <mutex>
#include <thread>

using namespace std::chrono_literals;
using namespace SettingsKeys;

Q_DECLARE_METATYPE(std::optional<QString>)

namespace {

constexpr int patience = 10000;  // ms, the longest a real-time step may take under load

QString videoCaps() {
    return QStringLiteral("video/x-raw,width=320,height=240,framerate=15/1");
}

// A camera of the test: a moving ball from videotestsrc, with a gate the
// test can close so that the camera stops delivering frames (as a camera
// whose driver hangs does) while its session keeps running. `between` goes
// between the source and the gate (e.g. an element failing after N frames).
class TestCamera : public CaptureSource {
public:
    TestCamera(const QString& id, const QString& name, QString between = {})
        : CaptureSource(id, name), between_(std::move(between)) {}

    GstHandle<GstElement> makeElement() override {
        const QString description =
            QStringLiteral("videotestsrc is-live=true pattern=ball ! ") + videoCaps() +
            (between_.isEmpty() ? QString() : QStringLiteral(" ! ") + between_) +
            QStringLiteral(" ! valve name=gate drop-mode=forward-sticky-events");
        GError* error = nullptr;
        GstElement* bin =
            gst_parse_bin_from_description(description.toUtf8().constData(), TRUE, &error);
        if (error) {
            qWarning("%s", error->message);
            g_error_free(error);
            return {};
        }
        auto element = GstHandle<GstElement>::adopt(GST_ELEMENT(gst_object_ref_sink(bin)));
        std::lock_guard guard(mutex_);
        gate_ = GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(bin), "gate"));
        g_object_set(gate_.get(), "drop", !delivering_, nullptr);
        char thread[16] = {};
        pthread_getname_np(pthread_self(), thread, sizeof thread);
        madeOn_ = QString::fromLatin1(thread);
        ++elementsMade_;
        return element;
    }

    void setDelivering(bool delivering) {
        std::lock_guard guard(mutex_);
        delivering_ = delivering;
        if (gate_) {
            g_object_set(gate_.get(), "drop", !delivering, nullptr);
        }
    }
    int elementsMade() const {
        std::lock_guard guard(mutex_);
        return elementsMade_;
    }
    QString madeOn() const {
        std::lock_guard guard(mutex_);
        return madeOn_;
    }

private:
    const QString between_;
    mutable std::mutex mutex_;
    GstHandle<GstElement> gate_;
    bool delivering_ = true;
    int elementsMade_ = 0;
    QString madeOn_;
};

std::shared_ptr<TestCamera> camera(const QString& letter, const QString& between = {}) {
    return std::make_shared<TestCamera>("cam-" + letter.toLower(), "Camera " + letter, between);
}

// A quiet microphone, or one playing a loud 1 kHz tone.
std::shared_ptr<CaptureSource> microphone(const QString& letter, bool loud = false) {
    return std::make_shared<LaunchSource>(
        "mic-" + letter.toLower(), "Microphone " + letter,
        loud ? QStringLiteral("audiotestsrc is-live=true wave=sine freq=1000 volume=0.8")
             : QStringLiteral("audiotestsrc is-live=true wave=silence"));
}

QString idOf(const std::shared_ptr<CaptureSource>& source) {
    return source ? source->uniqueID() : QStringLiteral("none");
}

// Devices the test plugs in and out while the manager runs; events are
// delivered on the manager's session queue, as the device monitor does.
class PluggableDevices : public CaptureDevices {
public:
    PluggableDevices(std::vector<std::shared_ptr<CaptureSource>> cameras,
                     std::vector<std::shared_ptr<CaptureSource>> microphones,
                     bool discoveryFails = false)
        : cameras_(std::move(cameras)),
          microphones_(std::move(microphones)),
          input_(microphones_.empty() ? nullptr : microphones_.front()),
          discoveryFails_(discoveryFails) {}

    bool start(SerialQueue& queue, CaptureDevicesListener& listener) override {
        queue_ = &queue;
        listener_ = &listener;
        return !discoveryFails_;
    }
    void stop() override { stopped_ = true; }
    std::vector<std::shared_ptr<CaptureSource>> devices(DeviceKind kind) const override {
        return kind == DeviceKind::video ? cameras_ : microphones_;
    }
    std::shared_ptr<CaptureSource> defaultInput() const override { return input_; }

    // Before the manager starts: the system input it finds.
    void setInitialInput(std::shared_ptr<CaptureSource> device) { input_ = std::move(device); }

    void plug(std::shared_ptr<CaptureSource> device, DeviceKind kind) {
        queue_->async([this, device, kind] {
            list(kind).push_back(device);
            if (!stopped_) {
                listener_->deviceConnected(device, kind);
            }
        });
    }
    void unplug(std::shared_ptr<CaptureSource> device, DeviceKind kind) {
        queue_->async([this, device, kind] {
            std::erase(list(kind), device);
            if (input_ == device) {
                input_ = nullptr;
            }
            if (!stopped_) {
                listener_->deviceDisconnected(device, kind);
            }
        });
    }
    void changeInput(std::shared_ptr<CaptureSource> device) {
        queue_->async([this, device] {
            input_ = device;
            if (!stopped_) {
                listener_->defaultInputChanged();
            }
        });
    }

private:
    std::vector<std::shared_ptr<CaptureSource>>& list(DeviceKind kind) {
        return kind == DeviceKind::video ? cameras_ : microphones_;
    }

    // Confined to the session queue once started.
    std::vector<std::shared_ptr<CaptureSource>> cameras_;
    std::vector<std::shared_ptr<CaptureSource>> microphones_;
    std::shared_ptr<CaptureSource> input_;
    const bool discoveryFails_;
    SerialQueue* queue_ = nullptr;
    CaptureDevicesListener* listener_ = nullptr;
    std::atomic<bool> stopped_{false};
};

// A recording controller that keeps what it was told. Like the recording
// manager it moves to `recording` when it starts recordings and back to
// `armed` when it stops them; with a folder set it really records.
class TestController : public CaptureManagerRecordingController {
public:
    std::optional<int> armedStateRaw() const override { return state; }
    void startRecordings(const std::vector<RecordingTarget>& targets) override {
        started.push_back(targets);
        state = recording;
        if (folder.isEmpty()) {
            return;
        }
        for (std::size_t i = 0; i < targets.size(); ++i) {
            const QString path =
                QStringLiteral("%1/recording-%2-%3.mov").arg(folder).arg(started.size()).arg(i);
            targets[i].recorder->start(path, [this](const QString& file, std::optional<Error>) {
                std::lock_guard guard(mutex);
                finished << file;
            });
            recorders.push_back(targets[i].recorder);
        }
    }
    void stopRecording() override {
        ++stops;
        if (state == recording) {
            state = armed;
        }
        for (const auto& recorder : recorders) {
            recorder->stop();
        }
        recorders.clear();
    }
    void setCameraAvailable(bool available) override { cameraAvailable = available; }
    void setMicrophoneAvailable(bool available) override { microphoneAvailable = available; }
    bool motionDetectionStopped() const override { return motionStopped; }
    void setMotionDetectionStopped(bool stopped) override {
        motionStopped = stopped;
        motionStoppedChanges.push_back(stopped);
    }
    void reportGap(const QDateTime& from, const QDateTime& until) override {
        gaps.emplace_back(from, until);
    }
    void devicesChanged() override { ++devicesChanges; }

    QStringList finishedFiles() {
        std::lock_guard guard(mutex);
        return finished;
    }

    std::optional<int> state = unarmed;
    std::vector<std::vector<RecordingTarget>> started;
    int stops = 0;
    bool cameraAvailable = false;
    bool microphoneAvailable = false;
    bool motionStopped = false;
    std::vector<bool> motionStoppedChanges;
    std::vector<std::pair<QDateTime, QDateTime>> gaps;
    int devicesChanges = 0;
    QString folder;

private:
    std::vector<std::shared_ptr<MovieRecorder>> recorders;
    std::mutex mutex;
    QStringList finished;
};

// What the popover, the preview and the settings window were told.
class Observers : public CaptureManagerActivityDelegate,
                  public CaptureManagerPreviewDelegate,
                  public CaptureManagerSettingsDelegate {
public:
    struct InUse {
        std::optional<QString> camera, secondCamera, microphone;
        bool operator==(const InUse&) const = default;
    };

    void motionLevel(int index, double level) override {
        ++motionLevels[index];
        highestMotion = std::max(highestMotion, level);
    }
    void soundLevel(double level) override { soundLevels.push_back(level); }
    void soundMeterStopped() override { ++meterStops; }
    void devicesInUse(const std::optional<QString>& camera,
                      const std::optional<QString>& secondCamera,
                      const std::optional<QString>& microphone) override {
        inUse.push_back({camera, secondCamera, microphone});
    }
    void motionDetectionStoppedChanged(bool stopped) override {
        motionStoppedChanges.push_back(stopped);
    }
    void previewImage(int index, const QImage& image) override {
        ++previews[index];
        previewSize = image.size();
    }
    void devicesListed(const std::vector<Device>& cameras,
                       const std::vector<Device>& microphones) override {
        listedCameras.clear();
        listedMicrophones.clear();
        for (const Device& device : cameras) {
            listedCameras << device.uniqueID;
        }
        for (const Device& device : microphones) {
            listedMicrophones << device.uniqueID;
        }
    }

    int motionLevels[2] = {0, 0};
    double highestMotion = 0;
    std::vector<double> soundLevels;
    int meterStops = 0;
    std::vector<InUse> inUse;
    std::vector<bool> motionStoppedChanges;
    int previews[2] = {0, 0};
    QSize previewSize;
    QStringList listedCameras;
    QStringList listedMicrophones;
};

// One capture manager with its settings, clock, controller and devices.
struct Harness {
    TestEnvironment environment;
    Defaults defaults{environment.settingsFilePath()};
    ManualClock clock{QDateTime(QDate(2026, 3, 2), QTime(9, 0))};
    TestController controller;
    Observers observers;
    PluggableDevices* devices = nullptr;
    std::unique_ptr<CaptureManager> manager;

    Harness(std::vector<std::shared_ptr<CaptureSource>> cameras,
            std::vector<std::shared_ptr<CaptureSource>> microphones, bool discoveryFails = false) {
        auto owned = std::make_unique<PluggableDevices>(std::move(cameras), std::move(microphones),
                                                        discoveryFails);
        devices = owned.get();
        make(std::move(owned));
    }
    explicit Harness(std::unique_ptr<CaptureDevices> owned) { make(std::move(owned)); }

    void make(std::unique_ptr<CaptureDevices> owned) {
        manager = std::make_unique<CaptureManager>(defaults, clock, controller, std::move(owned));
        manager->setActivityDelegate(&observers);
        manager->setPreviewDelegate(&observers);
        manager->setSettingsDelegate(&observers);
    }

    // Discovers the devices and configures the pipelines (settings stored
    // before this count as the user's choices).
    bool setUp() {
        QSignalSpy configured(manager.get(), &CaptureManager::devicesConfigured);
        manager->setUp();
        return configured.wait(patience);
    }
    // Lets the session queue finish what it was given and its results reach
    // the main thread.
    void settle() {
        manager->drainSessionQueue();
        QCoreApplication::processEvents();
        manager->drainSessionQueue();
        QCoreApplication::processEvents();
    }
    void setState(int state) {
        controller.state = state;
        manager->armedStateChanged();
    }
    // Runs `action`, settles, and returns the log lines printed meanwhile.
    // Only the action runs while standard output is caught, so that Qt
    // Test's own messages about the checks that follow reach the terminal.
    QStringList act(const std::function<void()>& action) {
        StdoutCapture out;
        action();
        settle();
        return out.take().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }
};

bool mentions(const QStringList& log, const QString& text) {
    return log.join(QLatin1Char('\n')).contains(text);
}

// Answers every request with "401 Unauthorized": a network camera that
// refuses Nelvo's credentials.
class RefusingCamera {
public:
    RefusingCamera() {
        server_.listen(QHostAddress::LocalHost);
        QObject::connect(&server_, &QTcpServer::newConnection, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket] {
                    socket->readAll();
                    socket->write(
                        "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"camera\"\r\n"
                        "Content-Length: 0\r\nConnection: close\r\n\r\n");
                    socket->disconnectFromHost();
                });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }
    std::shared_ptr<CaptureSource> source() const {
        return std::make_shared<LaunchSource>(
            QStringLiteral("cam-ip"), QStringLiteral("Door Camera"),
            QStringLiteral("souphttpsrc location=http://127.0.0.1:%1/video.mjpg ! "
                           "multipartdemux ! jpegdec")
                .arg(server_.serverPort()));
    }

private:
    QTcpServer server_;
};

// Lets a closed gate's frames in flight arrive before the test goes on.
void waitUntilStill(const CaptureManager& manager, int index) {
    std::int64_t seen = -1;
    while (seen != manager.framesSeen(index)) {
        seen = manager.framesSeen(index);
        QTest::qWait(400);
    }
}

}  // namespace

class tst_CaptureManager : public QObject {
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
        QCOMPARE(CaptureManager::shouldSwitch(connected, current, chosen), switches);
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
        h.defaults.set(secondCameraID, "cam-b");
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
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
        QVERIFY(server.loadNullSink("first", "First"));
        QVERIFY(server.loadNullSink("second", "Second"));
        QVERIFY(server.setDefaultSource("first.monitor"));
        server.becomeDefaultForThisProcess();

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
    // "401 Unauthorized") makes the setup "not authorized": devices arriving
    // later are not taken and capture is not restarted over and over.
    void aCameraThatRefusesAccessIsNotAuthorized() {
        RefusingCamera door;
        Harness h({door.source()}, {});
        QVERIFY(h.setUp());
        QCOMPARE(h.manager->setupResult(), SessionSetupResult::success);
        bool refused = false;
        QStringList log = h.act([&] {
            h.setState(CaptureManagerRecordingController::armed);
            refused = QTest::qWaitFor(
                [&] { return h.manager->setupResult() == SessionSetupResult::notAuthorized; },
                patience);
            QTest::qWait(1000);
        });
        QVERIFY2(refused, qPrintable(log.join('\n')));
        QVERIFY2(!mentions(log, "Capture session error, restarting"), qPrintable(log.join('\n')));
        log = h.act([&] { h.devices->plug(microphone("A"), DeviceKind::audio); });
        QCOMPARE(idOf(h.manager->microphone()), QStringLiteral("none"));
        QVERIFY(!mentions(log, "Microphone A connected"));
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
            restarted = QTest::qWaitFor([&] { return failing->elementsMade() >= 3; }, 2 * patience);
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

    // ---- Triggers ----

    void aTriggerWhileArmedRecordsOnEveryPipeline() {
        Harness h({camera("A"), camera("B")}, {microphone("A")});
        h.defaults.set(secondCameraID, "cam-b");
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
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

    void aLoudSoundTriggers() {
        Harness h({}, {microphone("A", true)});
        h.defaults.set(audioTriggerEnabled, true);
        h.defaults.set(audioTriggerThreshold, 50.0);
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
        QTRY_VERIFY_WITH_TIMEOUT(!h.controller.started.empty(), patience);
        QVERIFY(!h.observers.soundLevels.empty());
        QVERIFY(*std::max_element(h.observers.soundLevels.begin(), h.observers.soundLevels.end()) >
                50);
        QCOMPARE(h.controller.started.front().front().microphoneName,
                 std::optional<QString>("Microphone A"));
    }

    void theSoundMeterTicksEveryTenthOfASecondWhileCapturing() {
        Harness h({}, {microphone("A", true)});
        h.defaults.set(audioTriggerEnabled, false);
        QVERIFY(h.setUp());
        h.manager->setPopoverOpen(true);
        QTRY_VERIFY_WITH_TIMEOUT(!h.observers.soundLevels.empty(), patience);
        const std::size_t before = h.observers.soundLevels.size();
        QElapsedTimer elapsed;
        elapsed.start();
        QTest::qWait(2000);
        const double ticks = double(h.observers.soundLevels.size() - before);
        const double expected = double(elapsed.elapsed()) / 100.0;
        QVERIFY2(ticks >= expected * 0.7 && ticks <= expected * 1.15,
                 qPrintable(QStringLiteral("%1 ticks in %2 ms").arg(ticks).arg(elapsed.elapsed())));
        QVERIFY(h.controller.started.empty());  // sound triggering is off

        h.manager->setPopoverOpen(false);
        QCOMPARE(h.observers.meterStops, 1);
        QTest::qWait(300);
        const std::size_t stoppedAt = h.observers.soundLevels.size();
        QTest::qWait(500);
        QCOMPARE(h.observers.soundLevels.size(), stoppedAt);
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

    // ---- Motion health ----

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
        h.defaults.set(secondCameraID, "cam-b");
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
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

    // ---- Frames seen and the frames-ready test ----

    void framesSeenCountsEachPipelinesMeasurements() {
        auto cameraA = camera("A");
        auto cameraB = camera("B");
        Harness h({cameraA, cameraB}, {});
        h.defaults.set(secondCameraID, "cam-b");
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
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

private:
    // Counts the system input changes a device monitor reports.
    struct InputChanges : CaptureDevicesListener {
        void deviceConnected(const std::shared_ptr<CaptureSource>&, DeviceKind) override {}
        void deviceDisconnected(const std::shared_ptr<CaptureSource>&, DeviceKind) override {}
        void defaultInputChanged() override { ++count; }
        std::atomic<int> count{0};
    };
};

QTEST_GUILESS_MAIN(tst_CaptureManager)
#include "tst_CaptureManager.moc"
