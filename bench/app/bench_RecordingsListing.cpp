// The GUI thread with a large recordings folder: 10,000 recordings in it and
// a size limit set, Nelvo on the demo camera with its popover open is armed,
// records, has its menu and its Settings opened and is disarmed, while a
// probe measures the GUI thread's longest stall in each step. For comparison, how long one
// reading of that folder takes (the work the GUI thread no longer does).
#include "AppDelegate.h"
#include "ArmedStretch.h"
#include "BenchProbes.h"
#include "FileOutputManager.h"
#include "GstHandle.h"
#include "PopoverMenu.h"
#include "PopoverViewController.h"
#include "RecordingManager.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"
#include "VirtualDisplay.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <map>
#include <string>

namespace {

// One movie every five minutes back from now, each a sparse megabyte.
bool fillFolder(const QString& folder, const QDateTime& now, int recordingCount) {
    if (!QDir().mkpath(folder)) {
        return false;
    }
    for (int i = 1; i <= recordingCount; ++i) {
        QFile file(folder + u'/' +
                   FileOutputManager::recordingName(now.addSecs(-300LL * i),
                                                    QStringLiteral("Demo Camera"),
                                                    QStringLiteral("Demo Microphone")) +
                   QStringLiteral(".mov"));
        if (!file.open(QIODevice::WriteOnly) || !file.resize(1 << 20)) {
            return false;
        }
    }
    return true;
}

double threadCpuMs() {
    return BenchProbes::threadCpuSeconds() * 1e3;
}

// Ticks every 2 ms; a late tick is a stall of the step under way. On a busy
// machine a tick is also late when the GUI thread only waited for a core, so
// the CPU time the GUI thread itself used between two ticks is kept too: the
// work done on it, whatever the load.
class StallProbe {
public:
    struct Longest {
        double stallMs = 0;
        double busyMs = 0;
    };

    StallProbe() {
        clock_.start();
        last_ = clock_.nsecsElapsed();
        lastCpu_ = threadCpuMs();
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            const qint64 now = clock_.nsecsElapsed();
            const double cpu = threadCpuMs();
            Longest& longest = longest_[step_];
            longest.stallMs = std::max(longest.stallMs, (now - last_) / 1e6 - 2.0);
            longest.busyMs = std::max(longest.busyMs, cpu - lastCpu_);
            last_ = now;
            lastCpu_ = cpu;
        });
        timer_.start(2);
    }
    void step(const std::string& name) { step_ = name; }
    const std::map<std::string, Longest>& longest() const { return longest_; }

private:
    QElapsedTimer clock_;
    qint64 last_ = 0;
    double lastCpu_ = 0;
    QTimer timer_;
    std::string step_ = "launched";
    std::map<std::string, Longest> longest_;
};

}  // namespace

int main(int argc, char** argv) {
    VirtualDisplay display;
    if (!display.start()) {
        std::printf("recordings_listing: Xvfb did not start\n");
        return 1;
    }
    qputenv("DISPLAY", display.name().toUtf8());
    qputenv("QT_QPA_PLATFORM", "xcb");
    TestEnvironment environment;
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    Gst::ensureInitialised();
    // `bench_RecordingsListing 0` gives the same steps on an empty folder.
    const int recordingCount = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 10000;

    const QString folder = environment.home() + QStringLiteral("/Videos/Nelvo");
    const QDateTime now = QDateTime::currentDateTime();
    if (!fillFolder(folder, now, recordingCount)) {
        std::printf("recordings_listing: could not fill %s\n", qPrintable(folder));
        return 1;
    }
    QElapsedTimer reading;
    reading.start();
    const qsizetype listed = FileOutputManager(folder).recordings().size();
    std::printf("folder_reading_%d_recordings: %.1f ms (%lld listed; off the GUI thread)\n",
                recordingCount, reading.nsecsElapsed() / 1e6, static_cast<long long>(listed));

    AppDelegate::Options options;
    options.demo = true;
    options.withWindows = true;
    AppDelegate delegate(options);
    delegate.launch();
    RecordingManager& manager = delegate.recordingManager();
    // A stretch of the last day, so What Happened has thousands of files, and
    // a size limit above what the folder holds, so it is checked and kept.
    ArmedStretch{now.addSecs(-86400), now.addSecs(-60)}.storeAsLast(manager.defaults());
    manager.defaults().set(SettingsKeys::recordingsLimitGB, 1000);
    BenchProbes::waitFor(3000);

    StallProbe probe;
    probe.step("popover_open");
    delegate.activate();
    BenchProbes::waitFor(1000);

    probe.step("arming");
    manager.armFromPopover();
    const bool armed =
        BenchProbes::waitUntil([&] { return manager.armedState() == ArmState::armed; }, 15000);

    probe.step("recording");
    const bool recorded =
        armed &&
        BenchProbes::waitUntil([&] { return manager.armedState() == ArmState::recording; }, 30000);
    BenchProbes::waitFor(2000);

    probe.step("menu_open");
    PopoverMenu* menu = delegate.popoverController()->popoverMenu();
    QTimer::singleShot(700, menu, &QMenu::close);
    menu->exec(QPoint(100, 100));
    BenchProbes::waitFor(300);

    probe.step("settings_open");
    menu->showPrefsMenuItem()->trigger();
    BenchProbes::waitFor(1500);

    probe.step("disarming");
    manager.disarm();
    BenchProbes::waitFor(3000);

    probe.step("popover_reopened");
    delegate.activate();
    BenchProbes::waitFor(1000);
    probe.step("done");

    StallProbe::Longest worst;
    for (const auto& [step, longest] : probe.longest()) {
        if (step == "launched" || step == "done") {
            continue;
        }
        std::printf("gui_longest_stall_%s: %.1f ms (GUI thread busy %.1f ms of it)\n", step.c_str(),
                    longest.stallMs, longest.busyMs);
        worst.stallMs = std::max(worst.stallMs, longest.stallMs);
        worst.busyMs = std::max(worst.busyMs, longest.busyMs);
    }
    std::printf("gui_longest_stall_with_%d_recordings: %.1f ms (target < 16)%s\n", recordingCount,
                worst.stallMs, recorded ? "" : " (no recording started)");
    std::printf("gui_longest_busy_with_%d_recordings: %.1f ms (target < 16)\n", recordingCount,
                worst.busyMs);
    delegate.terminate();
    BenchProbes::waitFor(3000);
    return 0;
}
