#pragma once

#include "ArmState.h"

#include <QLabel>

// The popover's state line: what Nelvo is doing, in bold, coloured like the
// tray icon when it needs attention.
class StateLineView : public QLabel {
    Q_OBJECT
public:
    explicit StateLineView(QWidget* parent = nullptr);

    void showState(const QString& text, StateColor color);
};
