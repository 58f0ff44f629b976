#include "TriggerMetersView.h"

#include "CaptureManager.h"
#include "Defaults.h"
#include "MeterRowView.h"
#include "SettingsKeys.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>
#include <algorithm>

namespace {

constexpr int columnGap = 16;

QVBoxLayout* columnLayout(QWidget* column) {
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    return layout;
}

}  // namespace

TriggerMetersView::TriggerMetersView(Defaults& defaults, CaptureManager& captureManager, int width,
                                     QWidget* parent)
    : QWidget(parent), defaults_(defaults), captureManager_(captureManager) {
    const int nameWidth = width / 2 - columnGap / 2;
    auto* columns = new QHBoxLayout(this);
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(columnGap);
    columns->addWidget(buildMotionColumn(nameWidth), 1, Qt::AlignTop);
    columns->addWidget(buildSoundColumn(nameWidth), 1, Qt::AlignTop);

    // The controls act on the user's moves only, never on the settings read here.
    readTriggers();
    cameraRows_[0]->setSliderThreshold(
        int(defaults_.integer(SettingsKeys::motionTriggerThreshold)));
    const int soundThreshold = int(defaults_.integer(SettingsKeys::audioTriggerThreshold));
    soundRow_->setSliderThreshold(soundThreshold);
    soundRow_->showThreshold(soundThreshold);
    cameraRows_[0]->showThreshold(cameraThreshold(0));
    cameraRows_[1]->showThreshold(cameraThreshold(1));
    connect(cameraRows_[0], &MeterRowView::thresholdMoved, this,
            [this](int value) { cameraThresholdMoved(0, value); });
    connect(cameraRows_[1], &MeterRowView::thresholdMoved, this,
            [this](int value) { cameraThresholdMoved(1, value); });
    connect(soundRow_, &MeterRowView::thresholdMoved, this, [this](int value) {
        defaults_.set(SettingsKeys::audioTriggerThreshold, double(value));
    });
    connect(motionTriggerCheckbox_, &QCheckBox::toggled, this, [this](bool on) {
        defaults_.set(SettingsKeys::motionTriggerEnabled, on);
        Q_EMIT triggerToggled();
    });
    connect(audioTriggerCheckbox_, &QCheckBox::toggled, this, [this](bool on) {
        defaults_.set(SettingsKeys::audioTriggerEnabled, on);
        Q_EMIT triggerToggled();
    });
    // Settings changed elsewhere (the settings window, the file).
    connect(&defaults_, &Defaults::changed, this, &TriggerMetersView::readTriggers);
}

QWidget* TriggerMetersView::buildMotionColumn(int nameWidth) {
    auto* column = new QWidget(this);
    QVBoxLayout* layout = columnLayout(column);
    //: Popover checkbox: motion may trigger a recording
    motionTriggerCheckbox_ = new QCheckBox(tr("Motion"), column);
    layout->addWidget(motionTriggerCheckbox_);
    //: Popover slider's tooltip
    const QString motionTip = tr("How much motion starts a recording");
    for (MeterRowView*& row : cameraRows_) {
        row = new MeterRowView(nameWidth, motionTip, column);
        layout->addWidget(row);
    }
    // The second camera's row, shown only while a second camera runs.
    cameraRows_[1]->hide();
    return column;
}

QWidget* TriggerMetersView::buildSoundColumn(int nameWidth) {
    auto* column = new QWidget(this);
    QVBoxLayout* layout = columnLayout(column);
    //: Popover checkbox: sound may trigger a recording
    audioTriggerCheckbox_ = new QCheckBox(tr("Sound"), column);
    layout->addWidget(audioTriggerCheckbox_);
    //: Popover slider's tooltip
    soundRow_ = new MeterRowView(nameWidth, tr("How loud a sound starts a recording"), column);
    layout->addWidget(soundRow_);
    return column;
}

void TriggerMetersView::readTriggers() {
    const QSignalBlocker motion(motionTriggerCheckbox_);
    const QSignalBlocker audio(audioTriggerCheckbox_);
    motionTriggerCheckbox_->setChecked(defaults_.boolValue(SettingsKeys::motionTriggerEnabled));
    audioTriggerCheckbox_->setChecked(defaults_.boolValue(SettingsKeys::audioTriggerEnabled));
}

bool TriggerMetersView::showDevices(const std::optional<QString>& camera,
                                    const std::optional<QString>& secondCamera,
                                    const std::optional<QString>& microphone) {
    followCameras();
    //: Popover, in place of the camera's name
    cameraRows_[0]->setDeviceName(camera.value_or(tr("No camera")));
    //: Popover, in place of the microphone's name
    soundRow_->setDeviceName(microphone.value_or(tr("No microphone")));
    if (secondCamera) {
        cameraRows_[1]->setDeviceName(*secondCamera);
    }
    showCameraThreshold(0);
    showCameraThreshold(1);
    const bool shown = secondCamera.has_value();
    if (shown == secondRowShown_) {
        return false;
    }
    secondRowShown_ = shown;
    cameraRows_[1]->setVisible(shown);
    return true;
}

// Each row's level goes with its camera to the camera's new row.
void TriggerMetersView::followCameras() {
    std::array<QString, 2> cameras;
    std::array<double, 2> levels{};
    for (int index = 0; index < 2; ++index) {
        if (const std::shared_ptr<CaptureSource> camera = captureManager_.camera(index)) {
            cameras[index] = camera->uniqueID();
        }
        levels[index] = cameraRows_[index]->level();
    }
    for (int index = 0; index < 2; ++index) {
        const auto before = std::find(rowCameras_.begin(), rowCameras_.end(), cameras[index]);
        const bool known = !cameras[index].isEmpty() && before != rowCameras_.end();
        cameraRows_[index]->setLevel(known ? levels[before - rowCameras_.begin()] : 0);
    }
    rowCameras_ = cameras;
}

void TriggerMetersView::motionLevel(int index, double level) {
    cameraRow(index)->addLevel(level);
}

void TriggerMetersView::soundLevel(double level) {
    soundRow_->addLevel(level);
}

void TriggerMetersView::clearLevels() {
    for (MeterRowView* row : {cameraRows_[0], cameraRows_[1], soundRow_}) {
        row->clearLevel();
    }
}

void TriggerMetersView::cameraThresholdMoved(int index, int value) {
    if (const std::shared_ptr<CaptureSource> camera = captureManager_.camera(index)) {
        defaults_.set(SettingsKeys::motionTriggerThresholdFor(camera->uniqueID()), double(value));
    }
    // The last slider moved is also the threshold of cameras without their own.
    defaults_.set(SettingsKeys::motionTriggerThreshold, double(value));
}

// A slider shows the threshold its camera uses; the first row keeps the
// shared value it was made with until the user moves it.
void TriggerMetersView::showCameraThreshold(int index) {
    const double threshold = cameraThreshold(index);
    cameraRows_[index]->showThreshold(threshold);
    if (index == 1 && captureManager_.camera(1)) {
        cameraRows_[1]->setSliderThreshold(int(threshold));
    }
}

double TriggerMetersView::cameraThreshold(int index) const {
    if (const std::shared_ptr<CaptureSource> camera = captureManager_.camera(index)) {
        const QString key = SettingsKeys::motionTriggerThresholdFor(camera->uniqueID());
        if (defaults_.hasStoredValue(key)) {
            return defaults_.real(key);
        }
    }
    return defaults_.real(SettingsKeys::motionTriggerThreshold);
}
