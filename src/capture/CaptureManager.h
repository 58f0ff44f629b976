#pragma once

#include "CameraPipeline.h"
#include "CaptureDevices.h"
#include "CaptureManagerActivityDelegate.h"
#include "CaptureManagerPreviewDelegate.h"
#include "CaptureManagerRecordingController.h"
#include "CaptureManagerSettingsDelegate.h"
#include "DeviceChoice.h"
#include "MotionHealth.h"
#include "PreRollRecorder.h"
#include "RecorderSink.h"
#include "RestartBackOff.h"
#include "SerialQueue.h"
#include "SessionSetupResult.h"
#include "SoundMeter.h"

#include <QDateTime>
#include <QObject>
#include <QSize>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

class Clock;
class Defaults;
class Timer;

// Owns the two camera pipelines (index 0: the first camera with the
// microphone; index 1: the second camera), configures them with the devices
// that DeviceChoice picks as devices come and go, turns capture on and off,
// restarts it after session errors, runs the SoundMeter, and turns motion and
// sound into triggers for the recording controller. A session that keeps
// failing is restarted less and less often (RestartBackOff).
//
// Threads: triggers, delegate calls, the capture-update rule and the motion
// health bookkeeping run on the main thread; device configuration, device
// events and session start/stop on "SessionQueue"; measurements arrive on each pipeline's
// "DetectionQueue".
class CaptureManager : public QObject, private CaptureDevicesListener {
    Q_OBJECT
public:
    static constexpr int pipelineCount = MotionHealth::pipelineCount;
    static constexpr std::chrono::milliseconds pendingStopDelay{200};
    static constexpr int maximumTimeoutSeconds = 600;
    // How often a microphone lost with its sound server is tried again.
    static constexpr std::chrono::milliseconds microphoneRetry{1000};

    CaptureManager(Defaults& defaults, Clock& clock, CaptureManagerRecordingController& controller,
                   std::unique_ptr<CaptureDevices> devices, QObject* parent = nullptr);
    ~CaptureManager() override;

    void setActivityDelegate(CaptureManagerActivityDelegate* delegate) {
        activityDelegate_ = delegate;
    }
    void setPreviewDelegate(CaptureManagerPreviewDelegate* delegate) {
        previewDelegate_ = delegate;
    }
    void setSettingsDelegate(CaptureManagerSettingsDelegate* delegate) {
        settingsDelegate_ = delegate;
    }

    // Starts device discovery and configures the pipelines; when the devices
    // are ready the recording controller hears devicesChanged.
    void setUp();

    // Device choices (settings, popover).
    void chooseCamera(const std::optional<QString>& uniqueID);
    void chooseSecondCamera(const std::optional<QString>& uniqueID);
    void chooseMicrophone(const QString& uniqueID);
    void chooseNoMicrophone();
    void followSystemInput();
    void reconfigure();
    // Tells the settings delegate the cameras and microphones present now.
    void listDevices();

    // The capture-update rule runs after each of these. After a refusal
    // ("Not authorized") an arming, like a device being connected, tries
    // capture again.
    void armedStateChanged();
    void setPopoverOpen(bool open);
    void setPreviewOpen(bool open);

    // A trigger from motion or sound; any thread.
    void trigger();
    // A test recording is wanted (acts only while armed).
    void recordTest();
    bool framesReady() const;

    // Observable state (main thread).
    bool capturing() const { return capturing_; }
    bool popoverOpen() const { return popoverOpen_; }
    bool previewOpen() const { return previewOpen_; }
    SessionSetupResult setupResult() const { return setupResult_.load(); }
    std::optional<QSize> aspectRatio() const { return aspectRatio_; }
    bool stopPending() const;
    bool captureStopPending() const;
    bool testWaitsForFrames() const { return testWaitsForFrames_; }
    std::int64_t framesSeen(int index) const { return framesSeen_[index]; }
    bool motionStopped(int index) const { return motionHealth_.stopped(index); }
    // The devices in use, as last configured.
    std::shared_ptr<CaptureSource> camera(int index) const { return inUse_[index].camera; }
    std::shared_ptr<CaptureSource> microphone() const { return inUse_[0].microphone; }
    bool sessionRunning(int index) const { return inUse_[index].running; }

    // Whether any pipeline's recorder has a movie open (asks each recorder's queue).
    bool anyMovieOpen() const;

    PreRollRecorder& recorder(int index) { return *recorders_[index]; }
    const CameraPipeline& pipeline(int index) const { return *pipelines_[index]; }
    // Waits for the session queue (tests, shutdown).
    void drainSessionQueue() { sessionQueue_.drain(); }

Q_SIGNALS:
    // After each reconfiguration has reached the main thread.
    void devicesConfigured();
    void capturingChanged();
    // The levels for other observers than the activity delegate: for motion,
    // the highest measured since the last report; for sound, the meter's value.
    void motionLevelReported(int index, double level);
    void soundLevelReported(double level);

private:
    class PipelineEvents;
    struct InUse {
        std::shared_ptr<CaptureSource> camera;
        std::shared_ptr<CaptureSource> microphone;
        bool running = false;
    };

    // CaptureDevicesListener, on the session queue.
    void deviceConnected(const std::shared_ptr<CaptureSource>& device, DeviceKind kind) override;
    void deviceDisconnected(const std::shared_ptr<CaptureSource>& device, DeviceKind kind) override;
    void defaultInputChanged() override;

    // Session queue.
    void configureWithChoices();
    void configureWith(const DeviceSet& devices, bool rebuild = false);
    DeviceSet devicesInUse() const;
    void apply(const DeviceChange& change);
    void startSessions();
    void stopSessions();
    void restartSessions();
    void tryCaptureAgain(const DeviceSet& devices);
    void awaitMicrophone(const std::shared_ptr<CaptureSource>& lost);
    void publishDevices();
    void publishDeviceLists();
    std::vector<CaptureManagerSettingsDelegate::Device> listed(DeviceKind kind) const;

    // Main thread.
    void updateCapture();
    void startCapture();
    void stopCapture();
    void triggerNow();
    void startRecording();
    void scheduleStop();
    void motionMeasuredOnMain(int index, std::int64_t count, double level, double peak);
    void previewImageOnMain(int index);
    void stopMeter();
    void scheduleRestart(int index);
    void restartAfterBackOff();

    // From the pipelines.
    void motionMeasured(int index, double level, bool triggered);
    void sessionError(int index, const std::optional<Error>& error);
    void microphoneError(const std::optional<Error>& error);
    void previewImageReady(int index, const PreviewFrame& frame);

    Defaults& defaults_;
    Clock& clock_;
    CaptureManagerRecordingController& controller_;
    CaptureManagerPreviewDelegate* previewDelegate_ = nullptr;
    CaptureManagerActivityDelegate* activityDelegate_ = nullptr;
    CaptureManagerSettingsDelegate* settingsDelegate_ = nullptr;
    std::optional<QSize> aspectRatio_;

    // Recorders outlive the pipelines that feed them.
    std::array<std::shared_ptr<PreRollRecorder>, pipelineCount> recorders_;
    std::array<std::unique_ptr<RecorderSink>, pipelineCount> sinks_;
    std::array<std::unique_ptr<CameraPipeline>, pipelineCount> pipelines_;
    std::shared_ptr<PipelineEvents> pipelineEvents_;
    std::unique_ptr<CaptureDevices> devices_;
    // Read on the session queue.
    DeviceChoice choice_;

    // Main thread.
    std::unique_ptr<Timer> stopTecordingTask_;  // the pending stop of the current recording
    bool capturing_ = false;
    std::unique_ptr<Timer> pendingStop_;
    std::atomic<SessionSetupResult> setupResult_{SessionSetupResult::success};
    bool popoverOpen_ = false;
    bool previewOpen_ = false;
    MotionHealth motionHealth_;
    std::array<std::int64_t, pipelineCount> framesSeen_{};
    bool testWaitsForFrames_ = false;
    std::array<InUse, pipelineCount> inUse_;
    bool configuredOnce_ = false;
    bool wasUnarmed_ = true;  // a change from unarmed is an arming
    std::array<RestartBackOff, pipelineCount> restartBackOffs_;
    std::unique_ptr<Timer> restartTask_;  // the restart waiting out its back-off
    bool restartPending_ = false;         // from the back-off until the session queue restarted

    // Session queue.
    bool sessionsWanted_ = false;
    std::array<bool, pipelineCount> configured_{};
    // The first pipeline's microphone failed; its session runs on without it.
    bool microphoneLost_ = false;

    // Hand-offs from the capture threads, coalesced so that a measurement
    // costs no allocation: the main thread takes what piled up since its last turn.
    std::array<std::atomic<std::int64_t>, pipelineCount> measuredSinceLast_{};
    std::array<std::atomic<double>, pipelineCount> lastLevel_{};
    // The highest of them, for observers of the levels that keep peaks.
    std::array<std::atomic<double>, pipelineCount> peakSinceLast_{};
    std::array<std::atomic<bool>, pipelineCount> measurementPosted_{};
    std::atomic<bool> triggerPosted_{false};
    // The newest preview frame of each pipeline: a newer one replaces one the
    // main thread has not taken yet, so frames never queue up (and never hold
    // more than one of the camera's buffers each).
    struct PreviewSlot {
        std::mutex mutex;
        PreviewFrame frame;
        std::atomic<bool> posted{false};
    };
    std::array<PreviewSlot, pipelineCount> previewSlots_;

    // Reads the first pipeline's microphone: declared after the pipelines, so gone before them.
    std::unique_ptr<SoundMeter> meter_;

    // Declared last: destroyed first, running what is still enqueued while
    // everything above is alive.
    SerialQueue sessionQueue_{"SessionQueue"};
};
