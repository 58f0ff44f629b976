#pragma once

#include "Schedule.h"

#include <QDateTime>
#include <optional>

class Defaults;

// The weekly schedule as Nelvo follows it: the loaded windows, whether the
// schedule is on, whether the last look found the time inside a window, and
// what each look asks of the recording manager. Arming happens only on the
// step from outside to inside a window, disarming only on the step out and
// only for a stretch the schedule armed. Main thread only.
class ScheduleRunner {
public:
    enum class Step { none, arm, disarm };

    explicit ScheduleRunner(const Defaults& defaults) { load(defaults); }

    // Takes up the stored schedule; true when it or its switch changed (the
    // next look then starts afresh).
    bool reload(const Defaults& defaults);
    // Looks at `at`: `unarmed` is the manager's state, `armedBySchedule` who
    // armed it, `canArm` whether a rule may arm now.
    Step evaluate(const QDateTime& at, bool unarmed, bool armedBySchedule, bool canArm);

    const Schedule& schedule() const { return schedule_; }
    bool enabled() const { return enabled_; }
    bool contains(const QDateTime& at) const { return enabled_ && schedule_.contains(at); }
    std::optional<bool> insideWindow() const { return inside_; }
    std::optional<QDateTime> nextStart(const QDateTime& now) const;
    std::optional<QDateTime> currentWindowEnd(const QDateTime& now) const;

    // Counts the changes to what the popover says about the schedule.
    qint64 generation() const { return generation_; }
    void bumpGeneration();

private:
    void load(const Defaults& defaults);

    Schedule schedule_;
    bool enabled_ = false;
    std::optional<bool> inside_;
    qint64 generation_ = 0;
};
