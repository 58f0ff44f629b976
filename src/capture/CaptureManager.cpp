#include "CaptureManager.h"

#include "CaptureError.h"
#include "Clock.h"
#include "Log.h"
#include "MainThread.h"

#include <QMetaObject>
#include <algorithm>

CaptureManager::CaptureManager(Defaults& defaults, Clock& clock,
                               CaptureManagerRecordingController& controller,
                               std::unique_ptr<CaptureDevices> devices, QObject* parent)
    : QObject(parent),
      clock_(clock),
      controller_(controller),
      pipelineEvents_(
          std::make_shared<PipelineEvents>(static_cast<CameraPipelineDelegate&>(*this))),
      devices_(std::move(devices)),
      follower_(defaults, *devices_, sessionQueue_, *this),
      pendingStop_(clock.makeTimer([this] { updateCapture(); })),
      inUse_(
          controller, activityDelegate_, settingsDelegate_,
          [this](int index) { motionHealth_.forget(index); },
          [this] { Q_EMIT devicesConfigured(); }),
      motionHealth_(
          clock, controller, [this](int index) { return inUse_.pipeline(index).camera != nullptr; },
          [this](bool stopped) {
              if (activityDelegate_) {
                  activityDelegate_->motionDetectionStoppedChanged(stopped);
              }
          }),
      trigger_(*this, defaults, clock, controller, inUse_,
               [this](int index) { return recorders_[index]; }),
      previews_(*this,
                [this](int index, const PreviewFrame& frame) {
                    if (previewDelegate_) {
                        previewDelegate_->previewImage(index, frame);
                    }
                }),
      measurements_(*this,
                    [this](int index, std::int64_t count, double level, double peak) {
                        motionMeasuredOnMain(index, count, level, peak);
                    }),
      restartTask_(clock.makeTimer([this] { restartAfterBackOff(); })) {
    for (int i = 0; i < pipelineCount; ++i) {
        recorders_[i] = std::make_shared<PreRollRecorder>(defaults);
        sinks_[i] = std::make_unique<RecorderSink>(*recorders_[i]);
        pipelines_[i] = std::make_unique<CameraPipeline>(defaults, *sinks_[i], nullptr, nullptr);
        pipelines_[i]->setDelegate(pipelineEvents_);
    }
    meter_ = std::make_unique<SoundMeter>(
        defaults, [this] { return pipelines_[0]->audioLevel(); },
        [this](double meter) {
            if (activityDelegate_) {
                activityDelegate_->soundLevel(meter);
            }
            Q_EMIT soundLevelReported(meter);
        },
        [this] { trigger(); });
}

CaptureManager::~CaptureManager() {
    pipelineEvents_->close();
    meter_.reset();
    devices_->stop();
    sessionQueue_.sync([this] {
        sessionsWanted_ = false;
        for (auto& pipeline : pipelines_) {
            pipeline->stopRunning();
        }
    });
}

void CaptureManager::setUp() {
    sessionQueue_.async([this] {
        if (!devices_->start(sessionQueue_, follower_)) {
            setupResult_ = SessionSetupResult::configurationFailed;
        }
        configureWithChoices();
    });
}

void CaptureManager::reconfigure() {
    sessionQueue_.async([this] { configureWithChoices(); });
}

void CaptureManager::listDevices() {
    sessionQueue_.async([this] { devicesListed(); });
}

// ---- Session queue ----------------------------------------------------------

void CaptureManager::configureWithChoices() {
    configureWith(follower_.chosen(), false);
}

DeviceSet CaptureManager::devicesInUse() const {
    return {pipelines_[0]->camera(), pipelines_[1]->camera(),
            follower_.microphoneIsLost() ? nullptr : pipelines_[0]->microphone()};
}

// A pipeline whose devices stay the same keeps its session running
// undisturbed (a movie it is writing loses nothing), unless `rebuild` asks
// for every session to be made anew.
void CaptureManager::configureWith(const DeviceSet& devices, bool rebuild) {
    const std::array<std::shared_ptr<CaptureSource>, pipelineCount> cameras{devices.camera,
                                                                            devices.secondCamera};
    const std::array<std::shared_ptr<CaptureSource>, pipelineCount> microphones{devices.microphone,
                                                                                nullptr};
    for (int i = 0; i < pipelineCount; ++i) {
        CameraPipeline& pipeline = *pipelines_[i];
        const bool lostMicrophone = i == 0 && follower_.microphoneIsLost();
        if (!rebuild && configured_[i] && pipeline.camera() == cameras[i] &&
            pipeline.microphone() == microphones[i] && !lostMicrophone) {
            continue;
        }
        if (i == 0) {
            follower_.microphoneConfigured();
        }
        pipeline.setDevices(cameras[i], microphones[i]);
        if (pipeline.camera() || pipeline.microphone()) {
            configured_[i] = pipeline.configure();
        } else {
            pipeline.stopRunning();
            configured_[i] = false;
        }
    }
    if (sessionsWanted_) {
        startSessions();
    }
    publishDevices();
}

void CaptureManager::startSessions() {
    sessionsWanted_ = true;
    for (int i = 0; i < pipelineCount; ++i) {
        if (configured_[i] && !pipelines_[i]->isRunning()) {
            pipelines_[i]->startRunning();
        }
    }
    publishDevices();
}

void CaptureManager::stopSessions() {
    sessionsWanted_ = false;
    for (auto& pipeline : pipelines_) {
        pipeline->stopRunning();
    }
    publishDevices();
}

// After a runtime error: stop, reconfigure with the same devices, start.
void CaptureManager::restartSessions() {
    const bool wanted = sessionsWanted_;
    for (auto& pipeline : pipelines_) {
        pipeline->stopRunning();
    }
    configureWith(devicesInUse(), true);
    if (wanted) {
        startSessions();
    }
}

// After a refusal, when the permission may have come back: the refused
// sessions are stopped first, so that nothing they still report counts
// against the new ones, and every session is made anew.
void CaptureManager::tryCaptureAgain(const DeviceSet& devices) {
    for (auto& pipeline : pipelines_) {
        pipeline->stopRunning();
    }
    setupResult_ = SessionSetupResult::success;
    configureWith(devices, true);
    updateCapture();
}

// Hands the devices in use to the main thread, where the recording
// controller and the delegates hear of them.
void CaptureManager::publishDevices() {
    DevicesInUse::Pipelines inUse;
    for (int i = 0; i < pipelineCount; ++i) {
        inUse[i] = {pipelines_[i]->camera(),
                    i == 0 && follower_.microphoneIsLost() ? nullptr : pipelines_[i]->microphone(),
                    configured_[i] && pipelines_[i]->isRunning()};
    }
    const auto cameras = follower_.listed(DeviceKind::video);
    const auto microphones = follower_.listed(DeviceKind::audio);
    QMetaObject::invokeMethod(
        this,
        [this, inUse, cameras, microphones] {
            // A camera that went away did not stop delivering: a pipeline
            // whose camera changed starts its health bookkeeping afresh.
            inUse_.configured(inUse, cameras, microphones);
        },
        Qt::QueuedConnection);
}

// The device lists alone, for the settings window's menus.
void CaptureManager::devicesListed() {
    const auto cameras = follower_.listed(DeviceKind::video);
    const auto microphones = follower_.listed(DeviceKind::audio);
    QMetaObject::invokeMethod(
        this, [this, cameras, microphones] { inUse_.listed(cameras, microphones); },
        Qt::QueuedConnection);
}

// ---- Capture on and off (main thread) ---------------------------------------

void CaptureManager::armedStateChanged() {
    if (!MainThread::isCurrent()) {
        QMetaObject::invokeMethod(
            this, [this] { armedStateChanged(); }, Qt::QueuedConnection);
        return;
    }
    const bool unarmed = controller_.armedStateRaw() == CaptureManagerRecordingController::unarmed;
    const bool arming = wasUnarmed_ && !unarmed;
    wasUnarmed_ = unarmed;
    if (arming && setupResult_ == SessionSetupResult::notAuthorized) {
        Log::line(QStringLiteral("Trying capture again"));
        sessionQueue_.async([this] { tryCaptureAgain(devicesInUse()); });
    }
    updateCapture();
}

void CaptureManager::setPopoverOpen(bool open) {
    popoverOpen_ = open;
    updateCapture();
}

void CaptureManager::setPreviewOpen(bool open) {
    previewOpen_ = open;
    for (auto& pipeline : pipelines_) {
        pipeline->setWantsPreview(open);
    }
    if (!open) {
        previews_.clear();
    }
    updateCapture();
}

void CaptureManager::updateCapture() {
    if (!MainThread::isCurrent()) {
        QMetaObject::invokeMethod(
            this, [this] { updateCapture(); }, Qt::QueuedConnection);
        return;
    }
    const std::optional<int> state = controller_.armedStateRaw();
    if (!state) {
        qFatal("The armed state is missing");
    }
    const bool needed =
        *state != CaptureManagerRecordingController::unarmed || popoverOpen_ || previewOpen_;
    if (needed) {
        pendingStop_->stop();
        // Only stopping works without a successful setup.
        if (!capturing_ && setupResult_ == SessionSetupResult::success) {
            startCapture();
        }
        return;
    }
    if (capturing_ && !pendingStop_->isActive()) {
        stopCapture();
    }
}

void CaptureManager::startCapture() {
    capturing_ = true;
    trigger_.captureStarted();
    motionHealth_.start();
    sessionQueue_.async([this] { startSessions(); });
    meter_->start();
    Q_EMIT capturingChanged();
}

bool CaptureManager::anyMovieOpen() const {
    return std::any_of(recorders_.begin(), recorders_.end(),
                       [](const auto& recorder) { return recorder->hasOpenMovie(); });
}

void CaptureManager::stopCapture() {
    if (anyMovieOpen()) {
        pendingStop_->start(pendingStopDelay);
        return;
    }
    capturing_ = false;
    stopMeter();
    motionHealth_.stop();
    sessionQueue_.async([this] { stopSessions(); });
    Q_EMIT capturingChanged();
}

bool CaptureManager::captureStopPending() const {
    return pendingStop_->isActive();
}

// ---- Measurements and motion health ----------------------------------------

int CaptureManager::indexOf(const CameraPipeline& pipeline) const {
    return pipelines_[1].get() == &pipeline ? 1 : 0;
}

void CaptureManager::motionMeasured(CameraPipeline& pipeline, double level, bool triggered) {
    if (triggered) {
        trigger();
    }
    measurements_.measured(indexOf(pipeline), level);
}

void CaptureManager::previewImage(CameraPipeline& pipeline, const PreviewFrame& frame) {
    previews_.offer(indexOf(pipeline), frame);
}

void CaptureManager::motionMeasuredOnMain(int index, std::int64_t count, double level,
                                          double peak) {
    if (count == 0) {
        return;
    }
    trigger_.framesMeasured(index, count);
    restartBackOffs_[index].delivered(count);
    motionHealth_.measured(index);
    if (activityDelegate_) {
        activityDelegate_->motionLevel(index, level);
    }
    Q_EMIT motionLevelReported(index, peak);
}

// ---- Session errors ----------------------------------------------------------

void CaptureManager::sessionError(CameraPipeline& pipeline, std::optional<Error> error) {
    const int index = indexOf(pipeline);
    if (error && CaptureError::isRefusal(*error)) {
        setupResult_ = SessionSetupResult::notAuthorized;
        Log::line(QStringLiteral("Capture was refused: ") + error->description);
        return;
    }
    // After a refusal the session's further errors are its consequences;
    // restarting would only be refused again.
    if (setupResult_ != SessionSetupResult::success) {
        return;
    }
    Log::line(QStringLiteral("Capture session error, restarting: ") +
              (error ? error->description : QStringLiteral("unknown")));
    QMetaObject::invokeMethod(
        this, [this, index] { scheduleRestart(index); }, Qt::QueuedConnection);
}

// The microphone failed while the camera goes on (its sound server went away).
void CaptureManager::microphoneError(CameraPipeline&, std::optional<Error> error) {
    sessionQueue_.async([this, error] { follower_.microphoneFailed(error); });
}

// Main thread. One restart at a time: errors reported until it has been
// carried out are the failing session's own and belong to that restart.
void CaptureManager::scheduleRestart(int index) {
    if (restartPending_ || setupResult_ != SessionSetupResult::success) {
        return;
    }
    restartPending_ = true;
    restartTask_->start(restartBackOffs_[index].failed(clock_.now()));
}

void CaptureManager::restartAfterBackOff() {
    sessionQueue_.async([this] {
        if (setupResult_ == SessionSetupResult::success) {
            restartSessions();
        }
        QMetaObject::invokeMethod(
            this, [this] { restartPending_ = false; }, Qt::QueuedConnection);
    });
}

void CaptureManager::stopMeter() {
    if (!meter_->running()) {
        return;
    }
    meter_->stop();
    if (activityDelegate_) {
        activityDelegate_->soundMeterStopped();
    }
}
