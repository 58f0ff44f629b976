#include "ScheduleRunner.h"

#include "Defaults.h"
#include "SettingsKeys.h"

#include <limits>

void ScheduleRunner::load(const Defaults& defaults) {
    schedule_ = Schedule::load(defaults);
    enabled_ = defaults.boolValue(SettingsKeys::scheduledArmingEnabled);
}

bool ScheduleRunner::reload(const Defaults& defaults) {
    Schedule loaded = Schedule::load(defaults);
    const bool enabled = defaults.boolValue(SettingsKeys::scheduledArmingEnabled);
    if (loaded == schedule_ && enabled == enabled_) {
        return false;
    }
    schedule_ = std::move(loaded);
    enabled_ = enabled;
    inside_.reset();
    bumpGeneration();
    return true;
}

ScheduleRunner::Step ScheduleRunner::evaluate(const QDateTime& at, bool unarmed,
                                              bool armedBySchedule, bool canArm) {
    const bool inside = contains(at);
    if (!enabled_) {
        inside_ = false;
        return Step::none;
    }
    if (inside) {
        // A user who disarmed inside a window stays disarmed until the next
        // window opens.
        if (inside_ == true) {
            return Step::none;
        }
        inside_ = true;
        return unarmed && canArm ? Step::arm : Step::none;
    }
    const bool wasInside = inside_ == true;
    inside_ = false;
    return wasInside && armedBySchedule && !unarmed ? Step::disarm : Step::none;
}

std::optional<QDateTime> ScheduleRunner::nextStart(const QDateTime& now) const {
    return schedule_.nextStart(now);
}

std::optional<QDateTime> ScheduleRunner::currentWindowEnd(const QDateTime& now) const {
    return schedule_.endOfCurrentWindow(now);
}

void ScheduleRunner::bumpGeneration() {
    if (generation_ == std::numeric_limits<qint64>::max()) {
        qFatal("The schedule generation overflowed");
    }
    generation_ += 1;
}
