#pragma once

#include <gst/gst.h>

// The microphone level and the sound meter: a buffer's level in dBFS, its
// place on the 0-100 meter, and the trigger rule.
namespace SoundLevel {

// The largest channel's average power over an interleaved S16LE buffer, in
// dBFS where a full-scale sine reads 0 (so a sine of half amplitude reads
// -6 dBFS). Silence reads -infinity; a full-scale square wave reads +3.
double averagePowerLevel(const gint16* samples, gsize frames, int channels);

// -60 dBFS and below (and anything not finite) reads 0, 0 dBFS and above 100,
// linearly in decibels between.
double meterValue(double level);

// A sound triggers when triggering is on and the threshold is strictly below
// the meter value.
inline bool triggers(double meter, double threshold, bool enabled) {
    return enabled && threshold < meter;
}

}  // namespace SoundLevel
