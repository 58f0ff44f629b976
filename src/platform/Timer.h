#pragma once

#include <chrono>

// A main-thread timer made by a Clock. Its callback is fixed at creation;
// start() (re)arms it, stop() cancels it. Destroying it cancels it too, so a
// timer owned by an object never fires after that object is gone.
class Timer {
public:
    virtual ~Timer() = default;

    // Fires first after `first`, then every `repeatEvery` when that is above zero.
    virtual void start(std::chrono::milliseconds first,
                       std::chrono::milliseconds repeatEvery = std::chrono::milliseconds(0)) = 0;
    virtual void stop() = 0;
    virtual bool isActive() const = 0;
};
