#pragma once

#include "FileOutputManager.h"
#include "FrameLoss.h"
#include "GstHandle.h"
#include "LostFrames.h"
#include "MovieRecorder.h"
#include "MovieStill.h"
#include "MovieWriter.h"
#include "PendingSamples.h"
#include "SampleRing.h"
#include "SerialQueue.h"

#include <QDateTime>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class Defaults;

// Writes a camera's movie files. Fed every encoded video frame, every audio
// buffer and the newest raw frame, it keeps the last seconds of compressed
// media in two rings, so that a movie started by a trigger begins up to the
// pre-roll before it, on a keyframe, without re-encoding anything. It counts
// and measures lost frames per file and writes a JPEG still beside the first
// file of each recording.
//
// All state lives on its queue ("PreRollRecorder"); every call enqueues work
// there and returns at once, except startDate.
class PreRollRecorder : public MovieRecorder {
public:
    using WallClock = std::function<QDateTime()>;

    explicit PreRollRecorder(Defaults& defaults, WallClock wallClock = &QDateTime::currentDateTime);
    ~PreRollRecorder() override;
    PreRollRecorder(const PreRollRecorder&) = delete;
    PreRollRecorder& operator=(const PreRollRecorder&) = delete;

    // Fed by the camera pipeline. Samples carry capture-clock times.
    void appendVideo(GstHandle<GstSample> encodedH264);
    void appendAudio(GstHandle<GstSample> pcm);
    void setNewestFrame(GstHandle<GstSample> rawFrame);
    void recordLoss(FrameLoss::Reason reason);
    // Empties the rings and forgets formats and the last written time; an
    // open file is not touched.
    void reset();

    QDateTime startDate() override;
    // Records, or answers the completion with an error: a start while the
    // stopped movie drains waits for it, one while a movie is being recorded
    // is refused.
    void start(const QString& filePath, Completion onFinish) override;
    void roll(const QString& filePath, Completion onFinish) override;
    // Also drops a roll still waiting for its keyframe (answered as holding
    // nothing) and applies to a start still waiting.
    void stop() override;
    SerialQueue& queue() override { return queue_; }

    // Whether a movie is open (being written or finishing). Synchronous: the
    // capture side asks before it stops the cameras under a recording.
    bool hasOpenMovie();

    // The still written beside a movie (named by the file output manager).
    static QString stillPath(const QString& moviePath) {
        return FileOutputManager::stillPath(moviePath);
    }

private:
    using Sample = GstHandle<GstSample>;
    using Ring = SampleRing<Sample>;

    struct Roll {
        QString filePath;
        Completion onFinish;
    };
    // A movie asked for while the stopped one still drains; opened once that
    // one is finished, with a still owed, and finished at once if a stop
    // came meanwhile.
    struct Start {
        QString filePath;
        Completion onFinish;
        bool stopped = false;
    };

    enum class Track { video, audio };

    double preRollSeconds() const;
    void trimRings();
    void onVideo(Sample sample);
    void onAudio(Sample sample);
    void route(const Sample& sample, double time, bool isKeyframe, Track track);
    std::optional<double> chooseStart() const;
    void startNow(const QString& filePath, Completion onFinish);
    void open(const QString& filePath, Completion onFinish, bool owesStill);
    void dropPendingRoll();
    void openNext();
    void startSession(double start);
    void pump();
    void appendPending(Track track);
    void finishing();
    void abandon(const std::shared_ptr<MovieWriter>& writer, const QString& filePath,
                 const Completion& onFinish);
    void clearFileState();
    void writeStillIfOwed();

    Defaults& defaults_;
    const WallClock wallClock_;
    Ring video_;
    Ring audio_;
    GstHandle<GstCaps> videoFormat_;
    GstHandle<GstCaps> audioFormat_;
    std::shared_ptr<MovieWriter> writer_;
    PendingSamples pendingVideo_;
    PendingSamples pendingAudio_;
    std::optional<double> sessionStart_;
    bool stopRequested_ = false;
    std::optional<QString> filePath_;
    Completion onFinish_;
    std::optional<double> lastWritten_;
    std::optional<double> newestWritten_;
    std::optional<Roll> rollPending_;
    std::optional<Start> startPending_;
    LostFrames lost_;

    // Files finishing in the background, kept until their writer completes.
    std::vector<std::shared_ptr<MovieWriter>> finishingWriters_;
    bool pumpRetryScheduled_ = false;

    // Last, so they stop first: work still queued runs while every field
    // above is alive, and the recorder's queue may still hand stills over.
    MovieStill still_;
    SerialQueue queue_{"PreRollRecorder"};
};
