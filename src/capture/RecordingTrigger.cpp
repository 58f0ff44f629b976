#include "RecordingTrigger.h"

#include "Clock.h"
#include "Defaults.h"
#include "MainThread.h"
#include "SettingsKeys.h"
#include "Timer.h"

#include <QMetaObject>
#include <algorithm>

RecordingTrigger::RecordingTrigger(QObject& context, Defaults& defaults, Clock& clock,
                                   CaptureManagerRecordingController& controller,
                                   const DevicesInUse& inUse, Recorders recorders)
    : context_(context),
      defaults_(defaults),
      clock_(clock),
      controller_(controller),
      inUse_(inUse),
      recorders_(std::move(recorders)) {}

RecordingTrigger::~RecordingTrigger() = default;

void RecordingTrigger::trigger() {
    if (MainThread::isCurrent()) {
        triggerNow();
        return;
    }
    if (!triggerPosted_.exchange(true)) {
        QMetaObject::invokeMethod(
            &context_,
            [this] {
                triggerPosted_ = false;
                triggerNow();
            },
            Qt::QueuedConnection);
    }
}

void RecordingTrigger::triggerNow() {
    const std::optional<int> state = controller_.armedStateRaw();
    if (state == CaptureManagerRecordingController::armed) {
        startRecording();
        scheduleStop();
    } else if (state == CaptureManagerRecordingController::recording) {
        scheduleStop();
    }
}

void RecordingTrigger::startRecording() {
    std::vector<RecordingTarget> targets;
    for (int i = 0; i < DevicesInUse::pipelineCount; ++i) {
        const DevicesInUse::Pipeline& pipeline = inUse_.pipeline(i);
        if (!pipeline.running || (!pipeline.camera && !pipeline.microphone)) {
            continue;
        }
        targets.push_back(
            {recorders_(i), pipeline.camera ? std::optional(pipeline.camera->name()) : std::nullopt,
             pipeline.microphone ? std::optional(pipeline.microphone->name()) : std::nullopt});
    }
    if (!targets.empty()) {
        controller_.startRecordings(targets);
    }
}

void RecordingTrigger::scheduleStop() {
    if (stopTecordingTask_) {
        stopTecordingTask_->stop();
    }
    stopTecordingTask_ = clock_.makeTimer([this] { controller_.stopRecording(); });
    const auto timeout = std::clamp<qint64>(defaults_.integer(SettingsKeys::timeoutValueInSeconds),
                                            0, maximumTimeoutSeconds);
    stopTecordingTask_->start(std::chrono::seconds(timeout));
}

bool RecordingTrigger::stopPending() const {
    return stopTecordingTask_ && stopTecordingTask_->isActive();
}

void RecordingTrigger::recordTest() {
    if (controller_.armedStateRaw() != CaptureManagerRecordingController::armed) {
        return;
    }
    if (!framesReady()) {
        testWaitsForFrames_ = true;
        return;
    }
    triggerNow();
}

bool RecordingTrigger::framesReady() const {
    std::vector<int> withCamera;
    bool anyRunning = false;
    for (int i = 0; i < DevicesInUse::pipelineCount; ++i) {
        const DevicesInUse::Pipeline& pipeline = inUse_.pipeline(i);
        anyRunning = anyRunning || pipeline.running;
        if (pipeline.running && pipeline.camera) {
            withCamera.push_back(i);
        }
    }
    if (withCamera.empty()) {
        return anyRunning;
    }
    return std::all_of(withCamera.begin(), withCamera.end(),
                       [this](int i) { return framesSeen(i) >= 1; });
}

void RecordingTrigger::framesMeasured(int index, std::int64_t count) {
    if (static_cast<int>(framesSeen_.size()) <= index) {
        framesSeen_.resize(index + 1, 0);
    }
    framesSeen_[index] += count;
    if (testWaitsForFrames_ && framesReady()) {
        testWaitsForFrames_ = false;
        recordTest();
    }
}

std::int64_t RecordingTrigger::framesSeen(int index) const {
    return index < static_cast<int>(framesSeen_.size()) ? framesSeen_[index] : 0;
}
