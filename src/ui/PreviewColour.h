#pragma once

#include <gst/video/video.h>

// How the preview turns a camera's YUV into RGB: BT.601, limited range unless
// the frame says it is full range. Integer weights scaled by 256, shared by
// the QPainter path (integer arithmetic) and the OpenGL path (the shader's
// uniforms), so both draw the same colours.
struct PreviewColour {
    int lumaOffset;  // subtracted from Y
    int lumaWeight;  // Y' weight in all three channels
    int redFromV;
    int greenFromU;  // subtracted
    int greenFromV;  // subtracted
    int blueFromU;

    bool operator==(const PreviewColour&) const = default;

    static PreviewColour of(const GstVideoInfo& info) {
        if (info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255) {
            return {0, 256, 359, 88, 183, 454};
        }
        return {16, 298, 409, 100, 208, 516};
    }
};
