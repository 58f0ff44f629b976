#include "CaptureManager.h"

#include "Clock.h"
#include "Defaults.h"
#include "Log.h"
#include "MainThread.h"
#include "SettingsKeys.h"
#include "SoundLevel.h"

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
    void previewImage(CameraPipeline& pipeline, const QImage& image) override {
        if (!alive) {
            return;
        }
        const int index = indexOf(pipeline);
        QMetaObject::invokeMethod(
            &manager_,
            [manager = &manager_, index, image] {
                if (manager->previewDelegate_) {
                    manager->previewDelegate_->previewImage(index, image);
                }
            },
            Qt::QueuedConnection);
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
      pendingStop_(clock.makeTimer([this] { updateCapture(); })),
      motionHealthTimer_(clock.makeTimer([this] { checkMotionHealth(); })) {
    for (int i = 0; i < pipelineCount; ++i) {
        recorders_[i] = std::make_shared<PreRollRecorder>(defaults);
        sinks_[i] = std::make_unique<RecorderSink>(*recorders_[i]);
        pipelines_[i] = std::make_unique<CameraPipeline>(defaults, *sinks_[i], nullptr, nullptr);
        pipelines_[i]->setDelegate(pipelineEvents_);
        lastLevel_[i] = 0;
    }
}

CaptureManager::~CaptureManager() {
    pipelineEvents_->alive = false;
    ++meterGeneration_;
    devices_->stop();
    sessionQueue_.sync([this] {
        sessionsWanted_ = false;
        for (auto& pipeline : pipelines_) {
            pipeline->stopRunning();
        }
    });
    audioMeterQueue_.drain();
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

bool CaptureManager::shouldSwitch(const QString& connected, const std::optional<QString>& current,
                                  const std::optional<QString>& chosen) {
    if (!chosen) {
        return !current;
    }
    if (chosen->isEmpty()) {
        return false;
    }
    if (!current) {
        return true;
    }
    return connected == *chosen && *current != *chosen;
}

// ---- Session queue ----------------------------------------------------------

namespace {

std::optional<QString> storedID(const Defaults& defaults, const QString& key) {
    const std::optional<QString> value = defaults.string(key);
    return value;
}

std::optional<QString> idOf(const std::shared_ptr<CaptureSource>& source) {
    return source ? std::optional(source->uniqueID()) : std::nullopt;
}

}  // namespace

std::shared_ptr<CaptureSource> CaptureManager::findDevice(DeviceKind kind,
                                                          const QString& uniqueID) const {
    for (const auto& device : devices_->devices(kind)) {
        if (device->uniqueID() == uniqueID) {
            return device;
        }
    }
    return nullptr;
}

std::shared_ptr<CaptureSource> CaptureManager::chosenCamera() const {
    const std::optional<QString> chosen = storedID(defaults_, SettingsKeys::selectedCameraID);
    if (chosen && chosen->isEmpty()) {
        return nullptr;
    }
    if (chosen) {
        if (auto device = findDevice(DeviceKind::video, *chosen)) {
            return device;
        }
    }
    const auto cameras = devices_->devices(DeviceKind::video);
    return cameras.empty() ? nullptr : cameras.front();
}

std::shared_ptr<CaptureSource> CaptureManager::chosenSecondCamera(
    const std::shared_ptr<CaptureSource>& first) const {
    const std::optional<QString> chosen = storedID(defaults_, SettingsKeys::secondCameraID);
    if (!chosen || chosen->isEmpty() || !first || first->uniqueID() == *chosen) {
        return nullptr;
    }
    return findDevice(DeviceKind::video, *chosen);
}

std::shared_ptr<CaptureSource> CaptureManager::chosenMicrophone() const {
    const std::optional<QString> chosen = storedID(defaults_, SettingsKeys::selectedMicrophoneID);
    if (chosen && chosen->isEmpty()) {
        return nullptr;
    }
    if (chosen) {
        if (auto device = findDevice(DeviceKind::audio, *chosen)) {
            return device;
        }
    }
    if (auto fallback = devices_->defaultInput()) {
        return fallback;
    }
    const auto microphones = devices_->devices(DeviceKind::audio);
    return microphones.empty() ? nullptr : microphones.front();
}

void CaptureManager::configureWithChoices() {
    auto first = chosenCamera();
    auto second = chosenSecondCamera(first);
    configureWith(first, second, chosenMicrophone());
}

// A pipeline whose devices stay the same keeps its session running
// undisturbed (a movie it is writing loses nothing), unless `rebuild` asks
// for every session to be made anew.
void CaptureManager::configureWith(std::shared_ptr<CaptureSource> first,
                                   std::shared_ptr<CaptureSource> second,
                                   std::shared_ptr<CaptureSource> microphone, bool rebuild) {
    const std::array<std::shared_ptr<CaptureSource>, pipelineCount> cameras{std::move(first),
                                                                            std::move(second)};
    const std::array<std::shared_ptr<CaptureSource>, pipelineCount> microphones{
        std::move(microphone), nullptr};
    for (int i = 0; i < pipelineCount; ++i) {
        CameraPipeline& pipeline = *pipelines_[i];
        if (!rebuild && configured_[i] && pipeline.camera() == cameras[i] &&
            pipeline.microphone() == microphones[i]) {
            continue;
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
    configureWith(pipelines_[0]->camera(), pipelines_[1]->camera(), pipelines_[0]->microphone(),
                  true);
    if (wanted) {
        startSessions();
    }
}

// Hands the devices in use to the main thread, where the recording
// controller and the delegates hear of them.
void CaptureManager::publishDevices() {
    std::array<InUse, pipelineCount> inUse;
    for (int i = 0; i < pipelineCount; ++i) {
        inUse[i] = {pipelines_[i]->camera(), pipelines_[i]->microphone(),
                    configured_[i] && pipelines_[i]->isRunning()};
    }
    std::vector<CaptureManagerSettingsDelegate::Device> cameras;
    std::vector<CaptureManagerSettingsDelegate::Device> microphones;
    for (const auto& device : devices_->devices(DeviceKind::video)) {
        cameras.push_back({device->uniqueID(), device->name()});
    }
    for (const auto& device : devices_->devices(DeviceKind::audio)) {
        microphones.push_back({device->uniqueID(), device->name()});
    }
    QMetaObject::invokeMethod(
        this,
        [this, inUse, cameras, microphones] {
            const bool changed = inUse[0].camera != inUse_[0].camera ||
                                 inUse[1].camera != inUse_[1].camera ||
                                 inUse[0].microphone != inUse_[0].microphone;
            // A camera that went away did not stop delivering: a pipeline
            // whose camera changed starts its health bookkeeping afresh.
            for (int i = 0; i < pipelineCount; ++i) {
                if (inUse[i].camera != inUse_[i].camera) {
                    lastMotionMeasured_[i].reset();
                    motionStopped_[i] = false;
                }
            }
            inUse_ = inUse;
            updateMotionStopped();
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

void CaptureManager::deviceConnected(const std::shared_ptr<CaptureSource>& device,
                                     DeviceKind kind) {
    if (setupResult_ == SessionSetupResult::notAuthorized) {
        return;
    }
    CameraPipeline& first = *pipelines_[0];
    if (kind == DeviceKind::video) {
        const std::optional<QString> second = storedID(defaults_, SettingsKeys::secondCameraID);
        if (!pipelines_[1]->camera() && second && device->uniqueID() == *second &&
            idOf(first.camera()) != *second) {
            Log::line(
                QStringLiteral("%1 connected, adding it as the second camera").arg(device->name()));
            configureWith(first.camera(), device, first.microphone());
            return;
        }
        if (shouldSwitch(device->uniqueID(), idOf(first.camera()),
                         storedID(defaults_, SettingsKeys::selectedCameraID))) {
            Log::line(QStringLiteral("%1 connected, switching to it").arg(device->name()));
            auto secondCamera = pipelines_[1]->camera();
            if (secondCamera && secondCamera->uniqueID() == device->uniqueID()) {
                secondCamera = nullptr;
            }
            configureWith(device, secondCamera, first.microphone());
        }
        return;
    }
    if (shouldSwitch(device->uniqueID(), idOf(first.microphone()),
                     storedID(defaults_, SettingsKeys::selectedMicrophoneID))) {
        Log::line(QStringLiteral("%1 connected, switching to it").arg(device->name()));
        configureWith(first.camera(), pipelines_[1]->camera(), device);
    }
}

void CaptureManager::deviceDisconnected(const std::shared_ptr<CaptureSource>& device,
                                        DeviceKind kind) {
    auto same = [&](const std::shared_ptr<CaptureSource>& inUse) {
        return inUse && inUse->uniqueID() == device->uniqueID();
    };
    auto first = pipelines_[0]->camera();
    auto second = pipelines_[1]->camera();
    auto microphone = pipelines_[0]->microphone();
    const bool lost = kind == DeviceKind::video ? same(first) || same(second) : same(microphone);
    if (!lost) {
        return;
    }
    Log::line(QStringLiteral("Lost %1, reconfiguring with what's left").arg(device->name()));
    if (kind == DeviceKind::video) {
        configureWith(same(first) ? nullptr : first, same(second) ? nullptr : second, microphone);
    } else {
        configureWith(first, second, nullptr);
    }
}

void CaptureManager::defaultInputChanged() {
    if (defaults_.string(SettingsKeys::selectedMicrophoneID)) {
        return;
    }
    auto input = devices_->defaultInput();
    if (!input) {
        Log::line(QStringLiteral("Could not follow the system input: ") +
                  QStringLiteral("no default input is known"));
        return;
    }
    auto current = pipelines_[0]->microphone();
    if (current && current->uniqueID() == input->uniqueID()) {
        return;
    }
    Log::line(QStringLiteral("System input changed to %1, switching to it").arg(input->name()));
    configureWith(pipelines_[0]->camera(), pipelines_[1]->camera(), input);
}

// ---- Capture on and off (main thread) ---------------------------------------

void CaptureManager::armedStateChanged() {
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
    updateCapture();
}

void CaptureManager::updateCapture() {
    if (!MainThread::isCurrent()) {
        QMetaObject::invokeMethod(
            this, [this] { updateCapture(); }, Qt::QueuedConnection);
        return;
    }
    if (setupResult_ != SessionSetupResult::success) {
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
        if (!capturing_) {
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
    lastMotionMeasured_ = {};
    motionStopped_ = {};
    framesSeen_ = {};
    motionHealthTimer_->start(motionHealthInterval, motionHealthInterval);
    sessionQueue_.async([this] { startSessions(); });
    startMetering();
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
    stopMetering();
    motionHealthTimer_->stop();
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
    if (!measurementPosted_[index].exchange(true)) {
        QMetaObject::invokeMethod(
            this,
            [this, index] {
                measurementPosted_[index] = false;
                motionMeasuredOnMain(index, measuredSinceLast_[index].exchange(0),
                                     lastLevel_[index]);
            },
            Qt::QueuedConnection);
    }
}

void CaptureManager::motionMeasuredOnMain(int index, std::int64_t count, double level) {
    if (count == 0) {
        return;
    }
    framesSeen_[index] += count;
    if (testWaitsForFrames_ && framesReady()) {
        testWaitsForFrames_ = false;
        recordTest();
    }
    const QDateTime now = clock_.now();
    const std::optional<QDateTime>& last = lastMotionMeasured_[index];
    if (motionStopped_[index] && last &&
        last->msecsTo(now) >= std::chrono::milliseconds(motionSilence).count()) {
        controller_.reportGap(*last, now);
    }
    lastMotionMeasured_[index] = now;
    motionStopped_[index] = false;
    updateMotionStopped();
    if (activityDelegate_) {
        activityDelegate_->motionLevel(index, level);
    }
}

void CaptureManager::checkMotionHealth() {
    const QDateTime now = clock_.now();
    for (int i = 0; i < pipelineCount; ++i) {
        if (!inUse_[i].camera) {
            continue;
        }
        const std::optional<QDateTime>& last = lastMotionMeasured_[i];
        motionStopped_[i] = last && last->msecsTo(now) >= motionSilence.count();
    }
    updateMotionStopped();
}

void CaptureManager::updateMotionStopped() {
    const bool stopped =
        std::any_of(motionStopped_.begin(), motionStopped_.end(), [](bool value) { return value; });
    if (stopped == controller_.motionDetectionStopped()) {
        return;
    }
    controller_.setMotionDetectionStopped(stopped);
    if (stopped) {
        Log::line(QStringLiteral("Motion measurements stopped arriving"));
    }
    if (activityDelegate_) {
        activityDelegate_->motionDetectionStoppedChanged(stopped);
    }
}

// ---- Session errors ----------------------------------------------------------

void CaptureManager::sessionError(int, const std::optional<Error>& error) {
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
    sessionQueue_.async([this] {
        if (setupResult_ == SessionSetupResult::success) {
            restartSessions();
        }
    });
}

// ---- The sound meter ("AudioMeterQueue") -------------------------------------

void CaptureManager::startMetering() {
    if (metering_) {
        return;
    }
    metering_ = true;
    const std::uint64_t generation = ++meterGeneration_;
    audioMeterQueue_.async([this, generation] { meterTick(generation); });
}

void CaptureManager::stopMetering() {
    if (!metering_) {
        return;
    }
    metering_ = false;
    ++meterGeneration_;
    if (activityDelegate_) {
        activityDelegate_->soundMeterStopped();
    }
}

void CaptureManager::meterTick(std::uint64_t generation) {
    if (generation != meterGeneration_) {
        return;
    }
    audioMeterQueue_.asyncAfter(audioMeterInterval, [this, generation] { meterTick(generation); });
    const std::optional<double> level = pipelines_[0]->audioLevel();
    if (!level) {
        return;
    }
    const double meter = SoundLevel::meterValue(*level);
    QMetaObject::invokeMethod(
        this,
        [this, meter] {
            if (activityDelegate_) {
                activityDelegate_->soundLevel(meter);
            }
        },
        Qt::QueuedConnection);
    if (SoundLevel::triggers(meter, defaults_.real(SettingsKeys::audioTriggerThreshold),
                             defaults_.boolValue(SettingsKeys::audioTriggerEnabled))) {
        trigger();
    }
}
