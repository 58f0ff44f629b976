#pragma once

#include <chrono>
#include <optional>

// Something said at most once per interval, such as the log line of a
// failure that keeps repeating: whether it is to be kept quiet now, and for
// how long still. Times are any one clock's, counted in milliseconds; a clock
// that goes back keeps it quiet, never lets it repeat early.
class QuietInterval {
public:
    explicit constexpr QuietInterval(std::chrono::milliseconds length) : length_(length) {}

    // It was said less than the interval before `now`.
    bool isQuiet(std::chrono::milliseconds now) const { return left(now).count() > 0; }
    // How long until it may be said again; zero when it may be now.
    std::chrono::milliseconds left(std::chrono::milliseconds now) const;
    void said(std::chrono::milliseconds now) { lastSaid_ = now; }

private:
    std::chrono::milliseconds length_;
    std::optional<std::chrono::milliseconds> lastSaid_;
};
