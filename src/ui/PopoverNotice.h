#pragma once

#include "ArmState.h"
#include "LoginItem.h"
#include "RecordingFailure.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QString>
#include <optional>
#include <variant>

class RecordingManager;

// Everything the notice under the armed state is chosen from, read afresh by
// the popover on every choice: the recording manager's state, two settings,
// the lid risk and the schedule-survival answer.
struct PopoverNoticeInputs {
    ArmState armedState = ArmState::unarmed;
    bool motionDetectionStopped = false;
    bool microphoneAvailable = false;
    std::optional<QDateTime> notWatchingFrom;
    std::optional<QDateTime> notWatchingUntil;
    std::optional<QDateTime> quitUnexpectedlyAt;
    std::optional<QDateTime> quitUnexpectedlyUntil;
    std::optional<RecordingFailure> recordingFailure;
    qint64 recordingFailureCount = 0;
    std::optional<QDateTime> recordingFailedAt;
    qint64 deletedCount = 0;
    std::optional<QDateTime> deletedAt;
    // "audioTriggerEnabled" and "freshStartNoticePending".
    bool audioTriggerEnabled = false;
    bool freshStartNoticePending = false;
    bool lidWouldStopWatching = false;
    // Nelvo would not open after a restart, yet the schedule has a window to come.
    bool scheduleCannotSurviveRestart = false;
};

// The one notice the popover shows under the armed state: a pure choice from
// its inputs, and the sentence that says it.
class PopoverNotice {
    Q_DECLARE_TR_FUNCTIONS(PopoverNotice)

public:
    // The cases in their fixed order.
    enum class Kind {
        motionDetectionStopped,
        wasNotWatching,
        quitUnexpectedly,
        recordingFailed,
        recordingsDeleted,
        none,
        lidWouldStopWatching,
        freshStart,
        scheduleCannotSurviveRestart
    };

    struct MotionDetectionStopped {
        bool soundStillWatching = false;
        friend bool operator==(const MotionDetectionStopped&,
                               const MotionDetectionStopped&) = default;
    };
    struct WasNotWatching {
        QDateTime from;
        QDateTime to;
        friend bool operator==(const WasNotWatching&, const WasNotWatching&) = default;
    };
    struct QuitUnexpectedly {
        QDateTime at;
        QDateTime until;
        friend bool operator==(const QuitUnexpectedly&, const QuitUnexpectedly&) = default;
    };
    struct RecordingFailed {
        RecordingFailure failure;
        qint64 count = 0;
        QDateTime at;
        friend bool operator==(const RecordingFailed&, const RecordingFailed&) = default;
    };
    struct RecordingsDeleted {
        qint64 count = 0;
        QDateTime at;
        friend bool operator==(const RecordingsDeleted&, const RecordingsDeleted&) = default;
    };

    // The cases without a payload; a default notice is `none`.
    PopoverNotice() : kind_(Kind::none) {}
    static PopoverNotice none() { return PopoverNotice(Kind::none); }
    static PopoverNotice lidWouldStopWatching() {
        return PopoverNotice(Kind::lidWouldStopWatching);
    }
    static PopoverNotice freshStart() { return PopoverNotice(Kind::freshStart); }
    static PopoverNotice scheduleCannotSurviveRestart() {
        return PopoverNotice(Kind::scheduleCannotSurviveRestart);
    }
    // The cases with a payload.
    PopoverNotice(MotionDetectionStopped notice)
        : kind_(Kind::motionDetectionStopped), payload_(notice) {}
    PopoverNotice(WasNotWatching notice) : kind_(Kind::wasNotWatching), payload_(notice) {}
    PopoverNotice(QuitUnexpectedly notice) : kind_(Kind::quitUnexpectedly), payload_(notice) {}
    PopoverNotice(RecordingFailed notice) : kind_(Kind::recordingFailed), payload_(notice) {}
    PopoverNotice(RecordingsDeleted notice) : kind_(Kind::recordingsDeleted), payload_(notice) {}

    // The notice that matters most.
    static PopoverNotice choose(const PopoverNoticeInputs& inputs);
    // The inputs as the recording manager and its settings give them now;
    // without a login state the schedule is not judged.
    static PopoverNoticeInputs inputsOf(const RecordingManager& manager, bool lidWouldStopWatching,
                                        std::optional<LoginItem::State> loginState);

    Kind kind() const { return kind_; }
    // The payload of a case that has one; nullptr for any other case.
    template <typename Payload>
    const Payload* payload() const {
        return std::get_if<Payload>(&payload_);
    }

    // The label's text; dates are shown relative to `now`.
    QString text(const QDateTime& now) const;

    // The short time alone.
    static QString timeText(const QDateTime& date);
    // The short time on the day of `now`, else the short date and time.
    static QString timeOrDateAndTimeText(const QDateTime& date, const QDateTime& now);

    friend bool operator==(const PopoverNotice&, const PopoverNotice&) = default;

private:
    explicit PopoverNotice(Kind kind) : kind_(kind) {}

    Kind kind_;
    std::variant<std::monostate, MotionDetectionStopped, WasNotWatching, QuitUnexpectedly,
                 RecordingFailed, RecordingsDeleted>
        payload_;
};
