#include "DemoCamera.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace {

constexpr std::size_t noiseSpan = 1 << 16;

std::size_t frameBytes(int width, int height) {
    return static_cast<std::size_t>(width) * height * 3 / 2;
}

}  // namespace

DemoCamera::DemoCamera() : DemoCamera(Options{}) {}

DemoCamera::DemoCamera(Options options)
    : FeederSource(options.uniqueID, options.name, options.realTime),
      options_(options),
      pool_(caps().get(), frameBytes(options.width, options.height), 2, 16) {
    const int width = options_.width;
    const int height = options_.height;
    background_.resize(frameBytes(width, height));
    // A lit wall with a few shapes on it: texture for the encoder, nothing
    // moving.
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            int luma = 150 + 40 * x / width - 30 * y / height;
            if ((x / (width / 8) + y / (height / 6)) % 5 == 0) {
                luma += 35;
            }
            background_[y * width + x] = static_cast<std::uint8_t>(luma);
        }
    }
    std::uint8_t* chroma = background_.data() + width * height;
    for (int i = 0; i < width * height / 2; ++i) {
        chroma[i] = i < width * height / 4 ? 118 : 136;
    }
    std::mt19937 generator(7);
    std::normal_distribution<double> gaussian(0.0, options_.noiseSigma);
    noise_.resize(static_cast<std::size_t>(width) * height + noiseSpan);
    for (auto& value : noise_) {
        value = static_cast<std::int8_t>(std::clamp(std::lround(gaussian(generator)), -20L, 20L));
    }
}

DemoCamera::~DemoCamera() {
    sessionStopping();
    sessionStopped();
}

bool DemoCamera::crossingAt(double seconds) {
    const double inPeriod = std::fmod(seconds, crossingPeriod);
    return inPeriod >= crossingStart && inPeriod < crossingStart + crossingLength;
}

GstHandle<GstCaps> DemoCamera::caps() {
    return GstHandle<GstCaps>::adopt(
        gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, "I420", "width", G_TYPE_INT,
                            options_.width, "height", G_TYPE_INT, options_.height, "framerate",
                            GST_TYPE_FRACTION, options_.framesPerSecond, 1, nullptr));
}

void DemoCamera::interrupt() {
    pool_.interrupt();
}

void DemoCamera::rewind() {
    pool_.resume();
    frame_ = 0;
}

GstBuffer* DemoCamera::produce(GstAppSrc*) {
    if (options_.frameLimit >= 0 && frame_ >= static_cast<std::uint64_t>(options_.frameLimit)) {
        return nullptr;
    }
    GstBuffer* buffer = pool_.acquire();
    if (!buffer) {
        return nullptr;
    }
    const GstClockTime duration = GST_SECOND / options_.framesPerSecond;
    GST_BUFFER_PTS(buffer) = frame_ * duration;
    GST_BUFFER_DTS(buffer) = GST_CLOCK_TIME_NONE;
    GST_BUFFER_DURATION(buffer) = duration;
    GstMapInfo map;
    if (gst_buffer_map(buffer, &map, GST_MAP_WRITE)) {
        drawFrame(map.data, static_cast<double>(frame_) / options_.framesPerSecond);
        gst_buffer_unmap(buffer, &map);
    }
    ++frame_;
    return buffer;
}

void DemoCamera::drawFrame(std::uint8_t* data, double seconds) {
    const int width = options_.width;
    const int height = options_.height;
    std::memcpy(data + width * height, background_.data() + width * height,
                static_cast<std::size_t>(width) * height / 2);
    random_ = random_ * 1664525u + 1013904223u;
    const std::int8_t* noise = noise_.data() + (random_ >> 8) % noiseSpan;
    const std::uint8_t* wall = background_.data();
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    for (std::size_t i = 0; i < pixels; ++i) {
        data[i] = static_cast<std::uint8_t>(std::clamp(wall[i] + noise[i], 0, 255));
    }
    if (!options_.crossings || !crossingAt(seconds)) {
        return;
    }
    // The object walks from beyond the left edge to beyond the right edge.
    const double progress = (std::fmod(seconds, crossingPeriod) - crossingStart) / crossingLength;
    const int objectWidth = width / 8;
    const int left = static_cast<int>(-objectWidth + progress * (width + objectWidth));
    const int top = height / 4;
    for (int y = top; y < top + height / 2; ++y) {
        for (int x = std::max(0, left); x < std::min(width, left + objectWidth); ++x) {
            data[y * width + x] = static_cast<std::uint8_t>(40 + noise[y * width + x]);
        }
    }
}
