#pragma once

#include <QCoreApplication>
#include <QString>
#include <optional>

class QLineEdit;
class QWidget;

// A number field's setting, the value an emptied field takes, and the
// numbers it accepts.
struct NumberField {
    Q_DECLARE_TR_FUNCTIONS(NumberField)
public:
    QString key;
    int fallback;
    int minimum;
    int maximum;

    // A right-aligned field wide enough for six digits.
    static QLineEdit* makeEdit(QWidget* parent);

    // The number the field's text asks for, written back into the field
    // tidily; an emptied field takes the fallback. Nothing when the text is
    // not a number in range: the field is left as it is.
    std::optional<int> take(QLineEdit* field) const;

    // The title of the alert for a number out of range.
    QString outOfRangeTitle() const;
};
