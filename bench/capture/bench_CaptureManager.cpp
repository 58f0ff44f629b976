// Capture manager figures: how long a trigger takes from the camera frame
// whose measurement crosses the threshold to the recorders' start being asked
// for, and the CPU Nelvo uses while armed and idle against the bare encode
// pipeline.
#include "CaptureBench.h"
#include "CaptureManager.h"
#include "Defaults.h"
#include "DemoCamera.h"
#include "FeederSource.h"
#include "FixedDevices.h"
#include "SettingsKeys.h"
#include "SystemClock.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>
#include <mutex>
#include <vector>

namespace {

using Moment = std::chrono::steady_clock::time_point;

void runFor(std::chrono::milliseconds duration) {
    QEventLoop loop;
    QTimer::singleShot(duration, &loop, &QEventLoop::quit);
    loop.exec();
}

bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    const Moment deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        runFor(std::chrono::milliseconds(20));
    }
    return true;
}

// A 30 frames a second camera showing one of two still pictures: the second
// has a dark block over a quarter of the frame, so the first frame after a
// switch measures far above the threshold and the frames after it measure 0.
// The moment each changed picture leaves the camera is noted, as a capture
// time, by a probe on the source's output.
class SwitchingCamera : public FeederSource {
public:
    SwitchingCamera(int width, int height)
        : FeederSource(QStringLiteral("bench-switching-camera"), QStringLiteral("Bench Camera"),
                       true),
          width_(width),
          height_(height) {
        const gsize size = static_cast<gsize>(width) * height * 3 / 2;
        std::vector<guint8> picture(size, 128);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                picture[static_cast<gsize>(y) * width + x] = static_cast<guint8>(120 + x % 60);
            }
        }
        still_ = wrap(picture);
        for (int y = height / 4; y < height * 3 / 4; ++y) {
            for (int x = width / 4; x < width * 3 / 4; ++x) {
                picture[static_cast<gsize>(y) * width + x] = 20;
            }
        }
        block_ = wrap(picture);
    }
    ~SwitchingCamera() override {
        sessionStopping();
        sessionStopped();
        gst_memory_unref(still_);
        gst_memory_unref(block_);
    }

    void switchPicture() { showBlock_ = !showBlock_; }
    std::vector<Moment> changes() {
        std::lock_guard guard(mutex_);
        return changes_;
    }

    GstHandle<GstElement> makeElement() override {
        GstHandle<GstElement> element = FeederSource::makeElement();
        if (element) {
            auto pad = GstHandle<GstPad>::adopt(gst_element_get_static_pad(element.get(), "src"));
            gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, &SwitchingCamera::onFrame, this,
                              nullptr);
        }
        return element;
    }

protected:
    GstHandle<GstCaps> caps() override {
        return GstHandle<GstCaps>::adopt(gst_caps_new_simple(
            "video/x-raw", "format", G_TYPE_STRING, "I420", "width", G_TYPE_INT, width_, "height",
            G_TYPE_INT, height_, "framerate", GST_TYPE_FRACTION, 30, 1, nullptr));
    }
    GstBuffer* produce(GstAppSrc*) override {
        GstBuffer* buffer = gst_buffer_new();
        gst_buffer_append_memory(buffer, gst_memory_ref(showBlock_ ? block_ : still_));
        GST_BUFFER_PTS(buffer) = frame_ * GST_SECOND / 30;
        GST_BUFFER_DURATION(buffer) = GST_SECOND / 30;
        ++frame_;
        return buffer;
    }
    void rewind() override { frame_ = 0; }

private:
    static GstMemory* wrap(const std::vector<guint8>& picture) {
        const gsize size = picture.size();
        gpointer data = g_memdup2(picture.data(), size);
        return gst_memory_new_wrapped(GST_MEMORY_FLAG_READONLY, data, size, 0, size, data, g_free);
    }

    static GstPadProbeReturn onFrame(GstPad*, GstPadProbeInfo* info, gpointer self) {
        auto* camera = static_cast<SwitchingCamera*>(self);
        const GstMemory* memory = gst_buffer_peek_memory(GST_PAD_PROBE_INFO_BUFFER(info), 0);
        if (camera->lastShown_ && memory != camera->lastShown_) {
            std::lock_guard guard(camera->mutex_);
            camera->changes_.push_back(std::chrono::steady_clock::now());
        }
        camera->lastShown_ = memory;
        return GST_PAD_PROBE_OK;
    }

    const int width_;
    const int height_;
    GstMemory* still_ = nullptr;
    GstMemory* block_ = nullptr;
    std::atomic<bool> showBlock_{false};
    guint64 frame_ = 0;
    const GstMemory* lastShown_ = nullptr;  // on the source's streaming thread
    std::mutex mutex_;
    std::vector<Moment> changes_;
};

// Stands in for the recording manager: notes when it is asked to start
// recordings (where the real one enqueues each recorder's start), and goes
// back to armed when the stop comes.
class BenchController : public CaptureManagerRecordingController {
public:
    std::optional<int> armedStateRaw() const override { return state; }
    void startRecordings(const std::vector<RecordingTarget>&) override {
        starts.push_back(std::chrono::steady_clock::now());
        state = recording;
    }
    void stopRecording() override { state = armed; }
    void setCameraAvailable(bool) override {}
    void setMicrophoneAvailable(bool) override {}
    bool motionDetectionStopped() const override { return stopped; }
    void setMotionDetectionStopped(bool value) override { stopped = value; }
    void reportGap(const QDateTime&, const QDateTime&) override {}
    void devicesChanged() override {}

    int state = armed;
    bool stopped = false;
    std::vector<Moment> starts;
};

std::unique_ptr<CaptureDevices> cameraOnly(std::shared_ptr<CaptureSource> camera) {
    return std::make_unique<FixedDevices>(std::vector<std::shared_ptr<CaptureSource>>{camera},
                                          std::vector<std::shared_ptr<CaptureSource>>{});
}

// Armed from the start; true once the first camera's frames are being measured.
bool armAndWatch(CaptureManager& manager) {
    manager.setUp();
    manager.armedStateChanged();
    return runUntil([&] { return manager.framesSeen(0) > 30; }, std::chrono::seconds(20));
}

double milliseconds(Moment from, Moment to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

void benchTriggerToRecording(Defaults& defaults) {
    const int triggers = 12;
    auto camera = std::make_shared<SwitchingCamera>(1280, 720);
    BenchController controller;
    SystemClock clock;
    std::vector<double> latencies;
    {
        CaptureManager manager(defaults, clock, controller, cameraOnly(camera));
        if (!armAndWatch(manager)) {
            std::printf("trigger_to_recording: no frames measured\n");
            return;
        }
        for (int i = 0; i < triggers; ++i) {
            camera->switchPicture();
            runFor(std::chrono::milliseconds(700));
        }
    }
    // Each change of picture is one trigger: it pairs with the first start
    // after it, when that start came before the next change.
    const std::vector<Moment> changes = camera->changes();
    for (std::size_t i = 0; i < changes.size(); ++i) {
        const auto start =
            std::lower_bound(controller.starts.begin(), controller.starts.end(), changes[i]);
        if (start != controller.starts.end() &&
            (i + 1 == changes.size() || *start < changes[i + 1])) {
            latencies.push_back(milliseconds(changes[i], *start));
        }
    }
    if (latencies.empty()) {
        std::printf("trigger_to_recording: no trigger started a recording\n");
        return;
    }
    std::sort(latencies.begin(), latencies.end());
    std::printf("trigger_to_recording_ms: %.1f ms\n", latencies[latencies.size() / 2]);
    std::printf("trigger_to_recording_max_ms: %.1f ms\n", latencies.back());
    std::printf("trigger_to_recording_triggers: %zu triggers\n", changes.size());
    std::printf("trigger_to_recording_missed: %zu triggers\n", changes.size() - latencies.size());
    std::fflush(stdout);
}

// The still demo scene at 720p30 (no crossing, so nothing triggers).
DemoCamera::Options stillScene(long long frames = -1) {
    DemoCamera::Options options;
    options.crossings = false;
    options.frameLimit = frames;
    return options;
}

// Nelvo armed: capture, encoding, the pre-roll ring and motion measurement.
double armedIdleCpuSeconds(Defaults& defaults, int seconds) {
    BenchController controller;
    SystemClock clock;
    CaptureManager manager(defaults, clock, controller,
                           cameraOnly(std::make_shared<DemoCamera>(stillScene())));
    if (!armAndWatch(manager)) {
        return -1;
    }
    const double start = CaptureBench::processCpuSeconds();
    runFor(std::chrono::seconds(seconds));
    const double cpu = CaptureBench::processCpuSeconds() - start;
    if (!controller.starts.empty()) {
        std::printf("armed_idle: the still scene triggered %zu recordings\n",
                    controller.starts.size());
    }
    return cpu;
}

// The demo camera straight into the bare encoder: the same pictures as Nelvo
// encodes (faint noise everywhere costs x264 more than test bars do).
double bareDemoEncodeCpuSeconds(int seconds) {
    DemoCamera camera(stillScene(seconds * 30LL));
    auto pipeline = GstHandle<GstElement>::adopt(gst_pipeline_new("bare-demo"));
    GstHandle<GstElement> source = camera.makeElement();
    GstElement* encode = gst_parse_bin_from_description(CaptureBench::bareEncoder, TRUE, nullptr);
    gst_bin_add_many(GST_BIN(pipeline.get()), GST_ELEMENT(gst_object_ref(source.get())), encode,
                     nullptr);
    gst_element_link(source.get(), encode);
    const double cpu =
        CaptureBench::encodeToEndCpuSeconds(pipeline.get(), [&] { camera.sessionStarted(); });
    camera.sessionStopping();
    camera.sessionStopped();
    return cpu;
}

void benchArmedIdleCpu(Defaults& defaults) {
    const int seconds = 15;
    const auto perMinute = [seconds](double cpu) { return cpu / seconds * 60; };
    const double bare = perMinute(CaptureBench::bareEncodeCpuSeconds(1280, 720, seconds * 30));
    const double bareDemo = perMinute(bareDemoEncodeCpuSeconds(seconds));
    const double armed = armedIdleCpuSeconds(defaults, seconds);
    if (armed < 0) {
        std::printf("armed_idle: no frames measured\n");
        return;
    }
    const double nelvo = perMinute(armed);
    std::printf("armed_idle_cpu_s_per_min_720p: %.2f s\n", nelvo);
    std::printf("bare_encode_cpu_s_per_min_720p: %.2f s\n", bare);
    std::printf("armed_idle_cpu_ratio_720p: %.3f x\n", nelvo / bare);
    std::printf("bare_encode_demo_cpu_s_per_min_720p: %.2f s\n", bareDemo);
    std::printf("armed_idle_cpu_ratio_720p_same_pictures: %.3f x\n", nelvo / bareDemo);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    Gst::ensureInitialised();
    QTemporaryDir dir;
    Defaults defaults(dir.filePath(QStringLiteral("Nelvo.conf")));
    defaults.set(SettingsKeys::motionTriggerThreshold, 50);
    defaults.set(SettingsKeys::motionTriggerEnabled, true);
    defaults.set(SettingsKeys::audioTriggerEnabled, false);
    defaults.set(SettingsKeys::selectedMicrophoneID, QString());
    defaults.set(SettingsKeys::preRollSeconds, 5);
    // The stop follows at once, so every switch of picture finds Nelvo armed.
    defaults.set(SettingsKeys::timeoutValueInSeconds, 0);
    benchTriggerToRecording(defaults);
    benchArmedIdleCpu(defaults);
    return 0;
}
