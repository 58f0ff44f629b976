#include "PopoverNotice.h"
#include "Defaults.h"
#include "RecordingManager.h"
#include "ScheduleSurvival.h"
#include "SettingsKeys.h"

#include <QLocale>
#include <algorithm>
#include <limits>
#include <vector>

namespace {

struct Candidate {
    PopoverNotice notice;
    QDateTime sortDate;
};

// The dated notices that apply, in their fixed order.
std::vector<Candidate> datedCandidates(const PopoverNoticeInputs& in) {
    std::vector<Candidate> candidates;
    if (in.armedState != ArmState::unarmed && in.notWatchingFrom && in.notWatchingUntil) {
        candidates.push_back(
            {PopoverNotice::WasNotWatching{*in.notWatchingFrom, *in.notWatchingUntil},
             *in.notWatchingUntil});
    }
    if (in.quitUnexpectedlyAt && in.quitUnexpectedlyUntil) {
        candidates.push_back(
            {PopoverNotice::QuitUnexpectedly{*in.quitUnexpectedlyAt, *in.quitUnexpectedlyUntil},
             *in.quitUnexpectedlyUntil});
    }
    if (in.recordingFailure && in.recordingFailedAt && in.recordingFailureCount >= 1) {
        candidates.push_back(
            {PopoverNotice::RecordingFailed{*in.recordingFailure, in.recordingFailureCount,
                                            *in.recordingFailedAt},
             *in.recordingFailedAt});
    }
    if (in.deletedAt && in.deletedCount >= 1) {
        candidates.push_back(
            {PopoverNotice::RecordingsDeleted{in.deletedCount, *in.deletedAt}, *in.deletedAt});
    }
    return candidates;
}

// Qt's plural forms count in int; no count Nelvo keeps gets near its end.
int pluralCount(qint64 count) {
    return static_cast<int>(std::clamp<qint64>(count, std::numeric_limits<int>::min(),
                                               std::numeric_limits<int>::max()));
}

}  // namespace

PopoverNotice PopoverNotice::choose(const PopoverNoticeInputs& in) {
    if (in.motionDetectionStopped) {
        return MotionDetectionStopped{in.audioTriggerEnabled && in.microphoneAvailable &&
                                      in.armedState != ArmState::unarmed};
    }
    const std::vector<Candidate> candidates = datedCandidates(in);
    if (!candidates.empty()) {
        // The latest wins; on equal dates the earlier entry of the list stays.
        const Candidate* latest = &candidates.front();
        for (const Candidate& candidate : candidates) {
            if (candidate.sortDate > latest->sortDate) {
                latest = &candidate;
            }
        }
        return latest->notice;
    }
    if (in.freshStartNoticePending) {
        return freshStart();
    }
    if (in.scheduleCannotSurviveRestart) {
        return scheduleCannotSurviveRestart();
    }
    if (in.lidWouldStopWatching) {
        return lidWouldStopWatching();
    }
    return none();
}

QString PopoverNotice::text(const QDateTime& now) const {
    switch (kind_) {
        case Kind::motionDetectionStopped:
            if (payload<MotionDetectionStopped>()->soundStillWatching) {
                //: Popover notice
                return tr("Nelvo isn't watching for motion right now. Sound still is.");
            }
            //: Popover notice
            return tr("Nelvo isn't watching for motion right now.");
        case Kind::wasNotWatching: {
            const auto* gap = payload<WasNotWatching>();
            //: Popover notice, no full stop; the arguments are times
            return tr("Nelvo wasn't watching from %1 to %2")
                .arg(timeText(gap->from), timeText(gap->to));
        }
        case Kind::quitUnexpectedly: {
            const auto* quit = payload<QuitUnexpectedly>();
            //: Popover notice, no full stop; the arguments are a time, or a date and time
            return tr("Nelvo quit unexpectedly at %1 and wasn't watching until %2")
                .arg(timeOrDateAndTimeText(quit->at, now), timeOrDateAndTimeText(quit->until, now));
        }
        case Kind::recordingFailed: {
            const auto* failed = payload<RecordingFailed>();
            return RecordingFailure::noticeText(failed->count, failed->failure);
        }
        case Kind::recordingsDeleted:
            //: Popover notice, no full stop; has a singular form in the catalog
            return tr("The %n oldest recordings were deleted to stay under your limit", nullptr,
                      pluralCount(payload<RecordingsDeleted>()->count));
        case Kind::none:
            return QString();
        case Kind::lidWouldStopWatching:
            //: Popover notice, no full stop
            return tr("Closing the lid will stop Nelvo until it's opened again");
        case Kind::freshStart:
            //: Popover notice on two lines, broken at the line feed
            return tr(
                "Nelvo is starting with default settings.\nCheck the recordings folder and "
                "arm at login in Settings.");
        case Kind::scheduleCannotSurviveRestart:
            //: Popover notice, no full stop
            return tr(
                "Nelvo won't be open after a restart, so the schedule can't arm it: turn on "
                "Open Nelvo at Login");
    }
    return QString();
}

QString PopoverNotice::timeText(const QDateTime& date) {
    return QLocale().toString(date.toLocalTime().time(), QLocale::ShortFormat);
}

QString PopoverNotice::timeOrDateAndTimeText(const QDateTime& date, const QDateTime& now) {
    const QDateTime local = date.toLocalTime();
    if (local.date() == now.toLocalTime().date()) {
        return QLocale().toString(local.time(), QLocale::ShortFormat);
    }
    return QLocale().toString(local, QLocale::ShortFormat);
}

PopoverNoticeInputs PopoverNotice::inputsOf(const RecordingManager& manager,
                                            bool lidWouldStopWatching,
                                            std::optional<LoginItem::State> loginState) {
    const auto known = [](const QDateTime& date) {
        return date.isValid() ? std::optional(date) : std::nullopt;
    };
    PopoverNoticeInputs inputs;
    inputs.armedState = manager.armedState().value_or(ArmState::unarmed);
    inputs.motionDetectionStopped = manager.motionDetectionStopped();
    inputs.microphoneAvailable = manager.microphoneAvailable();
    inputs.notWatchingFrom = manager.notWatchingFrom();
    inputs.notWatchingUntil = manager.notWatchingUntil();
    inputs.quitUnexpectedlyAt = manager.quitUnexpectedlyAt();
    inputs.quitUnexpectedlyUntil = manager.quitUnexpectedlyUntil();
    inputs.recordingFailure = manager.recordingFailure();
    inputs.recordingFailureCount = manager.recordingFailureCount();
    inputs.recordingFailedAt = known(manager.recordingFailedAt());
    inputs.deletedCount = manager.deletedCount();
    inputs.deletedAt = known(manager.deletedAt());
    const Defaults& defaults = manager.defaults();
    inputs.audioTriggerEnabled = defaults.boolValue(SettingsKeys::audioTriggerEnabled);
    inputs.freshStartNoticePending = defaults.boolValue(SettingsKeys::freshStartNoticePending);
    inputs.lidWouldStopWatching = lidWouldStopWatching;
    if (loginState) {
        inputs.scheduleCannotSurviveRestart =
            ScheduleSurvival::scheduleCannotSurviveRestart(defaults, *loginState, manager.now());
    }
    return inputs;
}
