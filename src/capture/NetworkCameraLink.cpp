#include "NetworkCameraLink.h"

#include "Log.h"

#include <gst/app/gstappsink.h>
#include <QCoreApplication>

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("NetworkCameraLink", text);
}

GstHandle<GstElement> make(const char* factory) {
    return GstHandle<GstElement>::sink(gst_element_factory_make(factory, nullptr));
}

// Lost packets this close in time belong to one frame.
constexpr GstClockTimeDiff sameFrameWithin = 5 * GST_MSECOND;

std::int64_t nowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// What the camera calls its video encoding (RTP "encoding-name").
QString encodingOf(GstCaps* caps) {
    const GstStructure* structure = caps ? gst_caps_get_structure(caps, 0) : nullptr;
    const gchar* name = structure ? gst_structure_get_string(structure, "encoding-name") : nullptr;
    return name ? QString::fromUtf8(name).toUpper() : QString();
}

bool isVideo(GstCaps* caps) {
    const GstStructure* structure = caps ? gst_caps_get_structure(caps, 0) : nullptr;
    const gchar* media = structure ? gst_structure_get_string(structure, "media") : nullptr;
    return media && g_str_equal(media, "video");
}

void setCredentials(GstElement* source, const NetworkCredentials& credentials) {
    if (!credentials.user.isEmpty()) {
        g_object_set(source, "user-id", credentials.user.toUtf8().constData(), nullptr);
    }
    if (!credentials.password.isEmpty()) {
        g_object_set(source, "user-pw", credentials.password.toUtf8().constData(), nullptr);
    }
}

}  // namespace

NetworkCameraLink::NetworkCameraLink(NetworkCameraUrl url, NetworkCredentials credentials,
                                     QString name, Handlers handlers)
    : url_(std::move(url)),
      credentials_(std::move(credentials)),
      name_(std::move(name)),
      handlers_(std::move(handlers)) {
    Gst::ensureInitialised();
}

NetworkCameraLink::~NetworkCameraLink() {
    stop();
}

QString NetworkCameraLink::refusedText() {
    //: A network camera answered that the user name or password is wrong
    return tr("The camera refused the user name or password.");
}

QString NetworkCameraLink::nothingAnsweredText() {
    //: Nothing accepted a connection at a network camera's address
    return tr("Nothing answered at that address.");
}

QString NetworkCameraLink::notFoundText() {
    //: A network camera answered, but has no stream at the address's path
    return tr("The camera has no stream at that address.");
}

QString NetworkCameraLink::noPicturesText() {
    //: A network camera accepted the connection but sent nothing
    return tr("The camera sent no pictures.");
}

QString NetworkCameraLink::unsupportedText() {
    //: A network camera sends video Nelvo cannot record; keep the format names
    return tr("The stream is not H.264, H.265 or MJPEG.");
}

void NetworkCameraLink::start() {
    stopping_ = false;
    queue_.async([this] {
        if (running_) {
            return;
        }
        running_ = true;
        backOff_.connected();
        connect();
    });
}

void NetworkCameraLink::stop() {
    stopping_ = true;
    queue_.sync([this] {
        running_ = false;
        tearDown();
    });
}

void NetworkCameraLink::connect() {
    if (!running_) {
        return;
    }
    tearDown();
    unsupportedSeen_ = false;
    unanswered_ = false;
    delivering_ = false;
    lastSampleMs_ = nowMs();
    const std::uint64_t generation = generation_.load();
    const bool built = url_.kind() == NetworkCameraUrl::Kind::rtsp ? buildRtsp() : buildMjpeg();
    if (!built) {
        //: GStreamer's network elements are not installed
        failed(generation, tr("The elements that read network cameras are missing."));
        return;
    }
    if (handlers_.connected) {
        handlers_.connected();
    }
    auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline_.get()));
    gst_bus_set_sync_handler(bus.get(), &NetworkCameraLink::onBusMessage, this, nullptr);
    gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING);
    queue_.asyncAfter(std::chrono::seconds(1), [this, generation] { watch(generation); });
}

bool NetworkCameraLink::buildRtsp() {
    pipeline_ = GstHandle<GstElement>::sink(gst_pipeline_new("NetworkCamera"));
    GstHandle<GstElement> source = make("rtspsrc");
    if (!source) {
        pipeline_.reset();
        return false;
    }
    const QByteArray location = url_.address().toUtf8();
    // The timeouts in microseconds, the teardown's in nanoseconds. A camera
    // gone quiet is noticed sooner by the watch for silence.
    g_object_set(source.get(), "location", location.constData(), "latency", 200u, "timeout",
                 guint64(5'000'000), "tcp-timeout", guint64(15'000'000), "teardown-timeout",
                 guint64(100'000'000), nullptr);
    setCredentials(source.get(), credentials_);
    g_signal_connect(source.get(), "select-stream", G_CALLBACK(&NetworkCameraLink::onSelectStream),
                     this);
    g_signal_connect(source.get(), "pad-added", G_CALLBACK(&NetworkCameraLink::onPadAdded), this);
    // The jitter buffer then tells of every packet that never came.
    g_signal_connect(source.get(), "new-manager", G_CALLBACK(+[](GstElement*, GstElement* manager) {
                         g_object_set(manager, "do-lost", TRUE, nullptr);
                     }),
                     nullptr);
    gst_bin_add(GST_BIN(pipeline_.get()), source.get());
    return true;
}

bool NetworkCameraLink::buildMjpeg() {
    GErrorHandle error;
    pipeline_ = GstHandle<GstElement>::sink(gst_parse_launch(
        "souphttpsrc name=source is-live=true do-timestamp=true timeout=10 ! "
        "multipartdemux single-stream=true ! image/jpeg ! appsink name=pictures sync=false "
        "max-buffers=4 drop=true emit-signals=true",
        Gst::out(error)));
    if (error || !pipeline_) {
        pipeline_.reset();
        return false;
    }
    auto source =
        GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline_.get()), "source"));
    const QByteArray location = url_.address().toUtf8();
    g_object_set(source.get(), "location", location.constData(), nullptr);
    setCredentials(source.get(), credentials_);
    auto sink =
        GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline_.get()), "pictures"));
    g_signal_connect(sink.get(), "new-sample", G_CALLBACK(&NetworkCameraLink::onSample), this);
    return true;
}

// Only the camera's first H.264 or H.265 video is taken; its sound and
// anything else it offers are not asked for.
gboolean NetworkCameraLink::onSelectStream(GstElement*, guint, GstCaps* caps, gpointer self) {
    auto* link = static_cast<NetworkCameraLink*>(self);
    if (!isVideo(caps)) {
        return FALSE;
    }
    const QString encoding = encodingOf(caps);
    if (encoding != u"H264" && encoding != u"H265") {
        link->unsupportedSeen_ = true;
        return FALSE;
    }
    return TRUE;
}

void NetworkCameraLink::onPadAdded(GstElement*, GstPad* pad, gpointer self) {
    auto* link = static_cast<NetworkCameraLink*>(self);
    auto caps = GstHandle<GstCaps>::adopt(gst_pad_get_current_caps(pad));
    const QString encoding = encodingOf(caps.get());
    const bool h265 = encoding == u"H265";
    if (!isVideo(caps.get()) || (!h265 && encoding != u"H264")) {
        return;
    }
    GstHandle<GstElement> depay = make(h265 ? "rtph265depay" : "rtph264depay");
    GstHandle<GstElement> parse = make(h265 ? "h265parse" : "h264parse");
    GstHandle<GstElement> format = make("capsfilter");
    GstHandle<GstElement> sink = make("appsink");
    if (!depay || !parse || !format || !sink) {
        return;
    }
    // One access unit per sample, parameter sets in the caps: what the
    // recorder and the movie writer take from Nelvo's own encoder.
    auto wanted = GstHandle<GstCaps>::adopt(
        gst_caps_from_string(h265 ? "video/x-h265,stream-format=hvc1,alignment=au"
                                  : "video/x-h264,stream-format=avc,alignment=au"));
    g_object_set(format.get(), "caps", wanted.get(), nullptr);
    g_object_set(sink.get(), "sync", FALSE, "emit-signals", TRUE, "max-buffers", 30u, nullptr);
    g_signal_connect(sink.get(), "new-sample", G_CALLBACK(&NetworkCameraLink::onSample), link);
    GstBin* bin = GST_BIN(link->pipeline_.get());
    gst_bin_add_many(bin, depay.get(), parse.get(), format.get(), sink.get(), nullptr);
    if (!gst_element_link_many(depay.get(), parse.get(), format.get(), sink.get(), nullptr)) {
        return;
    }
    auto depayInput = GstHandle<GstPad>::adopt(gst_element_get_static_pad(depay.get(), "sink"));
    gst_pad_add_probe(depayInput.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM,
                      &NetworkCameraLink::onDepayloaderEvent, link, nullptr);
    for (GstElement* element : {sink.get(), format.get(), parse.get(), depay.get()}) {
        gst_element_sync_state_with_parent(element);
    }
    gst_pad_link(pad, depayInput.get());
}

// The jitter buffer tells the depayloader of each packet that never came.
GstPadProbeReturn NetworkCameraLink::onDepayloaderEvent(GstPad*, GstPadProbeInfo* info,
                                                        gpointer self) {
    GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
    if (GST_EVENT_TYPE(event) != GST_EVENT_CUSTOM_DOWNSTREAM ||
        !gst_event_has_name(event, "GstRTPPacketLost")) {
        return GST_PAD_PROBE_OK;
    }
    // The packets of one frame share its time: a frame is lost once,
    // however many of its packets went missing.
    auto* link = static_cast<NetworkCameraLink*>(self);
    GstClockTime time = GST_CLOCK_TIME_NONE;
    gst_structure_get_clock_time(gst_event_get_structure(event), "timestamp", &time);
    const bool sameFrame = GST_CLOCK_TIME_IS_VALID(time) &&
                           GST_CLOCK_TIME_IS_VALID(link->lastLostFrame_) &&
                           GST_CLOCK_DIFF(link->lastLostFrame_, time) < sameFrameWithin &&
                           GST_CLOCK_DIFF(time, link->lastLostFrame_) < sameFrameWithin;
    link->lastLostFrame_ = time;
    if (!sameFrame && link->handlers_.packetLost && !link->stopping_) {
        link->handlers_.packetLost();
    }
    return GST_PAD_PROBE_OK;
}

GstFlowReturn NetworkCameraLink::onSample(GstElement* sink, gpointer self) {
    auto sample = GstHandle<GstSample>::adopt(gst_app_sink_pull_sample(GST_APP_SINK(sink)));
    if (sample) {
        static_cast<NetworkCameraLink*>(self)->delivered(sample.get());
    }
    return GST_FLOW_OK;
}

void NetworkCameraLink::delivered(GstSample* sample) {
    lastSampleMs_ = nowMs();
    if (!delivering_.exchange(true)) {
        const std::uint64_t generation = generation_.load();
        GstCaps* caps = gst_sample_get_caps(sample);
        const GstStructure* format = caps ? gst_caps_get_structure(caps, 0) : nullptr;
        int width = 0;
        int height = 0;
        if (format) {
            gst_structure_get_int(format, "width", &width);
            gst_structure_get_int(format, "height", &height);
        }
        const QString codec =
            !format                                          ? QString()
            : gst_structure_has_name(format, "video/x-h265") ? QStringLiteral("H.265")
            : gst_structure_has_name(format, "video/x-h264") ? QStringLiteral("H.264")
                                                             : QStringLiteral("MJPEG");
        const QString size =
            width > 0 ? QStringLiteral(" %1x%2").arg(width).arg(height) : QString();
        queue_.async([this, generation, codec, size] {
            if (generation != generation_.load() || !running_) {
                return;
            }
            backOff_.connected();
            Log::line(QStringLiteral("%1 connected: %2%3").arg(name_, codec, size));
        });
    }
    if (handlers_.sample && !stopping_) {
        handlers_.sample(sample);
    }
}

GstBusSyncReply NetworkCameraLink::onBusMessage(GstBus*, GstMessage* message, gpointer self) {
    auto* link = static_cast<NetworkCameraLink*>(self);
    const GstMessageType type = GST_MESSAGE_TYPE(message);
    // The HTTP source tells a refused connection only as a stream error,
    // after headers with no status.
    const GstStructure* details = gst_message_get_structure(message);
    guint status = 0;
    if (type == GST_MESSAGE_ELEMENT && gst_structure_has_name(details, "http-headers") &&
        gst_structure_get_uint(details, "http-status-code", &status)) {
        link->unanswered_ = status == 0;
    }
    if (type == GST_MESSAGE_ERROR || type == GST_MESSAGE_EOS) {
        const QString why =
            type == GST_MESSAGE_ERROR && link->unanswered_ && !link->delivering_
                ? nothingAnsweredText()
                : reasonOf(type == GST_MESSAGE_ERROR ? message : nullptr,
                           link->unsupportedSeen_.load(), link->delivering_.load());
        const std::uint64_t generation = link->generation_.load();
        link->queue_.async([link, generation, why] { link->failed(generation, why); });
    }
    gst_message_unref(message);
    return GST_BUS_DROP;
}

// The plain words for what ended a connection. The element's own message is
// kept for what has no words of Nelvo's; it never holds the credentials,
// which are only ever given to the element as properties.
QString NetworkCameraLink::reasonOf(GstMessage* error, bool unsupportedSeen, bool delivered) {
    if (!error) {
        //: A network camera ended its stream
        return tr("The camera ended its stream.");
    }
    GErrorHandle gerror;
    GCharHandle debug;
    gst_message_parse_error(error, Gst::out(gerror), Gst::out(debug));
    if (unsupportedSeen) {
        return unsupportedText();
    }
    if (gerror && gerror->domain == GST_RESOURCE_ERROR) {
        switch (gerror->code) {
            case GST_RESOURCE_ERROR_NOT_AUTHORIZED:
                return refusedText();
            case GST_RESOURCE_ERROR_NOT_FOUND:
                return notFoundText();
            case GST_RESOURCE_ERROR_OPEN_READ:
            case GST_RESOURCE_ERROR_OPEN_WRITE:
            case GST_RESOURCE_ERROR_OPEN_READ_WRITE:
                return delivered ? tr("The camera stopped answering.") : nothingAnsweredText();
            case GST_RESOURCE_ERROR_READ:
            case GST_RESOURCE_ERROR_WRITE:
                //: A network camera that was sending stopped answering
                return delivered ? tr("The camera stopped answering.") : noPicturesText();
            default:
                break;
        }
    }
    if (gerror && gerror->domain == GST_STREAM_ERROR && !delivered) {
        return unsupportedText();
    }
    return gerror ? QString::fromUtf8(gerror->message) : tr("The camera could not be read.");
}

// Runs every second while connected: a camera that sends nothing for
// silenceLimit is taken as gone.
void NetworkCameraLink::watch(std::uint64_t generation) {
    if (!running_ || generation != generation_.load()) {
        return;
    }
    if (nowMs() - lastSampleMs_.load() >= silenceLimit.count()) {
        failed(generation, delivering_.load()
                               //: A network camera sent pictures, then nothing for a while
                               ? tr("The camera stopped sending pictures.")
                               : noPicturesText());
        return;
    }
    queue_.asyncAfter(std::chrono::seconds(1), [this, generation] { watch(generation); });
}

void NetworkCameraLink::failed(std::uint64_t generation, const QString& why) {
    if (!running_ || generation != generation_.load()) {
        return;
    }
    tearDown();
    if (handlers_.failed) {
        handlers_.failed(why);
    }
    const std::chrono::milliseconds wait = backOff_.failed();
    if (backOff_.shouldLog(ReconnectBackOff::Clock::now())) {
        Log::line(QStringLiteral("%1: %2 Trying again in %3 s.")
                      .arg(name_, why)
                      .arg(std::chrono::duration_cast<std::chrono::seconds>(wait).count()));
    }
    const std::uint64_t next = generation_.load();
    queue_.asyncAfter(wait, [this, next] {
        if (next == generation_.load()) {
            connect();
        }
    });
}

void NetworkCameraLink::tearDown() {
    ++generation_;
    if (!pipeline_) {
        return;
    }
    gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
    auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline_.get()));
    gst_bus_set_sync_handler(bus.get(), nullptr, nullptr, nullptr);
    pipeline_.reset();
}
