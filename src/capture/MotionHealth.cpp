#include "MotionHealth.h"

#include "CaptureManagerRecordingController.h"
#include "Clock.h"
#include "Log.h"

#include <algorithm>

MotionHealth::MotionHealth(Clock& clock, CaptureManagerRecordingController& controller,
                           HasCamera hasCamera, StoppedChanged stoppedChanged)
    : clock_(clock),
      controller_(controller),
      hasCamera_(std::move(hasCamera)),
      stoppedChanged_(std::move(stoppedChanged)),
      timer_(clock.makeTimer([this] { check(); })) {}

MotionHealth::~MotionHealth() = default;

void MotionHealth::start() {
    lastMeasured_ = {};
    stopped_ = {};
    timer_->start(checkInterval, checkInterval);
}

void MotionHealth::stop() {
    timer_->stop();
}

void MotionHealth::measured(int index) {
    const QDateTime now = clock_.now();
    const std::optional<QDateTime>& last = lastMeasured_[index];
    if (stopped_[index] && last && last->msecsTo(now) >= silence.count()) {
        controller_.reportGap(*last, now);
    }
    lastMeasured_[index] = now;
    stopped_[index] = false;
    tell();
}

void MotionHealth::forget(int index) {
    lastMeasured_[index].reset();
    stopped_[index] = false;
    tell();
}

void MotionHealth::check() {
    const QDateTime now = clock_.now();
    for (int i = 0; i < pipelineCount; ++i) {
        if (!hasCamera_(i)) {
            continue;
        }
        const std::optional<QDateTime>& last = lastMeasured_[i];
        stopped_[i] = last && last->msecsTo(now) >= silence.count();
    }
    tell();
}

void MotionHealth::tell() {
    const bool stopped =
        std::any_of(stopped_.begin(), stopped_.end(), [](bool value) { return value; });
    if (stopped == controller_.motionDetectionStopped()) {
        return;
    }
    controller_.setMotionDetectionStopped(stopped);
    if (stopped) {
        Log::line(QStringLiteral("Motion measurements stopped arriving"));
    }
    stoppedChanged_(stopped);
}
