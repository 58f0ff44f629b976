#pragma once

#include "NumberField.h"

#include <QObject>

class Defaults;
class NetworkCameraFacts;
class QFormLayout;
class QLabel;
class QLineEdit;
class QWidget;

// The settings window's recording lengths: how long a recording goes on
// after the last motion or sound, and the pre-roll before the trigger. It
// adds its rows to the form it is given, so that their fields line up with
// the other sections', and writes each accepted number to the settings store.
// Under the pre-roll, a note says when a chosen network camera's keyframes,
// where every recording has to begin, are more than `farKeyframes` seconds
// apart, as `facts` tells.
class RecordingLengthsSection : public QObject {
    Q_OBJECT
public:
    static const NumberField timeoutRange;
    static const NumberField preRollRange;
    static constexpr double farKeyframes = 2.0;

    RecordingLengthsSection(Defaults& defaults, const NetworkCameraFacts& facts, QFormLayout* form,
                            QWidget* parent);

    // Shows the stored numbers.
    void fill();

    QLineEdit* timeoutField() const { return timeoutField_; }
    QLineEdit* preRollField() const { return preRollField_; }
    QLabel* keyframeNote() const { return keyframeNote_; }

Q_SIGNALS:
    // A field held a number out of its range; it is to show the stored one.
    void numberRejected(const NumberField& range);

private:
    void endEditing(QLineEdit* field, const NumberField& range);
    void updateKeyframeNote();

    Defaults& defaults_;
    const NetworkCameraFacts& facts_;
    QLineEdit* timeoutField_ = nullptr;
    QLineEdit* preRollField_ = nullptr;
    QFormLayout* form_ = nullptr;
    QLabel* keyframeNote_ = nullptr;
};
