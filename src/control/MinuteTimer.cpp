#include "MinuteTimer.h"

#include "Clock.h"

MinuteTimer::MinuteTimer(Clock& clock, std::function<void(const QDateTime&)> onTick)
    : clock_(clock), onTick_(std::move(onTick)), timer_(clock.makeTimer([this] { tick(); })) {
    align();
}

MinuteTimer::~MinuteTimer() = default;

void MinuteTimer::align() {
    constexpr qint64 minuteMs = 60000;
    const qint64 intoMinute = clock_.now().toMSecsSinceEpoch() % minuteMs;
    timer_->start(std::chrono::milliseconds(minuteMs - intoMinute));
}

void MinuteTimer::tick() {
    align();
    onTick_(clock_.now());
}
