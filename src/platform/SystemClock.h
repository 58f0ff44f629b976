#pragma once

#include "Clock.h"

// The real clock: the system time and QTimer on the main thread.
class SystemClock : public Clock {
public:
    QDateTime now() const override;
    std::unique_ptr<Timer> makeTimer(std::function<void()> onFire) override;
};
