#include "VideoEncoder.h"

#include "Log.h"

#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/video/video.h>
#include <QStringList>
#include <algorithm>
#include <cmath>
#include <mutex>

namespace {

const QString x264 = QStringLiteral("x264enc");

// Hardware encoders in order of preference: VA-API (new and old plugin),
// V4L2 memory-to-memory, NVIDIA, Intel Quick Sync.
const QStringList hardwareEncoders{
    QStringLiteral("vah264enc"),   QStringLiteral("vah264lpenc"), QStringLiteral("vaapih264enc"),
    QStringLiteral("v4l2h264enc"), QStringLiteral("nvh264enc"),   QStringLiteral("qsvh264enc"),
};

void setIfPresent(GstElement* element, const char* property, const QString& value) {
    if (g_object_class_find_property(G_OBJECT_GET_CLASS(element), property)) {
        gst_util_set_object_arg(G_OBJECT(element), property, value.toUtf8().constData());
    }
}

// Whether a short stream really encodes through the factory: hardware
// encoders exist as plugins on machines whose device cannot run them.
bool starts(const QString& factory) {
    if (!gst_element_factory_find(factory.toUtf8().constData())) {
        return false;
    }
    const QString description = QStringLiteral(
                                    "videotestsrc num-buffers=5 ! video/x-raw,width=320,height=240,"
                                    "framerate=30/1 ! videoconvert ! %1 ! h264parse ! fakesink")
                                    .arg(factory);
    GErrorHandle error;
    auto pipeline = GstHandle<GstElement>::sink(
        gst_parse_launch(description.toUtf8().constData(), Gst::out(error)));
    if (error) {
        return false;
    }
    if (gst_element_set_state(pipeline.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
        return false;
    }
    auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline.get()));
    auto message = GstHandle<GstMessage>::adopt(gst_bus_timed_pop_filtered(
        bus.get(), 3 * GST_SECOND,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    return message && GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_EOS;
}

int framesPerSecond(GstCaps* caps) {
    GstVideoInfo info;
    if (caps && gst_video_info_from_caps(&info, caps) && info.fps_n > 0 && info.fps_d > 0) {
        return std::max(1, static_cast<int>(std::lround(double(info.fps_n) / info.fps_d)));
    }
    return 30;
}

}  // namespace

const QString& VideoEncoder::bestEncoderName() {
    static QString chosen;
    static std::once_flag once;
    std::call_once(once, [] {
        Gst::ensureInitialised();
        for (const QString& factory : hardwareEncoders) {
            if (starts(factory)) {
                chosen = factory;
                Log::line(
                    QStringLiteral("Encoding video with the %1 hardware encoder").arg(factory));
                return;
            }
        }
        chosen = x264;
        Log::line(QStringLiteral("No hardware H.264 encoder started, encoding video with x264enc"));
    });
    return chosen;
}

// superfast: about 0.6 of veryfast's CPU time for a picture within the
// study's margins; ultrafast, even with CABAC and the 8x8 transform put back,
// falls outside them on a real camera's noisy footage. One thread: with zero
// latency x264 otherwise cuts every picture into a slice per core and hands
// them to its threads at every frame, which costs CPU and gains nothing at
// 30 frames a second, where one thread keeps up at 1080p.
const X264Configuration VideoEncoder::chosenX264{"superfast_1thread", "superfast", "threads=1"};

namespace {
std::atomic<const X264Configuration*> currentX264{&VideoEncoder::chosenX264};
}  // namespace

const X264Configuration& VideoEncoder::x264Configuration() {
    return *currentX264.load();
}

void VideoEncoder::useX264Configuration(const X264Configuration& configuration) {
    currentX264.store(&configuration);
}

void VideoEncoder::configureEncoder(GstElement* encoder, const QString& factory,
                                    int framesPerSecond) {
    const QString keyInterval = QString::number(framesPerSecond);
    if (factory == x264) {
        // zerolatency: no lookahead, no frame delay. x264 applies the option
        // string after the preset and tune, so it can turn their choices back.
        const X264Configuration& configuration = x264Configuration();
        setIfPresent(encoder, "tune", QStringLiteral("zerolatency"));
        setIfPresent(encoder, "speed-preset", QString::fromUtf8(configuration.preset));
        setIfPresent(encoder, "option-string", QString::fromUtf8(configuration.options));
        setIfPresent(encoder, "bframes", QStringLiteral("0"));
        setIfPresent(encoder, "b-adapt", QStringLiteral("false"));
        setIfPresent(encoder, "key-int-max", keyInterval);
        setIfPresent(encoder, "bitrate", QStringLiteral("8000"));
        return;
    }
    setIfPresent(encoder, "bitrate", QStringLiteral("8000"));
    setIfPresent(encoder, "key-int-max", keyInterval);      // va
    setIfPresent(encoder, "keyframe-period", keyInterval);  // vaapi
    setIfPresent(encoder, "gop-size", keyInterval);         // nvenc, qsv
    setIfPresent(encoder, "b-frames", QStringLiteral("0"));
    setIfPresent(encoder, "max-bframes", QStringLiteral("0"));
    setIfPresent(encoder, "bframes", QStringLiteral("0"));
    setIfPresent(encoder, "zerolatency", QStringLiteral("true"));
    setIfPresent(
        encoder, "extra-controls",
        QStringLiteral("controls,video_bitrate=8000000,h264_i_frame_period=%1").arg(keyInterval));
}

GstHandle<GstElement> VideoEncoder::encoderElement() const {
    const QByteArray factory = encoderName_.toUtf8();
    GstHandle<GstElement> found;
    GstIterator* elements = gst_bin_iterate_elements(GST_BIN(pipeline_.get()));
    GValue item = G_VALUE_INIT;
    while (!found && gst_iterator_next(elements, &item) == GST_ITERATOR_OK) {
        auto* element = GST_ELEMENT(g_value_get_object(&item));
        GstElementFactory* made = gst_element_get_factory(element);
        if (made && factory == GST_OBJECT_NAME(made)) {
            found = GstHandle<GstElement>::ref(element);
        }
        g_value_reset(&item);
    }
    g_value_unset(&item);
    gst_iterator_free(elements);
    return found;
}

std::unique_ptr<VideoEncoder> VideoEncoder::create(CameraPipelineSink& sink, GstCaps* frameCaps) {
    GstVideoInfo info;
    if (!frameCaps || !gst_video_info_from_caps(&info, frameCaps)) {
        Log::line(QStringLiteral("Could not create the video compressor"));
        return nullptr;
    }
    std::unique_ptr<VideoEncoder> encoder(new VideoEncoder(sink, info));
    if (!encoder->build(frameCaps)) {
        Log::line(QStringLiteral("Could not create the video compressor"));
        return nullptr;
    }
    return encoder;
}

VideoEncoder::VideoEncoder(CameraPipelineSink& sink, const GstVideoInfo& frameInfo)
    : sink_(sink),
      frameInfo_(frameInfo),
      width_(GST_VIDEO_INFO_WIDTH(&frameInfo)),
      height_(GST_VIDEO_INFO_HEIGHT(&frameInfo)) {}

VideoEncoder::~VideoEncoder() {
    if (pipeline_) {
        gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
        auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline_.get()));
        gst_bus_set_sync_handler(bus.get(), nullptr, nullptr, nullptr);
    }
}

bool VideoEncoder::build(GstCaps* frameCaps) {
    encoderName_ = bestEncoderName();
    pipeline_ = GstHandle<GstElement>::sink(gst_pipeline_new("VideoEncoder"));
    source_ = GstHandle<GstElement>::sink(gst_element_factory_make("appsrc", nullptr));
    GstElement* convert =
        encoderName_ == x264 ? nullptr : gst_element_factory_make("videoconvert", nullptr);
    GstElement* encoder = gst_element_factory_make(encoderName_.toUtf8().constData(), nullptr);
    GstElement* profile = gst_element_factory_make("capsfilter", nullptr);
    GstElement* parse = gst_element_factory_make("h264parse", nullptr);
    GstElement* format = gst_element_factory_make("capsfilter", nullptr);
    GstElement* output = gst_element_factory_make("appsink", nullptr);
    if (!pipeline_ || !source_ || !encoder || !profile || !parse || !format || !output) {
        for (GstElement* e : {convert, encoder, profile, parse, format, output}) {
            if (e) {
                gst_object_unref(gst_object_ref_sink(e));
            }
        }
        return false;
    }
    // No size limit and no signals: `encode` already keeps at most two frames
    // in flight, and a limit below one frame would emit enough-data at
    // every frame.
    g_object_set(source_.get(), "format", GST_FORMAT_TIME, "is-live", FALSE, "do-timestamp", FALSE,
                 "block", FALSE, "max-bytes", guint64(0), "emit-signals", FALSE, "caps", frameCaps,
                 nullptr);
    configureEncoder(encoder, encoderName_, framesPerSecond(frameCaps));
    auto high = GstHandle<GstCaps>::adopt(gst_caps_from_string("video/x-h264,profile=high"));
    g_object_set(profile, "caps", high.get(), nullptr);
    auto avc = GstHandle<GstCaps>::adopt(
        gst_caps_from_string("video/x-h264,stream-format=avc,alignment=au"));
    g_object_set(format, "caps", avc.get(), nullptr);
    g_object_set(output, "sync", FALSE, "async", FALSE, "enable-last-sample", FALSE, nullptr);
    // A direct callback rather than a GObject signal, emitted for every frame.
    static const GstAppSinkCallbacks callbacks = [] {
        GstAppSinkCallbacks result{};
        result.new_sample = &VideoEncoder::onEncoded;
        return result;
    }();
    gst_app_sink_set_callbacks(GST_APP_SINK(output), const_cast<GstAppSinkCallbacks*>(&callbacks),
                               this, nullptr);
    gst_segment_init(&outputSegment_, GST_FORMAT_TIME);
    auto outputPad = GstHandle<GstPad>::adopt(gst_element_get_static_pad(output, "sink"));
    gst_pad_add_probe(outputPad.get(),
                      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER |
                                                   GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
                      &VideoEncoder::toCaptureTimes, this, nullptr);

    GstBin* bin = GST_BIN(pipeline_.get());
    gst_bin_add_many(bin, source_.get(), encoder, profile, parse, format, output, nullptr);
    bool linked;
    if (convert) {
        gst_bin_add(bin, convert);
        linked = gst_element_link_many(source_.get(), convert, encoder, profile, parse, format,
                                       output, nullptr);
    } else {
        linked =
            gst_element_link_many(source_.get(), encoder, profile, parse, format, output, nullptr);
    }
    if (!linked) {
        return false;
    }
    auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline_.get()));
    gst_bus_set_sync_handler(bus.get(), &VideoEncoder::onBusMessage, this, nullptr);
    return gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE;
}

void VideoEncoder::encode(GstSample* frame) {
    GstBuffer* buffer = frame ? gst_sample_get_buffer(frame) : nullptr;
    if (!buffer) {
        return;
    }
    if (failed_.load()) {
        sink_.recordLoss(CaptureLoss::encodeFailed);
        return;
    }
    if (!isReadable(buffer)) {
        fail(QStringLiteral("a frame is smaller than its format"));
        sink_.recordLoss(CaptureLoss::encodeFailed);
        return;
    }
    if (framesEncoding_.load() >= maximumFramesEncoding) {
        sink_.recordLoss(CaptureLoss::encoderBehind);
        return;
    }
    framesEncoding_.fetch_add(1);
    if (gst_app_src_push_buffer(GST_APP_SRC(source_.get()), gst_buffer_ref(buffer)) !=
        GST_FLOW_OK) {
        framesEncoding_.fetch_sub(1);
        sink_.recordLoss(CaptureLoss::encodeFailed);
    }
}

// The test the encoder itself applies: the buffer maps as a picture of the
// encoder's format (its video meta's layout, or the format's own).
bool VideoEncoder::isReadable(GstBuffer* frame) {
    GstVideoFrame picture;
    if (!gst_video_frame_map(&picture, &frameInfo_, frame, GST_MAP_READ)) {
        return false;
    }
    gst_video_frame_unmap(&picture);
    return true;
}

// Encoders may move their output to a later segment (x264 adds 1000 hours so
// that decoding times stay positive). The recorder wants the capture times the
// frames came in with, which are the output's running times: before the
// appsink the segment is replaced with a plain one and every buffer's times
// with their running times.
GstPadProbeReturn VideoEncoder::toCaptureTimes(GstPad*, GstPadProbeInfo* info, gpointer self) {
    auto* encoder = static_cast<VideoEncoder*>(self);
    if (GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM) {
        GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
        if (GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) {
            const GstSegment* segment = nullptr;
            gst_event_parse_segment(event, &segment);
            encoder->outputSegment_ = *segment;
            GstSegment plain;
            gst_segment_init(&plain, GST_FORMAT_TIME);
            gst_event_unref(event);
            GST_PAD_PROBE_INFO_DATA(info) = gst_event_new_segment(&plain);
        }
        return GST_PAD_PROBE_OK;
    }
    GstBuffer* buffer = gst_buffer_make_writable(GST_PAD_PROBE_INFO_BUFFER(info));
    const GstSegment& segment = encoder->outputSegment_;
    const GstClockTime pts =
        gst_segment_to_running_time(&segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
    const GstClockTime dts =
        gst_segment_to_running_time(&segment, GST_FORMAT_TIME, GST_BUFFER_DTS(buffer));
    GST_BUFFER_PTS(buffer) = pts;
    GST_BUFFER_DTS(buffer) = GST_CLOCK_TIME_IS_VALID(dts) ? dts : pts;
    GST_PAD_PROBE_INFO_DATA(info) = buffer;
    return GST_PAD_PROBE_OK;
}

GstFlowReturn VideoEncoder::onEncoded(GstAppSink* appsink, gpointer self) {
    auto* encoder = static_cast<VideoEncoder*>(self);
    auto sample = GstHandle<GstSample>::adopt(gst_app_sink_pull_sample(appsink));
    int inFlight = encoder->framesEncoding_.load();
    while (inFlight > 0 &&
           !encoder->framesEncoding_.compare_exchange_weak(inFlight, inFlight - 1)) {
    }
    if (encoder->retired_.load()) {
        return GST_FLOW_OK;
    }
    if (sample) {
        encoder->sink_.appendVideo(std::move(sample));
    } else {
        encoder->sink_.recordLoss(CaptureLoss::encodeFailed);
    }
    return GST_FLOW_OK;
}

GstBusSyncReply VideoEncoder::onBusMessage(GstBus*, GstMessage* message, gpointer self) {
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        GErrorHandle error;
        gst_message_parse_error(message, Gst::out(error), nullptr);
        static_cast<VideoEncoder*>(self)->fail(
            QString::fromUtf8(error ? error->message : "unknown"));
    }
    gst_message_unref(message);
    return GST_BUS_DROP;
}

// The encoder stopped: the frames in it are lost, and so is every later one
// until the pipeline makes a new encoder.
void VideoEncoder::fail(const QString& why) {
    if (failed_.exchange(true)) {
        return;
    }
    Log::line(QStringLiteral("The video encoder failed: ") + why);
    for (int lost = framesEncoding_.exchange(0); lost > 0; --lost) {
        sink_.recordLoss(CaptureLoss::encodeFailed);
    }
}
