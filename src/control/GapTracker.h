#pragma once

#include "Recovery.h"

#include <QDateTime>
#include <functional>
#include <optional>

class Defaults;
class StretchKeeper;

// The times Nelvo was armed but not watching, as the popover and the
// notifications show them: the one a crash left (found at launch through
// the armed record), a sleep, and what the capture side reports. Launch
// recovery consumes the armed record once per run and closes the stretch
// it was in at its last heartbeat; re-arming is the recording manager's.
// Main thread only.
class GapTracker {
public:
    GapTracker(Defaults& defaults, StretchKeeper& stretches)
        : defaults_(defaults), stretches_(stretches) {}

    // Once per run: what the armed record left by a crash calls for, or
    // nothing when Nelvo ended cleanly. `insideScheduleNow`: whether an
    // enabled schedule holds now.
    std::optional<Recovery> recoverAtLaunch(bool insideScheduleNow);
    bool recoveredAtLaunch() const { return recoveredAtLaunch_; }
    // Nelvo quit unexpectedly at `at` and was not watching until `until`.
    void quitUnexpectedly(const QDateTime& at, const QDateTime& until);

    // Whether Nelvo is armed now: a sleep or a time not watching counts only then.
    std::function<bool()> isArmed;
    // The computer goes to sleep at `at`.
    void willSleep(const QDateTime& at);
    // The computer woke: when it slept while armed, forgotten now.
    std::optional<QDateTime> woke();
    // Nelvo was not watching from `from` to `until`.
    void notWatching(const QDateTime& from, const QDateTime& until);
    // Forgets every gap (a disarm).
    void clear();

    std::optional<QDateTime> sleptAt() const { return sleptAt_; }
    std::optional<QDateTime> notWatchingFrom() const { return notWatchingFrom_; }
    std::optional<QDateTime> notWatchingUntil() const { return notWatchingUntil_; }
    std::optional<QDateTime> quitUnexpectedlyAt() const { return quitUnexpectedlyAt_; }
    std::optional<QDateTime> quitUnexpectedlyUntil() const { return quitUnexpectedlyUntil_; }
    // Follows each change of the published gaps.
    std::function<void()> onChanged;

private:
    void changed();

    Defaults& defaults_;
    StretchKeeper& stretches_;
    bool recoveredAtLaunch_ = false;
    std::optional<QDateTime> sleptAt_;
    std::optional<QDateTime> notWatchingFrom_;
    std::optional<QDateTime> notWatchingUntil_;
    std::optional<QDateTime> quitUnexpectedlyAt_;
    std::optional<QDateTime> quitUnexpectedlyUntil_;
};
