// The preview's cost: the demo camera at 1280x720 and 30 frames a second,
// armed, with the preview window closed and then open. Prints the process's
// CPU share, the pictures drawn per second and the GUI thread's longest stall.

#include "CaptureManager.h"
#include "Defaults.h"
#include "DemoCamera.h"
#include "FixedDevices.h"
#include "GstHandle.h"
#include "PreviewView.h"
#include "PreviewViewController.h"
#include "PreviewWindowController.h"
#include "SystemClock.h"
#include "TestEnvironment.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {

double processCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

void waitFor(int ms) {
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
}

// Armed throughout; motion never starts a recording here (the scene is still).
class ArmedController : public CaptureManagerRecordingController {
public:
    std::optional<int> armedStateRaw() const override { return armed; }
    void startRecordings(const std::vector<RecordingTarget>&) override {}
    void stopRecording() override {}
    void setCameraAvailable(bool) override {}
    void setMicrophoneAvailable(bool) override {}
    bool motionDetectionStopped() const override { return false; }
    void setMotionDetectionStopped(bool) override {}
    void reportGap(const QDateTime&, const QDateTime&) override {}
    void devicesChanged() override {}
};

struct Stretch {
    double cpuPercent = 0;
    double longestStallMs = 0;
};

// A timer asks for the GUI thread every 2 ms; a late tick is a stall.
Stretch measure(int seconds) {
    Stretch stretch;
    QElapsedTimer clock;
    clock.start();
    qint64 last = clock.nsecsElapsed();
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    QObject::connect(&probe, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        stretch.longestStallMs = std::max(stretch.longestStallMs, (now - last) / 1e6 - 2.0);
        last = now;
    });
    const double cpu = processCpuSeconds();
    probe.start(2);
    waitFor(seconds * 1000);
    probe.stop();
    stretch.cpuPercent = (processCpuSeconds() - cpu) / seconds * 100;
    return stretch;
}

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    TestEnvironment environment;
    QApplication app(argc, argv);
    Gst::ensureInitialised();
    const int seconds = 10;
    Defaults defaults(environment.settingsFilePath());
    SystemClock clock;
    ArmedController controller;
    DemoCamera::Options options;
    options.crossings = false;
    CaptureManager manager(
        defaults, clock, controller,
        std::make_unique<FixedDevices>(
            std::vector<std::shared_ptr<CaptureSource>>{std::make_shared<DemoCamera>(options)},
            std::vector<std::shared_ptr<CaptureSource>>{}));
    manager.setUp();
    manager.armedStateChanged();
    PreviewWindowController preview(manager, defaults);
    waitFor(3000);  // the pipeline settles
    const Stretch closed = measure(seconds);

    preview.show();
    preview.window()->resize(960, 540);
    waitFor(2000);
    PreviewView* view = preview.viewController()->previewView();
    const auto drawn = view->framesDrawn();
    const auto received = view->framesReceived();
    const Stretch open = measure(seconds);
    const double drawnPerSecond = static_cast<double>(view->framesDrawn() - drawn) / seconds;
    const double receivedPerSecond =
        static_cast<double>(view->framesReceived() - received) / seconds;
    preview.close();

    std::printf("preview_cpu_closed: %.1f %% (armed, 720p30)\n", closed.cpuPercent);
    std::printf("preview_cpu_open: %.1f %% (armed, 720p30)\n", open.cpuPercent);
    std::printf("preview_frames_received_per_second: %.1f fps\n", receivedPerSecond);
    std::printf("preview_frames_drawn_per_second: %.1f fps\n", drawnPerSecond);
    std::printf("gui_longest_stall_preview_open: %.1f ms\n", open.longestStallMs);
    std::printf("gui_longest_stall_preview_closed: %.1f ms\n", closed.longestStallMs);
    return 0;
}
