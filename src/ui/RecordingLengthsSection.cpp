#include "RecordingLengthsSection.h"

#include "CaptureManager.h"
#include "Defaults.h"
#include "NetworkCameraFacts.h"
#include "SettingsKeys.h"
#include "SettingsLook.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <algorithm>
#include <cmath>

const NumberField RecordingLengthsSection::timeoutRange{SettingsKeys::timeoutValueInSeconds, 5, 0,
                                                        CaptureManager::maximumTimeoutSeconds};
const NumberField RecordingLengthsSection::preRollRange{SettingsKeys::preRollSeconds, 5, 0, 30};

RecordingLengthsSection::RecordingLengthsSection(Defaults& defaults,
                                                 const NetworkCameraFacts& facts, QFormLayout* form,
                                                 QWidget* parent)
    : QObject(parent), defaults_(defaults), facts_(facts), form_(form) {
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
    keyframeNote_ = SettingsLook::noteLabel(parent);
    SettingsLook::setTextColour(keyframeNote_, SettingsLook::secondaryColour(parent));
    form->addRow(QString(), keyframeNote_);
    form->setRowVisible(keyframeNote_, false);
    connect(&facts_, &NetworkCameraFacts::changed, this,
            &RecordingLengthsSection::updateKeyframeNote);
    connect(&defaults_, &Defaults::changed, this, &RecordingLengthsSection::updateKeyframeNote);
    updateKeyframeNote();
}

// The farthest apart keyframes of the chosen cameras, when over the limit.
void RecordingLengthsSection::updateKeyframeNote() {
    double spacing = 0;
    for (const QString& key : {SettingsKeys::selectedCameraID, SettingsKeys::secondCameraID}) {
        const std::optional<QString> camera = defaults_.string(key);
        if (camera && !camera->isEmpty()) {
            spacing = std::max(spacing, facts_.keyframeSpacing(*camera).value_or(0));
        }
    }
    const bool far = spacing > farKeyframes;
    if (far) {
        const int seconds = std::max(3, static_cast<int>(std::lround(spacing)));
        //: Note under the pre-roll; %1 is the camera's keyframe interval in whole seconds
        keyframeNote_->setText(tr("This camera sends a full picture every %1 s, so recordings may "
                                  "start up to %1 s earlier than asked.")
                                   .arg(seconds));
    }
    form_->setRowVisible(keyframeNote_, far);
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
