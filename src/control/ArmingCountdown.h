#pragma once

#include <QtGlobal>
#include <functional>
#include <memory>

class Clock;
class Timer;

// The arming countdown: whole seconds down to 0 on a one-second timer of the
// main thread. Each second still to go is announced; reaching 0 stops the
// timer and ends the countdown. Main thread only.
class ArmingCountdown {
public:
    ArmingCountdown(Clock& clock, std::function<void()> onSecond, std::function<void()> onZero);
    ~ArmingCountdown();

    // Counts down from `seconds`.
    void start(int seconds);
    void stop();
    qint64 remaining() const { return remaining_; }

private:
    void tick();

    std::function<void()> onSecond_;
    std::function<void()> onZero_;
    qint64 remaining_ = 0;
    std::unique_ptr<Timer> timer_;
};
