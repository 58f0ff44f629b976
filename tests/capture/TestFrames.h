#pragma once

#include "CameraPipelineSink.h"
#include "GstHandle.h"

#include <gst/video/video.h>
#include <QList>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

// I420 frames made in memory: luma from a function of (x, y), neutral chroma.
inline GstHandle<GstSample> makeFrame(int width, int height,
                                      const std::function<int(int, int)>& luma,
                                      GstClockTime pts = 0, const char* format = "I420") {
    GstVideoInfo info;
    gst_video_info_set_format(&info, gst_video_format_from_string(format), width, height);
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
    GstMapInfo map;
    gst_buffer_map(buffer, &map, GST_MAP_WRITE);
    std::fill(map.data, map.data + map.size, 128);
    if (GST_VIDEO_INFO_IS_YUV(&info)) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                map.data[y * GST_VIDEO_INFO_PLANE_STRIDE(&info, 0) + x] =
                    static_cast<std::uint8_t>(std::clamp(luma(x, y), 0, 255));
            }
        }
    }
    gst_buffer_unmap(buffer, &map);
    GST_BUFFER_PTS(buffer) = pts;
    GST_BUFFER_DURATION(buffer) = GST_SECOND / 30;
    info.fps_n = 30;
    info.fps_d = 1;
    auto caps = GstHandle<GstCaps>::adopt(gst_video_info_to_caps(&info));
    auto sample = GstHandle<GstSample>::adopt(gst_sample_new(buffer, caps.get(), nullptr, nullptr));
    gst_buffer_unref(buffer);
    return sample;
}

// A recorder stand-in that keeps what it is fed, for the test to inspect.
class CountingSink : public CameraPipelineSink {
public:
    void appendVideo(GstHandle<GstSample> sample) override {
        {
            std::unique_lock lock(holdMutex);
            released.wait(lock, [this] { return !holding; });
        }
        std::lock_guard guard(mutex);
        video.append(std::move(sample));
    }
    // While held, the encoder's thread waits in appendVideo after handing over
    // a frame, and so can take no further frame: a slow encoder on demand.
    void holdVideo() {
        std::lock_guard lock(holdMutex);
        holding = true;
    }
    void releaseVideo() {
        {
            std::lock_guard lock(holdMutex);
            holding = false;
        }
        released.notify_all();
    }
    void appendAudio(GstHandle<GstSample> sample) override {
        std::lock_guard guard(mutex);
        audio.append(std::move(sample));
    }
    void setNewestFrame(GstHandle<GstSample> sample) override {
        if (slowNewestFrame > 0) {
            --slowNewestFrame;
            g_usleep(100000);
        }
        std::lock_guard guard(mutex);
        newest = std::move(sample);
        ++newestFrames;
    }
    void recordLoss(CaptureLoss reason) override {
        std::lock_guard guard(mutex);
        ++losses[static_cast<int>(reason)];
    }
    void reset() override {}

    int videoCount() {
        std::lock_guard guard(mutex);
        return video.size();
    }
    int audioCount() {
        std::lock_guard guard(mutex);
        return audio.size();
    }
    int newestFrameCount() {
        std::lock_guard guard(mutex);
        return newestFrames;
    }
    int lossCount(CaptureLoss reason) {
        std::lock_guard guard(mutex);
        return losses[static_cast<int>(reason)];
    }

    std::mutex mutex;
    QList<GstHandle<GstSample>> video;
    QList<GstHandle<GstSample>> audio;
    GstHandle<GstSample> newest;
    int newestFrames = 0;
    int losses[3] = {0, 0, 0};
    std::atomic<int> slowNewestFrame{0};
    std::mutex holdMutex;
    std::condition_variable released;
    bool holding = false;
};
