#include "CameraPipeline.h"

#include "CaptureError.h"
#include "Defaults.h"
#include "FrameSize.h"
#include "Log.h"
#include "MicrophoneErrors.h"
#include "MotionDetector.h"
#include "SettingsKeys.h"
#include "VideoEncoder.h"

#include <gst/app/gstappsink.h>

namespace {

GstHandle<GstElement> make(const char* factory, const char* name = nullptr) {
    return GstHandle<GstElement>::sink(gst_element_factory_make(factory, name));
}

}  // namespace

CameraPipeline::CameraPipeline(Defaults& defaults, CameraPipelineSink& recorder,
                               std::shared_ptr<CaptureSource> camera,
                               std::shared_ptr<CaptureSource> microphone)
    : defaults_(defaults),
      recorder_(recorder),
      camera_(std::move(camera)),
      microphone_(std::move(microphone)),
      encoder_(recorder) {
    Gst::ensureInitialised();
}

CameraPipeline::~CameraPipeline() {
    stopRunning();
    tearDownSession();
}

void CameraPipeline::setDelegate(std::weak_ptr<CameraPipelineDelegate> delegate) {
    delegate_ = std::move(delegate);
}

void CameraPipeline::setDevices(std::shared_ptr<CaptureSource> camera,
                                std::shared_ptr<CaptureSource> microphone) {
    camera_ = std::move(camera);
    microphone_ = std::move(microphone);
}

bool CameraPipeline::configure() {
    const bool wasRunning = running_;
    stopRunning();
    tearDownSession();
    // Pick the encoder now, off the capture threads: probing hardware blocks.
    VideoEncoder::bestEncoderName();
    session_ = GstHandle<GstElement>::sink(gst_pipeline_new("CaptureSession"));
    GstBin* session = GST_BIN(session_.get());
    auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(session_.get()));
    gst_bus_set_sync_handler(bus.get(), &CameraPipeline::onBusMessage, this, nullptr);

    std::optional<QString> cameraID;
    refusal_.reset();
    cameraIsLive_ = !camera_ || camera_->isLive();
    cameraFeedsRecorder_ = camera_ && camera_->feedsRecorder(&recorder_);
    if (camera_ && addVideo(session)) {
        cameraID = camera_->uniqueID();
    } else if (session_) {
        Log::line(QStringLiteral("No usable camera, capturing audio only"));
    }
    if (!session_) {
        return false;
    }
    hasMicrophone_ = microphone_ && addAudio(session);
    if (!hasMicrophone_ && session_) {
        Log::line(QStringLiteral("No usable audio device, recording video only"));
    }
    if (!session_) {
        return false;
    }
    microphoneLevel_.forget();
    reportRefusal();
    std::optional<QString> key =
        cameraID ? std::optional(MotionDetector::thresholdKeyFor(*cameraID)) : std::nullopt;
    detectionQueue_.async([this, cameraID, key] {
        cameraID_ = cameraID;
        thresholdKey_ = key;
    });
    if (wasRunning) {
        startRunning();
    }
    return true;
}

// Adds the camera and the video output. False when the camera cannot be used;
// a missing output also drops the whole session (configure then fails).
bool CameraPipeline::addVideo(GstBin* session) {
    GstHandle<GstElement> source = camera_->makeElement();
    if (!source || !CaptureError::openSource(source.get(), refusal_)) {
        return false;
    }
    const Branch branch{make("videoconvert"), make("capsfilter"), make("queue", "VideoDataQueue"),
                        make("appsink", "video")};
    if (!branch.convert || !branch.format || !branch.queue || !branch.sink) {
        Log::line(QStringLiteral("Could not add video data output to the session"));
        tearDownSession();
        return false;
    }
    auto caps = GstHandle<GstCaps>::adopt(gst_caps_from_string("video/x-raw,format=I420"));
    g_object_set(branch.format.get(), "caps", caps.get(), nullptr);
    // A live camera's frames that wait too long are dropped, and counted.
    g_object_set(branch.queue.get(), "max-size-buffers", 3u, "max-size-bytes", 0u, "max-size-time",
                 guint64(0), nullptr);
    if (camera_->isLive()) {
        gst_util_set_object_arg(G_OBJECT(branch.queue.get()), "leaky", "downstream");
        g_signal_connect(branch.queue.get(), "overrun", G_CALLBACK(&CameraPipeline::onVideoDropped),
                         this);
    }
    g_object_set(branch.sink.get(), "sync", FALSE, "enable-last-sample", FALSE, nullptr);
    static const GstAppSinkCallbacks callbacks = [] {
        GstAppSinkCallbacks result{};
        result.new_sample = &CameraPipeline::onVideoSample;
        return result;
    }();
    return attach(session, source, branch, callbacks,
                  QStringLiteral("Could not add video data output to the session"));
}

bool CameraPipeline::addAudio(GstBin* session) {
    GstHandle<GstElement> source = microphone_->makeElement();
    if (!source || !CaptureError::openSource(source.get(), refusal_)) {
        return false;
    }
    // Named so that its errors are known as the microphone's. The session
    // keeps the system clock, which goes on when the microphone fails.
    gst_object_set_name(GST_OBJECT(source.get()), MicrophoneErrors::sourceName);
    if (g_object_class_find_property(G_OBJECT_GET_CLASS(source.get()), "provide-clock")) {
        g_object_set(source.get(), "provide-clock", FALSE, nullptr);
    }
    const Branch branch{make("audioconvert"), make("capsfilter"), make("queue", "AudioDataQueue"),
                        make("appsink", "audio")};
    if (!branch.convert || !branch.format || !branch.queue || !branch.sink) {
        Log::line(QStringLiteral("Could not add audio data output to the session"));
        tearDownSession();
        return false;
    }
    auto caps = GstHandle<GstCaps>::adopt(
        gst_caps_from_string("audio/x-raw,format=S16LE,layout=interleaved"));
    g_object_set(branch.format.get(), "caps", caps.get(), nullptr);
    g_object_set(branch.queue.get(), "max-size-buffers", 0u, "max-size-bytes", 0u, "max-size-time",
                 guint64(GST_SECOND), nullptr);
    if (microphone_->isLive()) {
        gst_util_set_object_arg(G_OBJECT(branch.queue.get()), "leaky", "downstream");
    }
    g_object_set(branch.sink.get(), "sync", FALSE, "enable-last-sample", FALSE, nullptr);
    static const GstAppSinkCallbacks callbacks = [] {
        GstAppSinkCallbacks result{};
        result.new_sample = &CameraPipeline::onAudioSample;
        return result;
    }();
    return attach(session, source, branch, callbacks,
                  QStringLiteral("Could not add audio data output to the session"));
}

// Puts a source and its branch into the session. A branch that cannot be
// linked inside is a broken session; a source that will not link to it
// leaves the session without that device.
bool CameraPipeline::attach(GstBin* session, const GstHandle<GstElement>& source,
                            const Branch& branch, const GstAppSinkCallbacks& callbacks,
                            const QString& failureLine) {
    gst_app_sink_set_callbacks(GST_APP_SINK(branch.sink.get()),
                               const_cast<GstAppSinkCallbacks*>(&callbacks), this, nullptr);
    GstElement* const elements[] = {source.get(), branch.convert.get(), branch.format.get(),
                                    branch.queue.get(), branch.sink.get()};
    // The session takes its own reference of each; the handles keep theirs.
    for (GstElement* element : elements) {
        gst_bin_add(session, element);
    }
    if (!gst_element_link_many(elements[1], elements[2], elements[3], elements[4], nullptr)) {
        Log::line(failureLine);
        tearDownSession();
        return false;
    }
    if (!gst_element_link(source.get(), branch.convert.get())) {
        gst_element_set_state(source.get(), GST_STATE_NULL);
        for (GstElement* element : elements) {
            gst_bin_remove(session, element);
        }
        return false;
    }
    return true;
}

void CameraPipeline::tearDownSession() {
    if (!session_) {
        return;
    }
    gst_element_set_state(session_.get(), GST_STATE_NULL);
    auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(session_.get()));
    gst_bus_set_sync_handler(bus.get(), nullptr, nullptr, nullptr);
    session_.reset();
}

void CameraPipeline::startRunning() {
    if (running_ || !session_) {
        return;
    }
    running_ = true;
    gst_element_set_state(session_.get(), GST_STATE_PLAYING);
    for (const auto& source : {camera_, microphone_}) {
        if (source) {
            source->sessionStarted();
        }
    }
}

void CameraPipeline::stopRunning() {
    if (!running_) {
        return;
    }
    running_ = false;
    for (const auto& source : {camera_, microphone_}) {
        if (source) {
            source->sessionStopping();
        }
    }
    gst_element_set_state(session_.get(), GST_STATE_NULL);
    for (const auto& source : {camera_, microphone_}) {
        if (source) {
            source->sessionStopped();
        }
    }
    // The streaming threads are stopped: their state can be cleared from here.
    encoder_.stop();
    lastSampleBuffer_.reset();
    currentSampleBuffer_.reset();
    motionDetectRenderer_.forgetFrames();
    rendererCaps_.reset();
    microphoneLevel_.forget();
}

std::optional<double> CameraPipeline::audioLevel() const {
    if (!hasMicrophone_) {
        return std::nullopt;
    }
    return microphoneLevel_.level();
}

// A device the system refused is the session's error like any other, so
// the owner learns that capture was not authorised.
void CameraPipeline::reportRefusal() {
    if (!refusal_) {
        return;
    }
    Log::line(QStringLiteral("The system refused a device: ") + refusal_->description);
    if (auto delegate = delegate_.lock()) {
        delegate->sessionError(*this, *refusal_);
    }
}

GstBusSyncReply CameraPipeline::onBusMessage(GstBus*, GstMessage* message, gpointer self) {
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        auto* pipeline = static_cast<CameraPipeline*>(self);
        if (auto delegate = pipeline->delegate_.lock()) {
            std::optional<Error> error = CaptureError::of(message);
            const GCharHandle postedBy(gst_object_get_path_string(GST_MESSAGE_SRC(message)));
            if (error &&
                MicrophoneErrors::isMicrophones(QString::fromUtf8(postedBy.get()), *error)) {
                // Its branch stays in the session, idle, while the camera's
                // goes on; what the dead branch says later is not news.
                if (pipeline->hasMicrophone_.exchange(false)) {
                    delegate->microphoneError(*pipeline, std::move(error));
                }
            } else {
                delegate->sessionError(*pipeline, std::move(error));
            }
        }
    }
    gst_message_unref(message);
    return GST_BUS_DROP;
}

void CameraPipeline::onVideoDropped(GstElement*, gpointer self) {
    auto* pipeline = static_cast<CameraPipeline*>(self);
    // A camera that records its own video loses only a measurement here.
    if (!pipeline->cameraFeedsRecorder_) {
        pipeline->recorder_.recordLoss(CaptureLoss::captureDropped);
    }
}

GstFlowReturn CameraPipeline::onAudioSample(GstAppSink* sink, gpointer self) {
    auto* pipeline = static_cast<CameraPipeline*>(self);
    auto sample = GstHandle<GstSample>::adopt(gst_app_sink_pull_sample(sink));
    if (!sample) {
        return GST_FLOW_OK;
    }
    pipeline->microphoneLevel_.measure(sample.get());
    pipeline->recorder_.appendAudio(std::move(sample));
    return GST_FLOW_OK;
}

GstFlowReturn CameraPipeline::onVideoSample(GstAppSink* sink, gpointer self) {
    auto sample = GstHandle<GstSample>::adopt(gst_app_sink_pull_sample(sink));
    if (sample) {
        static_cast<CameraPipeline*>(self)->handleFrame(std::move(sample));
    }
    return GST_FLOW_OK;
}

// Every frame, in this order: encode it, give it to the recorder as the newest
// frame, move it into the previous/current pair, measure the pair.
void CameraPipeline::handleFrame(GstHandle<GstSample> sample) {
    if (!cameraFeedsRecorder_) {
        encoder_.encode(sample.get());
    }
    recorder_.setNewestFrame(sample);
    // The first frame, and the first of a new size, is compared with itself.
    const bool startsOver =
        !currentSampleBuffer_ || !sameFrameSize(gst_sample_get_caps(currentSampleBuffer_.get()),
                                                gst_sample_get_caps(sample.get()));
    lastSampleBuffer_ = startsOver ? sample : std::move(currentSampleBuffer_);
    currentSampleBuffer_ = std::move(sample);
    detectMotion();
}

void CameraPipeline::detectMotion() {
    GstCaps* caps = gst_sample_get_caps(currentSampleBuffer_.get());
    if (caps != rendererCaps_.get()) {
        rendererCaps_ = GstHandle<GstCaps>::ref(caps);
        motionDetectRenderer_.keepFixedThreshold(cameraFeedsRecorder_);
        GstVideoInfo info;
        const auto& prepared = motionDetectRenderer_.inputFormat();
        if (!prepared || !caps || !gst_video_info_from_caps(&info, caps) ||
            !gst_video_info_is_equal(&info, &*prepared)) {
            motionDetectRenderer_.prepare(caps, 3);
        }
    }
    // A source that is not live waits for the pipeline rather than losing
    // frames, so measuring may wait too; a live camera never does.
    if (!cameraIsLive_ && motionDetectRenderer_.isPrepared() &&
        !motionDetectRenderer_.hasFreeMotionImage()) {
        detectionQueue_.drain();
    }
    const MotionDetectRenderer::Images images = motionDetectRenderer_.render(
        lastSampleBuffer_.get(), currentSampleBuffer_.get(), wantsPreview_);
    if (!images.motion) {
        Log::line(QStringLiteral("Unable to filter video buffer"));
        return;
    }
    detectionQueue_.async([this, motion = images.motion] { measureMotion(*motion); });
    if (images.preview) {
        if (auto delegate = delegate_.lock()) {
            delegate->previewImage(*this, *images.preview);
        }
    }
}

void CameraPipeline::measureMotion(const MotionImage& image) {
    const auto zones = DetectionZones::zones(cameraID_, defaults_);
    const MotionDetector::Measurement measurement = MotionDetector::measure(image, *zones);
    const bool triggered =
        MotionDetector::triggered(measurement, MotionDetector::threshold(thresholdKey_, defaults_),
                                  defaults_.boolValue(SettingsKeys::motionTriggerEnabled));
    if (auto delegate = delegate_.lock()) {
        delegate->motionMeasured(*this, measurement.level, triggered);
    }
}
