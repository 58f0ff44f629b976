#include "TriggerCostLineView.h"

#include "TriggerCostLine.h"

TriggerCostLineView::TriggerCostLineView(QWidget* parent) : ClickableLabel(parent) {
    setObjectName(QStringLiteral("triggerCostLabel"));
    setAlignment(Qt::AlignCenter);
    QFont smallFont = font();
    smallFont.setPointSizeF(smallFont.pointSizeF() * 0.9);
    setFont(smallFont);
    hide();
}

bool TriggerCostLineView::showLine(const TriggerCostLine& line) {
    setText(line.text);
    setForegroundRole(line.color == TriggerCostLine::Color::link ? QPalette::Link
                                                                 : QPalette::PlaceholderText);
    setClickable(line.clickable);
    const bool rowsChanged = lineShown_ != line.shown;
    lineShown_ = line.shown;
    setVisible(line.shown);
    return rowsChanged;
}
