#pragma once

#include <set>

// One weekly window of the schedule. `days` are the weekdays on which it
// opens (1 = Sunday ... 7 = Saturday); `start` and `end` are minutes after
// local midnight. An `end` before `start` runs over midnight into the next
// day; `end` equal to `start` is an empty window that never applies.
struct ScheduleWindow {
    std::set<int> days;
    int start = 0;
    int end = 0;

    bool isEmpty() const { return start == end; }
    bool runsOverMidnight() const { return end < start; }

    friend bool operator==(const ScheduleWindow&, const ScheduleWindow&) = default;
};
