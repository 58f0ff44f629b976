#include "FeederSource.h"

#include <chrono>

FeederSource::FeederSource(QString uniqueID, QString name, bool realTime)
    : CaptureSource(std::move(uniqueID), std::move(name)), realTime_(realTime) {}

FeederSource::~FeederSource() {
    sessionStopping();
    sessionStopped();
}

GstHandle<GstElement> FeederSource::makeElement() {
    Gst::ensureInitialised();
    GstElement* element = gst_element_factory_make("appsrc", nullptr);
    if (!element) {
        return {};
    }
    source_ = GstHandle<GstElement>::adopt(GST_ELEMENT(gst_object_ref_sink(element)));
    // Live: stamped with the capture clock on arrival; a full queue drops the
    // oldest buffer like a camera that was not read in time. Not live: the
    // feeder waits for room.
    g_object_set(element, "format", GST_FORMAT_TIME, "is-live", realTime_, "do-timestamp",
                 realTime_, "block", !realTime_, "max-buffers", guint64(4), "max-bytes", guint64(0),
                 nullptr);
    if (realTime_) {
        gst_util_set_object_arg(G_OBJECT(element), "leaky-type", "downstream");
    }
    if (GstHandle<GstCaps> format = caps()) {
        gst_app_src_set_caps(GST_APP_SRC(element), format.get());
    }
    return source_;
}

void FeederSource::sessionStarted() {
    if (thread_.joinable() || !source_) {
        return;
    }
    {
        std::lock_guard guard(mutex_);
        stop_ = false;
    }
    rewind();
    thread_ = std::thread([this, source = source_] { run(source); });
}

void FeederSource::sessionStopping() {
    {
        std::lock_guard guard(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    interrupt();
}

void FeederSource::sessionStopped() {
    if (thread_.joinable()) {
        thread_.join();
    }
}

bool FeederSource::stopRequested() const {
    std::lock_guard guard(mutex_);
    return stop_;
}

void FeederSource::run(GstHandle<GstElement> source) {
    auto* appsrc = GST_APP_SRC(source.get());
    const auto start = std::chrono::steady_clock::now();
    while (!stopRequested()) {
        GstBuffer* buffer = produce(appsrc);
        if (!buffer) {
            gst_app_src_end_of_stream(appsrc);
            return;
        }
        if (realTime_) {
            const auto due = start + std::chrono::nanoseconds(GST_BUFFER_PTS(buffer));
            std::unique_lock lock(mutex_);
            if (wake_.wait_until(lock, due, [this] { return stop_; })) {
                gst_buffer_unref(buffer);
                return;
            }
            GST_BUFFER_PTS(buffer) = GST_CLOCK_TIME_NONE;
            GST_BUFFER_DTS(buffer) = GST_CLOCK_TIME_NONE;
        }
        const GstFlowReturn flow = gst_app_src_push_buffer(appsrc, buffer);
        if (flow != GST_FLOW_OK && !realTime_) {
            return;
        }
    }
}
