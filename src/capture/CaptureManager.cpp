#include "CaptureManager.h"

#include "Clock.h"
#include "Defaults.h"
#include "Log.h"
#include "MainThread.h"
#include "SettingsKeys.h"

#include <QMetaObject>
#include <algorithm>

// The pipelines' delegate. Held weakly by the pipelines; forwards to the
// manager until the manager begins to go away.
class CaptureManager::PipelineEvents : public CameraPipelineDelegate {
public:
    explicit PipelineEvents(CaptureManager& manager) : manager_(manager) {}

    void motionMeasured(CameraPipeline& pipeline, double level, bool triggered) override {
        if (alive) {
            manager_.motionMeasured(indexOf(pipeline), level, triggered);
        }
    }
    void sessionError(CameraPipeline& pipeline, std::optional<Error> error) override {
        if (alive) {
            manager_.sessionError(indexOf(pipeline), error);
        }
    }
    void microphoneError(CameraPipeline&, std::optional<Error> error) override {
        if (alive) {
            manager_.microphoneError(error);
        }
    }
    void previewImage(CameraPipeline& pipeline, const PreviewFrame& frame) override {
        if (!alive) {
            return;
        }
        manager_.previewImageReady(indexOf(pipeline), frame);
    }

    std::atomic<bool> alive{true};

private:
    int indexOf(const CameraPipeline& pipeline) const {
        return manager_.pipelines_[1].get() == &pipeline ? 1 : 0;
    }
    CaptureManager& manager_;
};

CaptureManager::CaptureManager(Defaults& defaults, Clock& clock,
                               CaptureManagerRecordingController& controller,
                               std::unique_ptr<CaptureDevices> devices, QObject* parent)
    : QObject(parent),
      defaults_(defaults),
      clock_(clock),
      controller_(controller),
      pipelineEvents_(std::make_shared<PipelineEvents>(*this)),
      devices_(std::move(devices)),
      choice_(defaults, *devices_),
      pendingStop_(clock.makeTimer([this] { updateCapture(); })),
      motionHealth_(
          clock, controller, [this](int index) { return inUse_[index].camera != nullptr; },
          [this](bool stopped) {
              if (activityDelegate_) {
                  activityDelegate_->motionDetectionStoppedChanged(stopped);
              }
          }),
      restartTask_(clock.makeTimer([this] { restartAfterBackOff(); })) {
    for (int i = 0; i < pipelineCount; ++i) {
        recorders_[i] = std::make_shared<PreRollRecorder>(defaults);
        sinks_[i] = std::make_unique<RecorderSink>(*recorders_[i]);
        pipelines_[i] = std::make_unique<CameraPipeline>(defaults, *sinks_[i], nullptr, nullptr);
        pipelines_[i]->setDelegate(pipelineEvents_);
        lastLevel_[i] = 0;
        peakSinceLast_[i] = 0;
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
    pipelineEvents_->alive = false;
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
        if (!devices_->start(sessionQueue_, *this)) {
            setupResult_ = SessionSetupResult::configurationFailed;
        }
        configureWithChoices();
    });
}

// ---- Device choices -------------------------------------------------------

void CaptureManager::chooseCamera(const std::optional<QString>& uniqueID) {
    defaults_.set(SettingsKeys::selectedCameraID, uniqueID.value_or(QString()));
    if (!uniqueID) {
        defaults_.remove(SettingsKeys::secondCameraID);
    }
    defaults_.set(SettingsKeys::motionTriggerEnabled,
                  uniqueID ? defaults_.boolValue(SettingsKeys::motionTriggerEnabled) : false);
    reconfigure();
}

void CaptureManager::chooseSecondCamera(const std::optional<QString>& uniqueID) {
    if (uniqueID) {
        defaults_.set(SettingsKeys::secondCameraID, *uniqueID);
    } else {
        defaults_.remove(SettingsKeys::secondCameraID);
    }
    reconfigure();
}

void CaptureManager::chooseMicrophone(const QString& uniqueID) {
    defaults_.set(SettingsKeys::selectedMicrophoneID, uniqueID);
    reconfigure();
}

void CaptureManager::chooseNoMicrophone() {
    defaults_.set(SettingsKeys::selectedMicrophoneID, QString());
    defaults_.set(SettingsKeys::audioTriggerEnabled, false);
    reconfigure();
}

void CaptureManager::followSystemInput() {
    defaults_.remove(SettingsKeys::selectedMicrophoneID);
    reconfigure();
}

void CaptureManager::reconfigure() {
    sessionQueue_.async([this] { configureWithChoices(); });
}

void CaptureManager::listDevices() {
    sessionQueue_.async([this] { publishDeviceLists(); });
}

// ---- Session queue ----------------------------------------------------------

void CaptureManager::configureWithChoices() {
    configureWith(choice_.chosen());
}

DeviceSet CaptureManager::devicesInUse() const {
    return {pipelines_[0]->camera(), pipelines_[1]->camera(),
            microphoneLost_ ? nullptr : pipelines_[0]->microphone()};
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
        const bool lostMicrophone = i == 0 && microphoneLost_;
        if (!rebuild && configured_[i] && pipeline.camera() == cameras[i] &&
            pipeline.microphone() == microphones[i] && !lostMicrophone) {
            continue;
        }
        if (i == 0) {
            microphoneLost_ = false;
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
    std::array<InUse, pipelineCount> inUse;
    for (int i = 0; i < pipelineCount; ++i) {
        inUse[i] = {pipelines_[i]->camera(),
                    i == 0 && microphoneLost_ ? nullptr : pipelines_[i]->microphone(),
                    configured_[i] && pipelines_[i]->isRunning()};
    }
    const auto cameras = listed(DeviceKind::video);
    const auto microphones = listed(DeviceKind::audio);
    QMetaObject::invokeMethod(
        this,
        [this, inUse, cameras, microphones] {
            const bool changed = inUse[0].camera != inUse_[0].camera ||
                                 inUse[1].camera != inUse_[1].camera ||
                                 inUse[0].microphone != inUse_[0].microphone;
            // A camera that went away did not stop delivering: a pipeline
            // whose camera changed starts its health bookkeeping afresh.
            const std::array<InUse, pipelineCount> before = std::exchange(inUse_, inUse);
            for (int i = 0; i < pipelineCount; ++i) {
                if (inUse[i].camera != before[i].camera) {
                    motionHealth_.forget(i);
                }
            }
            if (!changed && configuredOnce_) {
                return;
            }
            configuredOnce_ = true;
            controller_.setCameraAvailable(inUse_[0].camera || inUse_[1].camera);
            controller_.setMicrophoneAvailable(inUse_[0].microphone != nullptr);
            auto name = [](const std::shared_ptr<CaptureSource>& source) {
                return source ? std::optional(source->name()) : std::nullopt;
            };
            if (activityDelegate_) {
                activityDelegate_->devicesInUse(name(inUse_[0].camera), name(inUse_[1].camera),
                                                name(inUse_[0].microphone));
            }
            if (settingsDelegate_) {
                settingsDelegate_->devicesListed(cameras, microphones);
            }
            controller_.devicesChanged();
            Q_EMIT devicesConfigured();
        },
        Qt::QueuedConnection);
}

std::vector<CaptureManagerSettingsDelegate::Device> CaptureManager::listed(DeviceKind kind) const {
    std::vector<CaptureManagerSettingsDelegate::Device> list;
    for (const auto& device : devices_->devices(kind)) {
        list.push_back({device->uniqueID(), device->name()});
    }
    return list;
}

// The device lists alone, for the settings window's menus.
void CaptureManager::publishDeviceLists() {
    const auto cameras = listed(DeviceKind::video);
    const auto microphones = listed(DeviceKind::audio);
    QMetaObject::invokeMethod(
        this,
        [this, cameras, microphones] {
            if (settingsDelegate_) {
                settingsDelegate_->devicesListed(cameras, microphones);
            }
        },
        Qt::QueuedConnection);
}

void CaptureManager::deviceConnected(const std::shared_ptr<CaptureSource>& device,
                                     DeviceKind kind) {
    const DeviceChange change = choice_.connected(device, kind, devicesInUse());
    if (setupResult_ == SessionSetupResult::notAuthorized) {
        Log::line(QStringLiteral("%1 connected, trying capture again").arg(device->name()));
        tryCaptureAgain(change.devices.value_or(devicesInUse()));
        return;
    }
    apply(change);
}

void CaptureManager::deviceDisconnected(const std::shared_ptr<CaptureSource>& device,
                                        DeviceKind kind) {
    apply(choice_.disconnected(device, kind, devicesInUse()));
}

void CaptureManager::defaultInputChanged() {
    apply(choice_.defaultInputChanged(devicesInUse()));
}

void CaptureManager::apply(const DeviceChange& change) {
    if (!change.line.isEmpty()) {
        Log::line(change.line);
    }
    if (change.devices) {
        configureWith(*change.devices);
    } else {
        // The devices in use stay, but the settings' menus list every device.
        publishDeviceLists();
    }
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
        // Gives the last pictures back to the pipelines' pools.
        for (PreviewSlot& slot : previewSlots_) {
            PreviewFrame dropped;
            std::lock_guard guard(slot.mutex);
            std::swap(dropped, slot.frame);
        }
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
    framesSeen_ = {};
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

// ---- Triggers and the stop schedule (main thread) ---------------------------

void CaptureManager::trigger() {
    if (MainThread::isCurrent()) {
        triggerNow();
        return;
    }
    // Coalesced: triggers piling up before the main thread's next turn act once.
    if (!triggerPosted_.exchange(true)) {
        QMetaObject::invokeMethod(
            this,
            [this] {
                triggerPosted_ = false;
                triggerNow();
            },
            Qt::QueuedConnection);
    }
}

void CaptureManager::triggerNow() {
    const std::optional<int> state = controller_.armedStateRaw();
    if (state == CaptureManagerRecordingController::armed) {
        startRecording();
        scheduleStop();
    } else if (state == CaptureManagerRecordingController::recording) {
        scheduleStop();
    }
}

void CaptureManager::startRecording() {
    std::vector<RecordingTarget> targets;
    for (int i = 0; i < pipelineCount; ++i) {
        const InUse& inUse = inUse_[i];
        if (!inUse.running || (!inUse.camera && !inUse.microphone)) {
            continue;
        }
        targets.push_back(
            {recorders_[i], inUse.camera ? std::optional(inUse.camera->name()) : std::nullopt,
             inUse.microphone ? std::optional(inUse.microphone->name()) : std::nullopt});
    }
    if (!targets.empty()) {
        controller_.startRecordings(targets);
    }
}

void CaptureManager::scheduleStop() {
    if (stopTecordingTask_) {
        stopTecordingTask_->stop();
    }
    stopTecordingTask_ = clock_.makeTimer([this] { controller_.stopRecording(); });
    const auto timeout = std::clamp<qint64>(defaults_.integer(SettingsKeys::timeoutValueInSeconds),
                                            0, maximumTimeoutSeconds);
    stopTecordingTask_->start(std::chrono::seconds(timeout));
}

bool CaptureManager::stopPending() const {
    return stopTecordingTask_ && stopTecordingTask_->isActive();
}

void CaptureManager::recordTest() {
    if (controller_.armedStateRaw() != CaptureManagerRecordingController::armed) {
        return;
    }
    if (!framesReady()) {
        testWaitsForFrames_ = true;
        return;
    }
    triggerNow();
}

bool CaptureManager::framesReady() const {
    std::vector<int> withCamera;
    bool anyRunning = false;
    for (int i = 0; i < pipelineCount; ++i) {
        anyRunning = anyRunning || inUse_[i].running;
        if (inUse_[i].running && inUse_[i].camera) {
            withCamera.push_back(i);
        }
    }
    if (withCamera.empty()) {
        return anyRunning;
    }
    return std::all_of(withCamera.begin(), withCamera.end(),
                       [this](int i) { return framesSeen_[i] >= 1; });
}

// ---- Measurements and motion health ----------------------------------------

void CaptureManager::motionMeasured(int index, double level, bool triggered) {
    if (triggered) {
        trigger();
    }
    measuredSinceLast_[index].fetch_add(1);
    lastLevel_[index] = level;
    double peak = peakSinceLast_[index].load();
    while (level > peak && !peakSinceLast_[index].compare_exchange_weak(peak, level)) {
    }
    if (!measurementPosted_[index].exchange(true)) {
        QMetaObject::invokeMethod(
            this,
            [this, index] {
                measurementPosted_[index] = false;
                motionMeasuredOnMain(index, measuredSinceLast_[index].exchange(0),
                                     lastLevel_[index], peakSinceLast_[index].exchange(0));
            },
            Qt::QueuedConnection);
    }
}

void CaptureManager::previewImageReady(int index, const PreviewFrame& frame) {
    PreviewSlot& slot = previewSlots_[index];
    PreviewFrame replaced = frame;
    {
        // Held only to swap a frame; the main thread never draws under it.
        std::lock_guard guard(slot.mutex);
        std::swap(replaced, slot.frame);
    }
    if (!slot.posted.exchange(true)) {
        QMetaObject::invokeMethod(
            this, [this, index] { previewImageOnMain(index); }, Qt::QueuedConnection);
    }
}

void CaptureManager::previewImageOnMain(int index) {
    PreviewSlot& slot = previewSlots_[index];
    slot.posted = false;
    PreviewFrame frame;
    {
        std::lock_guard guard(slot.mutex);
        std::swap(frame, slot.frame);
    }
    if (!frame.isNull() && previewDelegate_) {
        previewDelegate_->previewImage(index, frame);
    }
}

void CaptureManager::motionMeasuredOnMain(int index, std::int64_t count, double level,
                                          double peak) {
    if (count == 0) {
        return;
    }
    framesSeen_[index] += count;
    restartBackOffs_[index].delivered(count);
    if (testWaitsForFrames_ && framesReady()) {
        testWaitsForFrames_ = false;
        recordTest();
    }
    motionHealth_.measured(index);
    if (activityDelegate_) {
        activityDelegate_->motionLevel(index, level);
    }
    Q_EMIT motionLevelReported(index, peak);
}

// ---- Session errors ----------------------------------------------------------

void CaptureManager::sessionError(int index, const std::optional<Error>& error) {
    const bool refused = error && error->domain == Error::gstResourceDomain &&
                         error->code == GST_RESOURCE_ERROR_NOT_AUTHORIZED;
    if (refused) {
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

// The microphone failed while the camera goes on (its sound server went
// away): it is lost like an unplugged one, but its session is left running,
// so the movie being written keeps its picture without a gap. One loss
// reports several errors; the first one acts.
void CaptureManager::microphoneError(const std::optional<Error>& error) {
    sessionQueue_.async([this, error] {
        const std::shared_ptr<CaptureSource> lost = pipelines_[0]->microphone();
        if (!lost || microphoneLost_) {
            return;
        }
        Log::line(QStringLiteral("%1 failed: %2")
                      .arg(lost->name(), error ? error->description : QStringLiteral("unknown")));
        Log::line(choice_.disconnected(lost, DeviceKind::audio, devicesInUse()).line);
        microphoneLost_ = true;
        publishDevices();
        awaitMicrophone(lost);
    });
}

// Session queue. A microphone lost with its sound server is still listed,
// so nothing announces its return: it is opened on its own now and then, and
// once it opens it counts as connected again. Waiting ends when it is
// unplugged or another microphone is in use.
void CaptureManager::awaitMicrophone(const std::shared_ptr<CaptureSource>& lost) {
    sessionQueue_.asyncAfter(microphoneRetry, [this, lost] {
        const auto listed = devices_->devices(DeviceKind::audio);
        const auto present = std::find_if(listed.begin(), listed.end(), [&](const auto& device) {
            return device->uniqueID() == lost->uniqueID();
        });
        if (present == listed.end() || !microphoneLost_) {
            return;
        }
        GstHandle<GstElement> element = (*present)->makeElement();
        const bool opens = element && gst_element_set_state(element.get(), GST_STATE_READY) !=
                                          GST_STATE_CHANGE_FAILURE;
        if (element) {
            gst_element_set_state(element.get(), GST_STATE_NULL);
        }
        if (opens) {
            deviceConnected(*present, DeviceKind::audio);
        } else {
            awaitMicrophone(lost);
        }
    });
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
