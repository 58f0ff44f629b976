#include "RecordingLengthsSection.h"

#include "CaptureManager.h"
#include "Defaults.h"
#include "SettingsKeys.h"
#include "SettingsLook.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <cmath>

const NumberField RecordingLengthsSection::timeoutRange{SettingsKeys::timeoutValueInSeconds, 5, 0,
                                                        CaptureManager::maximumTimeoutSeconds};
const NumberField RecordingLengthsSection::preRollRange{SettingsKeys::preRollSeconds, 5, 0, 30};

RecordingLengthsSection::RecordingLengthsSection(Defaults& defaults, QFormLayout* form,
                                                 QWidget* parent)
    : QObject(parent), defaults_(defaults) {
    timeoutField_ = NumberField::makeEdit(parent);
    preRollField_ = NumberField::makeEdit(parent);
    connect(timeoutField_, &QLineEdit::editingFinished, this,
            [this] { endEditing(timeoutField_, timeoutRange); });
    connect(preRollField_, &QLineEdit::editingFinished, this,
            [this] { endEditing(preRollField_, preRollRange); });
    //: Settings label and unit of the recording timeout
    form->addRow(tr("Stop recording:"),
                 SettingsLook::withUnit(timeoutField_, tr("seconds after the last motion or sound"),
                                        parent));
    //: Settings label and unit of the pre-roll
    form->addRow(tr("Pre-roll:"),
                 SettingsLook::withUnit(preRollField_,
                                        tr("seconds before the trigger (at most 30)"), parent));
}

void RecordingLengthsSection::fill() {
    timeoutField_->setText(QString::number(defaults_.integer(timeoutRange.key)));
    const double preRoll = SettingsKeys::clampedPreRollSeconds(defaults_.real(preRollRange.key));
    preRollField_->setText(QString::number(std::lround(preRoll)));
}

void RecordingLengthsSection::endEditing(QLineEdit* field, const NumberField& range) {
    const std::optional<int> value = range.take(field);
    if (!value) {
        Q_EMIT numberRejected(range);
        return;
    }
    defaults_.set(range.key, *value);
}
