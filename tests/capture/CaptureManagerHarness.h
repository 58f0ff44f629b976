#pragma once

// The capture manager's test bench: cameras and microphones made of test
// sources, devices the test plugs in and out, a recording controller and
// observers that keep what they were told.

#include "CaptureManager.h"
#include "Defaults.h"
#include "ManualClock.h"
#include "MovieProbe.h"
#include "SettingsKeys.h"
#include "StdoutCapture.h"
#include "TestEnvironment.h"

#include <pthread.h>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <mutex>
#include <thread>

namespace CaptureManagerHarness {

inline constexpr int patience = 10000;  // ms, the longest a real-time step may take under load

inline QString videoCaps() {
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
        if (damaged_.count > 0) {
            auto pad = GstHandle<GstPad>::adopt(gst_element_get_static_pad(gate_.get(), "src"));
            gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, &TestCamera::damage,
                              new Damage(damaged_),
                              [](gpointer data) { delete static_cast<Damage*>(data); });
        }
        g_object_set(gate_.get(), "drop", !delivering_, nullptr);
        char thread[16] = {};
        pthread_getname_np(pthread_self(), thread, sizeof thread);
        madeOn_ = QString::fromLatin1(thread);
        ++elementsMade_;
        return element;
    }

    // From frame `first` on, `count` frames of each session arrive cut to
    // half their size, as a broken driver might deliver them.
    void damageFrames(int first, int count) {
        std::lock_guard guard(mutex_);
        damaged_ = {first, count};
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
    struct Damage {
        int first = 0;
        int count = 0;
        int frame = 0;
    };
    static GstPadProbeReturn damage(GstPad*, GstPadProbeInfo* info, gpointer data) {
        auto* damage = static_cast<Damage*>(data);
        const int frame = damage->frame++;
        if (frame >= damage->first && frame - damage->first < damage->count) {
            GstBuffer* buffer = gst_buffer_make_writable(GST_PAD_PROBE_INFO_BUFFER(info));
            gst_buffer_resize(buffer, 0, gst_buffer_get_size(buffer) / 2);
            GST_PAD_PROBE_INFO_DATA(info) = buffer;
        }
        return GST_PAD_PROBE_OK;
    }

    const QString between_;
    Damage damaged_;
    mutable std::mutex mutex_;
    GstHandle<GstElement> gate_;
    bool delivering_ = true;
    int elementsMade_ = 0;
    QString madeOn_;
};

inline std::shared_ptr<TestCamera> camera(const QString& letter, const QString& between = {}) {
    return std::make_shared<TestCamera>("cam-" + letter.toLower(), "Camera " + letter, between);
}

// A quiet microphone, or one playing a loud 1 kHz tone.
inline std::shared_ptr<CaptureSource> microphone(const QString& letter, bool loud = false) {
    return std::make_shared<LaunchSource>(
        "mic-" + letter.toLower(), "Microphone " + letter,
        loud ? QStringLiteral("audiotestsrc is-live=true wave=sine freq=1000 volume=0.8")
             : QStringLiteral("audiotestsrc is-live=true wave=silence"));
}

inline QString idOf(const std::shared_ptr<CaptureSource>& source) {
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
    void previewImage(int index, const PreviewFrame& frame) override {
        ++previews[index];
        previewSize = frame.size();
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
    // Sets up with `secondID` as the second camera (pipeline 1) and arms.
    bool setUpArmedWithSecondCamera(const QString& secondID) {
        defaults.set(SettingsKeys::secondCameraID, secondID);
        if (!setUp()) {
            return false;
        }
        setState(CaptureManagerRecordingController::armed);
        return true;
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
    // Waits in real time until `done`, the manual clock keeping pace, so
    // that what the manager schedules on it (a restart after a session error)
    // comes due as it would in the running program.
    bool waitInStep(const std::function<bool()>& done, int milliseconds) {
        QElapsedTimer elapsed;
        elapsed.start();
        qint64 advanced = 0;
        while (!done()) {
            if (elapsed.elapsed() >= milliseconds) {
                return false;
            }
            QTest::qWait(10);
            const qint64 now = elapsed.elapsed();
            clock.advance(std::chrono::milliseconds(now - advanced));
            advanced = now;
        }
        return true;
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

inline bool mentions(const QStringList& log, const QString& text) {
    return log.join(QLatin1Char('\n')).contains(text);
}

// Lets a closed gate's frames in flight arrive before the test goes on.
inline void waitUntilStill(const CaptureManager& manager, int index) {
    std::int64_t seen = -1;
    while (seen != manager.framesSeen(index)) {
        seen = manager.framesSeen(index);
        QTest::qWait(400);
    }
}

}  // namespace CaptureManagerHarness
