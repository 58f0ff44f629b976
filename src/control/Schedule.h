#pragma once

#include "ScheduleWindow.h"

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <optional>
#include <vector>

class Defaults;

// The weekly schedule: windows in the user's order. Every question is
// answered in the local calendar and time zone of the dates asked about, so a
// window opening at 22:00 opens at 22:00 on the clock, daylight saving or not.
struct Schedule {
    std::vector<ScheduleWindow> windows;

    bool contains(const QDateTime& date) const;
    std::optional<QDateTime> nextStart(const QDateTime& after) const;
    std::optional<QDateTime> endOfCurrentWindow(const QDateTime& now) const;

    // The stored form: {"windows":[{"days":[2,3],"start":1320,"end":390}]}.
    // Data that does not decode reads as the empty schedule.
    static Schedule fromJson(const QByteArray& json);
    QByteArray toJson() const;
    static Schedule load(const Defaults& defaults);
    void save(Defaults& defaults) const;

    // The schedule's weekday number of a date (1 = Sunday ... 7 = Saturday).
    static int weekday(const QDate& date);
    // The local date and time `minutes` after midnight of `day`.
    static QDateTime atMinutes(const QDate& day, int minutes);

    friend bool operator==(const Schedule&, const Schedule&) = default;
};
