#include "NetworkCameraProbe.h"

#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/video/video.h>
#include <QCoreApplication>

namespace {

// A second of the stream after the first keyframe tells the frame rate of a
// camera whose stream does not say it.
constexpr GstClockTime rateSpan = GST_SECOND;
constexpr int rateSamples = 60;
constexpr GstClockTime decodeLimit = 10 * GST_SECOND;

QString codecOf(const GstStructure* format) {
    if (gst_structure_has_name(format, "video/x-h265")) {
        return QStringLiteral("H.265");
    }
    if (gst_structure_has_name(format, "video/x-h264")) {
        return QStringLiteral("H.264");
    }
    return QStringLiteral("MJPEG");
}

}  // namespace

NetworkCameraProbe::NetworkCameraProbe(NetworkCameraUrl url, NetworkCredentials credentials,
                                       Done done)
    : link_(url, std::move(credentials), url.name(),
            NetworkCameraLink::Handlers{[this](GstSample* sample) { sampled(sample); },
                                        {},
                                        {},
                                        [this](const QString& why) {
                                            queue_.async([this, why] {
                                                finish(Result{why, {}, {}, 0, {}});
                                            });
                                        }}),
      done_(std::move(done)) {}

NetworkCameraProbe::~NetworkCameraProbe() {
    abandoned_ = true;
    link_.stop();
    queue_.sync([this] { finished_ = true; });
}

void NetworkCameraProbe::start() {
    link_.start();
    queue_.asyncAfter(patience, [this] {
        finish(Result{NetworkCameraLink::noPicturesText(), {}, {}, 0, {}});
    });
}

void NetworkCameraProbe::sampled(GstSample* sample) {
    GstBuffer* buffer = gst_sample_get_buffer(sample);
    const GstClockTime time = buffer ? GST_BUFFER_PTS(buffer) : GST_CLOCK_TIME_NONE;
    const std::lock_guard lock(mutex_);
    if (described_) {
        return;
    }
    if (!first_) {
        if (!buffer || GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT)) {
            return;
        }
        first_ = GstHandle<GstSample>::ref(sample);
        firstTime_ = time;
        return;
    }
    ++samplesSinceFirst_;
    lastTime_ = time;
    const bool spanned = GST_CLOCK_TIME_IS_VALID(firstTime_) && GST_CLOCK_TIME_IS_VALID(time) &&
                         time >= firstTime_ + rateSpan;
    if (spanned || samplesSinceFirst_ >= rateSamples) {
        described_ = true;
        queue_.async([this] { finish(described()); });
    }
}

NetworkCameraProbe::Result NetworkCameraProbe::described() {
    GstHandle<GstSample> first;
    Result result;
    {
        const std::lock_guard lock(mutex_);
        first = std::move(first_);
        if (samplesSinceFirst_ > 0 && lastTime_ > firstTime_) {
            result.framesPerSecond =
                samplesSinceFirst_ * double(GST_SECOND) / double(lastTime_ - firstTime_);
        }
    }
    const GstStructure* format = gst_caps_get_structure(gst_sample_get_caps(first.get()), 0);
    result.codec = codecOf(format);
    int numerator = 0;
    int denominator = 0;
    if (gst_structure_get_fraction(format, "framerate", &numerator, &denominator) &&
        numerator > 0 && denominator > 0) {
        result.framesPerSecond = double(numerator) / denominator;
    }
    result.picture = pictureOf(first.get());
    result.size = result.picture.size();
    if (result.picture.isNull()) {
        result.problem = NetworkCameraLink::unsupportedText();
    }
    return result;
}

void NetworkCameraProbe::finish(Result result) {
    if (finished_ || abandoned_) {
        return;
    }
    finished_ = true;
    link_.stop();
    done_(result);
}

// The one sample is decoded on its own, then the stream ends, so a decoder
// that holds pictures back for reordering gives it up.
QImage NetworkCameraProbe::pictureOf(GstSample* sample) {
    GstBuffer* encoded = sample ? gst_sample_get_buffer(sample) : nullptr;
    if (!encoded) {
        return {};
    }
    GErrorHandle error;
    auto pipeline = GstHandle<GstElement>::sink(gst_parse_launch(
        "appsrc name=in format=time ! decodebin ! videoconvert ! video/x-raw,format=RGBx ! "
        "appsink name=out sync=false",
        Gst::out(error)));
    if (error || !pipeline) {
        return {};
    }
    auto input = GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline.get()), "in"));
    auto output = GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline.get()), "out"));
    gst_app_src_set_caps(GST_APP_SRC(input.get()), gst_sample_get_caps(sample));
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    gst_app_src_push_buffer(GST_APP_SRC(input.get()), gst_buffer_ref(encoded));
    gst_app_src_end_of_stream(GST_APP_SRC(input.get()));
    auto decoded = GstHandle<GstSample>::adopt(
        gst_app_sink_try_pull_sample(GST_APP_SINK(output.get()), decodeLimit));
    QImage picture;
    GstVideoInfo info;
    GstMapInfo map;
    GstBuffer* buffer = decoded ? gst_sample_get_buffer(decoded.get()) : nullptr;
    if (buffer && gst_video_info_from_caps(&info, gst_sample_get_caps(decoded.get())) &&
        gst_buffer_map(buffer, &map, GST_MAP_READ)) {
        picture = QImage(map.data, GST_VIDEO_INFO_WIDTH(&info), GST_VIDEO_INFO_HEIGHT(&info),
                         GST_VIDEO_INFO_PLANE_STRIDE(&info, 0), QImage::Format_RGBX8888)
                      .copy();
        gst_buffer_unmap(buffer, &map);
    }
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    return picture;
}
