#pragma once

#include "DetectionZones.h"
#include "MotionImage.h"

#include <QString>
#include <optional>

class Defaults;

// The measuring rules of motion: which grid points are samples (the zones),
// how many of them moved, the level, the camera's threshold and the trigger.
namespace MotionDetector {

struct Measurement {
    double level = 0;  // moved / samples / 0.05 * 100; 0 without samples; not capped
    long long samples = 0;
    long long moved = 0;
};

Measurement measure(const MotionImage& image, const DetectionZones::Rects& zones);

// "motionTriggerThreshold.{uniqueID}" when stored as a number, else the
// global "motionTriggerThreshold". `cameraKey` is the per-camera key, made once
// per camera so the per-frame read allocates nothing.
double threshold(const std::optional<QString>& cameraKey, const Defaults& defaults);
QString thresholdKeyFor(const QString& cameraID);

// Triggered: "motionTriggerEnabled", at least one sample, threshold < level.
bool triggered(const Measurement& measurement, double threshold, bool enabled);

}  // namespace MotionDetector
