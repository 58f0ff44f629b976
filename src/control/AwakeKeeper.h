#pragma once

#include "ArmState.h"
#include "KeepAwakeReason.h"
#include "SleepInhibitor.h"

#include <memory>
#include <optional>

// Keeps the computer from idle sleep while Nelvo must watch: armed in any way,
// or unarmed but waiting for the next window of an enabled schedule. Holds
// one inhibition at a time, through the system's inhibitor. Main thread only.
class AwakeKeeper {
public:
    // Keeps awake through `inhibitor` (not owned) from the next update on;
    // what was held until now is let go.
    void setInhibitor(SleepInhibitor* inhibitor);
    // Takes up the reason the state calls for; true when the reason changed.
    bool update(std::optional<ArmState> state, bool scheduleOn, bool hasNextScheduleStart);
    std::optional<KeepAwakeReason> reason() const { return reason_; }

private:
    SleepInhibitor* inhibitor_ = nullptr;
    std::unique_ptr<SleepInhibitor::Inhibition> inhibition_;
    std::optional<KeepAwakeReason> reason_;
};
