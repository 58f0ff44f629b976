#pragma once

#include "CameraPipeline.h"
#include "CaptureManagerPreviewDelegate.h"
#include "DeviceFollower.h"
#include "DevicesInUse.h"
#include "MeasurementHandOff.h"
#include "MotionHealth.h"
#include "PipelineEvents.h"
#include "PreRollRecorder.h"
#include "PreviewHandOff.h"
#include "RecorderSink.h"
#include "RecordingTrigger.h"
#include "RestartBackOff.h"
#include "SerialQueue.h"
#include "SessionSetupResult.h"
#include "SoundMeter.h"

#include <QObject>
#include <QSize>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
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
class CaptureManager : public QObject, private DeviceFollowerOwner, private CameraPipelineDelegate {
    Q_OBJECT
public:
    static constexpr int pipelineCount = MotionHealth::pipelineCount;
    static constexpr std::chrono::milliseconds pendingStopDelay{200};
    static constexpr int maximumTimeoutSeconds = RecordingTrigger::maximumTimeoutSeconds;

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
    void chooseCamera(const std::optional<QString>& uniqueID) {
        follower_.chooseCamera(uniqueID);
        reconfigure();
    }
    void chooseSecondCamera(const std::optional<QString>& uniqueID) {
        follower_.chooseSecondCamera(uniqueID);
        reconfigure();
    }
    void chooseMicrophone(const QString& uniqueID) {
        follower_.chooseMicrophone(uniqueID);
        reconfigure();
    }
    void chooseNoMicrophone() {
        follower_.chooseNoMicrophone();
        reconfigure();
    }
    void followSystemInput() {
        follower_.followSystemInput();
        reconfigure();
    }
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
    void trigger() { trigger_.trigger(); }
    // A test recording is wanted (acts only while armed).
    void recordTest() { trigger_.recordTest(); }
    bool framesReady() const { return trigger_.framesReady(); }

    // Observable state (main thread).
    bool capturing() const { return capturing_; }
    bool popoverOpen() const { return popoverOpen_; }
    bool previewOpen() const { return previewOpen_; }
    SessionSetupResult setupResult() const { return setupResult_.load(); }
    std::optional<QSize> aspectRatio() const { return aspectRatio_; }
    bool stopPending() const { return trigger_.stopPending(); }
    bool captureStopPending() const;
    bool testWaitsForFrames() const { return trigger_.testWaitsForFrames(); }
    std::int64_t framesSeen(int index) const { return trigger_.framesSeen(index); }
    bool motionStopped(int index) const { return motionHealth_.stopped(index); }
    // The devices in use, as last configured.
    std::shared_ptr<CaptureSource> camera(int index) const { return inUse_.pipeline(index).camera; }
    std::shared_ptr<CaptureSource> microphone() const { return inUse_.pipeline(0).microphone; }
    bool sessionRunning(int index) const { return inUse_.pipeline(index).running; }

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
    // DeviceFollowerOwner, on the session queue.
    DeviceSet devicesInUse() const override;
    void configureWith(const DeviceSet& devices) override { configureWith(devices, false); }
    bool captureRefused() const override {
        return setupResult_ == SessionSetupResult::notAuthorized;
    }
    void tryCaptureAgain(const DeviceSet& devices) override;
    void devicesListed() override;
    void microphoneLost() override { publishDevices(); }

    // Session queue.
    void configureWithChoices();
    void configureWith(const DeviceSet& devices, bool rebuild);
    void startSessions();
    void stopSessions();
    void restartSessions();
    void publishDevices();

    // Main thread.
    void updateCapture();
    void startCapture();
    void stopCapture();
    void motionMeasuredOnMain(int index, std::int64_t count, double level, double peak);
    void stopMeter();
    void scheduleRestart(int index);
    void restartAfterBackOff();

    // CameraPipelineDelegate, through PipelineEvents, on the capture threads.
    int indexOf(const CameraPipeline& pipeline) const;
    void motionMeasured(CameraPipeline& pipeline, double level, bool triggered) override;
    void sessionError(CameraPipeline& pipeline, std::optional<Error> error) override;
    void microphoneError(CameraPipeline& pipeline, std::optional<Error> error) override;
    void previewImage(CameraPipeline& pipeline, const PreviewFrame& frame) override;

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
    // On the session queue.
    DeviceFollower follower_;

    // Main thread.
    bool capturing_ = false;
    std::unique_ptr<Timer> pendingStop_;
    DevicesInUse inUse_;
    std::atomic<SessionSetupResult> setupResult_{SessionSetupResult::success};
    bool popoverOpen_ = false;
    bool previewOpen_ = false;
    MotionHealth motionHealth_;
    RecordingTrigger trigger_;
    // From the capture threads.
    PreviewHandOff previews_;
    MeasurementHandOff measurements_;
    bool wasUnarmed_ = true;  // a change from unarmed is an arming
    std::array<RestartBackOff, pipelineCount> restartBackOffs_;
    std::unique_ptr<Timer> restartTask_;  // the restart waiting out its back-off
    bool restartPending_ = false;         // from the back-off until the session queue restarted

    // Session queue.
    bool sessionsWanted_ = false;
    std::array<bool, pipelineCount> configured_{};

    // Reads the first pipeline's microphone: declared after the pipelines, so gone before them.
    std::unique_ptr<SoundMeter> meter_;

    // Declared last: destroyed first, running what is still enqueued while
    // everything above is alive.
    SerialQueue sessionQueue_{"SessionQueue"};
};
