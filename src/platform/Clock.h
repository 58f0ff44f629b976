#pragma once

#include "Timer.h"

#include <QDateTime>
#include <functional>
#include <memory>

// Wall-clock time and main-thread timers. Everything that decides by time
// reads it here, so tests can set the time and advance timers without waiting.
class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    virtual std::unique_ptr<Timer> makeTimer(std::function<void()> onFire) = 0;
};
