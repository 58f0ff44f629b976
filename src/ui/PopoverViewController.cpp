#include "PopoverViewController.h"

#include "PreviewWindowController.h"

#include "CaptureManager.h"
#include "Defaults.h"
#include "NoticeLineView.h"
#include "PopoverButtonsView.h"
#include "PopoverNotice.h"
#include "RecordingManager.h"
#include "SleepRiskMonitor.h"
#include "StateLineView.h"
#include "TriggerCostLine.h"
#include "TriggerCostLineView.h"
#include "TriggerMetersView.h"

#include <QCoreApplication>
#include <QLocale>
#include <QPointer>
#include <QPushButton>
#include <QThreadPool>
#include <QTimeZone>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

constexpr int margin = 16;

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

    meters_ = new TriggerMetersView(recordingManager_.defaults(), captureManager_,
                                    baseWidth - 2 * margin, this);
    connect(meters_, &TriggerMetersView::triggerToggled, this,
            &PopoverViewController::refreshArmButton);
    layout->addWidget(meters_);
    layout->addSpacing(6);

    stateLine_ = new StateLineView(this);
    layout->addWidget(stateLine_);
    noticeLine_ = new NoticeLineView(this);
    layout->addWidget(noticeLine_);
    costLine_ = new TriggerCostLineView(this);
    connect(costLine_, &ClickableLabel::clicked, this, &PopoverViewController::showWhatHappened);
    layout->addWidget(costLine_);

    armedButton_ = new QPushButton(this);
    armedButton_->setObjectName(QStringLiteral("armedButton"));
    armedButton_->setDefault(true);
    armedButton_->setMinimumHeight(armedButton_->sizeHint().height() + 6);
    connect(armedButton_, &QPushButton::clicked, this, &PopoverViewController::arm);
    layout->addSpacing(2);
    layout->addWidget(armedButton_);
    layout->addSpacing(4);

    buttons_ = new PopoverButtonsView(this);
    connect(buttons_, &PopoverButtonsView::previewClicked, this,
            &PopoverViewController::togglePreviewWindow);
    connect(buttons_, &PopoverButtonsView::pinToggled, this,
            &PopoverViewController::toggleFloatMode);
    connect(buttons_, &PopoverButtonsView::menuClicked, this,
            &PopoverViewController::showPopoverMenu);
    layout->addWidget(buttons_);
}

// Observations: each recomputes what depends on the value that changed.
void PopoverViewController::observe() {
    RecordingManager* manager = &recordingManager_;
    connect(manager, &RecordingManager::armedStateRawChanged, this,
            &PopoverViewController::refreshArmedState);
    connect(manager, &RecordingManager::armedStateDescriptionChanged, this,
            [this] { stateLine_->setText(recordingManager_.armedStateDescription()); });
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
    QToolButton* menuButton = buttons_->menuButton();
    popoverMenu_->popup(menuButton->mapToGlobal(QPoint(0, menuButton->height())));
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
    meters_->motionLevel(index, level);
}

void PopoverViewController::soundLevel(double level) {
    meters_->soundLevel(level);
}

void PopoverViewController::soundMeterStopped() {
    meters_->clearLevels();
}

void PopoverViewController::devicesInUse(const std::optional<QString>& camera,
                                         const std::optional<QString>& secondCamera,
                                         const std::optional<QString>& microphone) {
    if (meters_->showDevices(camera, secondCamera, microphone)) {
        relayout(true);
    }
    refreshArmButton();
    chooseNotice();
}

void PopoverViewController::motionDetectionStoppedChanged(bool) {
    chooseNotice();
    refreshArmButton();
}

// Updates.

void PopoverViewController::refreshArmedState() {
    stateLine_->showState(recordingManager_.armedStateDescription(),
                          recordingManager_.armedStateColor());
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
    relayout(costLine_->showLine(line));
}

void PopoverViewController::chooseNotice() {
    const RecordingManager& manager = recordingManager_;
    const PopoverNoticeInputs inputs = PopoverNotice::inputsOf(
        manager, services_.sleepRisk && services_.sleepRisk->lidWouldStopWatching(), loginState_);
    const NoticeLineView::Change change =
        noticeLine_->showNotice(PopoverNotice::choose(inputs).text(manager.now()));
    if (change != NoticeLineView::Change::none) {
        relayout(change == NoticeLineView::Change::shown);
    }
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
