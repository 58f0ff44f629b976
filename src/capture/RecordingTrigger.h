#pragma once

#include "CaptureManagerRecordingController.h"
#include "DevicesInUse.h"
#include "MovieRecorder.h"

#include <QObject>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class Clock;
class Defaults;
class Timer;

// Turns motion and sound into recordings: a trigger while armed starts one
// through the recording controller, and every trigger while armed or
// recording pushes the stop out to the timeout ("timeoutValueInSeconds")
// after it. A test recording waits until every running camera has delivered
// a frame.
//
// Threads: the main thread (where `context` lives); trigger may be called
// from any thread and acts there.
class RecordingTrigger {
public:
    static constexpr int maximumTimeoutSeconds = 600;

    using Recorders = std::function<std::shared_ptr<MovieRecorder>(int index)>;

    RecordingTrigger(QObject& context, Defaults& defaults, Clock& clock,
                     CaptureManagerRecordingController& controller, const DevicesInUse& inUse,
                     Recorders recorders);
    ~RecordingTrigger();
    RecordingTrigger(const RecordingTrigger&) = delete;
    RecordingTrigger& operator=(const RecordingTrigger&) = delete;

    // Coalesced: triggers piling up before the main thread's next turn act once.
    void trigger();
    // Acts only while armed.
    void recordTest();
    bool framesReady() const;

    // Capture started: no frame has been seen yet.
    void captureStarted() { framesSeen_.clear(); }
    // `count` frames of pipeline `index` were measured; a waiting test goes ahead.
    void framesMeasured(int index, std::int64_t count);

    bool stopPending() const;
    bool testWaitsForFrames() const { return testWaitsForFrames_; }
    std::int64_t framesSeen(int index) const;

private:
    void triggerNow();
    void startRecording();
    void scheduleStop();

    QObject& context_;
    Defaults& defaults_;
    Clock& clock_;
    CaptureManagerRecordingController& controller_;
    const DevicesInUse& inUse_;
    const Recorders recorders_;
    std::unique_ptr<Timer> stopTecordingTask_;  // the pending stop of the current recording
    std::vector<std::int64_t> framesSeen_;
    bool testWaitsForFrames_ = false;
    std::atomic<bool> triggerPosted_{false};
};
