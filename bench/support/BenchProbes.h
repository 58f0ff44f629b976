#pragma once
// What every benchmark measures with: the process's CPU clock, an event loop
// kept turning while waiting, and a probe of the GUI thread's stalls.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>
#include <ctime>
#include <functional>

namespace BenchProbes {

inline double cpuSeconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

inline double processCpuSeconds() {
    return cpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
}

// The CPU time of the calling thread alone.
inline double threadCpuSeconds() {
    return cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
}

// Waits, the main thread's events handled, until `done` or `ms` passed;
// whether it was done.
inline bool waitUntil(const std::function<bool()>& done, int ms) {
    QElapsedTimer waited;
    waited.start();
    while (!done() && waited.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return done();
}

// Waits while the main thread's events are handled.
inline void waitFor(int ms) {
    waitUntil([] { return false; }, ms);
}

struct Stretch {
    double cpuSeconds = 0;
    double longestStallMs = 0;
};

// A timer asks for the GUI thread every 2 ms; a late tick is a stall.
inline Stretch measureGuiThread(int seconds) {
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
    stretch.cpuSeconds = processCpuSeconds() - cpu;
    return stretch;
}

}  // namespace BenchProbes
