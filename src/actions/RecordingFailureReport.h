#pragma once

#include "QuietInterval.h"
#include "RecordingFailure.h"

#include "Timer.h"

#include <QObject>
#include <QVariantMap>
#include <memory>
#include <optional>

class RecordingManager;

// Tells each change of the recording manager's failure record once, with the
// sentence the popover shows for it, so that a Nelvo without a tray (and the
// scripts that watch it) learns that recordings are not being saved. A new
// kind of failure, and the end of the failures, are told at once; a failure
// that only repeats is told at most once a minute, with its count then.
// Main thread.
class RecordingFailureReport : public QObject {
    Q_OBJECT
public:
    static constexpr int repeatSeconds = 60;

    explicit RecordingFailureReport(RecordingManager& manager, QObject* parent = nullptr);

    // The record now: "failure" (diskFull, destinationMissing, notPermitted or
    // other), "count", "at" (ISO 8601) and "notice"; empty without a failure.
    static QVariantMap fieldsOf(const RecordingManager& manager);
    static QString nameOf(RecordingFailure failure);
    // The line told when recordings are saved again.
    static QString clearedText();

Q_SIGNALS:
    // `fields` as fieldsOf gives them; `line` is the sentence to log.
    void told(const QVariantMap& fields, const QString& line);

private:
    void changed();
    void tell();

    RecordingManager& manager_;
    std::optional<RecordingFailure> toldFailure_;
    qint64 toldCount_ = 0;
    QuietInterval repeatQuiet_{std::chrono::seconds(repeatSeconds)};
    std::unique_ptr<Timer> later_;  // tells a repeating failure once its minute is over
};
