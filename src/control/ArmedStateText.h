#pragma once

#include "ArmState.h"

#include <QDateTime>
#include <QString>
#include <optional>

class ScheduleRunner;

// What the popover shows of the armed state: its line, its colour, the
// text of its button, and when a schedule window starts or ends.
namespace ArmedStateText {

// "Arming… {countdown}", "Unarmed until {time}", "Armed on schedule until
// {time}", "Armed by Focus", "Armed", "Unarmed" or "Recording".
QString description(std::optional<ArmState> state, qint64 countdown, bool armedBySchedule,
                    bool armedByFocus, const ScheduleRunner& schedule, const QDateTime& now);
StateColor color(std::optional<ArmState> state);
QString buttonText(std::optional<ArmState> state);
// "{time}", "{time} tomorrow" or "{time} on {weekday}" for a schedule
// boundary seen from `now`, in the default locale.
QString scheduleBoundaryText(const QDateTime& boundary, const QDateTime& now);

}  // namespace ArmedStateText
