#pragma once

#include <optional>

// The armed state of Nelvo, with the fixed numbers observers see.
enum class ArmState : int { unarmed = 0, arming = 1, armed = 2, recording = 3 };

// The colour the state is shown in; the interface maps it to the desktop palette.
enum class StateColor { label, orange, red };
