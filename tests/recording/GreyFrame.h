#pragma once

#include "GstHandle.h"

#include <gst/video/video.h>

// A grey 64x48 camera frame in I420.
inline GstHandle<GstSample> greyFrame() {
    GstVideoInfo info;
    gst_video_info_set_format(&info, GST_VIDEO_FORMAT_I420, 64, 48);
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, info.size, nullptr);
    gst_buffer_memset(buffer, 0, 128, info.size);
    const auto caps = GstHandle<GstCaps>::adopt(gst_video_info_to_caps(&info));
    GstSample* sample = gst_sample_new(buffer, caps.get(), nullptr, nullptr);
    gst_buffer_unref(buffer);
    return GstHandle<GstSample>::adopt(sample);
}
