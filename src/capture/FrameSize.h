#pragma once

#include <gst/video/video.h>

// Whether two video caps describe frames of the same width and height; the
// same caps, or both absent, count as the same.
inline bool sameFrameSize(GstCaps* a, GstCaps* b) {
    if (a == b) {
        return true;
    }
    GstVideoInfo first;
    GstVideoInfo second;
    return a && b && gst_video_info_from_caps(&first, a) && gst_video_info_from_caps(&second, b) &&
           first.width == second.width && first.height == second.height;
}
