#include "SoundLevel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace SoundLevel {

double averagePowerLevel(const gint16* samples, gsize frames, int channels) {
    constexpr int maximumChannels = 64;
    if (frames == 0 || channels <= 0 || channels > maximumChannels) {
        return -std::numeric_limits<double>::infinity();
    }
    std::array<double, maximumChannels> sums{};
    for (gsize frame = 0; frame < frames; ++frame) {
        const gint16* row = samples + frame * channels;
        for (int channel = 0; channel < channels; ++channel) {
            const double value = row[channel] / 32768.0;
            sums[channel] += value * value;
        }
    }
    const double largest = *std::max_element(sums.begin(), sums.begin() + channels);
    // Twice the mean square: a full-scale sine (mean square 1/2) is 0 dBFS.
    return 10.0 * std::log10(2.0 * largest / static_cast<double>(frames));
}

double meterValue(double level) {
    if (!std::isfinite(level) || level <= -60.0) {
        return 0;
    }
    return (std::min(level, 0.0) + 60.0) / 60.0 * 100.0;
}

}  // namespace SoundLevel
