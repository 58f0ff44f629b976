#pragma once

#include "ArmState.h"

#include <QString>
#include <optional>

// Why Nelvo keeps the computer from idle sleep.
enum class KeepAwakeReason { armed, schedule };

namespace KeepAwake {

// Armed in any way: `armed`; unarmed but waiting for the next window of an
// enabled schedule: `schedule`; otherwise no reason.
std::optional<KeepAwakeReason> reasonFor(std::optional<ArmState> state, bool scheduleOn,
                                         bool hasNextScheduleStart);

// The text the system shows for the inhibitor.
QString reasonText(KeepAwakeReason reason);

}  // namespace KeepAwake
