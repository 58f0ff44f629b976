#include "RecordingManager.h"

#include "ArmedRecord.h"
#include "ArmedStateText.h"
#include "Clock.h"
#include "Defaults.h"
#include "FileOutputManager.h"
#include "MainThread.h"
#include "SettingsKeys.h"

#include <QLocale>
#include <QTimeZone>
#include <limits>

using namespace std::chrono_literals;

RecordingManager::RecordingManager(Defaults& defaults, Clock& clock, QObject* parent)
    : QObject(parent),
      defaults_(defaults),
      clock_(clock),
      countdownTimer_(clock.makeTimer([this] { countdown(); })) {
    connect(&files_.listing(), &RecordingsListing::changed, this,
            &RecordingManager::recordingsChanged);
    // The one connection to the settings store's changes.
    connect(&defaults_, &Defaults::changed, this, &RecordingManager::settingsChanged);
    stretches_.onKept = [this] { Q_EMIT stretchGenerationChanged(); };
    test_.onRunningChanged = [this] { Q_EMIT isRecordingTestChanged(); };
    gaps_.onChanged = [this] { Q_EMIT gapsChanged(); };
    followFiles();
    updateKeepAwake();
}

RecordingManager::~RecordingManager() = default;

QDateTime RecordingManager::now() const {
    return clock_.now();
}

QVariant RecordingManager::armedStateRaw() const {
    return armedState_ ? QVariant(static_cast<int>(*armedState_)) : QVariant();
}

QString RecordingManager::armedStateDescription() const {
    return ArmedStateText::description(armedState_, armingCountdown_, armedBySchedule_,
                                       armedByFocus_, schedule_, now());
}

StateColor RecordingManager::armedStateColor() const {
    return ArmedStateText::color(armedState_);
}

QString RecordingManager::armedButtonText() const {
    return ArmedStateText::buttonText(armedState_);
}

void RecordingManager::setMotionDetectionStopped(bool stopped) {
    if (motionDetectionStopped_ == stopped) {
        return;
    }
    motionDetectionStopped_ = stopped;
    Q_EMIT motionDetectionStoppedChanged();
}

bool RecordingManager::canTrigger() const {
    if (armedState_.value_or(ArmState::unarmed) != ArmState::unarmed) {
        return true;
    }
    return (defaults_.boolValue(SettingsKeys::motionTriggerEnabled) && cameraAvailable_ &&
            !motionDetectionStopped_) ||
           (defaults_.boolValue(SettingsKeys::audioTriggerEnabled) && microphoneAvailable_);
}

// The rule-driven arms (launch, Focus, schedule) deliberately ignore whether
// motion detection has stopped.
bool RecordingManager::ruleCanArm() const {
    return (defaults_.boolValue(SettingsKeys::motionTriggerEnabled) && cameraAvailable_) ||
           (defaults_.boolValue(SettingsKeys::audioTriggerEnabled) && microphoneAvailable_);
}

void RecordingManager::armFromPopover() {
    Q_ASSERT(MainThread::isCurrent());
    if (armedState_.value_or(ArmState::unarmed) != ArmState::unarmed) {
        disarm();
        return;
    }
    if (!canTrigger()) {
        return;
    }
    arm(popoverArmCountdown);
}

RecordingManager::ArmRequest RecordingManager::armFromShortcut() {
    Q_ASSERT(MainThread::isCurrent());
    if (armedState_.value_or(ArmState::unarmed) != ArmState::unarmed) {
        return ArmRequest::alreadyArmed;
    }
    if (!canTrigger()) {
        return ArmRequest::nothingCanTrigger;
    }
    arm(shortcutArmCountdown);
    return ArmRequest::armed;
}

void RecordingManager::arm(int countdownSeconds) {
    prepareArming();
    if (countdownSeconds < 1) {
        setArmedState(ArmState::armed);
        return;
    }
    startCountdown(countdownSeconds);
}

// The arming preparation: the armed record (read after a crash) and the start
// of the armed stretch, before the state changes.
void RecordingManager::prepareArming() {
    const QDateTime at = now();
    ArmedRecord{at, armedBySchedule_}.store(defaults_);
    if (!defaults_.date(SettingsKeys::armedStretchSince)) {
        defaults_.set(SettingsKeys::armedStretchSince, at);
    }
}

void RecordingManager::startCountdown(int seconds) {
    armingCountdown_ = seconds;
    setArmedState(ArmState::arming);
    countdownTimer_->start(1s, 1s);
}

void RecordingManager::countdown() {
    if (armingCountdown_ == std::numeric_limits<qint64>::min()) {
        qFatal("The arming countdown underflowed");
    }
    armingCountdown_ -= 1;
    if (armingCountdown_ > 0) {
        Q_EMIT armedStateDescriptionChanged();
        return;
    }
    // At 0 the state change itself is the notice: "Arming… 0" is never shown.
    countdownTimer_->stop();
    setArmedState(ArmState::armed);
    if (test_.running()) {
        continueTest();
    }
}

void RecordingManager::setArmedState(std::optional<ArmState> state) {
    const std::optional<ArmState> old = armedState_;
    armedState_ = state;
    // The state-change step, in this order: the observable mirror, keeping
    // awake, the in-recording timer and notices, the armed-stretch bookkeeping.
    Q_EMIT armedStateRawChanged();
    Q_EMIT armedStateDescriptionChanged();
    updateKeepAwake();
    files_.followState();
    updateStretch(old, state);
    files_.listing().refresh();
}

void RecordingManager::disarm(bool keepNotices) {
    Q_ASSERT(MainThread::isCurrent());
    countdownTimer_->stop();
    const bool wasRecording = armedState_ == ArmState::recording;
    if (test_.running() && !keepNotices) {
        test_.cancel();
    }
    setArmedState(ArmState::unarmed);
    if (armedBySchedule_ || armedByFocus_) {
        armedBySchedule_ = false;
        armedByFocus_ = false;
        Q_EMIT armedByChanged();
    }
    ArmedRecord::remove(defaults_);
    files_.forgetCurrent();
    gaps_.clear();
    if (!keepNotices) {
        files_.clearNotices();
    }
    if (wasRecording) {
        files_.stopRecorders();
    }
}

void RecordingManager::armAtLaunch() {
    const bool wanted = armAtLaunchForThisRun_ || defaults_.boolValue(SettingsKeys::armAtLogin);
    if (armedAtLaunch_ || !wanted || armedState_ != ArmState::unarmed || !ruleCanArm()) {
        return;
    }
    armedAtLaunch_ = true;
    armByRule(ArmingCause::launch, launchArmCountdown);
}

// The arms Nelvo makes by itself; the application tells the user why.
void RecordingManager::armByRule(ArmingCause cause, int countdownSeconds) {
    arm(countdownSeconds);
    if (onArmedAtLaunch) {
        onArmedAtLaunch(cause);
    }
}

void RecordingManager::focusChanged(bool on) {
    if (!on) {
        if (armedByFocus_) {
            disarm();
        }
        return;
    }
    if (armedState_ != ArmState::unarmed || !ruleCanArm()) {
        return;
    }
    armedByFocus_ = true;
    Q_EMIT armedByChanged();
    armByRule(ArmingCause::focus, focusArmCountdown);
}

void RecordingManager::disarmWhenNothingCanTrigger() {
    if (armedState_.value_or(ArmState::unarmed) == ArmState::unarmed) {
        return;
    }
    if (!ruleCanArm()) {
        disarm();
    }
}

void RecordingManager::devicesChanged() {
    disarmWhenNothingCanTrigger();
    launchRecovery();
    armAtLaunch();
    evaluateSchedule(now());
}

void RecordingManager::settingsChanged() {
    disarmWhenNothingCanTrigger();
    reloadSchedule();
    files_.reloadFolderWhenChosenAnew();
}

void RecordingManager::startTestRecording() {
    Q_ASSERT(MainThread::isCurrent());
    const ArmState state = armedState_.value_or(ArmState::unarmed);
    if (test_.running() || state == ArmState::arming || state == ArmState::recording ||
        (state == ArmState::unarmed && !canTrigger())) {
        return;
    }
    test_.begin(state == ArmState::unarmed);
    if (state == ArmState::unarmed) {
        arm(TestRecording::armCountdown(defaults_));
        if (armedState_ != ArmState::armed) {
            return;  // continues when the countdown reaches 0
        }
    }
    continueTest();
}

void RecordingManager::continueTest() {
    test_.awaitFiles();
    if (onTestRecordingWanted) {
        onTestRecordingWanted();
    }
}

void RecordingManager::endTest() {
    if (!test_.running()) {
        return;
    }
    if (test_.end()) {
        stretchSuppressed_ = true;
        disarm(true);
        stretchSuppressed_ = false;
    }
}

// Recording control.

// The files' news as it concerns the armed state and the test recording.
void RecordingManager::followFiles() {
    freeSpace = files_.freeSpace;
    files_.freeSpace = [this] { return freeSpace(); };
    files_.isRecording = [this] { return armedState_ == ArmState::recording; };
    files_.onStarting = [this](int count) {
        setArmedState(ArmState::recording);
        stretches_.noteRecording();
        if (test_.running()) {
            test_.filesOpened(count);
        }
    };
    files_.onFileDone = [this](const QString& filePath, const std::optional<Error>& error) {
        if (!test_.running()) {
            return;
        }
        if (!error && test_.reveal() && onTestRecordingFinished) {
            onTestRecordingFinished(filePath);
        }
        if (test_.fileDone()) {
            endTest();
        }
    };
    files_.onRecordingEnded = [this] { setArmedState(ArmState::armed); };
    files_.onRecordingsFinished = [this] {
        if (onRecordingsFinished) {
            onRecordingsFinished();
        }
    };
    files_.onFailureChanged = [this] { Q_EMIT recordingFailureChanged(); };
    files_.onDeletedChanged = [this] { Q_EMIT deletedChanged(); };
}

void RecordingManager::startRecordings(const std::vector<RecordingTarget>& targets) {
    Q_ASSERT(MainThread::isCurrent());
    if (armedState_ != ArmState::armed || targets.empty() || !files_.start(targets)) {
        endTest();
    }
}

void RecordingManager::stopRecording() {
    if (armedState_ != ArmState::recording) {
        return;
    }
    setArmedState(ArmState::armed);
    // Emptied first: the files' completions then take the success branch of
    // the failure step and do not return the state a second time.
    files_.forgetCurrent();
    files_.stopRecorders();
}

// Schedule, crash recovery, keep-awake and armed-stretch steps.

std::optional<QDateTime> RecordingManager::nextScheduleStart() const {
    return schedule_.nextStart(now());
}

bool RecordingManager::scheduleOn() const {
    return schedule_.enabled();
}

void RecordingManager::updateKeepAwake() {
    if (awake_.update(armedState_, scheduleOn(), nextScheduleStart().has_value())) {
        Q_EMIT keepAwakeReasonChanged();
    }
}

void RecordingManager::updateStretch(std::optional<ArmState> oldState,
                                     std::optional<ArmState> newState) {
    const bool wasArmed = oldState.value_or(ArmState::unarmed) != ArmState::unarmed;
    const bool isArmed = newState.value_or(ArmState::unarmed) != ArmState::unarmed;
    if (wasArmed && !isArmed) {
        stretches_.end(now(), stretchSuppressed_);
    }
}

void RecordingManager::launchRecovery() {
    const QDateTime at = now();
    const std::optional<Recovery> recovery = gaps_.recoverAtLaunch(schedule_.contains(at));
    if (!recovery) {
        return;
    }
    if (recovery->rearm && armedState_.value_or(ArmState::unarmed) == ArmState::unarmed) {
        armedAtLaunch_ = true;
        armedBySchedule_ = recovery->bySchedule;
        Q_EMIT armedByChanged();
        armByRule(ArmingCause::crash, crashRearmCountdown);
    }
    gaps_.quitUnexpectedly(recovery->gapStart, at);
}

void RecordingManager::evaluateSchedule(const QDateTime& at) {
    const bool unarmed = armedState_.value_or(ArmState::unarmed) == ArmState::unarmed;
    switch (schedule_.evaluate(at, unarmed, armedBySchedule_, ruleCanArm())) {
        case ScheduleRunner::Step::arm:
            armedBySchedule_ = true;
            Q_EMIT armedByChanged();
            armByRule(ArmingCause::schedule, scheduleArmCountdown);
            break;
        case ScheduleRunner::Step::disarm:
            disarm();
            break;
        case ScheduleRunner::Step::none:
            break;
    }
    if (scheduleOn() && armedState_.value_or(ArmState::unarmed) == ArmState::unarmed) {
        bumpScheduleGeneration();  // "Unarmed until …" is recomputed every minute
    }
    writeHeartbeat(at);
}

void RecordingManager::reloadSchedule() {
    if (!schedule_.reload(defaults_)) {
        return;
    }
    Q_EMIT scheduleGenerationChanged();
    Q_EMIT armedStateDescriptionChanged();
    updateKeepAwake();
    evaluateSchedule(now());
}

void RecordingManager::writeHeartbeat(const QDateTime& at) {
    if (armedState_.value_or(ArmState::unarmed) == ArmState::unarmed) {
        return;
    }
    ArmedRecord{at, armedBySchedule_}.store(defaults_);
}

void RecordingManager::bumpScheduleGeneration() {
    schedule_.bumpGeneration();
    Q_EMIT scheduleGenerationChanged();
    Q_EMIT armedStateDescriptionChanged();
}

std::optional<ArmedStretch> RecordingManager::lastStretch() const {
    return ArmedStretch::last(defaults_);
}

// The stretch's events are gathered afresh from the folder, on the
// time-lapse's own queue.
bool RecordingManager::makeTimeLapse() {
    const std::optional<ArmedStretch> stretch = lastStretch();
    if (!stretch) {
        return false;
    }
    const QString folder = files_.fileOutputManager().nelvoPath();
    const double preRoll =
        SettingsKeys::clampedPreRollSeconds(defaults_.real(SettingsKeys::preRollSeconds));
    return timeLapse_.start({*stretch, {}, folder, QTimeZone::systemTimeZone(), QLocale::system()},
                            [folder, stretch = *stretch, preRoll] {
                                return WhatHappened::eventsOf(
                                    FileOutputManager::recordingsIn(folder), stretch, preRoll);
                            });
}

void RecordingManager::setSleepInhibitor(SleepInhibitor* inhibitor) {
    awake_.setInhibitor(inhibitor);
    updateKeepAwake();
}

void RecordingManager::willSleep() {
    if (armedState_.value_or(ArmState::unarmed) != ArmState::unarmed) {
        gaps_.sleptAt(now());
    }
}

// Timers stood still during the sleep: the minute ticks are put back on the
// wall clock's minutes.
void RecordingManager::didWake() {
    const QDateTime at = now();
    minuteTimer_.align();
    evaluateSchedule(at);
    if (const std::optional<QDateTime> from = gaps_.woke()) {
        reportGap(*from, at);
    }
}

void RecordingManager::cleanQuit() {
    timeLapse_.cancel();
    ArmedRecord::remove(defaults_);
    if (armedState_.value_or(ArmState::unarmed) != ArmState::unarmed) {
        stretches_.end(now(), false);
    }
}

void RecordingManager::reportGap(const QDateTime& from, const QDateTime& until) {
    if (armedState_.value_or(ArmState::unarmed) == ArmState::unarmed) {
        return;
    }
    gaps_.notWatching(from, until);
}
