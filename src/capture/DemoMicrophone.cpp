#include "DemoMicrophone.h"

#include <cmath>

DemoMicrophone::DemoMicrophone(bool realTime)
    : FeederSource(QStringLiteral("nelvo-demo-microphone"), QStringLiteral("Demo Microphone"),
                   realTime),
      // No upper bound: the pre-roll ring keeps every buffer of its last half
      // minute, and a bounded pool would stall the microphone once it filled.
      // Buffers the ring lets go come back here, so a steady ring allocates nothing.
      pool_(caps().get(), framesPerBuffer * 2, 4, 0) {}

DemoMicrophone::~DemoMicrophone() {
    sessionStopping();
    sessionStopped();
}

bool DemoMicrophone::toneAt(double seconds) {
    const double inPeriod = std::fmod(seconds, tonePeriod);
    return inPeriod >= toneStart && inPeriod < toneStart + toneLength;
}

GstHandle<GstCaps> DemoMicrophone::caps() {
    return GstHandle<GstCaps>::adopt(gst_caps_new_simple(
        "audio/x-raw", "format", G_TYPE_STRING, "S16LE", "layout", G_TYPE_STRING, "interleaved",
        "rate", G_TYPE_INT, rate, "channels", G_TYPE_INT, 1, nullptr));
}

void DemoMicrophone::interrupt() {
    pool_.interrupt();
}

void DemoMicrophone::rewind() {
    pool_.resume();
    sample_ = 0;
}

GstBuffer* DemoMicrophone::produce(GstAppSrc*) {
    GstBuffer* buffer = pool_.acquire();
    if (!buffer) {
        return nullptr;
    }
    GST_BUFFER_PTS(buffer) = gst_util_uint64_scale(sample_, GST_SECOND, rate);
    GST_BUFFER_DTS(buffer) = GST_CLOCK_TIME_NONE;
    GST_BUFFER_DURATION(buffer) = gst_util_uint64_scale(framesPerBuffer, GST_SECOND, rate);
    const bool tone = toneAt(static_cast<double>(sample_) / rate);
    GstMapInfo map;
    if (gst_buffer_map(buffer, &map, GST_MAP_WRITE)) {
        auto* samples = reinterpret_cast<gint16*>(map.data);
        for (int i = 0; i < framesPerBuffer; ++i) {
            random_ = random_ * 1664525u + 1013904223u;
            const int noise = static_cast<int>((random_ >> 16) % 201) - 100;  // about -50 dBFS
            const double phase = 2.0 * M_PI * 1000.0 * static_cast<double>(sample_ + i) / rate;
            samples[i] = static_cast<gint16>(noise + (tone ? 16384.0 * std::sin(phase) : 0.0));
        }
        gst_buffer_unmap(buffer, &map);
    }
    sample_ += framesPerBuffer;
    return buffer;
}
