#include "TimeLapseWriter.h"

#include "PrivateFile.h"

#include <gst/app/gstappsrc.h>
#include <gst/video/video.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace {

// Pictures queued ahead of the encoder before the caller waits.
constexpr guint64 queuedPictures = 2;
constexpr auto readinessPoll = std::chrono::milliseconds(5);
constexpr GstClockTime finishTimeout = 120 * GST_SECOND;

GstClockTime presentationTime(int n) {
    return gst_util_uint64_scale(static_cast<guint64>(n), GST_SECOND,
                                 TimeLapseWriter::picturesPerSecond);
}

QString errorText(GstMessage* message) {
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    QString text = error ? QString::fromUtf8(error->message) : QString();
    if (error) {
        g_error_free(error);
    }
    return text;
}

}  // namespace

TimeLapseWriter::~TimeLapseWriter() {
    stop();
    if (pool_) {
        gst_buffer_pool_set_active(pool_.get(), FALSE);
    }
}

void TimeLapseWriter::stop() {
    if (pipeline_) {
        gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
    }
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

bool TimeLapseWriter::open(const QString& filePath, QSize canvas) {
    if (start(filePath, canvas)) {
        return true;
    }
    stop();
    return false;
}

bool TimeLapseWriter::start(const QString& filePath, QSize canvas) {
    Gst::ensureInitialised();
    canvas_ = canvas;
    fd_ = PrivateFile::create(filePath);
    if (fd_ < 0) {
        return false;
    }
    GError* error = nullptr;
    GstElement* parsed = gst_parse_launch(
        "appsrc name=in format=time is-live=false ! videoconvert n-threads=2 ! "
        "video/x-raw,format=I420"
        " ! x264enc speed-preset=superfast bframes=0 pass=qual quantizer=21"
        " ! video/x-h264,stream-format=avc,alignment=au ! qtmux ! fdsink name=out",
        &error);
    if (error) {
        g_error_free(error);
        if (parsed) {
            gst_object_unref(parsed);
        }
        return false;
    }
    pipeline_ = GstHandle<GstElement>::adopt(GST_ELEMENT(gst_object_ref_sink(parsed)));
    GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline_.get()), "out");
    g_object_set(sink, "fd", fd_, nullptr);
    gst_object_unref(sink);
    source_ = gst_bin_get_by_name(GST_BIN(pipeline_.get()), "in");
    gst_object_unref(source_);  // the pipeline keeps it alive

    GstVideoInfo info;
    gst_video_info_set_format(&info, GST_VIDEO_FORMAT_BGRA, static_cast<guint>(canvas.width()),
                              static_cast<guint>(canvas.height()));
    info.fps_n = picturesPerSecond;
    info.fps_d = 1;
    const auto caps = GstHandle<GstCaps>::adopt(gst_video_info_to_caps(&info));
    gst_app_src_set_caps(GST_APP_SRC(source_), caps.get());

    pool_ = GstHandle<GstBufferPool>::adopt(gst_buffer_pool_new());
    GstStructure* config = gst_buffer_pool_get_config(pool_.get());
    gst_buffer_pool_config_set_params(config, caps.get(), static_cast<guint>(info.size), 2, 0);
    if (!gst_buffer_pool_set_config(pool_.get(), config) ||
        !gst_buffer_pool_set_active(pool_.get(), TRUE)) {
        return false;
    }
    return gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE &&
           !pendingError();
}

std::optional<QString> TimeLapseWriter::pendingError() {
    if (!error_ && pipeline_) {
        const GstHandle<GstBus> bus =
            GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline_.get()));
        while (GstMessage* message = gst_bus_pop(bus.get())) {
            if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR && !error_) {
                error_ = errorText(message);
            }
            gst_message_unref(message);
        }
    }
    return error_;
}

bool TimeLapseWriter::waitUntilReady() {
    while (gst_app_src_get_current_level_buffers(GST_APP_SRC(source_)) >= queuedPictures) {
        if (pendingError()) {
            return false;
        }
        std::this_thread::sleep_for(readinessPoll);
    }
    return !pendingError();
}

bool TimeLapseWriter::append(const std::function<void(QImage& canvas)>& draw) {
    GstBuffer* buffer = nullptr;
    if (pendingError() ||
        gst_buffer_pool_acquire_buffer(pool_.get(), &buffer, nullptr) != GST_FLOW_OK) {
        return false;
    }
    GstMapInfo map;
    if (!gst_buffer_map(buffer, &map, GST_MAP_WRITE)) {
        gst_buffer_unref(buffer);
        return false;
    }
    {
        QImage canvas(map.data, canvas_.width(), canvas_.height(), canvas_.width() * 4,
                      QImage::Format_ARGB32_Premultiplied);
        draw(canvas);
    }
    gst_buffer_unmap(buffer, &map);
    if (!waitUntilReady()) {
        gst_buffer_unref(buffer);
        return false;
    }
    GST_BUFFER_PTS(buffer) = presentationTime(appended_);
    GST_BUFFER_DURATION(buffer) = presentationTime(appended_ + 1) - presentationTime(appended_);
    if (gst_app_src_push_buffer(GST_APP_SRC(source_), buffer) != GST_FLOW_OK) {
        return false;
    }
    ++appended_;
    return true;
}

std::optional<QString> TimeLapseWriter::finish() {
    if (!pipeline_ || pendingError()) {
        return error_.value_or(QString());
    }
    gst_app_src_end_of_stream(GST_APP_SRC(source_));
    const GstHandle<GstBus> bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline_.get()));
    const auto message = GstHandle<GstMessage>::adopt(gst_bus_timed_pop_filtered(
        bus.get(), finishTimeout,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    std::optional<QString> failure;
    if (!message) {
        failure = QString();
    } else if (GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR) {
        failure = errorText(message.get());
    }
    stop();
    return failure;
}
