#include "ManualClock.h"

#include <algorithm>

class ManualClock::ManualTimer : public Timer {
public:
    ManualTimer(ManualClock* clock, std::function<void()> onFire)
        : clock_(clock), onFire_(std::move(onFire)) {
        clock_->timers_.push_back(this);
    }
    ~ManualTimer() override {
        if (clock_) {
            std::erase(clock_->timers_, this);
        }
    }

    void start(std::chrono::milliseconds first, std::chrono::milliseconds repeatEvery) override {
        due_ = clock_->now_.addMSecs(first.count());
        repeatEvery_ = repeatEvery;
        active_ = true;
    }
    void stop() override { active_ = false; }
    bool isActive() const override { return active_; }

    ManualClock* clock_;
    std::function<void()> onFire_;
    QDateTime due_;
    std::chrono::milliseconds repeatEvery_{0};
    bool active_ = false;
};

ManualClock::ManualClock(QDateTime start) : now_(std::move(start)) {}

ManualClock::~ManualClock() {
    for (ManualTimer* timer : timers_) {
        timer->clock_ = nullptr;
    }
}

std::unique_ptr<Timer> ManualClock::makeTimer(std::function<void()> onFire) {
    return std::make_unique<ManualTimer>(this, std::move(onFire));
}

void ManualClock::advance(std::chrono::milliseconds by) {
    const QDateTime end = now_.addMSecs(by.count());
    for (;;) {
        ManualTimer* next = nullptr;
        for (ManualTimer* timer : timers_) {
            if (timer->active_ && timer->due_ <= end && (!next || timer->due_ < next->due_)) {
                next = timer;
            }
        }
        if (!next) {
            break;
        }
        now_ = next->due_;
        if (next->repeatEvery_.count() > 0) {
            next->due_ = next->due_.addMSecs(next->repeatEvery_.count());
        } else {
            next->active_ = false;
        }
        next->onFire_();
    }
    now_ = end;
}

void ManualClock::sleepFor(std::chrono::milliseconds length) {
    now_ = now_.addMSecs(length.count());
    for (ManualTimer* timer : timers_) {
        timer->due_ = timer->due_.addMSecs(length.count());
    }
}

int ManualClock::activeTimers() const {
    return static_cast<int>(std::count_if(timers_.begin(), timers_.end(),
                                          [](const ManualTimer* t) { return t->active_; }));
}
