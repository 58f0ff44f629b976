#include "RecordingManager.h"

#include "Clock.h"
#include "Defaults.h"
#include "MainThread.h"
#include "SettingsKeys.h"

#include <QLocale>
#include <cmath>
#include <limits>

using namespace std::chrono_literals;

RecordingManager::RecordingManager(Defaults& defaults, Clock& clock, QObject* parent)
    : QObject(parent),
      defaults_(defaults),
      clock_(clock),
      countdownTimer_(clock.makeTimer([this] { countdown(); })),
      testDeadline_(clock.makeTimer([this] { endTest(); })) {
    connect(&defaults_, &Defaults::changed, this, &RecordingManager::settingsChanged);
}

RecordingManager::~RecordingManager() = default;

QDateTime RecordingManager::now() const {
    return clock_.now();
}

QVariant RecordingManager::armedStateRaw() const {
    return armedState_ ? QVariant(static_cast<int>(*armedState_)) : QVariant();
}

QString RecordingManager::armedStateDescription() const {
    switch (armedState_.value_or(ArmState::unarmed)) {
        case ArmState::arming:
            //: Armed state; the argument is the countdown in seconds
            return tr("Arming… %1").arg(armingCountdown_);
        case ArmState::unarmed:
            if (scheduleOn()) {
                if (const auto start = nextScheduleStart()) {
                    //: Armed state between schedule windows; the argument is when the next window
                    //: starts
                    return tr("Unarmed until %1").arg(scheduleBoundaryText(*start, now()));
                }
            }
            return tr("Unarmed");
        case ArmState::armed:
            if (armedBySchedule_) {
                if (const auto end = currentScheduleWindowEnd()) {
                    //: Armed state; the argument is when the window ends
                    return tr("Armed on schedule until %1").arg(scheduleBoundaryText(*end, now()));
                }
            }
            if (armedByFocus_) {
                //: Armed state while a Focus Filter armed it
                return tr("Armed by Focus");
            }
            return tr("Armed");
        case ArmState::recording:
            return tr("Recording");
    }
    return {};
}

StateColor RecordingManager::armedStateColor() const {
    switch (armedState_.value_or(ArmState::unarmed)) {
        case ArmState::unarmed:
            return StateColor::label;
        case ArmState::arming:
            return StateColor::orange;
        case ArmState::armed:
        case ArmState::recording:
            return StateColor::red;
    }
    return StateColor::label;
}

QString RecordingManager::armedButtonText() const {
    if (armedState_.value_or(ArmState::unarmed) == ArmState::unarmed) {
        //: Popover button
        return tr("Arm");
    }
    //: Popover button
    return tr("Disarm");
}

QString RecordingManager::scheduleBoundaryText(const QDateTime& boundary, const QDateTime& now) {
    const QLocale locale;
    const QString time = locale.toString(boundary.time(), QLocale::ShortFormat);
    const qint64 days = now.date().daysTo(boundary.date());
    if (days == 0) {
        return time;
    }
    if (days == 1) {
        //: When a schedule window ends; the argument is a time
        return tr("%1 tomorrow").arg(time);
    }
    //: When a schedule window ends; the arguments are a time and a weekday
    return tr("%1 on %2")
        .arg(time, locale.dayName(boundary.date().dayOfWeek(), QLocale::LongFormat));
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
    defaults_.set(SettingsKeys::armedRecordLastSeen, at);
    defaults_.set(SettingsKeys::armedRecordBySchedule, armedBySchedule_);
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
    if (isRecordingTest_) {
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
    updateDuringRecordingTimer();
    updateStretch(old, state);
}

void RecordingManager::disarm(bool keepNotices) {
    Q_ASSERT(MainThread::isCurrent());
    countdownTimer_->stop();
    if (isRecordingTest_ && !keepNotices) {
        testArmedItself_ = false;
        pendingTestFiles_ = 0;
        testDeadline_->stop();
        setRecordingTest(false);
    }
    setArmedState(ArmState::unarmed);
    if (armedBySchedule_ || armedByFocus_) {
        armedBySchedule_ = false;
        armedByFocus_ = false;
        Q_EMIT armedByChanged();
    }
    defaults_.remove(SettingsKeys::armedRecordLastSeen);
    defaults_.remove(SettingsKeys::armedRecordBySchedule);
}

void RecordingManager::armAtLaunch() {
    if (armedAtLaunch_ || !defaults_.boolValue(SettingsKeys::armAtLogin) ||
        armedState_ != ArmState::unarmed || !ruleCanArm()) {
        return;
    }
    armedAtLaunch_ = true;
    arm(launchArmCountdown);
    if (onArmedAtLaunch) {
        onArmedAtLaunch();
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
    arm(focusArmCountdown);
    if (onArmedAtLaunch) {
        onArmedAtLaunch();
    }
}

void RecordingManager::disarmWhenNothingCanTrigger() {
    if (armedState_.value_or(ArmState::unarmed) == ArmState::unarmed) {
        return;
    }
    const bool motion = defaults_.boolValue(SettingsKeys::motionTriggerEnabled) && cameraAvailable_;
    const bool sound =
        defaults_.boolValue(SettingsKeys::audioTriggerEnabled) && microphoneAvailable_;
    if (!motion && !sound) {
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
}

int RecordingManager::testArmCountdown() const {
    const double preRoll =
        SettingsKeys::clampedPreRollSeconds(defaults_.real(SettingsKeys::preRollSeconds));
    return std::max(minimumTestArmCountdown, static_cast<int>(std::ceil(preRoll)));
}

void RecordingManager::setRecordingTest(bool running) {
    if (isRecordingTest_ == running) {
        return;
    }
    isRecordingTest_ = running;
    Q_EMIT isRecordingTestChanged();
}

void RecordingManager::startTestRecording() {
    Q_ASSERT(MainThread::isCurrent());
    const ArmState state = armedState_.value_or(ArmState::unarmed);
    if (isRecordingTest_ || state == ArmState::arming || state == ArmState::recording ||
        (state == ArmState::unarmed && !canTrigger())) {
        return;
    }
    testRevealed_ = false;
    testArmedItself_ = state == ArmState::unarmed;
    setRecordingTest(true);
    if (state == ArmState::unarmed) {
        arm(testArmCountdown());
        if (armedState_ != ArmState::armed) {
            return;  // continues when the countdown reaches 0
        }
    }
    continueTest();
}

void RecordingManager::continueTest() {
    testDeadline_->start(std::chrono::seconds(testDeadlineSeconds));
    if (onTestRecordingWanted) {
        onTestRecordingWanted();
    }
}

void RecordingManager::endTest() {
    if (!isRecordingTest_) {
        return;
    }
    pendingTestFiles_ = 0;
    testDeadline_->stop();
    setRecordingTest(false);
    if (testArmedItself_) {
        testArmedItself_ = false;
        stretchSuppressed_ = true;
        disarm(true);
        stretchSuppressed_ = false;
    }
}

void RecordingManager::updateDuringRecordingTimer() {}

// Schedule, crash recovery, keep-awake and armed-stretch steps.

std::optional<QDateTime> RecordingManager::nextScheduleStart() const {
    return std::nullopt;
}

std::optional<QDateTime> RecordingManager::currentScheduleWindowEnd() const {
    return std::nullopt;
}

bool RecordingManager::scheduleOn() const {
    return false;
}

void RecordingManager::updateKeepAwake() {}

void RecordingManager::updateStretch(std::optional<ArmState>, std::optional<ArmState>) {}

void RecordingManager::launchRecovery() {}

void RecordingManager::evaluateSchedule(const QDateTime&) {}

void RecordingManager::reloadSchedule() {}
