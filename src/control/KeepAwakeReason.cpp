#include "KeepAwakeReason.h"

#include <QCoreApplication>

namespace KeepAwake {

std::optional<KeepAwakeReason> reasonFor(std::optional<ArmState> state, bool scheduleOn,
                                         bool hasNextScheduleStart) {
    if (state.value_or(ArmState::unarmed) != ArmState::unarmed) {
        return KeepAwakeReason::armed;
    }
    if (scheduleOn && hasNextScheduleStart) {
        return KeepAwakeReason::schedule;
    }
    return std::nullopt;
}

QString reasonText(KeepAwakeReason reason) {
    switch (reason) {
        case KeepAwakeReason::armed:
            //: Why the computer is kept awake, as the system lists it (systemd-inhibit --list)
            return QCoreApplication::translate("KeepAwakeReason", "Nelvo is armed");
        case KeepAwakeReason::schedule:
            //: Why the computer is kept awake between schedule windows, as the system lists it
            //: (systemd-inhibit --list)
            return QCoreApplication::translate("KeepAwakeReason",
                                               "Nelvo is waiting for its schedule");
    }
    return {};
}

}  // namespace KeepAwake
