#pragma once

#include "LoginItem.h"

#include <QDateTime>

class Defaults;

// Whether the schedule would be lost on a restart: Nelvo does not open at
// login, yet the schedule is on and has a window still to come.
namespace ScheduleSurvival {
bool scheduleCannotSurviveRestart(const Defaults& defaults, LoginItem::State loginState,
                                  const QDateTime& now);
}
