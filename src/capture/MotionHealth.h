#pragma once

#include <QDateTime>
#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class CaptureManagerRecordingController;
class Clock;
class Timer;

// Whether each camera is still being measured. While capture runs, a
// pipeline whose camera delivered and then stayed silent for five seconds
// counts as stopped; the recording controller hears whether any pipeline
// has stopped and, when measurements come back, the silent stretch. Main
// thread only.
class MotionHealth {
public:
    static constexpr int pipelineCount = 2;
    static constexpr std::chrono::milliseconds checkInterval{1000};
    static constexpr std::chrono::milliseconds silence{5000};

    // Whether pipeline `index` has a camera now.
    using HasCamera = std::function<bool(int index)>;
    // The aggregate changed (after the controller was told).
    using StoppedChanged = std::function<void(bool stopped)>;

    MotionHealth(Clock& clock, CaptureManagerRecordingController& controller, HasCamera hasCamera,
                 StoppedChanged stoppedChanged);
    ~MotionHealth();

    // Starts checking afresh, as capture starts; `stop` ends the checks.
    void start();
    void stop();
    // A measurement from pipeline `index` arrived.
    void measured(int index);
    // The pipeline's camera changed: it starts its bookkeeping afresh.
    void forget(int index);

    bool stopped(int index) const { return stopped_[index]; }

private:
    void check();
    void tell();

    Clock& clock_;
    CaptureManagerRecordingController& controller_;
    const HasCamera hasCamera_;
    const StoppedChanged stoppedChanged_;
    std::array<std::optional<QDateTime>, pipelineCount> lastMeasured_;
    std::array<bool, pipelineCount> stopped_{};
    std::unique_ptr<Timer> timer_;
};
