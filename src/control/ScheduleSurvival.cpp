#include "ScheduleSurvival.h"

#include "Defaults.h"
#include "Schedule.h"
#include "SettingsKeys.h"

namespace ScheduleSurvival {

bool scheduleCannotSurviveRestart(const Defaults& defaults, LoginItem::State loginState,
                                  const QDateTime& now) {
    if (loginState == LoginItem::State::on ||
        !defaults.boolValue(SettingsKeys::scheduledArmingEnabled)) {
        return false;
    }
    return Schedule::load(defaults).nextStart(now).has_value();
}

}  // namespace ScheduleSurvival
