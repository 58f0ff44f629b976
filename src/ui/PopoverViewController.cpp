#include "PopoverViewController.h"

#include "PreviewWindowController.h"

#include "CaptureManager.h"
#include "ClickableLabel.h"
#include "Defaults.h"
#include "LevelIndicator.h"
#include "MenuBarIcon.h"
#include "PopoverNotice.h"
#include "RecordingManager.h"
#include "ScheduleSurvival.h"
#include "SettingsKeys.h"
#include "SleepRiskMonitor.h"
#include "TriggerCostLine.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QThreadPool>
#include <QTimeZone>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace {

constexpr int margin = 16;
constexpr int columnGap = 16;

// The small secondary text of the device labels.
QLabel* deviceLabel(QWidget* parent) {
    auto* label = new QLabel(parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    label->setFont(font);
    label->setForegroundRole(QPalette::PlaceholderText);
    label->setAlignment(Qt::AlignCenter);
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    return label;
}

// Long device names are cut in the middle, where they differ least.
void setDeviceName(QLabel* label, const QString& name, int width) {
    label->setText(label->fontMetrics().elidedText(name, Qt::ElideMiddle, width));
    label->setToolTip(name);
}

QSlider* makeThresholdSlider(QWidget* parent, const QString& toolTip) {
    auto* slider = new QSlider(Qt::Horizontal, parent);
    slider->setRange(0, 100);
    slider->setToolTip(toolTip);
    return slider;
}

QLabel* wrappingLabel(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignCenter);
    return label;
}

double thresholdOrZero(double threshold) {
    return std::max(threshold, 0.0);
}

}  // namespace

PopoverViewController::PopoverViewController(RecordingManager& recordingManager,
                                             CaptureManager& captureManager, Services services,
                                             QWidget* parent)
    : QWidget(parent),
      recordingManager_(recordingManager),
      captureManager_(captureManager),
      services_(std::move(services)) {
    popoverMenu_ = new PopoverMenu(menuOperations(services_.menu), this);
    buildControls();

    Defaults& defaults = recordingManager_.defaults();
    thresholdSlider_->setValue(int(defaults.integer(SettingsKeys::motionTriggerThreshold)));
    motionTriggerCheckbox_->setChecked(defaults.boolValue(SettingsKeys::motionTriggerEnabled));
    audioTriggerCheckbox_->setChecked(defaults.boolValue(SettingsKeys::audioTriggerEnabled));
    audioThresholdSlider_->setValue(int(defaults.integer(SettingsKeys::audioTriggerThreshold)));
    soundLevelIndicator_->setThreshold(
        thresholdOrZero(double(defaults.integer(SettingsKeys::audioTriggerThreshold))));
    motionLevelIndicator_->setThreshold(thresholdOrZero(cameraThreshold(0)));
    secondMotionLevelIndicator_->setThreshold(thresholdOrZero(cameraThreshold(1)));
    // The controls act on the user's moves only, never on the settings read above.
    connect(thresholdSlider_, &QSlider::valueChanged, this,
            [this](int value) { thresholdSliderValueChanged(0, value); });
    connect(secondThresholdSlider_, &QSlider::valueChanged, this,
            [this](int value) { thresholdSliderValueChanged(1, value); });
    connect(audioThresholdSlider_, &QSlider::valueChanged, this,
            &PopoverViewController::audioThresholdSliderValueChanged);
    connect(motionTriggerCheckbox_, &QCheckBox::toggled, this,
            &PopoverViewController::motionTriggerToggled);
    connect(audioTriggerCheckbox_, &QCheckBox::toggled, this,
            &PopoverViewController::audioTriggerToggled);

    observe();
    refreshArmedState();
}

PopoverViewController::~PopoverViewController() = default;

// Building the controls.

void PopoverViewController::buildControls() {
    setFixedWidth(baseWidth);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(margin, margin, margin, 10);
    layout->setSpacing(8);

    auto* columns = new QHBoxLayout;
    columns->setSpacing(columnGap);
    columns->addWidget(buildMotionColumn(), 1, Qt::AlignTop);
    columns->addWidget(buildSoundColumn(), 1, Qt::AlignTop);
    layout->addLayout(columns);
    layout->addSpacing(6);

    armedTextField_ = wrappingLabel(this);
    armedTextField_->setObjectName(QStringLiteral("armedTextField"));
    QFont stateFont = armedTextField_->font();
    stateFont.setBold(true);
    stateFont.setPointSizeF(stateFont.pointSizeF() * 1.15);
    armedTextField_->setFont(stateFont);
    layout->addWidget(armedTextField_);

    noticeLabel_ = wrappingLabel(this);
    noticeLabel_->setObjectName(QStringLiteral("noticeLabel"));
    noticeLabel_->hide();
    layout->addWidget(noticeLabel_);

    triggerCostLabel_ = new ClickableLabel(this);
    triggerCostLabel_->setObjectName(QStringLiteral("triggerCostLabel"));
    triggerCostLabel_->setAlignment(Qt::AlignCenter);
    QFont smallFont = triggerCostLabel_->font();
    smallFont.setPointSizeF(smallFont.pointSizeF() * 0.9);
    triggerCostLabel_->setFont(smallFont);
    triggerCostLabel_->hide();
    connect(triggerCostLabel_, &ClickableLabel::clicked, this,
            &PopoverViewController::showWhatHappened);
    layout->addWidget(triggerCostLabel_);

    armedButton_ = new QPushButton(this);
    armedButton_->setObjectName(QStringLiteral("armedButton"));
    armedButton_->setDefault(true);
    armedButton_->setMinimumHeight(armedButton_->sizeHint().height() + 6);
    connect(armedButton_, &QPushButton::clicked, this, &PopoverViewController::arm);
    layout->addSpacing(2);
    layout->addWidget(armedButton_);
    layout->addSpacing(4);
    layout->addWidget(buildButtonBar());
}

QWidget* PopoverViewController::buildMotionColumn() {
    auto* column = new QWidget(this);
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);

    //: Popover checkbox: motion may trigger a recording
    motionTriggerCheckbox_ = new QCheckBox(tr("Motion"), column);
    layout->addWidget(motionTriggerCheckbox_);
    motionDeviceLabel_ = deviceLabel(column);
    layout->addWidget(motionDeviceLabel_);
    motionLevelIndicator_ = new LevelIndicator(column);
    layout->addWidget(motionLevelIndicator_);
    //: Popover slider's tooltip
    const QString motionTip = tr("How much motion starts a recording");
    thresholdSlider_ = makeThresholdSlider(column, motionTip);
    layout->addWidget(thresholdSlider_);

    // The second camera's row, shown only while a second camera runs.
    secondRow_ = new QWidget(column);
    auto* second = new QVBoxLayout(secondRow_);
    second->setContentsMargins(0, 0, 0, 0);
    second->setSpacing(8);
    secondMotionDeviceLabel_ = deviceLabel(secondRow_);
    secondMotionLevelIndicator_ = new LevelIndicator(secondRow_);
    secondThresholdSlider_ = makeThresholdSlider(secondRow_, motionTip);
    second->addWidget(secondMotionDeviceLabel_);
    second->addWidget(secondMotionLevelIndicator_);
    second->addWidget(secondThresholdSlider_);
    secondRow_->hide();
    layout->addWidget(secondRow_);
    return column;
}

QWidget* PopoverViewController::buildSoundColumn() {
    auto* column = new QWidget(this);
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);

    //: Popover checkbox: sound may trigger a recording
    audioTriggerCheckbox_ = new QCheckBox(tr("Sound"), column);
    layout->addWidget(audioTriggerCheckbox_);
    soundDeviceLabel_ = deviceLabel(column);
    layout->addWidget(soundDeviceLabel_);
    soundLevelIndicator_ = new LevelIndicator(column);
    layout->addWidget(soundLevelIndicator_);
    //: Popover slider's tooltip
    audioThresholdSlider_ = makeThresholdSlider(column, tr("How loud a sound starts a recording"));
    layout->addWidget(audioThresholdSlider_);
    return column;
}

QWidget* PopoverViewController::buildButtonBar() {
    auto* bar = new QWidget(this);
    auto* layout = new QHBoxLayout(bar);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);

    //: Popover button that opens the camera preview
    previewButton_ = new QPushButton(tr("Preview"), bar);
    previewButton_->setFlat(true);
    //: Tooltip of the popover's preview button
    previewButton_->setToolTip(tr("Show what the cameras see and draw detection zones"));
    connect(previewButton_, &QPushButton::clicked, this,
            &PopoverViewController::togglePreviewWindow);
    layout->addWidget(previewButton_);
    layout->addStretch(1);

    pinButton_ = new QToolButton(bar);
    pinButton_->setCheckable(true);
    pinButton_->setAutoRaise(true);
    pinButton_->setIcon(QIcon::fromTheme(QStringLiteral("window-pin")));
    //: Popover toggle that keeps the popover open on clicks elsewhere
    pinButton_->setText(tr("Pin"));
    //: Tooltip of the popover's pin toggle
    pinButton_->setToolTip(tr("Keep this open when clicking elsewhere"));
    connect(pinButton_, &QToolButton::toggled, this, &PopoverViewController::toggleFloatMode);
    layout->addWidget(pinButton_);

    menuButton_ = new QToolButton(bar);
    menuButton_->setAutoRaise(true);
    menuButton_->setIcon(QIcon::fromTheme(QStringLiteral("open-menu")));
    //: Popover button that opens Nelvo's menu
    menuButton_->setText(tr("Menu"));
    menuButton_->setToolTip(menuButton_->text());
    connect(menuButton_, &QToolButton::clicked, this, &PopoverViewController::showPopoverMenu);
    layout->addWidget(menuButton_);
    for (QToolButton* button : {pinButton_, menuButton_}) {
        button->setToolButtonStyle(button->icon().isNull() ? Qt::ToolButtonTextOnly
                                                           : Qt::ToolButtonIconOnly);
    }
    return bar;
}

// Observations: each recomputes what depends on the value that changed.
void PopoverViewController::observe() {
    RecordingManager* manager = &recordingManager_;
    connect(manager, &RecordingManager::armedStateRawChanged, this,
            &PopoverViewController::refreshArmedState);
    connect(manager, &RecordingManager::armedStateDescriptionChanged, this,
            [this] { armedTextField_->setText(recordingManager_.armedStateDescription()); });
    for (auto changed :
         {&RecordingManager::motionDetectionStoppedChanged,
          &RecordingManager::recordingFailureChanged, &RecordingManager::deletedChanged,
          &RecordingManager::gapsChanged, &RecordingManager::scheduleGenerationChanged}) {
        connect(manager, changed, this, [this] {
            chooseNotice();
            refreshArmButton();
        });
    }
    connect(manager, &RecordingManager::stretchGenerationChanged, this,
            &PopoverViewController::refreshTriggerCost);
    connect(manager, &RecordingManager::recordingsChanged, this,
            &PopoverViewController::refreshTriggerCost);
    TimeLapseJob* timeLapse = &recordingManager_.timeLapse();
    connect(timeLapse, &TimeLapseJob::fractionDoneChanged, this,
            &PopoverViewController::refreshTriggerCost);
    connect(timeLapse, &TimeLapseJob::timeLapseFailedChanged, this,
            &PopoverViewController::refreshTriggerCost);
    connect(timeLapse, &TimeLapseJob::isMakingTimeLapseChanged, this, [this, timeLapse] {
        const auto& failure = timeLapse->lastFailure();
        if (!timeLapse->isMakingTimeLapse() && failure &&
            failure->kind == TimeLapse::Failure::Kind::couldNotWrite) {
            timeLapseNotWritten_ = failure->reason;
        }
        refreshTriggerCost();
    });
    if (services_.loginItemNotifier) {
        connect(services_.loginItemNotifier, &LoginItemNotifier::loginItemStateChanged, this,
                &PopoverViewController::readLoginState);
    }
    if (services_.sleepRisk) {
        connect(services_.sleepRisk, &SleepRiskMonitor::lidWouldStopWatchingChanged, this,
                &PopoverViewController::chooseNotice);
    }
    // Settings changed elsewhere (the settings window, the file).
    connect(&recordingManager_.defaults(), &Defaults::changed, this, [this] {
        const Defaults& defaults = recordingManager_.defaults();
        const QSignalBlocker motion(motionTriggerCheckbox_);
        const QSignalBlocker audio(audioTriggerCheckbox_);
        motionTriggerCheckbox_->setChecked(defaults.boolValue(SettingsKeys::motionTriggerEnabled));
        audioTriggerCheckbox_->setChecked(defaults.boolValue(SettingsKeys::audioTriggerEnabled));
        refreshArmButton();
        chooseNotice();
    });
}

PopoverMenu::Operations PopoverViewController::menuOperations(PopoverMenu::Operations given) {
    given.state = [this] { return menuState(); };
    given.showWhatHappened = [this] { showLastStretchFiles(); };
    given.makeTimeLapse = [this] { makeTimeLapse(); };
    given.recordTest = [this] { recordingManager_.startTestRecording(); };
    return given;
}

PopoverMenu::State PopoverViewController::menuState() const {
    PopoverMenu::State state;
    state.armedState = recordingManager_.armedState().value_or(ArmState::unarmed);
    state.isRecordingTest = recordingManager_.isRecordingTest();
    state.canArm = recordingManager_.canTrigger();
    if (const std::optional<ArmedStretch> stretch = recordingManager_.lastStretch()) {
        state.stretchTimes =
            WhatHappened::stretchRangeText(*stretch, QTimeZone::systemTimeZone(), QLocale());
    }
    return state;
}

// Popover delegate.

void PopoverViewController::popoverDidShow() {
    captureManager_.setPopoverOpen(true);
    recordingManager_.refreshRecordings();
    refreshTriggerCost();
    chooseNotice();
    readLoginState();
}

void PopoverViewController::popoverDidClose() {
    recordingManager_.setTimeLapseFailed(false);
    if (timeLapseNotWritten_) {
        timeLapseNotWritten_.reset();
        refreshTriggerCost();
    }
    captureManager_.setPopoverOpen(false);
}

// The login-item service may be slow (it reads files, or asks over D-Bus):
// it is read on the pool and the answer comes back to the GUI thread.
void PopoverViewController::readLoginState() {
    if (!services_.loginState) {
        return;
    }
    const QPointer<PopoverViewController> self(this);
    QThreadPool::globalInstance()->start([self, read = services_.loginState] {
        const LoginItem::State state = read();
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, state] {
                if (self) {
                    self->loginState_ = state;
                    self->chooseNotice();
                }
            },
            Qt::QueuedConnection);
    });
}

// Actions.

void PopoverViewController::arm() {
    recordingManager_.armFromPopover();
}

void PopoverViewController::thresholdSliderValueChanged(int index, int value) {
    Defaults& defaults = recordingManager_.defaults();
    if (const std::shared_ptr<CaptureSource> camera = captureManager_.camera(index)) {
        defaults.set(SettingsKeys::motionTriggerThresholdFor(camera->uniqueID()), double(value));
    }
    // The last slider moved is also the threshold of cameras without their own.
    defaults.set(SettingsKeys::motionTriggerThreshold, double(value));
    LevelIndicator* indicator = index == 0 ? motionLevelIndicator_ : secondMotionLevelIndicator_;
    indicator->setThreshold(thresholdOrZero(value));
}

void PopoverViewController::audioThresholdSliderValueChanged(int value) {
    recordingManager_.defaults().set(SettingsKeys::audioTriggerThreshold, double(value));
    soundLevelIndicator_->setThreshold(thresholdOrZero(value));
}

void PopoverViewController::motionTriggerToggled(bool on) {
    recordingManager_.defaults().set(SettingsKeys::motionTriggerEnabled, on);
    refreshArmButton();
}

void PopoverViewController::audioTriggerToggled(bool on) {
    recordingManager_.defaults().set(SettingsKeys::audioTriggerEnabled, on);
    refreshArmButton();
}

void PopoverViewController::togglePreviewWindow() {
    if (!previewWindowController_) {
        previewWindowController_ = std::make_unique<PreviewWindowController>(
            captureManager_, recordingManager_.defaults());
    }
    previewWindowController_->toggle();
}

void PopoverViewController::toggleFloatMode(bool on) {
    floatPopover_ = on;
    Q_EMIT floatPopoverChanged(on);
}

void PopoverViewController::showPopoverMenu() {
    popoverMenu_->popup(menuButton_->mapToGlobal(QPoint(0, menuButton_->height())));
}

// A click on the line reveals the files the summary counted.
void PopoverViewController::showWhatHappened() {
    revealFiles(whatHappenedFiles_);
}

// The menu gathers the last stretch's files afresh, whatever the line shows.
void PopoverViewController::showLastStretchFiles() {
    if (const std::optional<WhatHappened> what = recordingManager_.lastWhatHappened()) {
        revealFiles(WhatHappened::allFiles(what->events));
    }
}

void PopoverViewController::revealFiles(const QStringList& files) {
    if (!files.isEmpty() && services_.revealFiles) {
        services_.revealFiles(files);
    }
}

void PopoverViewController::makeTimeLapse() {
    if (recordingManager_.isMakingTimeLapse()) {
        return;  // the line already shows the one being made
    }
    if (recordingManager_.makeTimeLapse()) {
        timeLapseNotWritten_.reset();
    } else {
        //: Why a time-lapse was not made: Nelvo has not been armed long enough to keep a stretch
        timeLapseNotWritten_ = tr("there is no armed stretch to show");
    }
    refreshTriggerCost();
}

// Capture activity.

void PopoverViewController::motionLevel(int index, double level) {
    LevelIndicator* indicator = index == 0 ? motionLevelIndicator_ : secondMotionLevelIndicator_;
    indicator->setValue((level + indicator->value()) / 2);
}

void PopoverViewController::soundLevel(double level) {
    soundLevelIndicator_->setValue((level + soundLevelIndicator_->value()) / 2);
}

void PopoverViewController::soundMeterStopped() {
    for (LevelIndicator* indicator :
         {motionLevelIndicator_, secondMotionLevelIndicator_, soundLevelIndicator_}) {
        indicator->setValue(0);
    }
}

void PopoverViewController::devicesInUse(const std::optional<QString>& camera,
                                         const std::optional<QString>& secondCamera,
                                         const std::optional<QString>& microphone) {
    const int width = baseWidth / 2 - margin - columnGap / 2;
    //: Popover, in place of the camera's name
    setDeviceName(motionDeviceLabel_, camera.value_or(tr("No camera")), width);
    //: Popover, in place of the microphone's name
    setDeviceName(soundDeviceLabel_, microphone.value_or(tr("No microphone")), width);
    secondCameraName_ = secondCamera;
    if (secondCamera) {
        setDeviceName(secondMotionDeviceLabel_, *secondCamera, width);
    }
    setThresholdFromSettings(0);
    setThresholdFromSettings(1);
    setSecondRowShown(secondCamera.has_value());
    refreshArmButton();
    chooseNotice();
}

void PopoverViewController::motionDetectionStoppedChanged(bool) {
    chooseNotice();
    refreshArmButton();
}

// Updates.

void PopoverViewController::refreshArmedState() {
    armedTextField_->setText(recordingManager_.armedStateDescription());
    QPalette palette = armedTextField_->palette();
    switch (recordingManager_.armedStateColor()) {
        case StateColor::label:
            palette.setColor(QPalette::WindowText, this->palette().color(QPalette::WindowText));
            break;
        case StateColor::orange:
            palette.setColor(QPalette::WindowText, MenuBarIcon::color(MenuBarIcon::Tint::orange));
            break;
        case StateColor::red:
            palette.setColor(QPalette::WindowText, MenuBarIcon::color(MenuBarIcon::Tint::red));
            break;
    }
    armedTextField_->setPalette(palette);
    refreshArmButton();
    refreshTriggerCost();
    chooseNotice();
}

void PopoverViewController::refreshArmButton() {
    armedButton_->setText(recordingManager_.armedButtonText());
    armedButton_->setEnabled(recordingManager_.canTrigger());
}

void PopoverViewController::refreshTriggerCost() {
    TriggerCostLine::Inputs inputs;
    inputs.armedState = recordingManager_.armedState().value_or(ArmState::unarmed);
    if (recordingManager_.isMakingTimeLapse()) {
        inputs.timeLapseProgress = recordingManager_.timeLapse().fractionDone();
    }
    inputs.timeLapseNotWritten = timeLapseNotWritten_;
    inputs.timeLapseFailed = recordingManager_.timeLapseFailed();
    // Both of these read the last listing of the recordings folder.
    const bool timeLapseLine = inputs.timeLapseProgress || inputs.timeLapseNotWritten ||
                               (inputs.armedState == ArmState::unarmed && inputs.timeLapseFailed);
    if (!timeLapseLine && inputs.armedState == ArmState::unarmed) {
        inputs.whatHappened = recordingManager_.lastWhatHappened();
    }
    if (!timeLapseLine && !inputs.whatHappened) {
        inputs.cost = recordingManager_.recordingCost();
    }
    const TriggerCostLine line = TriggerCostLine::choose(inputs);

    whatHappenedFiles_ = line.whatHappenedFiles;
    triggerCostLabel_->setText(line.text);
    triggerCostLabel_->setForegroundRole(
        line.color == TriggerCostLine::Color::link ? QPalette::Link : QPalette::PlaceholderText);
    triggerCostLabel_->setClickable(line.clickable);
    const bool rowsChanged = triggerCostShown_ != line.shown;
    triggerCostShown_ = line.shown;
    triggerCostLabel_->setVisible(line.shown);
    relayout(rowsChanged);
}

void PopoverViewController::chooseNotice() {
    const RecordingManager& manager = recordingManager_;
    const PopoverNoticeInputs inputs = PopoverNotice::inputsOf(
        manager, services_.sleepRisk && services_.sleepRisk->lidWouldStopWatching(), loginState_);

    const QString text = PopoverNotice::choose(inputs).text(manager.now());
    if (text == noticeLabel_->text() && noticeLabel_->isHidden() == text.isEmpty()) {
        return;
    }
    const bool rowsChanged = noticeLabel_->isHidden() != text.isEmpty();
    noticeLabel_->setText(text);
    noticeLabel_->setVisible(!text.isEmpty());
    relayout(rowsChanged);
}

void PopoverViewController::setSecondRowShown(bool shown) {
    if (shown == secondRowShown_) {
        return;
    }
    secondRowShown_ = shown;
    secondRow_->setVisible(shown);
    relayout(true);
}

// A slider shows the threshold its camera uses; the first row keeps the
// shared value it was made with until the user moves it.
void PopoverViewController::setThresholdFromSettings(int index) {
    const double threshold = cameraThreshold(index);
    LevelIndicator* indicator = index == 0 ? motionLevelIndicator_ : secondMotionLevelIndicator_;
    indicator->setThreshold(thresholdOrZero(threshold));
    if (index == 1 && captureManager_.camera(1)) {
        const QSignalBlocker blocker(secondThresholdSlider_);
        secondThresholdSlider_->setValue(int(threshold));
    }
}

double PopoverViewController::cameraThreshold(int index) const {
    const Defaults& defaults = recordingManager_.defaults();
    if (const std::shared_ptr<CaptureSource> camera = captureManager_.camera(index)) {
        const QString key = SettingsKeys::motionTriggerThresholdFor(camera->uniqueID());
        if (defaults.hasStoredValue(key)) {
            return defaults.real(key);
        }
    }
    return defaults.real(SettingsKeys::motionTriggerThreshold);
}

// The content keeps its width and grows or shrinks with the rows and lines
// shown; the holding window follows the signal.
void PopoverViewController::relayout(bool rowsChanged) {
    // Rows in the columns report their change only on the next event loop
    // turn; the sizes are wanted now.
    for (QLayout* inner : findChildren<QLayout*>()) {
        inner->invalidate();
        if (inner->parentWidget() != this) {
            inner->parentWidget()->updateGeometry();
        }
    }
    const QSize before = size();
    layout()->invalidate();
    layout()->activate();
    const QSize preferred = sizeHint();
    resize(preferred);
    if (rowsChanged || preferred != preferredSize_ || preferred != before) {
        preferredSize_ = preferred;
        Q_EMIT preferredSizeChanged();
    }
}

QSize PopoverViewController::sizeHint() const {
    return QSize(baseWidth, layout()->totalHeightForWidth(baseWidth));
}
