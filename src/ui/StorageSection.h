#pragma once

#include "NumberField.h"
#include "Recording.h"
#include "SerialQueue.h"

#include <QList>
#include <QObject>

class Defaults;
class QFormLayout;
class QLabel;
class QLineEdit;
class QWidget;
class RecordingManager;

// The settings window's storage: the size limit for all recordings and,
// under it, the forecast of how long the recordings folder lasts. It adds its
// rows to the form it is given, so that its field lines up with the other
// sections'.
class StorageSection : public QObject {
    Q_OBJECT
public:
    static const NumberField limitRange;

    StorageSection(RecordingManager& recordingManager, QFormLayout* form, QWidget* parent);

    // Shows the stored limit.
    void fill();
    // Lists the recordings folder again and draws the forecast from it.
    void refreshForecast();

    QLineEdit* recordingsLimitField() const { return recordingsLimitField_; }
    QLabel* forecastLabel() const { return forecastLabel_; }

Q_SIGNALS:
    // The field held a number out of its range; it is to show the stored one.
    void numberRejected(const NumberField& range);
    // The forecast was drawn anew.
    void forecastShown();

private:
    void endEditing();
    void showForecast();

    RecordingManager& recordingManager_;
    Defaults& defaults_;
    QList<Recording> forecastRecordings_;
    QLineEdit* recordingsLimitField_ = nullptr;
    QLabel* forecastLabel_ = nullptr;

    // Lists the recordings folder away from the main thread; declared last so
    // that it finishes before the rest goes.
    SerialQueue forecastQueue_{"StorageForecast"};
};
