#pragma once

#include "LevelPeakWindow.h"

#include <QElapsedTimer>
#include <QObject>
#include <QVariantMap>
#include <array>

class CaptureManager;
class Defaults;

// What the cameras and the microphone measured lately, beside the thresholds
// they are judged by: the highest motion level of each camera and the
// loudest sound of the last minute, and the highest since a test began.
// Fed by the capture manager's level reports. Main thread.
class LevelMonitor : public QObject {
    Q_OBJECT
public:
    LevelMonitor(CaptureManager& capture, const Defaults& defaults, QObject* parent = nullptr);

    // "cameras": one dictionary per camera in use with "name",
    // "motionThreshold", "motionTriggerEnabled" and, when it measured any in
    // the last minute, "motionPeak"; "microphone": "name", "soundThreshold",
    // "soundTriggerEnabled" and "soundPeak", when there is a microphone.
    QVariantMap lastMinute() const;

    // Starts keeping the highest levels from now on.
    void hold();
    // As lastMinute, with the highest levels since `hold`.
    QVariantMap sinceHold() const;

private:
    enum class Span { lastMinute, sinceHold };

    void motionReported(int index, double level);
    void soundReported(double level);
    QVariantMap fields(Span span) const;
    std::optional<double> peakOf(const LevelPeakWindow& window, Span span) const;

    CaptureManager& capture_;
    const Defaults& defaults_;
    QElapsedTimer clock_;
    std::array<LevelPeakWindow, 2> motion_;
    LevelPeakWindow sound_;
};
