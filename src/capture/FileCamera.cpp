#include "FileCamera.h"

#include "Log.h"

#include <gst/app/gstappsink.h>
#include <QFileInfo>

FileCamera::FileCamera(QString path, bool realTime)
    : FeederSource(QStringLiteral("file:") + QFileInfo(path).absoluteFilePath(),
                   QFileInfo(path).fileName(), realTime),
      path_(std::move(path)) {}

FileCamera::~FileCamera() {
    sessionStopping();
    sessionStopped();
    closeDecoder();
}

bool FileCamera::openDecoder() {
    GError* error = nullptr;
    GstElement* pipeline = gst_parse_launch(
        "filesrc name=file ! decodebin ! videoconvert ! video/x-raw,format=I420 ! "
        "appsink name=frames sync=false max-buffers=2",
        &error);
    if (error) {
        Log::line(QStringLiteral("Could not play %1 as a camera: %2")
                      .arg(path_, QString::fromUtf8(error->message)));
        g_error_free(error);
        if (pipeline) {
            gst_object_unref(pipeline);
        }
        return false;
    }
    decoder_ = GstHandle<GstElement>::adopt(GST_ELEMENT(gst_object_ref_sink(pipeline)));
    auto file = GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline), "file"));
    g_object_set(file.get(), "location", path_.toUtf8().constData(), nullptr);
    frames_ = GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline), "frames"));
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    return true;
}

void FileCamera::closeDecoder() {
    if (decoder_) {
        gst_element_set_state(decoder_.get(), GST_STATE_NULL);
    }
    frames_.reset();
    decoder_.reset();
}

void FileCamera::interrupt() {
    // Unblocks a pull waiting for the decoder.
    if (decoder_) {
        gst_element_send_event(decoder_.get(), gst_event_new_flush_start());
    }
}

void FileCamera::rewind() {
    closeDecoder();
    loopOffset_ = 0;
    streamEnd_ = 0;
    openDecoder();
}

GstBuffer* FileCamera::produce(GstAppSrc* source) {
    if (!frames_) {
        return nullptr;
    }
    for (int attempt = 0; attempt < 2 && !stopRequested(); ++attempt) {
        auto sample = GstHandle<GstSample>::adopt(
            gst_app_sink_try_pull_sample(GST_APP_SINK(frames_.get()), 2 * GST_SECOND));
        if (sample) {
            GstCaps* format = gst_sample_get_caps(sample.get());
            if (format && (!lastCaps_ || !gst_caps_is_equal(format, lastCaps_.get()))) {
                lastCaps_ = GstHandle<GstCaps>::ref(format);
                gst_app_src_set_caps(source, format);
            }
            GstBuffer* buffer = gst_buffer_ref(gst_sample_get_buffer(sample.get()));
            sample.reset();
            buffer = gst_buffer_make_writable(buffer);
            const GstClockTime pts = GST_BUFFER_PTS_IS_VALID(buffer) ? GST_BUFFER_PTS(buffer) : 0;
            const GstClockTime duration = GST_BUFFER_DURATION_IS_VALID(buffer)
                                              ? GST_BUFFER_DURATION(buffer)
                                              : GST_SECOND / 30;
            GST_BUFFER_PTS(buffer) = loopOffset_ + pts;
            GST_BUFFER_DTS(buffer) = GST_CLOCK_TIME_NONE;
            streamEnd_ = std::max(streamEnd_, loopOffset_ + pts + duration);
            return buffer;
        }
        if (!gst_app_sink_is_eos(GST_APP_SINK(frames_.get()))) {
            return nullptr;
        }
        // The end of the file: play it again, later on the same timeline.
        loopOffset_ = streamEnd_;
        gst_element_seek_simple(
            decoder_.get(), GST_FORMAT_TIME,
            static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT), 0);
    }
    return nullptr;
}
