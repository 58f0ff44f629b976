#pragma once

#include "GstHandle.h"

#include <vector>

// Real encoded media for tests: a moving ball with a visible running clock
// encoded by x264 (keyframe every second, no B-frames, avc/au like the camera
// pipeline's encoder output), PCM from audiotestsrc, and raw frames. Produced
// as fast as the machine can, with the source's timestamps (starting at 0);
// tests pace or shift them as each case needs.
namespace EncodedStream {

struct VideoOptions {
    int width = 320;
    int height = 240;
    int fps = 30;
};

struct AudioOptions {
    int rate = 48000;
    int channels = 1;
    const char* format = "S16LE";
    int samplesPerBuffer = 960;  // 20 ms at 48 kHz
};

std::vector<GstHandle<GstSample>> video(double seconds, const VideoOptions& options = {});
std::vector<GstHandle<GstSample>> audio(double seconds, const AudioOptions& options = {});
// One raw frame in the given format (I420, NV12, RGBx, ...).
GstHandle<GstSample> rawFrame(int width, int height, const char* format);

// The same sample (same caps, data shared) with its times moved by `offset`.
GstHandle<GstSample> shifted(const GstHandle<GstSample>& sample, GstClockTimeDiff offset);
// No delta-unit flag: a sync sample.
bool isKeyframe(const GstHandle<GstSample>& sample);
GstClockTime pts(const GstHandle<GstSample>& sample);

}  // namespace EncodedStream
