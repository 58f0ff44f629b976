#include "PreRollRecorder.h"

#include "Defaults.h"
#include "FileOutputManager.h"
#include "SettingsKeys.h"

#include <QFile>
#include <cmath>

namespace {

constexpr double audioExtraSeconds = 2.0;
constexpr std::chrono::milliseconds pumpRetry{10};

double seconds(GstClockTime time) {
    return static_cast<double>(time) / GST_SECOND;
}

GstClockTime clockTime(double seconds) {
    return static_cast<GstClockTime>(std::llround(seconds * GST_SECOND));
}

// What a file that was never written is answered with.
Error noDataError() {
    return Error{Error::writerDomain, MovieWriter::noDataCode,
                 QStringLiteral("The movie has no data"), nullptr};
}

}  // namespace

PreRollRecorder::PreRollRecorder(Defaults& defaults, WallClock wallClock)
    : defaults_(defaults), wallClock_(std::move(wallClock)) {
    Gst::ensureInitialised();
}

PreRollRecorder::~PreRollRecorder() {
    // Files still open or finishing stop where they are: each stays readable
    // up to its last fragment.
    queue_.sync([this] {
        if (writer_) {
            writer_->cancel();
        }
        for (const std::shared_ptr<MovieWriter>& writer : finishingWriters_) {
            writer->cancel();
        }
        finishingWriters_.clear();
        writer_.reset();
    });
}

double PreRollRecorder::preRollSeconds() const {
    return SettingsKeys::clampedPreRollSeconds(defaults_.real(SettingsKeys::preRollSeconds));
}

// ---- Fed by the camera pipeline ----

void PreRollRecorder::appendVideo(GstHandle<GstSample> encodedH264) {
    queue_.async([this, sample = std::move(encodedH264)]() mutable { onVideo(std::move(sample)); });
}

void PreRollRecorder::appendAudio(GstHandle<GstSample> pcm) {
    queue_.async([this, sample = std::move(pcm)]() mutable { onAudio(std::move(sample)); });
}

void PreRollRecorder::setNewestFrame(GstHandle<GstSample> rawFrame) {
    queue_.async([this, frame = std::move(rawFrame)]() mutable {
        still_.setNewestFrame(std::move(frame));
        // A movie that began before any picture came still gets its still.
        if (sessionStart_) {
            writeStillIfOwed();
        }
    });
}

void PreRollRecorder::recordLoss(FrameLoss::Reason reason) {
    queue_.async([this, reason] { lost_.record(reason); });
}

void PreRollRecorder::reset() {
    queue_.async([this] {
        video_.clear();
        audio_.clear();
        videoFormat_.reset();
        audioFormat_.reset();
        lastWritten_.reset();
        still_.forgetFrame();
    });
}

void PreRollRecorder::trimRings() {
    const double keep = preRollSeconds();
    video_.trim(keep);
    audio_.trim(keep + audioExtraSeconds);
}

void PreRollRecorder::onVideo(Sample sample) {
    GstBuffer* buffer = gst_sample_get_buffer(sample.get());
    if (!buffer || !GST_BUFFER_PTS_IS_VALID(buffer)) {
        return;  // a sample without a time has no place on the timeline
    }
    const double time = seconds(GST_BUFFER_PTS(buffer));
    // No delta-unit flag: a sync sample.
    const bool isKeyframe = !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
    if (GstCaps* caps = gst_sample_get_caps(sample.get()); caps != videoFormat_.get()) {
        videoFormat_ = GstHandle<GstCaps>::ref(caps);
    }
    video_.append(time, isKeyframe, sample);
    trimRings();
    if (isKeyframe && rollPending_) {
        if (writer_ && !stopRequested_) {
            // This keyframe opens the continuation file, not the old one.
            stopRequested_ = true;
            pump();
            return;
        }
    }
    route(sample, time, isKeyframe, Track::video);
}

void PreRollRecorder::onAudio(Sample sample) {
    GstBuffer* buffer = gst_sample_get_buffer(sample.get());
    if (!buffer || !GST_BUFFER_PTS_IS_VALID(buffer)) {
        return;
    }
    const double time = seconds(GST_BUFFER_PTS(buffer));
    if (GstCaps* caps = gst_sample_get_caps(sample.get()); caps != audioFormat_.get()) {
        audioFormat_ = GstHandle<GstCaps>::ref(caps);
    }
    audio_.append(time, true, sample);
    trimRings();
    route(sample, time, true, Track::audio);
}

void PreRollRecorder::route(const Sample& sample, double time, bool isKeyframe, Track track) {
    if (!writer_ || stopRequested_) {
        return;
    }
    if (sessionStart_) {
        if (time < *sessionStart_) {
            return;
        }
        if (track == Track::video && writer_->hasVideo()) {
            pendingVideo_.push(sample);
        } else if (track == Track::audio && writer_->hasAudio()) {
            pendingAudio_.push(sample);
        }
        pump();
        return;
    }
    // Every movie with video begins on a video keyframe; an audio-only movie
    // begins with its first audio buffer.
    if (!writer_->hasBegun()) {
        Error failure;
        if (track != Track::video || !isKeyframe ||
            !writer_->begin(videoFormat_.get(), audioFormat_.get(), &failure)) {
            return;  // a writer that could not begin is abandoned at the stop
        }
        startSession(time);
        return;
    }
    const bool startsSession = track == Track::video ? isKeyframe : !writer_->hasVideo();
    if (startsSession) {
        startSession(time);
    }
}

// ---- Starting ----

std::optional<double> PreRollRecorder::chooseStart() const {
    const Ring& ring = videoFormat_ ? video_ : audio_;
    if (ring.empty()) {
        return std::nullopt;
    }
    return ring.keyframeTime(lastWritten_, ring.newest().time - preRollSeconds());
}

bool PreRollRecorder::hasOpenMovie() {
    bool open = false;
    queue_.sync([this, &open] { open = writer_ != nullptr; });
    return open;
}

QDateTime PreRollRecorder::startDate() {
    QDateTime date;
    queue_.sync([this, &date] {
        const QDateTime now = wallClock_();
        const std::optional<double> start = chooseStart();
        if (!start) {
            date = now;
            return;
        }
        const Ring& ring = videoFormat_ ? video_ : audio_;
        date = now.addMSecs(std::llround((*start - ring.newest().time) * 1000));
    });
    return date;
}

void PreRollRecorder::start(const QString& filePath, Completion onFinish) {
    queue_.async([this, filePath, onFinish = std::move(onFinish)]() mutable {
        startNow(filePath, std::move(onFinish));
    });
}

// Every start is either recorded or answered: one that comes while the
// stopped movie still drains waits for it; one that comes while a movie is
// being recorded is refused.
void PreRollRecorder::startNow(const QString& filePath, Completion onFinish) {
    if (!writer_) {
        open(filePath, std::move(onFinish), true);
    } else if (stopRequested_ && !rollPending_ && !startPending_) {
        startPending_ = Start{filePath, std::move(onFinish)};
    } else if (onFinish) {
        onFinish(filePath, Error{Error::writerDomain, MovieWriter::creationFailedCode,
                                 QStringLiteral("Another movie is being recorded"), nullptr});
    }
}

void PreRollRecorder::roll(const QString& filePath, Completion onFinish) {
    queue_.async([this, filePath, onFinish = std::move(onFinish)]() mutable {
        // Nothing to continue, or a roll already waiting: answered at once.
        if (writer_ && !stopRequested_ && !rollPending_) {
            rollPending_ = Roll{filePath, std::move(onFinish)};
        } else if (onFinish) {
            onFinish(filePath, rollDropped());
        }
    });
}

void PreRollRecorder::stop() {
    queue_.async([this] {
        dropPendingRoll();
        if (startPending_) {
            startPending_->stopped = true;  // the stop is the waiting movie's
        }
        if (writer_) {
            stopRequested_ = true;
            pump();
        }
    });
}

// A stop wins over a roll waiting for its keyframe: the continuation is
// never made, and it is answered as a roll that opened nothing.
void PreRollRecorder::dropPendingRoll() {
    if (!rollPending_) {
        return;
    }
    const Roll dropped = std::move(*rollPending_);
    rollPending_.reset();
    if (dropped.onFinish) {
        dropped.onFinish(dropped.filePath, rollDropped());
    }
}

void PreRollRecorder::open(const QString& filePath, Completion onFinish, bool owesStill) {
    Q_ASSERT(!writer_);
    Error failure;
    std::shared_ptr<MovieWriter> writer = MovieWriter::create(filePath, queue_, &failure);
    // With no format known yet, the tracks are made when the first keyframe
    // arrives; otherwise at once, from the formats of the newest samples.
    const bool formatsKnown = videoFormat_ || audioFormat_;
    if (writer && formatsKnown &&
        !writer->begin(videoFormat_.get(), audioFormat_.get(), &failure)) {
        writer.reset();
        QFile::remove(filePath);
    }
    if (!writer) {
        if (onFinish) {
            onFinish(filePath, failure);
        }
        return;
    }
    // A file that fails while it is written is dropped and reported at once
    // rather than collecting samples until the stop.
    writer->setFailureHandler([this, failed = writer.get()](const Error&) {
        if (writer_.get() == failed) {
            stopRequested_ = true;
            pump();
        }
    });
    writer_ = std::move(writer);
    filePath_ = filePath;
    onFinish_ = std::move(onFinish);
    stopRequested_ = false;
    newestWritten_.reset();
    still_.movieOpened(owesStill);
    lost_ = {};
    if (const std::optional<double> start = chooseStart()) {
        startSession(*start);  // the pre-roll
    }
}

void PreRollRecorder::startSession(double start) {
    sessionStart_ = start;
    writer_->startSession(clockTime(start));
    writeStillIfOwed();
    if (writer_->hasVideo()) {
        for (Ring::Entry& entry : video_.entriesFrom(start)) {
            pendingVideo_.push(std::move(entry.payload));
        }
    }
    if (writer_->hasAudio()) {
        for (Ring::Entry& entry : audio_.entriesFrom(start)) {
            pendingAudio_.push(std::move(entry.payload));
        }
    }
    pump();
}

// ---- Writing ----

void PreRollRecorder::pump() {
    if (writer_ && writer_->status() == MovieWriter::Status::writing) {
        appendPending(Track::video);
        appendPending(Track::audio);
        if (pendingVideo_.empty() && pendingAudio_.empty()) {
            finishing();
        } else if (!pumpRetryScheduled_) {
            // Never block the queue on a busy writer: come back shortly.
            pumpRetryScheduled_ = true;
            queue_.asyncAfter(pumpRetry, [this] {
                pumpRetryScheduled_ = false;
                pump();
            });
        }
        return;
    }
    finishing();
}

void PreRollRecorder::appendPending(Track track) {
    const bool isVideo = track == Track::video;
    PendingSamples& pending = isVideo ? pendingVideo_ : pendingAudio_;
    while (!pending.empty() &&
           (isVideo ? writer_->isReadyForVideo() : writer_->isReadyForAudio())) {
        const Sample sample = pending.take();
        GstBuffer* buffer = gst_sample_get_buffer(sample.get());
        const double time = seconds(GST_BUFFER_PTS(buffer));
        const bool accepted =
            isVideo ? writer_->appendVideo(sample.get()) : writer_->appendAudio(sample.get());
        if (!accepted) {
            if (isVideo) {
                lost_.record(FrameLoss::Reason::writerRefused);
            }
            continue;
        }
        newestWritten_ = newestWritten_ ? std::max(*newestWritten_, time) : time;
        if (isVideo) {
            lost_.written(time, GST_BUFFER_DURATION(buffer));
        }
    }
}

// ---- Finishing ----

void PreRollRecorder::finishing() {
    if (!stopRequested_ || !writer_ || !filePath_) {
        return;
    }
    if (newestWritten_) {
        lastWritten_ = newestWritten_;
    }
    const std::shared_ptr<MovieWriter> writer = writer_;
    const QString filePath = *filePath_;
    const Completion onFinish = onFinish_;
    if (!sessionStart_ || writer->status() != MovieWriter::Status::writing) {
        abandon(writer, filePath, onFinish);
    } else {
        finishingWriters_.push_back(writer);
        writer->finish(
            [this, writer, filePath, onFinish, lost = lost_](std::optional<Error> error) {
                std::erase(finishingWriters_, writer);
                // The completion names the path the file was opened under,
                // whatever it was renamed to.
                lost.reportAndRename(filePath);
                if (onFinish) {
                    onFinish(filePath, std::move(error));
                }
            });
    }
    clearFileState();
    openNext();
}

// The continuation of a roll, or a movie started while this one drained.
void PreRollRecorder::openNext() {
    if (rollPending_) {
        Roll next = std::move(*rollPending_);
        rollPending_.reset();
        open(next.filePath, std::move(next.onFinish), false);
    } else if (startPending_) {
        Start next = std::move(*startPending_);
        startPending_.reset();
        open(next.filePath, std::move(next.onFinish), true);
        if (next.stopped && writer_) {
            stopRequested_ = true;
            pump();
        }
    }
}

void PreRollRecorder::abandon(const std::shared_ptr<MovieWriter>& writer, const QString& filePath,
                              const Completion& onFinish) {
    writer->cancel();
    QFile::remove(filePath);
    still_.removeWritten();
    if (onFinish) {
        onFinish(filePath, writer->error().value_or(noDataError()));
    }
}

void PreRollRecorder::clearFileState() {
    writer_.reset();
    pendingVideo_.clear();
    pendingAudio_.clear();
    sessionStart_.reset();
    filePath_.reset();
    onFinish_ = nullptr;
    still_.movieClosed();
}

// ---- The still ----

void PreRollRecorder::writeStillIfOwed() {
    if (filePath_) {
        still_.writeIfOwed(*filePath_);
    }
}
