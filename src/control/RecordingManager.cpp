#include "RecordingManager.h"

#include "ArmedRecord.h"
#include "ArmedStateText.h"
#include "Clock.h"
#include "Defaults.h"
#include "FileOutputManager.h"
#include "MainThread.h"
#include "SettingsKeys.h"

RecordingManager::RecordingManager(Defaults& defaults, Clock& clock, QObject* parent)
    : QObject(parent), defaults_(defaults), clock_(clock) {
    connect(&files_.listing(), &RecordingsListing::changed, this,
            &RecordingManager::recordingsChanged);
    // The one connection to the settings store's changes.
    connect(&defaults_, &Defaults::changed, this, &RecordingManager::settingsChanged);
    stretches_.onKept = [this] { Q_EMIT stretchGenerationChanged(); };
    test_.onRunningChanged = [this] { Q_EMIT isRecordingTestChanged(); };
    gaps_.isArmed = [this] { return !unarmed(); };
    gaps_.onChanged = [this] { Q_EMIT gapsChanged(); };
    followFiles();
    updateKeepAwake();
}

RecordingManager::~RecordingManager() = default;

QVariant RecordingManager::armedStateRaw() const {
    return armedState_ ? QVariant(static_cast<int>(*armedState_)) : QVariant();
}

QString RecordingManager::armedStateDescription() const {
    return ArmedStateText::description(armedState_, countdown_.remaining(), armedBySchedule_,
                                       armedByFocus_, schedule_, now());
}

void RecordingManager::setMotionDetectionStopped(bool stopped) {
    if (triggers_.motionDetectionStopped() == stopped) {
        return;
    }
    triggers_.setMotionDetectionStopped(stopped);
    Q_EMIT motionDetectionStoppedChanged();
}

void RecordingManager::armFromPopover() {
    Q_ASSERT(MainThread::isCurrent());
    if (!unarmed()) {
        disarm();
    } else if (canTrigger()) {
        arm(popoverArmCountdown);
    }
}

RecordingManager::ArmRequest RecordingManager::armFromShortcut() {
    Q_ASSERT(MainThread::isCurrent());
    if (!unarmed()) {
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
    countdown_.start(countdownSeconds);
    setArmedState(ArmState::arming);
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

// At 0 the state change itself is the notice: "Arming… 0" is never shown.
void RecordingManager::countedDown() {
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
    if (old.value_or(ArmState::unarmed) != ArmState::unarmed && unarmed()) {
        stretches_.end(now(), stretchSuppressed_);
    }
    files_.listing().refresh();
}

void RecordingManager::disarm(bool keepNotices) {
    Q_ASSERT(MainThread::isCurrent());
    countdown_.stop();
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
    if (armedAtLaunch_ || !wanted || armedState_ != ArmState::unarmed || !triggers_.ruleCanArm()) {
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
    if (armedState_ != ArmState::unarmed || !triggers_.ruleCanArm()) {
        return;
    }
    armedByFocus_ = true;
    Q_EMIT armedByChanged();
    armByRule(ArmingCause::focus, focusArmCountdown);
}

void RecordingManager::disarmWhenNothingCanTrigger() {
    if (!unarmed() && !triggers_.ruleCanArm()) {
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
        arm(TestRecording::armCountdown(defaults_));  // continues when the countdown reaches 0
    }
    if (armedState_ == ArmState::armed) {
        continueTest();
    }
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

void RecordingManager::updateKeepAwake() {
    if (awake_.update(armedState_, schedule_.enabled(), schedule_.nextStart(now()).has_value())) {
        Q_EMIT keepAwakeReasonChanged();
    }
}

void RecordingManager::launchRecovery() {
    const QDateTime at = now();
    const std::optional<Recovery> recovery = gaps_.recoverAtLaunch(schedule_.contains(at));
    if (!recovery) {
        return;
    }
    if (recovery->rearm && unarmed()) {
        armedAtLaunch_ = true;
        armedBySchedule_ = recovery->bySchedule;
        Q_EMIT armedByChanged();
        armByRule(ArmingCause::crash, crashRearmCountdown);
    }
    gaps_.quitUnexpectedly(recovery->gapStart, at);
}

void RecordingManager::evaluateSchedule(const QDateTime& at) {
    switch (schedule_.evaluate(at, unarmed(), armedBySchedule_, triggers_.ruleCanArm())) {
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
    if (schedule_.enabled() && unarmed()) {
        // "Unarmed until …" is recomputed every minute.
        schedule_.bumpGeneration();
        Q_EMIT scheduleGenerationChanged();
        Q_EMIT armedStateDescriptionChanged();
    }
    if (!unarmed()) {
        ArmedRecord{at, armedBySchedule_}.store(defaults_);  // the heartbeat
    }
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

bool RecordingManager::makeTimeLapse() {
    const std::optional<ArmedStretch> stretch = lastStretch();
    return stretch && timeLapse_.makeOf(*stretch, files_.fileOutputManager().nelvoPath(),
                                        SettingsKeys::clampedPreRollSeconds(
                                            defaults_.real(SettingsKeys::preRollSeconds)));
}

void RecordingManager::setSleepInhibitor(SleepInhibitor* inhibitor) {
    awake_.setInhibitor(inhibitor);
    updateKeepAwake();
}

// Timers stood still during the sleep: the minute ticks are put back on the
// wall clock's minutes.
void RecordingManager::didWake() {
    const QDateTime at = now();
    minuteTimer_.align();
    evaluateSchedule(at);
    if (const std::optional<QDateTime> from = gaps_.woke()) {
        gaps_.notWatching(*from, at);
    }
}

void RecordingManager::cleanQuit() {
    timeLapse_.cancel();
    ArmedRecord::remove(defaults_);
    if (!unarmed()) {
        stretches_.end(now(), false);
    }
}
