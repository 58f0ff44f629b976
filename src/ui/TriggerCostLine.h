#pragma once

#include "ArmState.h"
#include "DiskBudget.h"
#include "WhatHappened.h"

#include <QCoreApplication>
#include <QString>
#include <QStringList>
#include <optional>

// What the popover's line under the armed state says: the progress or the
// failure of a time-lapse, what happened in the last armed stretch after a
// disarm, or what one recording costs. A pure choice from its inputs.
class TriggerCostLine {
    Q_DECLARE_TR_FUNCTIONS(TriggerCostLine)

public:
    struct Inputs {
        ArmState armedState = ArmState::unarmed;
        // The fraction done while a time-lapse is being made.
        std::optional<double> timeLapseProgress;
        // Why the last time-lapse asked for was not written.
        std::optional<QString> timeLapseNotWritten;
        // The last stretch had nothing readable for a time-lapse.
        bool timeLapseFailed = false;
        std::optional<WhatHappened> whatHappened;
        std::optional<DiskBudget::RecordingCost> cost;
    };

    enum class Color { secondary, link };

    bool shown = false;
    QString text;
    Color color = Color::secondary;
    bool clickable = false;
    // The files a click reveals: the last stretch's recordings.
    QStringList whatHappenedFiles;

    static TriggerCostLine choose(const Inputs& inputs);

    static QString progressText(double fraction);
    static QString notWrittenText(const QString& reason);

    friend bool operator==(const TriggerCostLine&, const TriggerCostLine&) = default;
};
