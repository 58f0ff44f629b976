#pragma once

#include "SerialQueue.h"

#include <QObject>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

class Defaults;

// The sound meter: ten times a second, on its own "AudioMeterQueue", reads
// the microphone's level, turns it into the 0 to 100 meter value for the
// popover, and fires the trigger when the value passes the user's sound
// threshold ("audioTriggerThreshold", "audioTriggerEnabled", read at every
// tick). Started and stopped on the main thread, where the meter value and
// the trigger are delivered; nothing is delivered after `stop`.
class SoundMeter : public QObject {
public:
    static constexpr std::chrono::milliseconds interval{100};

    // The microphone's level in dBFS, absent without one; called on the meter's queue.
    using LevelSource = std::function<std::optional<double>()>;
    using Shown = std::function<void(double meter)>;
    using Trigger = std::function<void()>;

    SoundMeter(const Defaults& defaults, LevelSource level, Shown shown, Trigger trigger,
               QObject* parent = nullptr);
    ~SoundMeter() override;

    // Starting again while running does nothing.
    void start();
    void stop();
    bool running() const { return running_; }

private:
    void tick(std::uint64_t generation);

    const Defaults& defaults_;
    const LevelSource level_;
    const Shown shown_;
    const Trigger trigger_;
    bool running_ = false;  // main thread
    // A tick of an older generation belongs to a meter that was stopped.
    // Changed only on the main thread.
    std::atomic<std::uint64_t> generation_{0};

    // Declared last: destroyed first, while everything above is alive.
    SerialQueue queue_{"AudioMeterQueue"};
};
