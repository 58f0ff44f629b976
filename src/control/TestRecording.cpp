#include "TestRecording.h"

#include "Clock.h"
#include "Defaults.h"
#include "SettingsKeys.h"

#include <algorithm>
#include <cmath>
#include <utility>

TestRecording::TestRecording(Clock& clock, std::function<void()> onDeadline)
    : deadline_(clock.makeTimer(std::move(onDeadline))) {}

TestRecording::~TestRecording() = default;

int TestRecording::armCountdown(const Defaults& defaults) {
    const double preRoll =
        SettingsKeys::clampedPreRollSeconds(defaults.real(SettingsKeys::preRollSeconds));
    return std::max(minimumArmCountdown, static_cast<int>(std::ceil(preRoll)));
}

void TestRecording::setRunning(bool running) {
    if (running_ == running) {
        return;
    }
    running_ = running;
    if (onRunningChanged) {
        onRunningChanged();
    }
}

void TestRecording::begin(bool armsItself) {
    revealed_ = false;
    armedItself_ = armsItself;
    setRunning(true);
}

void TestRecording::awaitFiles() {
    deadline_->start(std::chrono::seconds(deadlineSeconds));
}

void TestRecording::filesOpened(int count) {
    deadline_->stop();
    pendingFiles_ = count;
}

bool TestRecording::reveal() {
    return !std::exchange(revealed_, true);
}

bool TestRecording::fileDone() {
    pendingFiles_ -= 1;
    return pendingFiles_ < 1;
}

bool TestRecording::end() {
    pendingFiles_ = 0;
    deadline_->stop();
    setRunning(false);
    return std::exchange(armedItself_, false);
}

void TestRecording::cancel() {
    armedItself_ = false;
    end();
}
