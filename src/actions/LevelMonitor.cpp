#include "LevelMonitor.h"

#include "CaptureManager.h"
#include "Defaults.h"
#include "MotionDetector.h"
#include "SettingsKeys.h"

#include <QVariantList>

LevelMonitor::LevelMonitor(CaptureManager& capture, const Defaults& defaults, QObject* parent)
    : QObject(parent), capture_(capture), defaults_(defaults) {
    static_assert(CaptureManager::pipelineCount == 2);
    clock_.start();
    connect(&capture, &CaptureManager::motionLevelReported, this, &LevelMonitor::motionReported);
    connect(&capture, &CaptureManager::soundLevelReported, this, &LevelMonitor::soundReported);
}

void LevelMonitor::motionReported(int index, double level) {
    if (index >= 0 && index < int(motion_.size())) {
        motion_[std::size_t(index)].report(level, clock_.elapsed());
    }
}

void LevelMonitor::soundReported(double level) {
    sound_.report(level, clock_.elapsed());
}

void LevelMonitor::hold() {
    for (LevelPeakWindow& window : motion_) {
        window.hold();
    }
    sound_.hold();
}

QVariantMap LevelMonitor::lastMinute() const {
    return fields(Span::lastMinute);
}

QVariantMap LevelMonitor::sinceHold() const {
    return fields(Span::sinceHold);
}

std::optional<double> LevelMonitor::peakOf(const LevelPeakWindow& window, Span span) const {
    return span == Span::lastMinute ? window.peak(clock_.elapsed()) : window.held();
}

QVariantMap LevelMonitor::fields(Span span) const {
    QVariantList cameras;
    for (int index = 0; index < CaptureManager::pipelineCount; ++index) {
        const std::shared_ptr<CaptureSource> camera = capture_.camera(index);
        if (!camera) {
            continue;
        }
        QVariantMap entry{
            {QStringLiteral("name"), camera->name()},
            {QStringLiteral("motionThreshold"),
             MotionDetector::threshold(MotionDetector::thresholdKeyFor(camera->uniqueID()),
                                       defaults_)},
            {QStringLiteral("motionTriggerEnabled"),
             defaults_.boolValue(SettingsKeys::motionTriggerEnabled)},
        };
        if (const std::optional<double> peak = peakOf(motion_[std::size_t(index)], span)) {
            entry.insert(QStringLiteral("motionPeak"), *peak);
        }
        cameras << entry;
    }
    QVariantMap result{{QStringLiteral("cameras"), cameras}};
    if (const std::shared_ptr<CaptureSource> microphone = capture_.microphone()) {
        QVariantMap entry{
            {QStringLiteral("name"), microphone->name()},
            {QStringLiteral("soundThreshold"), defaults_.real(SettingsKeys::audioTriggerThreshold)},
            {QStringLiteral("soundTriggerEnabled"),
             defaults_.boolValue(SettingsKeys::audioTriggerEnabled)},
        };
        if (const std::optional<double> peak = peakOf(sound_, span)) {
            entry.insert(QStringLiteral("soundPeak"), *peak);
        }
        result.insert(QStringLiteral("microphone"), entry);
    }
    return result;
}
