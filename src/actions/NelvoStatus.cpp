#include "NelvoStatus.h"

#include "ArmedStateValue.h"
#include "Defaults.h"
#include "PopoverNotice.h"
#include "RecordingManager.h"
#include "ScheduleSurvival.h"
#include "SettingsKeys.h"

#include <QLocale>
#include <QTimeZone>

namespace {

std::optional<QDateTime> dateIfKnown(const QDateTime& date) {
    return date.isValid() ? std::optional(date) : std::nullopt;
}

PopoverNoticeInputs noticeInputs(const RecordingManager& manager,
                                 const NelvoStatus::Sources& sources) {
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
    inputs.recordingFailedAt = dateIfKnown(manager.recordingFailedAt());
    inputs.deletedCount = manager.deletedCount();
    inputs.deletedAt = dateIfKnown(manager.deletedAt());
    const Defaults& defaults = manager.defaults();
    inputs.audioTriggerEnabled = defaults.boolValue(SettingsKeys::audioTriggerEnabled);
    inputs.freshStartNoticePending = defaults.boolValue(SettingsKeys::freshStartNoticePending);
    inputs.lidWouldStopWatching = sources.lidWouldStopWatching && sources.lidWouldStopWatching();
    if (sources.loginState) {
        inputs.scheduleCannotSurviveRestart = ScheduleSurvival::scheduleCannotSurviveRestart(
            defaults, sources.loginState(), manager.now());
    }
    return inputs;
}

}  // namespace

QVariantMap NelvoStatus::of(const RecordingManager& manager, const Sources& sources) {
    const std::optional<ArmState> state = manager.armedState();
    QVariantMap status{
        {QStringLiteral("state"), ArmedStateValue::rawOf(state)},
        {QStringLiteral("armed"), state.value_or(ArmState::unarmed) != ArmState::unarmed},
        {QStringLiteral("description"), manager.armedStateDescription()},
    };
    const PopoverNotice notice = PopoverNotice::choose(noticeInputs(manager, sources));
    if (notice.kind() != PopoverNotice::Kind::none) {
        status.insert(QStringLiteral("notice"), notice.text(manager.now()));
    }
    if (const std::optional<WhatHappened> last = manager.lastWhatHappened()) {
        status.insert(QStringLiteral("summary"),
                      WhatHappened::summaryText(*last, QTimeZone::systemTimeZone(), QLocale()));
    }
    return status;
}
