#include "SystemClock.h"

#include <QTimer>

namespace {

class QtTimer : public Timer {
public:
    explicit QtTimer(std::function<void()> onFire) : onFire_(std::move(onFire)) {
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, [this] { fire(); });
    }

    void start(std::chrono::milliseconds first, std::chrono::milliseconds repeatEvery) override {
        repeatEvery_ = repeatEvery;
        timer_.setSingleShot(true);
        timer_.start(first);
    }

    void stop() override { timer_.stop(); }
    bool isActive() const override { return timer_.isActive(); }

private:
    void fire() {
        // Re-arm before the callback so that a callback that stops or
        // restarts the timer has the last word.
        if (repeatEvery_.count() > 0) {
            timer_.start(repeatEvery_);
        }
        onFire_();
    }

    std::function<void()> onFire_;
    std::chrono::milliseconds repeatEvery_{0};
    QTimer timer_;
};

}  // namespace

QDateTime SystemClock::now() const {
    return QDateTime::currentDateTime();
}

std::unique_ptr<Timer> SystemClock::makeTimer(std::function<void()> onFire) {
    return std::make_unique<QtTimer>(std::move(onFire));
}
