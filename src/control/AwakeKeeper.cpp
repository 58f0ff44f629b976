#include "AwakeKeeper.h"

void AwakeKeeper::setInhibitor(SleepInhibitor* inhibitor) {
    inhibitor_ = inhibitor;
    inhibition_.reset();
    reason_.reset();
}

bool AwakeKeeper::update(std::optional<ArmState> state, bool scheduleOn,
                         bool hasNextScheduleStart) {
    const std::optional<KeepAwakeReason> reason =
        KeepAwake::reasonFor(state, scheduleOn, hasNextScheduleStart);
    if (reason == reason_) {
        return false;
    }
    // The old inhibition ends before the new one begins.
    inhibition_.reset();
    reason_ = reason;
    if (reason && inhibitor_) {
        inhibition_ = inhibitor_->begin(KeepAwake::reasonText(*reason));
    }
    return true;
}
