#include "ArmingCountdown.h"

#include "Clock.h"

#include <limits>
#include <utility>

using namespace std::chrono_literals;

ArmingCountdown::ArmingCountdown(Clock& clock, std::function<void()> onSecond,
                                 std::function<void()> onZero)
    : onSecond_(std::move(onSecond)),
      onZero_(std::move(onZero)),
      timer_(clock.makeTimer([this] { tick(); })) {}

ArmingCountdown::~ArmingCountdown() = default;

void ArmingCountdown::start(int seconds) {
    remaining_ = seconds;
    timer_->start(1s, 1s);
}

void ArmingCountdown::stop() {
    timer_->stop();
}

void ArmingCountdown::tick() {
    if (remaining_ == std::numeric_limits<qint64>::min()) {
        qFatal("The arming countdown underflowed");
    }
    remaining_ -= 1;
    if (remaining_ > 0) {
        onSecond_();
        return;
    }
    timer_->stop();
    onZero_();
}
