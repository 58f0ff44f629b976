#pragma once

#include <QString>

// What armed Nelvo by itself, with the 15-second countdown: none of these is
// the user pressing Arm.
enum class ArmingCause { launch, crash, focus, schedule };

// The line the program prints when it starts such a countdown, for example
// "Arming for the schedule in 15 seconds".
QString armingLine(ArmingCause cause, qint64 seconds);
