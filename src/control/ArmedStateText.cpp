#include "ArmedStateText.h"

#include "ScheduleRunner.h"

#include <QCoreApplication>
#include <QLocale>

// The texts keep the translation context they have always had.
namespace ArmedStateText {

QString description(std::optional<ArmState> state, qint64 countdown, bool armedBySchedule,
                    bool armedByFocus, const ScheduleRunner& schedule, const QDateTime& now) {
    switch (state.value_or(ArmState::unarmed)) {
        case ArmState::arming:
            //: Armed state; the argument is the countdown in seconds
            return QCoreApplication::translate("RecordingManager", "Arming… %1").arg(countdown);
        case ArmState::unarmed:
            if (schedule.enabled()) {
                if (const auto start = schedule.nextStart(now)) {
                    //: Armed state between schedule windows; the argument is when the next window
                    //: starts
                    return QCoreApplication::translate("RecordingManager", "Unarmed until %1")
                        .arg(scheduleBoundaryText(*start, now));
                }
            }
            return QCoreApplication::translate("RecordingManager", "Unarmed");
        case ArmState::armed:
            if (armedBySchedule) {
                if (const auto end = schedule.currentWindowEnd(now)) {
                    //: Armed state; the argument is when the window ends
                    return QCoreApplication::translate("RecordingManager",
                                                       "Armed on schedule until %1")
                        .arg(scheduleBoundaryText(*end, now));
                }
            }
            if (armedByFocus) {
                //: Armed state while a Focus Filter armed it
                return QCoreApplication::translate("RecordingManager", "Armed by Focus");
            }
            return QCoreApplication::translate("RecordingManager", "Armed");
        case ArmState::recording:
            return QCoreApplication::translate("RecordingManager", "Recording");
    }
    return {};
}

StateColor color(std::optional<ArmState> state) {
    switch (state.value_or(ArmState::unarmed)) {
        case ArmState::unarmed:
            return StateColor::label;
        case ArmState::arming:
            return StateColor::orange;
        case ArmState::armed:
        case ArmState::recording:
            return StateColor::red;
    }
    return StateColor::label;
}

QString buttonText(std::optional<ArmState> state) {
    if (state.value_or(ArmState::unarmed) == ArmState::unarmed) {
        //: Popover button
        return QCoreApplication::translate("RecordingManager", "Arm");
    }
    //: Popover button
    return QCoreApplication::translate("RecordingManager", "Disarm");
}

QString scheduleBoundaryText(const QDateTime& boundary, const QDateTime& now) {
    const QLocale locale;
    const QString time = locale.toString(boundary.time(), QLocale::ShortFormat);
    const qint64 days = now.date().daysTo(boundary.date());
    if (days == 0) {
        return time;
    }
    if (days == 1) {
        //: When a schedule window ends; the argument is a time
        return QCoreApplication::translate("RecordingManager", "%1 tomorrow").arg(time);
    }
    //: When a schedule window ends; the arguments are a time and a weekday
    return QCoreApplication::translate("RecordingManager", "%1 on %2")
        .arg(time, locale.dayName(boundary.date().dayOfWeek(), QLocale::LongFormat));
}

}  // namespace ArmedStateText
