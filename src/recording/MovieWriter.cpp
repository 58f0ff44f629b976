#include "MovieWriter.h"

#include "Log.h"
#include "PrivateFile.h"
#include "SerialQueue.h"

#include <gst/app/gstappsrc.h>
#include <gst/audio/audio.h>
#include <unistd.h>
#include <cerrno>

namespace {

// Room for a few seconds of either stream between the recorder's pending
// samples and the muxer; above it the writer reports itself not ready.
constexpr guint64 videoQueueBytes = 8 * 1024 * 1024;
constexpr guint64 audioQueueBytes = 4 * 1024 * 1024;
constexpr int aacBitRate = 128000;
constexpr guint64 fragmentMilliseconds = 2000;

// Carries bus messages from streaming threads to the owner's queue.
struct BusRelay {
    std::weak_ptr<MovieWriter> writer;
    SerialQueue* queue;
};

GstHandle<GstElement> make(const char* factory) {
    return GstHandle<GstElement>::sink(gst_element_factory_make(factory, nullptr));
}

Error creationError(const QString& description, std::optional<Error> cause = std::nullopt) {
    Error error{Error::writerDomain, MovieWriter::creationFailedCode, description, nullptr};
    return cause ? error.withUnderlying(*cause) : error;
}

std::optional<int> errnoFor(GstResourceError code) {
    switch (code) {
        case GST_RESOURCE_ERROR_NO_SPACE_LEFT:
            return ENOSPC;
        case GST_RESOURCE_ERROR_NOT_FOUND:
            return ENOENT;
        case GST_RESOURCE_ERROR_NOT_AUTHORIZED:
            return EACCES;
        default:
            return std::nullopt;
    }
}

}  // namespace

MovieWriter::MovieWriter(SerialQueue& owner, int fd) : owner_(owner), fd_(fd) {}

MovieWriter::~MovieWriter() {
    tearDown();
}

std::shared_ptr<MovieWriter> MovieWriter::create(const QString& filePath, SerialQueue& owner,
                                                 Error* failure) {
    Gst::ensureInitialised();
    const int fd = PrivateFile::create(filePath);
    if (fd < 0) {
        *failure =
            creationError(QStringLiteral("Could not create the movie file"), Error::posix(errno));
        return nullptr;
    }
    return std::shared_ptr<MovieWriter>(new MovieWriter(owner, fd));
}

bool MovieWriter::begin(GstCaps* videoCaps, GstCaps* audioCaps, Error* failure) {
    if (buildPipeline(videoCaps, audioCaps, failure)) {
        return true;
    }
    tearDown();
    status_ = Status::failed;
    error_ = *failure;
    return false;
}

bool MovieWriter::buildPipeline(GstCaps* videoCaps, GstCaps* audioCaps, Error* failure) {
    pipeline_ = GstHandle<GstElement>::sink(gst_pipeline_new("movie-writer"));
    GstBin* bin = GST_BIN(pipeline_.get());
    // Elements are held until the end: one that is never added to the
    // pipeline is released with its handle, the others go with the pipeline.
    const GstHandle<GstElement> mux = make("qtmux");
    const GstHandle<GstElement> sink = make("fdsink");
    if (!mux || !sink) {
        *failure = creationError(QStringLiteral("The QuickTime muxer or file sink is missing"));
        return false;
    }
    // A fragment every 2 s keeps a movie cut short readable up to its last
    // fragment.
    g_object_set(mux.get(), "fragment-duration", guint(fragmentMilliseconds), nullptr);
    g_object_set(sink.get(), "fd", fd_, "sync", FALSE, "async", FALSE, nullptr);
    gst_bin_add_many(bin, mux.get(), sink.get(), nullptr);
    gst_element_link(mux.get(), sink.get());

    auto makeSource = [&](GstCaps* caps, guint64 maxBytes) {
        GstHandle<GstElement> src = make("appsrc");
        g_object_set(src.get(), "caps", caps, "format", GST_FORMAT_TIME, "max-bytes", maxBytes,
                     "block", FALSE, "emit-signals", FALSE, nullptr);
        gst_bin_add(bin, src.get());
        return src;
    };
    if (videoCaps) {
        GstHandle<GstElement> src = makeSource(videoCaps, videoQueueBytes);
        if (!gst_element_link_pads(src.get(), "src", mux.get(), "video_%u")) {
            *failure = creationError(QStringLiteral("The muxer refused the video format"));
            return false;
        }
        videoSrc_ = std::move(src);
        videoCaps_ = GstHandle<GstCaps>::ref(videoCaps);
    }
    if (audioCaps) {
        const GstStructure* format = gst_caps_get_structure(audioCaps, 0);
        int rate = 0;
        int channels = 0;
        if (format && gst_structure_get_int(format, "rate", &rate) && rate > 0) {
            gst_structure_get_int(format, "channels", &channels);
            GstHandle<GstElement> src = makeSource(audioCaps, audioQueueBytes);
            const GstHandle<GstElement> convert = make("audioconvert");
            const GstHandle<GstElement> filter = make("capsfilter");
            const GstHandle<GstElement> encoder = make("avenc_aac");
            const GstHandle<GstElement> parse = make("aacparse");
            if (!convert || !filter || !encoder || !parse) {
                *failure = creationError(QStringLiteral("The AAC encoder is missing"));
                return false;
            }
            GstHandle<GstCaps> target = GstHandle<GstCaps>::adopt(
                gst_caps_new_simple("audio/x-raw", "rate", G_TYPE_INT, rate, "channels", G_TYPE_INT,
                                    channels < 2 ? 1 : 2, nullptr));
            g_object_set(filter.get(), "caps", target.get(), nullptr);
            g_object_set(encoder.get(), "bitrate", aacBitRate, nullptr);
            gst_bin_add_many(bin, convert.get(), filter.get(), encoder.get(), parse.get(), nullptr);
            if (!gst_element_link_many(src.get(), convert.get(), filter.get(), encoder.get(),
                                       parse.get(), nullptr) ||
                !gst_element_link_pads(parse.get(), "src", mux.get(), "audio_%u")) {
                *failure = creationError(QStringLiteral("The muxer refused the audio format"));
                return false;
            }
            audioSrc_ = std::move(src);
            audioCaps_ = GstHandle<GstCaps>::ref(audioCaps);
        }
    }

    GstHandle<GstBus> bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline_.get()));
    gst_bus_set_sync_handler(bus.get(), &MovieWriter::onBusMessage,
                             new BusRelay{weak_from_this(), &owner_},
                             [](gpointer relay) { delete static_cast<BusRelay*>(relay); });
    // Non-blocking: the pipeline reaches playing once data arrives.
    if (gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        *failure = creationError(QStringLiteral("The movie writer could not start"));
        return false;
    }
    return true;
}

GstBusSyncReply MovieWriter::onBusMessage(GstBus*, GstMessage* message, gpointer data) {
    const GstMessageType type = GST_MESSAGE_TYPE(message);
    if (type == GST_MESSAGE_EOS || type == GST_MESSAGE_ERROR) {
        const auto* relay = static_cast<const BusRelay*>(data);
        relay->queue->async([writer = relay->writer, held = GstHandle<GstMessage>::ref(message)] {
            if (const std::shared_ptr<MovieWriter> alive = writer.lock()) {
                alive->handleMessage(held.get());
            }
        });
    }
    // A handler that drops a message owns it.
    gst_message_unref(message);
    return GST_BUS_DROP;
}

void MovieWriter::handleMessage(GstMessage* message) {
    if (status_ != Status::writing) {
        return;
    }
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        GErrorHandle gerror;
        GCharHandle debug;
        gst_message_parse_error(message, Gst::out(gerror), Gst::out(debug));
        error_ = errorFrom(gerror.get(), QString::fromUtf8(debug.get()));
        Log::line(QStringLiteral("The movie writer failed: %1").arg(error_->description));
        status_ = Status::failed;
    } else if (completion_) {
        status_ = Status::completed;
    } else {
        return;  // an end of stream nobody asked for cannot happen; keep writing
    }
    if (completion_) {
        complete();
        return;
    }
    // Failed while being written: what is queued for the file is let go at
    // once, and the owner hears of it now rather than at its next finish.
    tearDown();
    if (failureHandler_) {
        failureHandler_(*error_);
    }
}

void MovieWriter::complete() {
    tearDown();
    Completion completion = std::move(completion_);
    completion_ = nullptr;
    completion(status_ == Status::completed ? std::nullopt : error_);
}

bool MovieWriter::isReady(GstElement* src) const {
    return src && status_ == Status::writing && !completion_ &&
           gst_app_src_get_current_level_bytes(GST_APP_SRC(src)) <
               gst_app_src_get_max_bytes(GST_APP_SRC(src));
}

bool MovieWriter::append(GstElement* src, GstHandle<GstCaps>& current, GstSample* sample) {
    GstBuffer* buffer = gst_sample_get_buffer(sample);
    if (!src || !buffer || status_ != Status::writing || completion_ ||
        !GST_CLOCK_TIME_IS_VALID(sessionStart_) || !GST_BUFFER_PTS_IS_VALID(buffer) ||
        GST_BUFFER_PTS(buffer) < sessionStart_) {
        return false;
    }
    GstCaps* caps = gst_sample_get_caps(sample);
    if (caps && caps != current.get() && !gst_caps_is_equal(caps, current.get())) {
        gst_app_src_set_caps(GST_APP_SRC(src), caps);
        current = GstHandle<GstCaps>::ref(caps);
    }
    // A new buffer header over the same memory: the data is never copied or
    // touched, only its times move to the movie's timeline.
    GstBuffer* retimed = gst_buffer_copy_region(
        buffer,
        GstBufferCopyFlags(GST_BUFFER_COPY_FLAGS | GST_BUFFER_COPY_TIMESTAMPS |
                           GST_BUFFER_COPY_MEMORY),
        0, static_cast<gsize>(-1));
    GST_BUFFER_PTS(retimed) = GST_BUFFER_PTS(buffer) - sessionStart_;
    const GstClockTime dts = GST_BUFFER_DTS(buffer);
    GST_BUFFER_DTS(retimed) = GST_CLOCK_TIME_IS_VALID(dts) && dts >= sessionStart_
                                  ? dts - sessionStart_
                                  : GST_BUFFER_PTS(retimed);
    return gst_app_src_push_buffer(GST_APP_SRC(src), retimed) == GST_FLOW_OK;
}

bool MovieWriter::appendAudio(GstSample* sample) {
    const bool appended = append(audioSrc_.get(), audioCaps_, sample);
    audioAppended_ = audioAppended_ || appended;
    return appended;
}

// An audio track that never received a sample makes a movie no player can
// open, so a microphone that went quiet before the first sample leaves a
// moment of silence instead.
void MovieWriter::appendSilence() {
    GstAudioInfo info;
    if (!gst_audio_info_from_caps(&info, audioCaps_.get()) || info.rate <= 0) {
        return;
    }
    constexpr int frames = 1024;  // one AAC frame
    const gsize size = static_cast<gsize>(frames) * GST_AUDIO_INFO_BPF(&info);
    GstBuffer* silence = gst_buffer_new_allocate(nullptr, size, nullptr);
    GstMapInfo map;
    if (gst_buffer_map(silence, &map, GST_MAP_WRITE)) {
        gst_audio_format_info_fill_silence(info.finfo, map.data, map.size);
        gst_buffer_unmap(silence, &map);
    }
    GST_BUFFER_PTS(silence) = 0;
    GST_BUFFER_DURATION(silence) = gst_util_uint64_scale_int(frames, GST_SECOND, info.rate);
    gst_app_src_push_buffer(GST_APP_SRC(audioSrc_.get()), silence);
}

void MovieWriter::finish(Completion completion) {
    completion_ = std::move(completion);
    if (status_ != Status::writing) {
        complete();
        return;
    }
    if (audioSrc_ && !audioAppended_) {
        appendSilence();
    }
    for (GstElement* src : {videoSrc_.get(), audioSrc_.get()}) {
        if (src) {
            gst_app_src_end_of_stream(GST_APP_SRC(src));
        }
    }
}

void MovieWriter::cancel() {
    if (status_ == Status::writing) {
        status_ = Status::cancelled;
    }
    completion_ = nullptr;  // a cancelled file is never completed
    tearDown();
}

void MovieWriter::tearDown() {
    if (pipeline_) {
        gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
        GstHandle<GstBus> bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline_.get()));
        gst_bus_set_sync_handler(bus.get(), nullptr, nullptr, nullptr);
        videoSrc_.reset();
        audioSrc_.reset();
        pipeline_.reset();
    }
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

Error MovieWriter::errorFrom(const GError* gerror, const QString& debug) {
    const QString message = gerror ? QString::fromUtf8(gerror->message) : QString();
    const QString description =
        debug.isEmpty() ? message : message + QStringLiteral(" (") + debug + QLatin1Char(')');
    if (gerror && gerror->domain == GST_RESOURCE_ERROR) {
        Error error{Error::gstResourceDomain, gerror->code, description, nullptr};
        if (const std::optional<int> cause = errnoFor(GstResourceError(gerror->code))) {
            return error.withUnderlying(Error::posix(*cause));
        }
        return error;
    }
    if (gerror && gerror->domain == GST_STREAM_ERROR) {
        return Error{Error::gstStreamDomain, gerror->code, description, nullptr};
    }
    return Error{Error::writerDomain, creationFailedCode, description, nullptr};
}
