#pragma once

#include <QDateTime>
#include <functional>
#include <memory>

class Clock;
class Timer;

// Ticks on the wall clock's whole minutes. Each tick is aimed anew at the
// next whole minute, so a late tick or a sleep (during which timers stand
// still) never leaves later ticks off the minute. Main thread only.
class MinuteTimer {
public:
    MinuteTimer(Clock& clock, std::function<void(const QDateTime&)> onTick);
    ~MinuteTimer();

    // Aims the next tick at the next whole minute from now; also on waking.
    void align();

private:
    void tick();

    Clock& clock_;
    std::function<void(const QDateTime&)> onTick_;
    std::unique_ptr<Timer> timer_;
};
