#pragma once

#include "ClickableLabel.h"

class TriggerCostLine;

// The popover's line under the state: what a recording costs, what happened
// while Nelvo was armed (a link to its files), or a time-lapse's progress.
class TriggerCostLineView : public ClickableLabel {
    Q_OBJECT
public:
    explicit TriggerCostLineView(QWidget* parent = nullptr);

    // Shows the line chosen. True when the line appeared or went, so the
    // popover's height changes.
    bool showLine(const TriggerCostLine& line);
    bool lineShown() const { return lineShown_; }

private:
    bool lineShown_ = false;
};
