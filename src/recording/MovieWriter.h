#pragma once

#include "Error.h"
#include "GstHandle.h"
#include "MovieRecorder.h"

#include <QString>
#include <functional>
#include <memory>
#include <optional>

class SerialQueue;

// Writes one QuickTime movie: H.264 passed through untouched and AAC at
// 128 kbit/s made from PCM, muxed with a movie fragment every 2 seconds into
// a file the writer opened itself, so a movie cut short by a crash stays
// readable up to its last fragment. Times are the capture clock's, with the
// session start as the movie's time 0.
//
// Used only on its owner's queue. Bus messages are taken by a sync handler
// and handled on that queue, so finishing never blocks it.
class MovieWriter : public std::enable_shared_from_this<MovieWriter> {
public:
    enum class Status { writing, failed, completed, cancelled };
    using Completion = std::function<void(std::optional<Error> error)>;
    using FailureHandler = std::function<void(const Error& error)>;

    // Codes of the writer's own errors (domain Error::writerDomain).
    static constexpr long long creationFailedCode = -11800;
    static constexpr long long noDataCode = MovieRecorder::noDataCode;

    // Creates the movie file, new and private to its owner. On failure
    // (anything already at the path among them) the error has code
    // creationFailedCode and the errno as its cause.
    static std::shared_ptr<MovieWriter> create(const QString& filePath, SerialQueue& owner,
                                               Error* failure);
    // Makes the tracks and starts the pipeline: a track for each caps given;
    // audio caps without a usable rate give no audio track. Once per writer.
    bool begin(GstCaps* videoCaps, GstCaps* audioCaps, Error* failure);
    bool hasBegun() const { return static_cast<bool>(pipeline_); }
    ~MovieWriter();
    MovieWriter(const MovieWriter&) = delete;
    MovieWriter& operator=(const MovieWriter&) = delete;

    bool hasVideo() const { return static_cast<bool>(videoSrc_); }
    bool hasAudio() const { return static_cast<bool>(audioSrc_); }
    Status status() const { return status_; }
    const std::optional<Error>& error() const { return error_; }

    // The capture-clock time that becomes the movie's time 0.
    void startSession(GstClockTime sourceStart) { sessionStart_ = sourceStart; }

    bool isReadyForVideo() const { return isReady(videoSrc_.get()); }
    bool isReadyForAudio() const { return isReady(audioSrc_.get()); }
    // False when the sample is refused (no track, before the session start,
    // writer not writing). The sample's data is shared, never copied.
    bool appendVideo(GstSample* sample) { return append(videoSrc_.get(), videoCaps_, sample); }
    bool appendAudio(GstSample* sample);

    // Called on the owner's queue when the file fails while it is written
    // and nobody is finishing it: from then on the writer takes no samples
    // and holds none, and the file is only waiting to be finished or dropped.
    void setFailureHandler(FailureHandler handler) { failureHandler_ = std::move(handler); }

    // Ends the streams; the completion runs on the owner's queue once the
    // movie is complete on disk (or the writer failed).
    void finish(Completion completion);
    // Stops at once; the file stays as far as it was written.
    void cancel();

    // Maps a GStreamer error message to Nelvo's error: resource errors keep
    // their code and carry the errno where it is known.
    static Error errorFrom(const GError* gerror, const QString& debug);

private:
    MovieWriter(SerialQueue& owner, int fd);
    bool buildPipeline(GstCaps* videoCaps, GstCaps* audioCaps, Error* failure);
    bool isReady(GstElement* src) const;
    bool append(GstElement* src, GstHandle<GstCaps>& current, GstSample* sample);
    void appendSilence();
    void handleMessage(GstMessage* message);
    void complete();
    void tearDown();
    static GstBusSyncReply onBusMessage(GstBus* bus, GstMessage* message, gpointer relay);

    SerialQueue& owner_;
    int fd_ = -1;
    GstHandle<GstElement> pipeline_;
    GstHandle<GstElement> videoSrc_;
    GstHandle<GstElement> audioSrc_;
    GstHandle<GstCaps> videoCaps_;  // what the video source was last told
    GstHandle<GstCaps> audioCaps_;
    GstClockTime sessionStart_ = GST_CLOCK_TIME_NONE;
    bool audioAppended_ = false;
    Status status_ = Status::writing;
    std::optional<Error> error_;
    Completion completion_;
    FailureHandler failureHandler_;
};
