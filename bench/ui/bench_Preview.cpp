// The preview's cost: the demo camera at 1280x720 and 30 frames a second,
// armed, with the preview window closed, open drawing with OpenGL, open
// drawing with QPainter, and closed again. Prints the process's CPU share
// (each open stretch against the closed ones of the same run), the pictures
// drawn per second and the GUI thread's longest stall. OpenGL is forced for
// its stretch (NELVO_PREVIEW_OPENGL=1 unless set otherwise), so that it is
// measured even where the preview would choose QPainter by itself; the
// automatic choice is printed too.

#include "BenchProbes.h"
#include "CaptureManager.h"
#include "Defaults.h"
#include "DemoCamera.h"
#include "FixedDevices.h"
#include "GstHandle.h"
#include "PreviewDrawingPath.h"
#include "PreviewTestBench.h"
#include "PreviewView.h"
#include "PreviewViewController.h"
#include "PreviewWindowController.h"
#include "SystemClock.h"
#include "TestEnvironment.h"
#include "VirtualDisplay.h"

#include <QApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>

namespace {

// The GUI thread's stalls and the process's CPU share over a stretch.
struct Stretch {
    double cpuPercent = 0;
    double longestStallMs = 0;
};

Stretch measure(int seconds) {
    const BenchProbes::Stretch measured = BenchProbes::measureGuiThread(seconds);
    return {measured.cpuSeconds / seconds * 100, measured.longestStallMs};
}

struct OpenStretch {
    Stretch stretch;
    double drawnPerSecond = 0;
    double receivedPerSecond = 0;
    bool openGL = false;
};

OpenStretch measureOpen(PreviewWindowController& preview, int seconds) {
    preview.show();
    preview.window()->resize(960, 540);
    BenchProbes::waitFor(2000);
    PreviewView* view = preview.viewController()->previewView();
    const auto drawn = view->framesDrawn();
    const auto received = view->framesReceived();
    OpenStretch open;
    open.stretch = measure(seconds);
    open.drawnPerSecond = static_cast<double>(view->framesDrawn() - drawn) / seconds;
    open.receivedPerSecond = static_cast<double>(view->framesReceived() - received) / seconds;
    open.openGL = view->usesOpenGL();
    preview.close();
    BenchProbes::waitFor(1000);
    return open;
}

void print(const char* path, const OpenStretch& open, const Stretch& closed) {
    std::printf("preview_cpu_open_%s: %.1f %% (%.2f x closed, +%.1f %% of closed)\n", path,
                open.stretch.cpuPercent, open.stretch.cpuPercent / closed.cpuPercent,
                (open.stretch.cpuPercent / closed.cpuPercent - 1) * 100);
    std::printf("preview_frames_received_per_second_%s: %.1f fps\n", path, open.receivedPerSecond);
    std::printf("preview_frames_drawn_per_second_%s: %.1f fps\n", path, open.drawnPerSecond);
    std::printf("gui_longest_stall_preview_open_%s: %.1f ms\n", path, open.stretch.longestStallMs);
}

}  // namespace

// Under a desktop session it draws on its display; without one it starts an
// X server of its own (Xvfb, OpenGL by Mesa's software renderer).
int main(int argc, char** argv) {
    VirtualDisplay display;
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        if (!display.start()) {
            std::fprintf(stderr, "Could not start Xvfb\n");
            return 1;
        }
        qputenv("DISPLAY", display.name().toLocal8Bit());
    }
    if (qEnvironmentVariable("QT_QPA_PLATFORM") == QLatin1String("offscreen")) {
        qunsetenv("QT_QPA_PLATFORM");
    }
    if (!qEnvironmentVariableIsSet("NELVO_PREVIEW_OPENGL")) {
        qputenv("NELVO_PREVIEW_OPENGL", "1");
    }
    TestEnvironment environment;
    QApplication app(argc, argv);
    QElapsedTimer choosing;
    choosing.start();
    PreviewView::openGLAvailable();  // made once per process, at the first view
    const double choosingMs = static_cast<double>(choosing.nsecsElapsed()) / 1e6;
    Gst::ensureInitialised();
    const int seconds = 10;
    Defaults defaults(environment.settingsFilePath());
    SystemClock clock;
    // Armed throughout; motion never starts a recording here (the scene is still).
    PreviewTestBench::Controller controller;
    controller.state = CaptureManagerRecordingController::armed;
    DemoCamera::Options options;
    options.crossings = false;
    CaptureManager manager(
        defaults, clock, controller,
        std::make_unique<FixedDevices>(
            std::vector<std::shared_ptr<CaptureSource>>{std::make_shared<DemoCamera>(options)},
            std::vector<std::shared_ptr<CaptureSource>>{}));
    manager.setUp();
    manager.armedStateChanged();
    // One window per drawing path, both made before measuring.
    PreviewWindowController gpu(manager, defaults);
    PreviewView::setOpenGLAllowed(false);
    PreviewWindowController painter(manager, defaults);
    PreviewView::setOpenGLAllowed(true);
    BenchProbes::waitFor(3000);  // the pipeline settles

    const Stretch closed = measure(seconds);
    const OpenStretch openGpu = measureOpen(gpu, seconds);
    const OpenStretch openPainter = measureOpen(painter, seconds);
    const Stretch closedAgain = measure(seconds);

    const QString renderer = PreviewView::openGLRenderer();
    std::printf("preview_platform: %s, OpenGL %s, renderer \"%s\"\n",
                qPrintable(QGuiApplication::platformName()),
                PreviewView::openGLAvailable() ? "available" : "not available",
                qPrintable(renderer));
    const bool automaticOpenGL =
        PreviewDrawingPath::choose(u"",
                                   renderer.isEmpty() ? std::nullopt : std::optional(renderer)) ==
        PreviewDrawingPath::openGL;
    std::printf("preview_path_automatic: %s\n", automaticOpenGL ? "OpenGL" : "QPainter");
    std::printf("preview_path_choice_ms: %.1f ms (once per process, GUI thread)\n", choosingMs);
    std::printf("preview_cpu_closed: %.1f %% before, %.1f %% after (armed, 720p30)\n",
                closed.cpuPercent, closedAgain.cpuPercent);
    const Stretch closedMean{(closed.cpuPercent + closedAgain.cpuPercent) / 2,
                             std::max(closed.longestStallMs, closedAgain.longestStallMs)};
    print(openGpu.openGL ? "gpu" : "gpu_unavailable_painter", openGpu, closedMean);
    print("painter", openPainter, closedMean);
    std::printf("gui_longest_stall_preview_closed: %.1f ms\n", closedMean.longestStallMs);
    return 0;
}
