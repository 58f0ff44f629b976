#include "EncodedStream.h"

#include <gst/app/gstappsink.h>
#include <QByteArray>

namespace EncodedStream {

namespace {

// Runs a description ending in "appsink name=out" to its end and collects
// every sample.
std::vector<GstHandle<GstSample>> collect(const QByteArray& description) {
    Gst::ensureInitialised();
    GError* error = nullptr;
    GstElement* parsed = gst_parse_launch(description.constData(), &error);
    if (!parsed || error) {
        qFatal("Cannot build test pipeline %s: %s", description.constData(),
               error ? error->message : "unknown");
    }
    // The parsed pipeline's reference is floating: sink it to own it.
    const GstHandle<GstElement> pipeline =
        GstHandle<GstElement>::adopt(GST_ELEMENT(gst_object_ref_sink(parsed)));
    GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline.get()), "out");
    g_object_set(sink, "sync", FALSE, nullptr);
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    std::vector<GstHandle<GstSample>> samples;
    while (GstSample* sample = gst_app_sink_pull_sample(GST_APP_SINK(sink))) {
        samples.push_back(GstHandle<GstSample>::adopt(sample));
    }
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    gst_object_unref(sink);
    return samples;
}

// The running clock drawn on the frames, where the text overlay plugin
// (gstreamer1.0-x) is installed.
QByteArray clockOverlay() {
    Gst::ensureInitialised();
    GstElementFactory* factory = gst_element_factory_find("timeoverlay");
    if (!factory) {
        return {};
    }
    gst_object_unref(factory);
    return "timeoverlay font-desc=\"Sans 16\" ! ";
}

}  // namespace

std::vector<GstHandle<GstSample>> video(double seconds, const VideoOptions& o) {
    const int frames = static_cast<int>(seconds * o.fps + 0.5);
    const QByteArray description =
        QByteArray("videotestsrc pattern=ball num-buffers=") + QByteArray::number(frames) +
        " ! video/x-raw,format=I420,width=" + QByteArray::number(o.width) +
        ",height=" + QByteArray::number(o.height) + ",framerate=" + QByteArray::number(o.fps) +
        "/1 ! " + clockOverlay() +
        "x264enc tune=zerolatency speed-preset=ultrafast"
        " bframes=0 key-int-max=" +
        QByteArray::number(o.fps) +
        " bitrate=1000 ! h264parse ! video/x-h264,stream-format=avc,alignment=au"
        " ! appsink name=out";
    // x264enc moves its output far into the future (to leave room for
    // reordering); bring the first frame back to time 0 like the source.
    std::vector<GstHandle<GstSample>> samples = collect(description);
    if (!samples.empty()) {
        const auto offset = -static_cast<GstClockTimeDiff>(pts(samples.front()));
        for (GstHandle<GstSample>& sample : samples) {
            sample = shifted(sample, offset);
        }
    }
    return samples;
}

std::vector<GstHandle<GstSample>> audio(double seconds, const AudioOptions& o) {
    const int buffers = static_cast<int>(seconds * o.rate / o.samplesPerBuffer + 0.5);
    const QByteArray description =
        QByteArray("audiotestsrc wave=sine samplesperbuffer=") +
        QByteArray::number(o.samplesPerBuffer) + " num-buffers=" + QByteArray::number(buffers) +
        " ! audio/x-raw,format=" + o.format +
        ",layout=interleaved,rate=" + QByteArray::number(o.rate) +
        ",channels=" + QByteArray::number(o.channels) + " ! appsink name=out";
    return collect(description);
}

GstHandle<GstSample> rawFrame(int width, int height, const char* format) {
    const QByteArray description =
        QByteArray("videotestsrc pattern=ball num-buffers=1 ! video/x-raw,format=") + format +
        ",width=" + QByteArray::number(width) + ",height=" + QByteArray::number(height) +
        " ! appsink name=out";
    std::vector<GstHandle<GstSample>> samples = collect(description);
    return samples.empty() ? GstHandle<GstSample>() : samples.front();
}

GstHandle<GstSample> shifted(const GstHandle<GstSample>& sample, GstClockTimeDiff offset) {
    GstBuffer* buffer = gst_sample_get_buffer(sample.get());
    GstBuffer* moved =
        gst_buffer_copy_region(buffer, GST_BUFFER_COPY_ALL, 0, static_cast<gsize>(-1));
    GST_BUFFER_PTS(moved) = GST_BUFFER_PTS(buffer) + offset;
    if (GST_BUFFER_DTS_IS_VALID(buffer)) {
        GST_BUFFER_DTS(moved) = GST_BUFFER_DTS(buffer) + offset;
    }
    GstSample* result = gst_sample_new(moved, gst_sample_get_caps(sample.get()), nullptr, nullptr);
    gst_buffer_unref(moved);
    return GstHandle<GstSample>::adopt(result);
}

bool isKeyframe(const GstHandle<GstSample>& sample) {
    return !GST_BUFFER_FLAG_IS_SET(gst_sample_get_buffer(sample.get()), GST_BUFFER_FLAG_DELTA_UNIT);
}

GstClockTime pts(const GstHandle<GstSample>& sample) {
    return GST_BUFFER_PTS(gst_sample_get_buffer(sample.get()));
}

}  // namespace EncodedStream
