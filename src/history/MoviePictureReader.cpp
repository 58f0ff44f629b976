#include "MoviePictureReader.h"

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>

#include <algorithm>

namespace {

constexpr GstClockTime stateTimeout = 10 * GST_SECOND;
constexpr GstClockTime pictureTimeout = 5 * GST_SECOND;

GstHandle<GstElement> launched(const QByteArray& description, const QString& moviePath) {
    Gst::ensureInitialised();
    GError* error = nullptr;
    GstElement* parsed = gst_parse_launch(description.constData(), &error);
    if (error) {
        g_error_free(error);
        if (parsed) {
            gst_object_unref(parsed);
        }
        return {};
    }
    // The parsed pipeline's reference is floating: sink it to own it.
    auto pipeline = GstHandle<GstElement>::adopt(GST_ELEMENT(gst_object_ref_sink(parsed)));
    GstElement* source = gst_bin_get_by_name(GST_BIN(pipeline.get()), "src");
    g_object_set(source, "location", moviePath.toLocal8Bit().constData(), nullptr);
    gst_object_unref(source);
    return pipeline;
}

// Brings the pipeline to paused (prerolled); false on an error or timeout.
// An error in a streaming thread (a file that is no movie) ends the wait at
// once instead of at the timeout.
bool prerolled(GstElement* pipeline) {
    const GstStateChangeReturn change = gst_element_set_state(pipeline, GST_STATE_PAUSED);
    if (change != GST_STATE_CHANGE_ASYNC) {
        return change == GST_STATE_CHANGE_SUCCESS;
    }
    const GstHandle<GstBus> bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline));
    const auto message = GstHandle<GstMessage>::adopt(gst_bus_timed_pop_filtered(
        bus.get(), stateTimeout,
        static_cast<GstMessageType>(GST_MESSAGE_ASYNC_DONE | GST_MESSAGE_ERROR)));
    return message && GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ASYNC_DONE;
}

// Empties the bus, which nothing else reads; false when it held an error.
bool drainedWithoutError(GstElement* pipeline) {
    const GstHandle<GstBus> bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline));
    bool fine = true;
    while (GstMessage* message = gst_bus_pop(bus.get())) {
        fine = fine && GST_MESSAGE_TYPE(message) != GST_MESSAGE_ERROR;
        gst_message_unref(message);
    }
    return fine;
}

QImage imageOf(GstSample* sample) {
    GstVideoInfo info;
    if (!gst_video_info_from_caps(&info, gst_sample_get_caps(sample))) {
        return {};
    }
    GstVideoFrame frame;
    if (!gst_video_frame_map(&frame, &info, gst_sample_get_buffer(sample), GST_MAP_READ)) {
        return {};
    }
    const QImage mapped(static_cast<const uchar*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)),
                        GST_VIDEO_INFO_WIDTH(&info), GST_VIDEO_INFO_HEIGHT(&info),
                        GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0), QImage::Format_RGB32);
    QImage copy = mapped.copy();
    gst_video_frame_unmap(&frame);
    return copy;
}

}  // namespace

MoviePictureReader::MoviePictureReader(const QString& moviePath) {
    // One decoding thread: a seek wants one picture, and threaded decoding
    // would decode frames past it before handing it over.
    // The size is checked on the parsed stream, before the decoder allocates
    // anything for it.
    const QByteArray largest = QByteArray::number(largestSide);
    pipeline_ = launched(
        "filesrc name=src ! qtdemux name=demux demux.video_0 ! h264parse"
        " ! video/x-h264,width=(int)[1," +
            largest + "],height=(int)[1," + largest +
            "] ! avdec_h264 max-threads=1 ! videoconvert n-threads=2"
            " ! video/x-raw,format=BGRx ! appsink name=out sync=false"
            " max-buffers=1 enable-last-sample=false",
        moviePath);
    if (!pipeline_) {
        return;
    }
    sink_ = gst_bin_get_by_name(GST_BIN(pipeline_.get()), "out");
    gst_object_unref(sink_);  // the pipeline keeps it alive
    open_ = prerolled(pipeline_.get()) && drainedWithoutError(pipeline_.get());
}

MoviePictureReader::~MoviePictureReader() {
    if (pipeline_) {
        gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
    }
}

GstHandle<GstSample> MoviePictureReader::seek(double offset) {
    // An exact seek: the demuxer starts at the keyframe at or before the
    // offset and the decoder hands over the frame shown at it.
    const auto flags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
    if (!gst_element_seek_simple(pipeline_.get(), GST_FORMAT_TIME, flags,
                                 static_cast<gint64>(offset * GST_SECOND))) {
        return {};
    }
    auto sample = GstHandle<GstSample>::adopt(
        gst_app_sink_try_pull_preroll(GST_APP_SINK(sink_), pictureTimeout));
    open_ = drainedWithoutError(pipeline_.get());
    return open_ ? sample : GstHandle<GstSample>();
}

QImage MoviePictureReader::pictureAt(double offset) {
    if (!open_) {
        return {};
    }
    GstHandle<GstSample> sample = seek(offset + keyframeTolerance);
    if (!sample && open_) {
        sample = seek(offset);  // the tolerance reached past the end
    }
    return sample ? imageOf(sample.get()) : QImage();
}

std::optional<double> MoviePictureReader::duration(const QString& moviePath) {
    const GstHandle<GstElement> pipeline =
        launched("filesrc name=src ! qtdemux name=demux demux. ! fakesink", moviePath);
    std::optional<double> seconds;
    if (pipeline && prerolled(pipeline.get())) {
        gint64 nanoseconds = 0;
        if (gst_element_query_duration(pipeline.get(), GST_FORMAT_TIME, &nanoseconds) &&
            nanoseconds >= 0) {
            seconds = static_cast<double>(nanoseconds) / GST_SECOND;
        }
    }
    if (pipeline) {
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    }
    return seconds;
}
