#pragma once

// What the capture benchmarks share: clocks, the videotestsrc camera and the
// bare capture-and-encode pipeline Nelvo's costs are compared with.
#include "GstHandle.h"
#include "VideoEncoder.h"

#include <QString>
#include <chrono>
#include <ctime>
#include <functional>

namespace CaptureBench {

inline double processCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

inline double wallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// A live 30 frames a second I420 camera that ends after `frames` frames.
inline QString videoTestSource(int width, int height, int frames) {
    return QStringLiteral(
               "videotestsrc is-live=true num-buffers=%3 ! capsfilter "
               "caps=video/x-raw,format=I420,width=%1,height=%2,framerate=30/1")
        .arg(width)
        .arg(height)
        .arg(frames);
}

// Nelvo's encoder settings (x264, High profile, avc) into a fake sink, as a
// bin description for after a raw video source.
inline const char* const bareEncoder =
    "x264enc name=encoder ! video/x-h264,profile=high ! h264parse ! "
    "video/x-h264,stream-format=avc,alignment=au ! fakesink sync=false";

// CPU seconds the process spends running `pipeline`, whose encoder is named
// "encoder", until its source ends. `started` runs once it is playing.
inline double encodeToEndCpuSeconds(GstElement* pipeline, const std::function<void()>& started) {
    auto encoder = GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline), "encoder"));
    VideoEncoder::configureEncoder(encoder.get(), QStringLiteral("x264enc"), 30);
    const double start = processCpuSeconds();
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    started();
    auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline));
    GstHandle<GstMessage>::adopt(gst_bus_timed_pop_filtered(
        bus.get(), GST_CLOCK_TIME_NONE,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    gst_element_set_state(pipeline, GST_STATE_NULL);
    return processCpuSeconds() - start;
}

// The bare pipeline: the test source above straight into the encoder.
// What capturing and encoding cost with nothing else.
inline double bareEncodeCpuSeconds(int width, int height, int frames) {
    const QString description =
        videoTestSource(width, height, frames) + QStringLiteral(" ! ") + bareEncoder;
    auto pipeline =
        GstHandle<GstElement>::adopt(gst_parse_launch(description.toUtf8().constData(), nullptr));
    return encodeToEndCpuSeconds(pipeline.get(), [] {});
}

}  // namespace CaptureBench
