#pragma once

#include <gst/video/video.h>

// Keeps a sample's picture mapped for reading while it is in scope.
struct MappedVideoFrame {
    GstVideoFrame frame{};
    bool mapped = false;

    MappedVideoFrame(const GstVideoInfo& info, GstSample* sample) {
        GstBuffer* buffer = sample ? gst_sample_get_buffer(sample) : nullptr;
        mapped = buffer && gst_video_frame_map(&frame, const_cast<GstVideoInfo*>(&info), buffer,
                                               GST_MAP_READ);
    }
    ~MappedVideoFrame() {
        if (mapped) {
            gst_video_frame_unmap(&frame);
        }
    }
    MappedVideoFrame(const MappedVideoFrame&) = delete;
    MappedVideoFrame& operator=(const MappedVideoFrame&) = delete;
};
