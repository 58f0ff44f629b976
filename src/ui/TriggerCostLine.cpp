#include "TriggerCostLine.h"

#include <QLocale>
#include <QTimeZone>
#include <algorithm>
#include <cmath>

namespace {

TriggerCostLine plain(const QString& text) {
    TriggerCostLine line;
    line.shown = true;
    line.text = text;
    return line;
}

}  // namespace

TriggerCostLine TriggerCostLine::choose(const Inputs& inputs) {
    if (inputs.timeLapseProgress) {
        return plain(progressText(*inputs.timeLapseProgress));
    }
    if (inputs.timeLapseNotWritten) {
        return plain(notWrittenText(*inputs.timeLapseNotWritten));
    }
    const bool unarmed = inputs.armedState == ArmState::unarmed;
    if (unarmed && inputs.timeLapseFailed) {
        //: Popover line under the state, after a time-lapse found nothing to show
        return plain(tr("Nothing in that stretch could be read, so no time-lapse was made"));
    }
    if (unarmed && inputs.whatHappened) {
        TriggerCostLine line = plain(WhatHappened::summaryText(
            *inputs.whatHappened, QTimeZone::systemTimeZone(), QLocale()));
        line.whatHappenedFiles = WhatHappened::allFiles(inputs.whatHappened->events);
        line.clickable = !line.whatHappenedFiles.isEmpty();
        line.color = line.clickable ? Color::link : Color::secondary;
        return line;
    }
    if (!inputs.cost) {
        return {};
    }
    return plain(DiskBudget::costText(inputs.cost->count, inputs.cost->typicalSeconds,
                                      inputs.cost->minimumSeconds));
}

QString TriggerCostLine::progressText(double fraction) {
    const int percent = static_cast<int>(std::floor(std::clamp(fraction, 0.0, 1.0) * 100));
    //: Popover line under the state while a time-lapse is made; the argument is the percentage done
    return tr("Making a time-lapse… %1%").arg(percent);
}

QString TriggerCostLine::notWrittenText(const QString& reason) {
    //: Popover line under the state; the argument says why the time-lapse failed
    return tr("Time-lapse not written: %1").arg(reason);
}
