#include "GapTracker.h"

#include "ArmedStretch.h"
#include "Defaults.h"
#include "SettingsKeys.h"
#include "StretchKeeper.h"

#include <utility>

std::optional<Recovery> GapTracker::recoverAtLaunch(bool insideScheduleNow) {
    if (recoveredAtLaunch_) {
        return std::nullopt;
    }
    recoveredAtLaunch_ = true;
    const std::optional<ArmedRecord> record = ArmedRecord::load(defaults_);
    if (!record) {
        // A stretch without a record is dropped unrecorded.
        defaults_.remove(SettingsKeys::armedStretchSince);
        return std::nullopt;
    }
    const Recovery recovery = Recovery::from(*record, insideScheduleNow);
    ArmedRecord::remove(defaults_);
    if (const auto since = ArmedStretch::since(defaults_)) {
        defaults_.remove(SettingsKeys::armedStretchSince);
        stretches_.keep({*since, recovery.gapStart});
    }
    return recovery;
}

void GapTracker::quitUnexpectedly(const QDateTime& at, const QDateTime& until) {
    quitUnexpectedlyAt_ = at;
    quitUnexpectedlyUntil_ = until;
    changed();
}

void GapTracker::willSleep(const QDateTime& at) {
    if (isArmed()) {
        sleptAt_ = at;
    }
}

std::optional<QDateTime> GapTracker::woke() {
    return std::exchange(sleptAt_, std::nullopt);
}

void GapTracker::notWatching(const QDateTime& from, const QDateTime& until) {
    if (!isArmed()) {
        return;
    }
    notWatchingFrom_ = from;
    notWatchingUntil_ = until;
    changed();
}

void GapTracker::clear() {
    if (!sleptAt_ && !notWatchingFrom_ && !notWatchingUntil_ && !quitUnexpectedlyAt_ &&
        !quitUnexpectedlyUntil_) {
        return;
    }
    sleptAt_.reset();
    notWatchingFrom_.reset();
    notWatchingUntil_.reset();
    quitUnexpectedlyAt_.reset();
    quitUnexpectedlyUntil_.reset();
    changed();
}

void GapTracker::changed() {
    if (onChanged) {
        onChanged();
    }
}
