#include "NetworkCameraSource.h"

#include "CameraPipelineSink.h"

#include <gst/app/gstappsrc.h>

namespace {

bool isPassedThrough(GstCaps* caps) {
    const GstStructure* format = caps ? gst_caps_get_structure(caps, 0) : nullptr;
    return format && (gst_structure_has_name(format, "video/x-h264") ||
                      gst_structure_has_name(format, "video/x-h265"));
}

// The running time of a sample's buffer time in its own segment.
std::optional<GstClockTime> runningTime(GstSample* sample, GstClockTime time) {
    const GstSegment* segment = gst_sample_get_segment(sample);
    if (!GST_CLOCK_TIME_IS_VALID(time) || !segment || segment->format != GST_FORMAT_TIME) {
        return std::nullopt;
    }
    const GstClockTime running = gst_segment_to_running_time(segment, GST_FORMAT_TIME, time);
    return GST_CLOCK_TIME_IS_VALID(running) ? std::optional(running) : std::nullopt;
}

// The NAL length size of an avc or hvc1 stream, from its codec data; 0 when
// unknown.
int nalLengthSize(GstCaps* caps, bool h265) {
    const GstStructure* format = caps ? gst_caps_get_structure(caps, 0) : nullptr;
    const GValue* value = format ? gst_structure_get_value(format, "codec_data") : nullptr;
    GstBuffer* codecData =
        value && G_VALUE_HOLDS(value, GST_TYPE_BUFFER) ? gst_value_get_buffer(value) : nullptr;
    const gsize at = h265 ? 21 : 4;
    guint8 byte = 0;
    if (!codecData || gst_buffer_extract(codecData, at, &byte, 1) != 1) {
        return 0;
    }
    return (byte & 3) + 1;
}

// After the decoder: only the pictures the motion measure wants go on.
GstPadProbeReturn thinForMeasuring(GstPad*, GstPadProbeInfo* info, gpointer rate) {
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    const bool measured = static_cast<NetworkCameraMeasureRate*>(rate)->measure(
        static_cast<std::int64_t>(GST_BUFFER_PTS(buffer)));
    return measured ? GST_PAD_PROBE_OK : GST_PAD_PROBE_DROP;
}

}  // namespace

NetworkCameraSource::NetworkCameraSource(NetworkCameraUrl url, NetworkCredentials credentials,
                                         QPointer<NetworkCameraFacts> facts, QString name)
    : CaptureSource(url.uniqueID(), name.isEmpty() ? url.name() : name),
      url_(url),
      facts_(std::move(facts)),
      link_(url, std::move(credentials), this->name(),
            {[this](GstSample* sample) { deliver(sample); },
             [this] {
                 std::lock_guard guard(mutex_);
                 if (recorder_ && delivering_) {
                     recorder_->recordLoss(CaptureLoss::captureDropped);
                 }
             },
             [this] {
                 std::lock_guard guard(mutex_);
                 clock_.reset();
                 measureRate_.reset();
                 keyframes_.reset();
             },
             {}}) {}

NetworkCameraSource::~NetworkCameraSource() {
    link_.stop();
}

bool NetworkCameraSource::feedsRecorder(CameraPipelineSink* recorder) {
    std::lock_guard guard(mutex_);
    recorder_ = url_.kind() == NetworkCameraUrl::Kind::rtsp ? recorder : nullptr;
    return recorder_ != nullptr;
}

// appsrc ! decodebin ! identity: the identity gives the bin its one source
// pad before the decoder knows what it decodes.
GstHandle<GstElement> NetworkCameraSource::makeElement() {
    Gst::ensureInitialised();
    auto bin = GstHandle<GstElement>::sink(gst_bin_new(nullptr));
    auto feed = GstHandle<GstElement>::sink(gst_element_factory_make("appsrc", "feed"));
    auto decoder = GstHandle<GstElement>::sink(gst_element_factory_make("decodebin", nullptr));
    auto output = GstHandle<GstElement>::sink(gst_element_factory_make("identity", nullptr));
    if (!bin || !feed || !decoder || !output) {
        return {};
    }
    g_object_set(feed.get(), "format", GST_FORMAT_TIME, "is-live", TRUE, "do-timestamp", FALSE,
                 "block", FALSE, "max-bytes", guint64(8'000'000), nullptr);
    // Behind, the oldest samples go: the picture heals at the next keyframe.
    gst_util_set_object_arg(G_OBJECT(feed.get()), "leaky-type", "downstream");
    gst_bin_add_many(GST_BIN(bin.get()), feed.get(), decoder.get(), output.get(), nullptr);
    gst_element_link(feed.get(), decoder.get());
    g_signal_connect_object(
        decoder.get(), "pad-added", G_CALLBACK(+[](GstElement*, GstPad* pad, GstElement* next) {
            auto input = GstHandle<GstPad>::adopt(gst_element_get_static_pad(next, "sink"));
            if (!gst_pad_is_linked(input.get())) {
                gst_pad_link(pad, input.get());
            }
        }),
        output.get(), GConnectFlags(0));
    auto pad = GstHandle<GstPad>::adopt(gst_element_get_static_pad(output.get(), "src"));
    // An MJPEG camera's pictures are all encoded for the recorder.
    if (url_.kind() == NetworkCameraUrl::Kind::rtsp) {
        gst_pad_add_probe(
            pad.get(), GST_PAD_PROBE_TYPE_BUFFER, &thinForMeasuring, new NetworkCameraMeasureRate,
            [](gpointer rate) { delete static_cast<NetworkCameraMeasureRate*>(rate); });
    }
    gst_element_add_pad(bin.get(), gst_ghost_pad_new("src", pad.get()));
    std::lock_guard guard(mutex_);
    feed_ = std::move(feed);
    feedCaps_.reset();
    measureRate_.reset();
    return bin;
}

void NetworkCameraSource::sessionStarted() {
    {
        std::lock_guard guard(mutex_);
        delivering_ = true;
    }
    link_.start();
}

void NetworkCameraSource::sessionStopping() {
    std::lock_guard guard(mutex_);
    delivering_ = false;
}

void NetworkCameraSource::sessionStopped() {
    link_.stop();
}

std::optional<GstClockTime> NetworkCameraSource::sessionNow(GstElement* feed) const {
    auto clock = GstHandle<GstClock>::adopt(gst_element_get_clock(feed));
    const GstClockTime base = gst_element_get_base_time(feed);
    if (!clock || !GST_CLOCK_TIME_IS_VALID(base)) {
        return std::nullopt;
    }
    const GstClockTime now = gst_clock_get_time(clock.get());
    return now > base ? now - base : 0;
}

// On the link's stream thread: the sample, on the session's clock, to the
// recorder (H.264, H.265) and to the decoder.
void NetworkCameraSource::deliver(GstSample* sample) {
    GstBuffer* buffer = gst_sample_get_buffer(sample);
    GstCaps* caps = gst_sample_get_caps(sample);
    std::lock_guard guard(mutex_);
    if (!delivering_ || !feed_ || !buffer || !caps) {
        return;
    }
    const std::optional<GstClockTime> arrival = sessionNow(feed_.get());
    if (!arrival) {
        return;
    }
    const std::optional<GstClockTime> pts = runningTime(sample, GST_BUFFER_PTS(buffer));
    const GstClockTime mapped = clock_.map(static_cast<std::int64_t>(pts.value_or(*arrival)),
                                           static_cast<std::int64_t>(*arrival));
    const std::optional<GstClockTime> dts = runningTime(sample, GST_BUFFER_DTS(buffer));
    // A new header over the same memory: the camera's data is never copied.
    GstBuffer* retimed = gst_buffer_copy_region(
        buffer,
        GstBufferCopyFlags(GST_BUFFER_COPY_FLAGS | GST_BUFFER_COPY_TIMESTAMPS |
                           GST_BUFFER_COPY_META | GST_BUFFER_COPY_MEMORY),
        0, static_cast<gsize>(-1));
    GST_BUFFER_PTS(retimed) = mapped;
    GST_BUFFER_DTS(retimed) =
        dts && pts ? static_cast<GstClockTime>(clock_.sameOffset(static_cast<std::int64_t>(*dts)))
                   : mapped;
    const bool passedThrough = isPassedThrough(caps);
    if (passedThrough) {
        noteKeyframe(retimed);
    }
    if (recorder_ && passedThrough) {
        recorder_->appendVideo(
            GstHandle<GstSample>::adopt(gst_sample_new(retimed, caps, nullptr, nullptr)));
    }
    if (!feedCaps_ || !gst_caps_is_equal(caps, feedCaps_.get())) {
        gst_app_src_set_caps(GST_APP_SRC(feed_.get()), caps);
        feedCaps_ = GstHandle<GstCaps>::ref(caps);
        passedThrough_ = passedThrough;
        const bool h265 = gst_structure_has_name(gst_caps_get_structure(caps, 0), "video/x-h265");
        nalLengthSize_ = passedThrough_ ? nalLengthSize(caps, h265) : 0;
        h265_ = h265;
    }
    if (decodes(retimed)) {
        gst_app_src_push_buffer(GST_APP_SRC(feed_.get()), retimed);
    } else {
        gst_buffer_unref(retimed);
    }
}

// Pre-roll starts at a keyframe, so Settings says when they are far apart.
// The spacing is told only when it changes, so posting it costs nothing per
// keyframe.
void NetworkCameraSource::noteKeyframe(GstBuffer* buffer) {
    const std::optional<std::int64_t> spacing =
        keyframes_.frame(static_cast<std::int64_t>(GST_BUFFER_PTS(buffer)),
                         !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT));
    if (spacing) {
        NetworkCameraFacts::post(facts_, uniqueID(), double(*spacing) / GST_SECOND);
    }
}

// Whether the decoder is to get `buffer`. A picture the motion
// measure does not want and that no other picture is decoded from is not
// decoded at all.
bool NetworkCameraSource::decodes(GstBuffer* buffer) {
    if (!passedThrough_ || nalLengthSize_ == 0 ||
        measureRate_.measure(static_cast<std::int64_t>(GST_BUFFER_PTS(buffer)))) {
        return true;
    }
    bool disposable = false;
    GstMapInfo map;
    if (gst_buffer_map(buffer, &map, GST_MAP_READ)) {
        disposable =
            NetworkCameraMeasureRate::isDisposable(map.data, map.size, nalLengthSize_, h265_);
        gst_buffer_unmap(buffer, &map);
    }
    return !disposable;
}
