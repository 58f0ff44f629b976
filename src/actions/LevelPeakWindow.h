#pragma once

#include <array>
#include <cstdint>
#include <optional>

// The highest level (motion or sound, on the meters' scale) reported within
// the last minute, and the highest since a moment chosen by the caller. Levels
// arrive many times a second; each report costs a few comparisons and no
// allocation: the window keeps one peak per second of the last minute.
// Times are milliseconds on a steady clock. One thread.
class LevelPeakWindow {
public:
    static constexpr int seconds = 60;

    void report(double level, std::int64_t atMs);
    // The highest level reported in the last `seconds` before `nowMs`;
    // nothing when none was.
    std::optional<double> peak(std::int64_t nowMs) const;

    // Starts (again) keeping the highest level from now on.
    void hold() { held_.reset(); }
    // The highest level reported since the last `hold`.
    std::optional<double> held() const { return held_; }

private:
    struct Second {
        std::int64_t index = -1;  // which second since the clock's start; -1 for none yet
        double peak = 0;
    };

    std::array<Second, seconds> seconds_{};
    std::optional<double> held_;
};
