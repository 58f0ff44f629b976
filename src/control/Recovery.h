#pragma once

#include "ArmedRecord.h"

#include <QDateTime>

// What launch recovery does with the armed record a crash left behind. A
// stretch the user armed is always re-armed; one the schedule armed only while
// its schedule still holds.
struct Recovery {
    bool rearm = false;
    bool bySchedule = false;
    QDateTime gapStart;

    static Recovery from(const ArmedRecord& record, bool insideScheduleNow) {
        return {!record.bySchedule || insideScheduleNow, record.bySchedule && insideScheduleNow,
                record.lastSeen};
    }

    friend bool operator==(const Recovery&, const Recovery&) = default;
};
