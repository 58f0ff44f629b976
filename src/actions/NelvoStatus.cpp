#include "NelvoStatus.h"

#include "ArmedStateValue.h"
#include "Defaults.h"
#include "PopoverNotice.h"
#include "RecordingFailureReport.h"
#include "RecordingManager.h"
#include "ScheduleSurvival.h"
#include "SettingsKeys.h"

#include <QLocale>
#include <QTimeZone>

namespace {

PopoverNoticeInputs noticeInputs(const RecordingManager& manager,
                                 const NelvoStatus::Sources& sources) {
    return PopoverNotice::inputsOf(
        manager, sources.lidWouldStopWatching && sources.lidWouldStopWatching(),
        sources.loginState ? std::optional(sources.loginState()) : std::nullopt);
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
    if (const QVariantMap failure = RecordingFailureReport::fieldsOf(manager); !failure.isEmpty()) {
        status.insert(QStringLiteral("recordingFailure"), failure);
    }
    return status;
}
