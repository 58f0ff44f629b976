#pragma once

#include <gst/video/video.h>
#include <cstdint>

// Keeps a sample's picture mapped for reading while it is in scope.
struct MappedVideoFrame {
    GstVideoFrame frame{};
    bool mapped = false;

    MappedVideoFrame(const GstVideoInfo& info, GstSample* sample) { map(info, sample); }
    // As the sample's own caps describe it.
    explicit MappedVideoFrame(GstSample* sample) {
        GstCaps* caps = sample ? gst_sample_get_caps(sample) : nullptr;
        GstVideoInfo info;
        if (caps && gst_video_info_from_caps(&info, caps)) {
            map(info, sample);
        }
    }
    ~MappedVideoFrame() {
        if (mapped) {
            gst_video_frame_unmap(&frame);
        }
    }
    MappedVideoFrame(const MappedVideoFrame&) = delete;
    MappedVideoFrame& operator=(const MappedVideoFrame&) = delete;

    const std::uint8_t* plane(int index) const {
        return static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, index));
    }
    int stride(int index) const { return GST_VIDEO_FRAME_PLANE_STRIDE(&frame, index); }
    int width() const { return GST_VIDEO_FRAME_WIDTH(&frame); }
    int height() const { return GST_VIDEO_FRAME_HEIGHT(&frame); }

private:
    void map(const GstVideoInfo& info, GstSample* sample) {
        GstBuffer* buffer = sample ? gst_sample_get_buffer(sample) : nullptr;
        mapped = buffer && gst_video_frame_map(&frame, const_cast<GstVideoInfo*>(&info), buffer,
                                               GST_MAP_READ);
    }
};
