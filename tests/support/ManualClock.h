#pragma once

#include "Clock.h"

#include <chrono>
#include <memory>
#include <vector>

// A clock for tests: time stands still until the test advances it, and
// advancing fires the timers that come due, in order, each at its own time.
class ManualClock : public Clock {
public:
    explicit ManualClock(QDateTime start);
    ~ManualClock() override;

    QDateTime now() const override { return now_; }
    std::unique_ptr<Timer> makeTimer(std::function<void()> onFire) override;

    // Moves time forward, firing due timers on the way.
    void advance(std::chrono::milliseconds by);
    // Jumps to a time without firing anything (a machine waking from sleep).
    void setNow(QDateTime now) { now_ = std::move(now); }

    // The machine sleeps: the wall clock moves on, while the timers, which
    // count time awake as the system's do, come due that much later.
    void sleepFor(std::chrono::milliseconds length);

    // Timers that are armed now.
    int activeTimers() const;

private:
    class ManualTimer;
    friend class ManualTimer;

    QDateTime now_;
    std::vector<ManualTimer*> timers_;
};
