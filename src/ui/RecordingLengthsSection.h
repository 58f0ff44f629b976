#pragma once

#include "NumberField.h"

#include <QObject>

class Defaults;
class QFormLayout;
class QLineEdit;
class QWidget;

// The settings window's recording lengths: how long a recording goes on
// after the last motion or sound, and the pre-roll before the trigger. It
// adds its rows to the form it is given, so that their fields line up with
// the other sections', and writes each accepted number to the settings store.
class RecordingLengthsSection : public QObject {
    Q_OBJECT
public:
    static const NumberField timeoutRange;
    static const NumberField preRollRange;

    RecordingLengthsSection(Defaults& defaults, QFormLayout* form, QWidget* parent);

    // Shows the stored numbers.
    void fill();

    QLineEdit* timeoutField() const { return timeoutField_; }
    QLineEdit* preRollField() const { return preRollField_; }

Q_SIGNALS:
    // A field held a number out of its range; it is to show the stored one.
    void numberRejected(const NumberField& range);

private:
    void endEditing(QLineEdit* field, const NumberField& range);

    Defaults& defaults_;
    QLineEdit* timeoutField_ = nullptr;
    QLineEdit* preRollField_ = nullptr;
};
