#pragma once

#include <QColor>

class QFrame;
class QLabel;
class QString;
class QWidget;

// The settings window's shared look: its separators, its small notes and
// their colours.
namespace SettingsLook {

QFrame* separator(QWidget* parent);
// A small wrapping note under a control.
QLabel* noteLabel(QWidget* parent);
void setTextColour(QLabel* label, const QColor& colour);
// The colour of a note that only explains.
QColor secondaryColour(const QWidget* widget);
// The colour of a note that warns.
QColor warningColour();
// A field row: a control, then a unit that explains it.
QWidget* withUnit(QWidget* control, const QString& unit, QWidget* parent);

}  // namespace SettingsLook
