#include "StateLineView.h"

#include "MenuBarIcon.h"

StateLineView::StateLineView(QWidget* parent) : QLabel(parent) {
    setObjectName(QStringLiteral("armedTextField"));
    setWordWrap(true);
    setAlignment(Qt::AlignCenter);
    QFont stateFont = font();
    stateFont.setBold(true);
    stateFont.setPointSizeF(stateFont.pointSizeF() * 1.15);
    setFont(stateFont);
}

void StateLineView::showState(const QString& text, StateColor color) {
    setText(text);
    QPalette colours = palette();
    switch (color) {
        case StateColor::label:
            colours.setColor(QPalette::WindowText,
                             parentWidget()->palette().color(QPalette::WindowText));
            break;
        case StateColor::orange:
            colours.setColor(QPalette::WindowText, MenuBarIcon::color(MenuBarIcon::Tint::orange));
            break;
        case StateColor::red:
            colours.setColor(QPalette::WindowText, MenuBarIcon::color(MenuBarIcon::Tint::red));
            break;
    }
    setPalette(colours);
}
